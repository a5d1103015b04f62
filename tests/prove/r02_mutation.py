"""R2: how many one-token changes of core's sources the tests notice.

A change is compiled in a folder of its own with the commands of build/release, and linked into a library there. Then the
test programs of the changed source run with that library until a test case fails, the quick programs first. Each case has a
process of its own. A few programs compile a source of core themselves; these are linked anew as well. If all cases pass, the
same follows with build/asan, if that folder is there: it has the sanitizers, the assertions and the checks of the heap's rules.

A change whose object file equals the original one is not counted. A change that the list equivalent.txt explains is not
counted either. The results of a source are forgotten when its text changes.
"""
import collections
import concurrent.futures
import fnmatch
import hashlib
import json
import os
import random
import re
import resource
import shlex
import signal
import subprocess
import tempfile
import threading
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
SLOW = 5  # seconds by the clock
FOLDERS = ("tests/core", "tests/core/mechanism")  # of the test programs

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


class Build:
    """A build folder: how it compiles, links and tests a change."""

    def __init__(self, place, preset):
        self.source = place.source
        self.folder = os.path.dirname(place.program(preset, "compile_commands.json"))
        self.is_sanitized = preset == "asan"
        self.compilers = collections.defaultdict(dict)  # by source: the command that makes each of its object files
        for entry in json.loads(read(os.path.join(self.folder, "compile_commands.json"))):
            path = os.path.relpath(entry["file"], self.source)
            made = re.search(r" -o (\S+)", entry["command"])[1]
            self.compilers[path][made] = entry["command"]
        self.linkers = {}  # by target: the command
        self.programs = {}  # by target
        self.prepared = {}  # by source: its programs, and the bytes of its object file without debug information
        self.preparing = threading.Lock()

    def sources(self):
        """The sources that this build compiles into the libraries core and core-appkit."""
        return sorted(path for path, compilers in self.compilers.items() if path.startswith("core/")
                      and any(made.startswith("CMakeFiles/core") for made in compilers))

    def targets(self, source):
        """The targets of the test programs of a source."""
        stem = os.path.splitext(os.path.basename(source))[0]
        patterns = TESTS.get(stem, [f"{stem}_test"])
        return sorted(f"{os.path.dirname(path)}/{name}" for path in self.compilers if os.path.dirname(path) in FOLDERS
                      for name in [os.path.splitext(os.path.basename(path))[0]] if name.endswith("_test")
                      and any(fnmatch.fnmatch(name, pattern) for pattern in patterns))

    def objects(self, source):
        """The object files of a source in a library or in one of its test programs, and the target of each. The library's
        object is the first one."""
        for made in sorted(self.compilers[source], key=len):
            folder, target = re.match(r"(?:(.*)/)?CMakeFiles/([^/]+)\.dir/", made).groups()
            if target in ("core", "core-appkit"):
                yield made, f"lib{target}.so"
            elif f"{folder}/{target}" in self.targets(source):
                yield made, f"{folder}/{target}"

    def make(self, *targets):
        """Builds these targets without a change."""
        result = figure.run(["ninja", "-C", self.folder, *targets])
        if result.returncode != 0:
            raise figure.NotMeasured(f"{' '.join(targets)}: {figure.last_lines(result.stdout)}")
        for target in targets:
            commands = figure.run(["ninja", "-C", self.folder, "-t", "commands", target]).stdout.split("\n")
            self.linkers[target] = [line for line in commands if line.startswith(": && ")][-1]

    def compile(self, source, made, changed, output):
        """Compiles the file changed in the place of the source; true when it compiles. The object has no
        debug information, which would differ where the code is the same."""
        words = shlex.split(self.compilers[source][made])
        words[words.index("-o") + 1] = output
        words[words.index("-c") + 1] = changed
        return figure.run([*words, "-g0", "-w"], cwd=self.folder).returncode == 0

    def link(self, target, made, changed, folder):
        """Links the target with the object file changed in the place of the object file made. Returns the path of the result."""
        command = self.linkers[target]
        output = re.search(r" -o (\S+)", command)[1]
        name = re.search(r"-soname,(\S+)", command)
        result = os.path.join(folder, name[1] if name else os.path.basename(output))
        command = command.replace(f" {made} ", f" {changed} ").replace(f" -o {output} ", f" -o {result} -Wl,--strip-debug ")
        done = figure.run(command, cwd=self.folder, shell=True)
        if done.returncode != 0:
            raise figure.NotMeasured(f"{target} does not link: {figure.last_lines(done.stdout)}")
        return result

    def prepare(self, source, folder):
        """Builds the source and its tests without a change, and runs these tests. Returns the programs, the quick ones first,
        and the bytes of the original object file."""
        with self.preparing:
            if source not in self.prepared:
                targets = self.targets(source)
                self.make("libcore.so", *targets, *{target for _, target in self.objects(source)})
                for target in targets:
                    if target not in self.programs:
                        self.programs[target] = Program(os.path.join(self.folder, target), self.is_sanitized)
                programs = sorted((self.programs[target] for target in targets), key=lambda program: program.seconds)
                made, _ = next(iter(self.objects(source)))
                original = os.path.join(folder, "original.o")
                self.compile(source, made, os.path.join(self.source, source), original)
                with open(original, "rb") as file:
                    self.prepared[source] = programs, file.read()
            return self.prepared[source]

    def runs(self, programs):
        """The programs in the order of their runs, and whether each plays few of the rounds of its random tests. A slow program
        plays few rounds first."""
        if self.is_sanitized:
            return [(program, True) for program in programs]
        slow = [program for program in programs if program.seconds > SLOW]
        return [(program, program in slow) for program in programs] + [(program, False) for program in slow]

    def outcome(self, source, text, folder):
        """Returns what happens with this text of a source: "refused" by the compiler, "equal", "noticed: TEST" or
        "survived"."""
        programs, original = self.prepare(source, folder)
        changed = os.path.join(folder, os.path.basename(source))
        with open(changed, "w", encoding="utf-8") as file:
            file.write(text)
        for number, (made, target) in enumerate(self.objects(source)):
            object_file = os.path.join(folder, f"{number}.o")
            if not self.compile(source, made, changed, object_file):
                return "refused"
            if number == 0:
                with open(object_file, "rb") as file:
                    if file.read() == original:
                        return "equal"
            self.link(target, made, object_file, folder)
        for program, few in self.runs(programs):
            case = program.notices(folder, few)
            if case:
                return f"noticed: {case}"
        return "survived"


class Program:
    """A test program: how long it takes without a change, and its cases that fail without one. These are not used."""

    def __init__(self, path, is_sanitized):
        self.path = path
        self.is_sanitized = is_sanitized
        self.broken = set()
        # A case has noticed the change if it takes longer: seconds of processor time of each process, and seconds by the
        # clock for the program. The second number is high because other programs may keep the machine busy.
        self.processor_limit = 100
        self.limit = 600
        begin, used = time.monotonic(), children_seconds()
        while failed := self.first_failure(os.path.dirname(path), is_sanitized):
            if "." not in failed:
                raise figure.NotMeasured(f"{path} fails without a change")
            self.broken.add(failed)
            begin, used = time.monotonic(), children_seconds()
        self.seconds = time.monotonic() - begin
        self.processor_limit = int(3 + 5 * (children_seconds() - used))
        self.limit = 60 + 10 * self.seconds

    def first_failure(self, libraries, few, path=None, case=None):
        """Runs the cases with the libraries of this folder until one fails, or only this one. few: random tests play few of
        their rounds. Returns the case that failed, or the program's name if that is not known; null when all pass."""
        environment = {**os.environ, "LD_LIBRARY_PATH": libraries, "CASES_APART": "first"}
        if few:
            environment["FEW_ROUNDS"] = "1"
        cases = f"{case or ''}-{':'.join(sorted(self.broken))}"
        if case:
            del environment["CASES_APART"]
        with tempfile.TemporaryDirectory(prefix="prove-") as folder, open(os.path.join(folder, "said"), "w+",
                                                                          errors="replace") as said:
            process = subprocess.Popen([path or self.path, f"--gtest_filter={cases}"], stdin=subprocess.DEVNULL, stdout=said,
                                       stderr=subprocess.DEVNULL, cwd=folder, start_new_session=True, preexec_fn=self.limits,
                                       env=environment)
            try:
                status = process.wait(self.limit)
            except subprocess.TimeoutExpired:
                status = -1
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)  # what the cases have left running
                except ProcessLookupError:
                    pass
                process.wait()
            if status == 0:
                return None
            said.seek(0)
            failed = re.search(r"^CASE FAILED: (\S+),", said.read(), re.MULTILINE)
        return failed[1] if failed else case or os.path.basename(self.path)

    def limits(self):
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_CPU, (self.processor_limit, self.processor_limit))
        if not self.is_sanitized:  # the address sanitizer reserves terabytes
            resource.setrlimit(resource.RLIMIT_AS, (16 << 30, 16 << 30))
        resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))

    def notices(self, folder, few):
        """Returns the case that fails with the changed libraries and programs of this folder, and passes without them; null
        when all pass."""
        changed = os.path.join(folder, os.path.basename(self.path))
        changed = changed if os.path.exists(changed) else self.path
        while failed := self.first_failure(folder, few, changed):
            case = failed if "." in failed else None
            if not self.first_failure(os.path.dirname(self.path), few, case=case):
                return failed
            if not case:
                raise figure.NotMeasured(f"{self.path} fails without a change")
            self.broken.add(case)
        return None


def children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


class Mutator:
    def __init__(self, place):
        self.source = place.source
        self.builds = [Build(place, "release")]
        if os.path.exists(os.path.join(place.source, "build", "asan", "compile_commands.json")):
            self.builds.append(Build(place, "asan"))
        self.results = place.counters.setdefault("R2", {}).setdefault("changes", {})  # by source: digest, results

    def text(self, source):
        return read(os.path.join(self.source, source))

    def known(self, source):
        """The results of a source with its present text: by place and change, what happened."""
        digest = hashlib.sha1(self.text(source).encode()).hexdigest()
        entry = self.results.get(source)
        if not entry or entry["digest"] != digest:
            entry = self.results[source] = {"digest": digest, "results": {}}
        return entry["results"]

    def all_changes(self, only=""):
        for source in self.builds[0].sources():
            if only in source:
                yield from mutants.changes(source, self.text(source))

    def outcome(self, change):
        """Makes the change and returns what happened, as Build.outcome. Where the code differs in the first build, equal code
        in the second one says nothing."""
        text = mutants.changed(self.text(change.path), change)
        outcome = None
        for build in self.builds:
            if change.path in build.sources() and outcome in (None, "survived"):
                with tempfile.TemporaryDirectory(prefix="prove-") as folder:
                    new = build.outcome(change.path, text, folder)
                outcome = new if outcome is None or new.startswith("noticed") else outcome
        return outcome


def key(change):
    return f"{change.line}:{change.column} {change.old} -> {change.new}"


def is_in(reasons, change):
    return (change.path, change.before.strip(), change.after.strip()) in reasons


def counts(mutator, survivors):
    """The numbers over all changes that have been tried of the present sources."""
    reasons = explained()
    numbers = collections.Counter()
    for change in mutator.all_changes():
        outcome = mutator.known(change.path).get(key(change))
        if outcome is None:
            numbers["untried"] += 1
        elif outcome == "survived" and is_in(reasons, change):
            numbers["explained"] += 1
        else:
            numbers[outcome.split(":")[0]] += 1
            if outcome == "survived":
                survivors.append(f"{change.path}:{change.line}\n- {change.before.strip()}\n+ {change.after.strip()}\n")
    return numbers


def try_changes(mutator, changes, end):
    """Tries these changes until the time of the end, as many at once as there are processors."""
    def one(change):
        if time.monotonic() < end:
            outcome = mutator.outcome(change)
            mutator.known(change.path)[key(change)] = outcome
            print(f"  {change.path}:{change.line} {change.old} -> {change.new}: {outcome}", flush=True)
            return 1
        return 0

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        try:
            return sum(pool.map(one, changes))
        except BaseException:
            pool.shutdown(cancel_futures=True)  # else an interrupted run still tries all the other changes
            raise


def measure(place, only="", seconds=None, again=False):
    mutator = Mutator(place)
    reasons = explained()
    wanted = "survived" if again else None
    todo = [change for change in mutator.all_changes(only)
            if mutator.known(change.path).get(key(change)) == wanted and not (again and is_in(reasons, change))]
    random.Random(place.seed).shuffle(todo)
    if todo and not place.full:  # a quick run builds the tests of one source, as a rule
        first = todo[0].path
        todo.sort(key=lambda change: change.path != first)
    used = children_seconds()
    tried = try_changes(mutator, todo, time.monotonic() + (seconds or (FULL_SECONDS if place.full else QUICK_SECONDS)))
    if tried:
        print(f"  {tried} changes tried, {(children_seconds() - used) / tried:.2f} seconds of processor time each", flush=True)
    for program in [program for build in mutator.builds for program in build.programs.values()]:
        for case in sorted(program.broken):
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
