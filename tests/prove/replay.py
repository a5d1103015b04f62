"""R5's replays. The calls of processes that write preferences, or files in place, are repeated one by one. After each
call, a new process opens what a kill or a loss of power leaves (crashes.py)."""
import collections
import concurrent.futures
import copy
import os
import plistlib
import random
import re
import shutil
import subprocess
import tempfile

import crashes

LIMIT = 100_000  # microseconds that the next open may take
FILE = "store_writer.plist"
KEYS = {f"key/{number}": f"value {number}" for number in range(20)}
OLD = {f"count/{number}": "old" for number in range(3)}
GARBAGE = plistlib.dumps(KEYS)[:300]
ONE_NAME = ["-e", "inject=linkat:error=EPERM"]  # a file system on which a file has one name only


class Look:
    """A process that looks at folders: prove_recovery. See its source for the answers."""

    def __init__(self, program, *words, empty):
        environment = {**os.environ, "MACAPI_LIBRARY": empty}
        self.process = subprocess.Popen([program, *words], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, env=environment)

    def __enter__(self):
        return self

    def at(self, folder):
        self.process.stdin.write(folder + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().rstrip("\n")

    def __exit__(self, *reason):
        self.process.stdin.close()
        self.process.wait()


class Work:
    """What one job needs, and what it has found."""

    def __init__(self, programs, parent, full, seed):
        self.writer, self.recovery = programs
        self.parent = parent
        self.full = full
        self.seed = seed
        self.forget()

    def forget(self):
        self.counts = collections.Counter()
        self.faults = []
        self.reads, self.writes = [], []  # microseconds

    def folder(self):
        return tempfile.mkdtemp(dir=self.parent)


# ---- What preferences must have

class Expected:
    """The values that the keys must have: those of the store at the beginning, and those that are committed. A writer
    sets PREFIX0, PREFIX1 and so on to their numbers, and prints each number when it is committed."""

    def __init__(self, values):
        self.values = dict(values)
        self.prefixes = {}  # by process
        self.done = collections.Counter()  # committed values, by process
        self.wanted = 0  # values that are committed when all processes have ended

    def play(self, call):
        process, name, words, _ = call
        if name == "execve" and b"count" in words:
            prefix, number = words[words.index(b"count") + 1:][:2]
            self.prefixes[process] = os.fsdecode(prefix)
            self.wanted += int(number)
        if name == "write" and words[0][0] == "1" and process in self.prefixes:
            prefix = self.prefixes[process]
            self.values[f"{prefix}{self.done[process]}"] = str(self.done[process])
            self.done[process] += 1
            return True
        return False

    def fault(self, values):
        """What is wrong with the values; empty if nothing is."""
        under_way = {f"{prefix}{self.done[process]}": str(self.done[process])
                     for process, prefix in self.prefixes.items()}
        values = dict(values)
        if values.pop("next", None) != "1":
            return "what the next process wrote is not there"
        lost = [key for key, value in self.values.items()
                if values.get(key) not in (value, under_way.get(key, value))]
        more = [key for key, value in values.items() if key not in self.values and under_way.get(key) != value]
        return f"lost: {', '.join(lost[:3])}" if lost else f"has {more[0]} = {values[more[0]]}" if more else ""


def look_at_preferences(work, look, state, expected, garbage, what):
    """Makes a state, lets a process open it, and compares the store with the expected values. garbage: the content of
    the file at the beginning if it does not parse, otherwise empty."""
    for turn in range(3):  # a time that is too long is measured again: the machine may have been busy
        folder = work.folder()
        os.rmdir(folder)
        crashes.make(state, folder)
        answer = look.at(folder + "/made/Library").split(" ", 3)
        if answer[0] == "crashed" or max(int(answer[0]), int(answer[1])) < LIMIT:
            break
        if turn < 2:
            work.counts["opens measured again"] += 1
            shutil.rmtree(folder)
    fault = "the next process crashed or did not end" if answer[0] == "crashed" else ""
    if not fault:
        work.reads.append(int(answer[0]))
        work.writes.append(int(answer[1]))
        fault = fault_of_store(folder + "/made/Library/Preferences", answer, expected, garbage)
    if fault:
        work.faults.append(f"{what}: {fault}")
    shutil.rmtree(folder)


def fault_of_store(folder, answer, expected, garbage):
    if answer[2] != "1":
        return "the next process could not write"
    if max(int(answer[0]), int(answer[1])) >= LIMIT:
        return f"the next open took {answer[0]} and {answer[1]} microseconds"
    try:
        with open(os.path.join(folder, FILE), "rb") as file:
            values = plistlib.load(file)
    except Exception as error:  # whatever a damaged file does to its reader
        return f"the file does not parse: {error}"
    if answer[3] != values.get("count/0", "-"):
        return f"the next process read {answer[3]}, and wrote {values.get('count/0')}"
    aside = [name for name in os.listdir(folder) if ".damaged-" in name]
    if aside and not garbage:
        return f"a file was set aside as {aside[0]}"
    left = set(os.listdir(folder)) - set(aside) - {FILE, FILE + ".bak", FILE + ".lock"}
    if left:
        return f"{left.pop()} is left"
    if garbage and not any(contents_of(os.path.join(folder, name)) == garbage for name in aside):
        return "the damaged file is lost"
    return expected.fault(values)


def contents_of(path):
    with open(path, "rb") as file:
        return file.read()


# ---- The states of a log

def states_of(work, disk, base, log, expected, dice, most, pieces):
    """Plays the log and yields states, each with its kind and a description: the states after each call that changes
    something, at most about most, and the states after kills inside each write, about as many as pieces."""
    stale = plistlib.dumps({**KEYS, "stale": "block"})
    for number, call in enumerate(log):
        if call[1] == "write" and (call[0], call[2][0][0]) in disk.open:
            yield from killed_inside(disk, call, pieces)
        changes = disk.play(base, call)
        told = expected.play(call)
        if changes or told:
            what = f"after call {number}, {call[1]}"
            work.counts["calls"] += 1
            yield "killed", f"killed {what}", disk.killed()
            for state in disk.after_power_loss(most, 24 if work.full else 6, stale, dice):
                yield "power", f"loss of power {what}", state


def killed_inside(disk, call, pieces):
    node, offset = disk.open[call[0], call[2][0][0]]
    data = call[2][1]
    for length in range(1, len(data), max(1, len(data) // pieces)):
        node.change(offset, data[:length])
        yield "killed", f"killed after {length} bytes", disk.killed()
        node.changes.pop()
        node.known = None


def make_store(folder, scenario):
    """Makes the store that a scenario begins with in folder/made/Library; returns the values that it has."""
    if scenario == "fresh":
        return {}
    store = os.path.join(folder, "made", "Library", "Preferences")
    os.makedirs(store)
    values = {**KEYS, **OLD}
    if scenario == "large":
        values.update({f"large/{number}": "x" * 200 for number in range(1000)})
    for name in (FILE, FILE + ".bak"):
        with open(os.path.join(store, name), "wb") as file:
            file.write(plistlib.dumps(values))
    if scenario.startswith("damaged"):
        with open(os.path.join(store, FILE), "wb") as file:
            file.write(GARBAGE)
    if "without a copy" in scenario:
        os.remove(os.path.join(store, FILE + ".bak"))
        return {}
    return values


def write_log(work, base, scenario, words=None, processes=1):
    """The log of processes that write to the store in the folder base."""
    environment = {**os.environ, "MACAPI_USER_LIBRARY": base + "/made/Library", "MACAPI_LIBRARY": work.parent}
    if words is None:
        words = [work.writer, "count", "count/", "2"]
    if processes > 1:
        words = ["sh", "-c", 'for i in ' + " ".join(map(str, range(processes))) +
                 '; do "$0" count "w$i/" 3 & done; wait', work.writer]
    inject = ONE_NAME if "one name" in scenario else []
    return crashes.log_of(words, work.parent, inject, env=environment, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL)


def replay_preferences(work, scenario, most, pieces, processes=1):
    base = work.folder()
    expected = Expected(make_store(base, scenario))
    disk = crashes.Disk(base)
    log = write_log(work, base, scenario, processes=processes)
    look_at_log(work, scenario, disk, base, log, expected, most, pieces)


def replay_without_sync(work, scenario, most, pieces):
    """Leaves the fsync calls out of the log. The replay must then find lost keys."""
    base = work.folder()
    expected = Expected(make_store(base, scenario))
    disk = crashes.Disk(base)
    log = [call for call in write_log(work, base, scenario) if call[1] != "fsync"]
    look_at_log(work, scenario, disk, base, log, expected, most, pieces)
    lost = sum("lost: " in fault for fault in work.faults)
    work.forget()
    if not lost:
        work.faults.append("a log without its fsync calls loses no keys: the replay finds nothing")


def look_at_log(work, scenario, disk, base, log, expected, most, pieces):
    dice = random.Random(f"{work.seed} {scenario}")
    garbage = GARBAGE if "damaged" in scenario else b""
    with Look(work.recovery, "preferences", "count/0", empty=work.parent) as look:
        for kind, what, state in states_of(work, disk, base, log, expected, dice, most, pieces):
            work.counts[kind] += 1
            look_at_preferences(work, look, state, expected, garbage, f"{scenario}, {what}")
    if not expected.wanted or sum(expected.done.values()) != expected.wanted:
        work.faults.append(f"{scenario}: {sum(expected.done.values())} of {expected.wanted} values were written")
    shutil.rmtree(base)


def replay_interrupted(work, scenario, most, pieces, part, parts):
    """Kills a writer after one of its calls. Then another writes, and is killed or loses the power. Does so after each
    call of the first writer; part is one of 0 to parts - 1."""
    base = work.folder()
    first = Expected(make_store(base, scenario))
    disk = crashes.Disk(base)
    log = write_log(work, base, scenario, words=[work.writer, "count", "first/", "1"])
    shutil.rmtree(base)
    changes = 0
    for number, call in enumerate(log):
        changed = disk.play(base, call)
        first.play(call)
        first.wanted = sum(first.done.values())
        changes += changed
        if not changed or changes % parts != part:
            continue
        again = work.folder()
        os.rmdir(again)
        crashes.make(disk.killed(), again)
        both = copy.deepcopy(disk)
        both.open = {}
        second = write_log(work, again, scenario)
        look_at_log(work, f"{scenario}, another writer was killed after call {number}", both, again, second,
                    copy.deepcopy(first), most, pieces)


# ---- Files that are written in place

def replay_in_place(work, earlier, most, pieces):
    """A game that shuts down: its bank-size file, with one of an earlier run or without, and its strings file."""
    base = work.folder()
    environment = {**os.environ, "MACAPI_LIBRARY": work.parent, "MACAPI_USER_LIBRARY": work.parent, "DISPLAY": ""}
    options = {"cwd": base, "env": environment, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    if earlier:
        subprocess.run([work.recovery, "write", "5000"], check=True, **options)
        os.remove(os.path.join(base, "strings.utf8"))
    disk = crashes.Disk(base)
    before = files_of(disk.killed())
    log = crashes.log_of([work.recovery, "write", "60000"], work.parent, **options)
    after = {name: contents_of(os.path.join(base, name)) for name in os.listdir(base)}
    dice = random.Random(f"{work.seed} in place")
    scenario = "in place, with an earlier file" if earlier else "in place"
    with Look(work.recovery, "files", empty=work.parent) as look:
        known = [sizes_in(work, look, content)
                 for content in (b"", before.get("memory.dat", b""), after["memory.dat"])]
        for kind, what, state in states_of(work, disk, base, log, Expected({}), dice, most, pieces):
            work.counts[kind] += 1
            look_at_files(work, look, state, before, after, known, f"{scenario}, {what}")
    fill_disk(work, options, before, after)
    shutil.rmtree(base)


def sizes_in(work, look, content):
    """The sizes of the banks of a game whose bank-size file has this content."""
    folder = work.folder()
    with open(os.path.join(folder, "memory.dat"), "wb") as file:
        file.write(content)
    return look.at(folder).split()[3:]


def files_of(state):
    return {path[1:]: content for path, (_, content, _) in state.items() if content is not None}


def look_at_files(work, look, state, before, after, known, what):
    folder = work.folder()
    os.rmdir(folder)
    crashes.make(state, folder)
    answer = look.at(folder)
    shutil.rmtree(folder)
    if answer == "crashed":
        work.faults.append(f"{what}: the next game crashed or did not end")
        return
    found = files_of(state)
    for name in after:
        work.counts[f"{name}: {kind_of(found.get(name), before.get(name), after[name])}"] += 1
    is_loaded, _, different, *sizes = answer.split()
    if is_loaded == "1" and different != "0":
        work.faults.append(f"{what}: {different} texts are shown in another form")
    work.counts["a bank has a size of fewer digits"] += any(size not in sizes_known
                                                            for size, *sizes_known in zip(sizes, *known))


def kind_of(content, before, after):
    """Names the state of a file that is written in place."""
    if content == before:
        return "as before" if before is not None else "missing, as before"
    if content == after:
        return "new"
    if content == b"":
        return "empty"
    return "only the beginning" if after.startswith(content) else "with a gap"


def fill_disk(work, options, before, after):
    """Runs the game with space for each number of bytes: the process has a limit for the size of its files."""
    base = options["cwd"]
    longest = max(map(len, after.values()))
    for limit in [*range(0, 100, 1 if work.full else 25), *range(100, longest, 61 if work.full else 2000)]:
        for name in os.listdir(base):
            os.remove(os.path.join(base, name))
        for name, content in before.items():
            with open(os.path.join(base, name), "wb") as file:
                file.write(content)
        result = subprocess.run(["prlimit", f"--fsize={limit}", work.recovery, "write", "60000"], check=False,
                                restore_signals=False, **options)  # SIGXFSZ is ignored: the write fails
        found = {name: contents_of(os.path.join(base, name)) for name in os.listdir(base)}
        work.counts["full disk"] += 1
        if result.returncode != 0:
            work.faults.append(f"in place, no space after {limit} bytes: the game ended with {result.returncode}")
        wrong = [name for name, content in after.items() if found.get(name) != content[:limit]]
        if wrong:
            work.faults.append(f"in place, no space after {limit} bytes: {wrong[0]} has other bytes")


# ---- All of it

def jobs(full):
    """Each job: a function and its arguments. The first number is the most states after one call, the second the most
    kills inside one write."""
    effort = (150, 400) if full else (6, 10)
    listed = [(replay_preferences, scenario, *effort) for scenario in
              ("fresh", "some", "damaged", "damaged, without a copy", "damaged, a file has one name")]
    listed.append((replay_preferences, "some, 8 processes", *((8, 10) if full else (1, 1)), 8))
    listed.append((replay_without_sync, "some, without fsync", *((20, 10) if full else (6, 1))))
    if full:
        listed.append((replay_preferences, "large", 20, 100))
        for scenario in ("fresh", "some", "damaged", "damaged, without a copy"):
            listed += [(replay_interrupted, scenario, 30, 10, part, 4) for part in range(4)]
    else:
        listed.append((replay_interrupted, "fresh", 3, 3, 3, 6))
    return listed + [(replay_in_place, True, *effort), (replay_in_place, False, *effort)]


def run_job(programs, parent, full, seed, job):
    work = Work(programs, tempfile.mkdtemp(dir=parent), full, seed)
    function, *arguments = job
    function(work, *arguments)
    shutil.rmtree(work.parent)
    return work


def run(programs, parent, full, seed):
    """Runs all jobs; returns one Work with what they have found."""
    total = Work(programs, parent, full, seed)
    with concurrent.futures.ProcessPoolExecutor(os.cpu_count()) as pool:
        for work in [pool.submit(run_job, programs, parent, full, seed, job) for job in jobs(full)]:
            found = work.result()
            total.counts += found.counts
            total.faults += found.faults
            total.reads += found.reads
            total.writes += found.writes
    return total
