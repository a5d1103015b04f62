"""R2: how many one-token changes of core's sources the tests notice.

The libraries are built in a copy of the tree, as the preset release builds them. Each change is made there. Then the tests
of the changed source run with the changed library, each in a process of its own, until one fails. The test programs are
those of build/release, but for the programs that compile a source of core themselves. A change whose object file equals the original one is not counted.
A change that the list equivalent.txt explains is not counted either. The results of a source are forgotten when its text
changes.
"""
import collections
import concurrent.futures
import filecmp
import fnmatch
import hashlib
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import tempfile
import time

import figure
import mutants

TITLE = "one-token changes of `core/*.cpp` and `core/*.mm` that the tests notice"
TARGET = "99 %"
LEAST = 0.99
COMMAND = "./run prove R2"
QUICK_SECONDS = 60
FULL_SECONDS = 4 * 3600

# The tests of each source: patterns of program names. Other sources have the tests of their own name.
TESTS = {
    "allocator": ["allocator_test", "memorymgr_test"],
    "commandline": ["commandline_test"],
    "macosx_bkwindow": ["platform_alert_test", "platform_startup_test", "platform_place_test", "platform_screen_test"],
    "macosx_platform": ["platform_test", "platform_watch_test", "platform_window_test", "platform_input_test"],
    "macosx_platform_alert": ["platform_test", "platform_watch_test", "platform_window_test"],
    "macosx_platform_input": ["platform_input_test", "platform_window_test"],
    "macosx_platform_loaders": ["platform_loaders_test", "platform_loaders_watch_test"],
    "macosx_platform_random": ["platform_random_test"],
    "macosx_platform_scandir": ["platform_scandir_test", "platform_scandir_watch_test"],
    "macosx_platform_settings": ["platform_settings_test", "platform_settings_watch_test"],
    "macosx_platform_time": ["platform_time_test", "platform_time_watch_test"],
    "macosx_platform_window": ["platform_window_test", "platform_watch_test"],
    "memorymgr": ["memorymgr_*_test", "memorymgr_test", "allocator_test"],
    "memorymgr_check": ["memorymgr_check_test", "memorymgr_heap_test", "memorymgr_test"],
    "memorymgr_heap": ["memorymgr_*_test", "memorymgr_test"],
    "memorymgr_index": ["memorymgr_*_test"],
    "memorymgr_refs": ["memorymgr_*_test"],
    "otherslinks": ["memorymgr_sizes_test", "preferences_test", "stringtable_test", "platform_test"],
    "parser": ["parser_*test"],
    "parser_numbers": ["parser_*test"],
    "parser_values": ["parser_*test"],
    "preferences": ["preferences_*test"],
    "stringtable": ["stringtable_*test"],
}
# The programs that compile sources of core themselves. The copy builds these.
OWN_SOURCES = {"parser_numbers_test", "platform_input_test", "platform_window_test"}
SLOW = ("model", "numbers", "threads", "place", "screen")  # programs with these words in their names run last
# A test has noticed the change if it takes longer: seconds of processor time, and seconds by the clock. The second number is
# high because other programs may keep the machine busy.
PROCESSOR_TIMEOUT = 60
TIMEOUT = 300

HERE = os.path.dirname(os.path.abspath(__file__))


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def explained():
    """The changes of equivalent.txt: path, line before and line after."""
    result = set()
    path = before = None
    for line in read(os.path.join(HERE, "equivalent.txt")).split("\n"):
        if line.startswith("core/"):
            path = line.strip()
        elif line.startswith("- "):
            before = line[2:].strip()
        elif line.startswith("+ "):
            result.add((path, before, line[2:].strip()))
    return result


class Copy:
    """A copy of the tree, built as the preset release."""

    def __init__(self, place):
        self.source = place.source
        self.root = os.path.join(place.own, "mutants")
        self.build = os.path.join(self.root, "build")
        self.copy_sources()
        self.command("cmake", "-S", self.root, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                     "-DCORE_TESTS=ON", "-DCORE_DEMO=ON", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON",
                     "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        self.cases = {}  # by program: its test cases

    def copy_sources(self):
        """Copies the files of the tree that differ. A file of equal bytes stays, so that it is not compiled again."""
        names = figure.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=self.source).stdout
        for name in filter(None, names.split("\0")):
            old, new = os.path.join(self.source, name), os.path.join(self.root, name)
            if os.path.isfile(old) and not (os.path.exists(new) and filecmp.cmp(old, new, shallow=False)):
                os.makedirs(os.path.dirname(new), exist_ok=True)
                shutil.copyfile(old, new)
                shutil.copymode(old, new)

    def command(self, *words):
        result = figure.run(words)
        if result.returncode != 0:
            raise figure.NotMeasured(f"{words[0]} failed: {figure.last_lines(result.stdout)}")

    def sources(self):
        """The sources that this build compiles into core, and into the library core-appkit if this build has AppKit."""
        compiled = {command["file"] for command in json.loads(read(os.path.join(self.build, "compile_commands.json")))}
        return sorted(f"core/{name}" for name in os.listdir(os.path.join(self.root, "core"))
                      if os.path.join(self.root, "core", name) in compiled and name.endswith((".cpp", ".mm")))

    def programs(self, source):
        """The test programs of a source, the quickest ones first."""
        stem = os.path.splitext(os.path.basename(source))[0]
        patterns = TESTS.get(stem, [f"{stem}_test"])
        folder = os.path.join(self.root, "tests", "core")
        names = {name.rsplit(".", 1)[0] for part in (folder, os.path.join(folder, "mechanism"))
                 for name in os.listdir(part) if name.endswith(("_test.cpp", "_test.mm"))}
        found = [name for name in names if any(fnmatch.fnmatch(name, pattern) for pattern in patterns)]
        return sorted(found, key=lambda name: (any(word in name for word in SLOW), name))

    def make(self, *names):
        """Builds core and its parts, or the programs of these names that the copy builds; true when they compile."""
        targets = [name for name in names if not name.endswith("_test") or name in OWN_SOURCES]
        return figure.run(["ninja", "-C", self.build, *targets]).returncode == 0

    def object_of(self, source):
        library = "core-appkit" if source.endswith(".mm") else "core"
        return os.path.join(self.build, "CMakeFiles", f"{library}.dir", source + ".o")

    def program(self, name):
        build = self.build if name in OWN_SOURCES else os.path.join(self.source, "build", "release")
        for folder in ("tests/core", "tests/core/mechanism"):
            path = os.path.join(build, folder, name)
            if os.path.exists(path):
                return path
        raise figure.NotMeasured(f"{name} is not built")

    def tests(self, programs):
        """Each program and each of its test cases."""
        for name in programs:
            if name not in self.cases:
                self.cases[name] = list(cases_of(self.program(name)))
        return [(self.program(name), case) for name in programs for case in self.cases[name]]


def cases_of(program):
    suite = ""
    for line in subprocess.run([program, "--gtest_list_tests"], stdout=subprocess.PIPE, text=True).stdout.split("\n"):
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            yield suite + name.strip()
        elif name.endswith("."):
            suite = name


def limit():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_TIMEOUT, PROCESSOR_TIMEOUT))
    resource.setrlimit(resource.RLIMIT_AS, (16 << 30, 16 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))


def passes(program, case, folder, libraries):
    """Runs one test case in a session of its own; true when it passes or is skipped."""
    environment = {**os.environ, "LD_LIBRARY_PATH": libraries}
    process = subprocess.Popen([program, f"--gtest_filter={case}"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, cwd=folder, start_new_session=True, preexec_fn=limit,
                               env=environment)
    try:
        return process.wait(TIMEOUT) == 0
    except subprocess.TimeoutExpired:
        return False
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)  # the test's own session: what a death test has left
        except ProcessLookupError:
            pass
        process.wait()


def first_failure(tests, libraries):
    """Runs tests with the libraries of this folder. The first test case that fails; null when all pass."""
    failed = []

    def one(test):
        if not failed and not passes(*test, folder, libraries):
            failed.append(test[1])

    with tempfile.TemporaryDirectory(prefix="prove-") as folder:
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
            try:
                list(pool.map(one, tests))
            except SystemExit:
                pool.shutdown(cancel_futures=True)  # else an interrupted run still runs all these tests
                raise
    return failed[0] if failed else None


class Mutator:
    def __init__(self, place):
        self.copy = Copy(place)
        self.results = place.counters.setdefault("R2", {}).setdefault("changes", {})  # by source: digest, results
        self.originals = {}  # by source: the object file's bytes
        self.broken = set()  # test cases that fail without a change; they are not used

    def text(self, source):
        return read(os.path.join(self.copy.source, source))

    def known(self, source):
        """The results of a source with its present text: by place and change, what happened."""
        digest = hashlib.sha1(self.text(source).encode()).hexdigest()
        entry = self.results.get(source)
        if not entry or entry["digest"] != digest:
            entry = self.results[source] = {"digest": digest, "results": {}}
        return entry["results"]

    def all_changes(self, only=""):
        for source in self.copy.sources():
            if only in source:
                yield from mutants.changes(source, self.text(source))

    def prepare(self, source):
        """Builds the source and its tests without a change, and runs these tests."""
        if source in self.originals:
            return
        programs = self.copy.programs(source)
        if not self.copy.make("core", *programs):
            raise figure.NotMeasured(f"the tests of {source} do not build: {' '.join(programs)}")
        def check(test):
            if first_failure([test], self.copy.build):
                self.broken.add(test[1])

        with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
            list(pool.map(check, self.copy.tests(programs)))
        with open(self.copy.object_of(source), "rb") as file:
            self.originals[source] = file.read()

    def outcome(self, change):
        """Makes the change and returns what happened: "refused" by the compiler, "equal", "noticed: TEST" or "survived"."""
        self.prepare(change.path)
        path = os.path.join(self.copy.root, change.path)
        original = self.text(change.path)
        try:
            write(path, mutants.changed(original, change))
            if not self.copy.make(os.path.relpath(self.copy.object_of(change.path), self.copy.build)):
                return "refused"
            with open(self.copy.object_of(change.path), "rb") as file:
                if file.read() == self.originals[change.path]:
                    return "equal"
            programs = self.copy.programs(change.path)
            if not self.copy.make("core", *programs):
                return "refused"
            tests = [test for test in self.copy.tests(programs) if test[1] not in self.broken]
            failed = first_failure(tests, self.copy.build)
            return f"noticed: {failed}" if failed else "survived"
        finally:
            write(path, original)


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def key(change):
    return f"{change.line}:{change.column} {change.old} -> {change.new}"


def counts(mutator, survivors):
    """The numbers over all changes that have been tried of the present sources."""
    reasons = explained()
    numbers = collections.Counter()
    for change in mutator.all_changes():
        outcome = mutator.known(change.path).get(key(change))
        if outcome is None:
            numbers["untried"] += 1
        elif outcome == "survived" and (change.path, change.before.strip(), change.after.strip()) in reasons:
            numbers["explained"] += 1
        else:
            numbers[outcome.split(":")[0]] += 1
            if outcome == "survived":
                survivors.append(f"{change.path}:{change.line}\n- {change.before.strip()}\n+ {change.after.strip()}\n")
    return numbers


def measure(place, only="", seconds=None, again=False):
    mutator = Mutator(place)
    todo = [change for change in mutator.all_changes(only)
            if again == (mutator.known(change.path).get(key(change)) == "survived")
            and (again or key(change) not in mutator.known(change.path))]
    random.Random(place.seed).shuffle(todo)
    if todo and not place.full:  # a quick run builds the tests of one source, as a rule
        first = todo[0].path
        todo.sort(key=lambda change: change.path != first)
    end = time.monotonic() + (seconds or (FULL_SECONDS if place.full else QUICK_SECONDS))
    for change in todo:
        if time.monotonic() > end:
            break
        outcome = mutator.outcome(change)
        mutator.known(change.path)[key(change)] = outcome
        print(f"  {change.path}:{change.line} {change.old} -> {change.new}: {outcome}", flush=True)
    for case in sorted(mutator.broken):
        print(f"  not used, it fails without a change: {case}", flush=True)

    survivors = []
    numbers = counts(mutator, survivors)
    with open(os.path.join(place.own, "survivors"), "w", encoding="utf-8") as file:
        file.write("\n".join(survivors))
    judged = numbers["noticed"] + numbers["survived"]
    if judged == 0:
        raise figure.NotMeasured("no change has been tried")
    score = numbers["noticed"] / judged
    text = (f"{100 * score:.1f} %: {numbers['noticed']} of {judged} changes; {numbers['untried']} not tried yet, "
            f"{numbers['explained']} explained, {numbers['equal']} with equal code, {numbers['refused']} do not compile")
    faults = [] if score >= LEAST else [f"{numbers['survived']} changes are not noticed: {place.own}/survivors"]
    return figure.Value(text, faults, reached=numbers["untried"] == 0)
