#!/usr/bin/env python3
"""Hurts processes that write preferences, and looks at the store each has left.

    soak.py [--short] STORE_WRITER

A store is one user's preferences of one program: in the scenario "fresh" nothing has been written yet, in "some"
there are 20 keys and the one that is written, in "large" 1,000 more, and in "damaged" the file does not parse and its
copy is all there is.

Whatever happens, the key that was being written has its old value or its new one, all others have theirs, the file
parses, and the next process writes at once. The writer is killed at each of its system calls and after each of its
bytes, each of its calls on files fails in turn, the disk is full, and eight of them write at the same time. The
stores are read with Python's own reader of property lists. --short does a part of it, in seconds.

Ends with 0 when all held, 1 when something did not, and 77 where no process may be traced.
"""
import argparse
import collections
import concurrent.futures
import os
import plistlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
KEYS = {f"key/{number}": f"value {number}" for number in range(20)}
ERRORS = ["ENOSPC", "EIO", "EACCES", "EINTR"]
# What a file system can refuse. Memory and the clock are none of its business.
FILE_CALLS = re.compile(r"(open|openat|close|read|write|pwrite64|pread64|fsync|fdatasync|ftruncate|rename\w*|link|"
                        r"linkat|unlink|unlinkat|mkdir|mkdirat|readlink|readlinkat|\w*stat\w*|fchmod|fchown\w*|chmod|fcntl|"
                        r"flock|lseek|access|faccessat\w*)$")
# The system lets these be interrupted, and the caller has to go on.
INTERRUPTIBLE = {"open", "openat", "read", "write", "fsync", "fcntl"}

KILLED = 8  # processes that write at the same time, until they are killed

failures = []
next_opens = []  # milliseconds that the next process took, from its start to its end


def fail(what):
    failures.append(what)
    print(f"FAILED: {what}\n", end="", flush=True)


class Store:
    """A user's Library folder of its own, in the state that a scenario begins with."""

    def __init__(self, parent, scenario):
        self.library = tempfile.mkdtemp(dir=parent)
        self.folder = os.path.join(self.library, "Preferences")
        self.path = os.path.join(self.folder, "store_writer.plist")
        self.scenario = scenario
        self.others = {} if scenario == "fresh" else dict(KEYS)
        if scenario == "large":
            self.others.update({f"large/{number}": "x" * 200 for number in range(1000)})
        if scenario == "fresh":
            return
        os.mkdir(self.folder)
        text = plistlib.dumps({**self.others, "victim": "old"})
        for path in (self.path, self.path + ".bak"):
            with open(path, "wb") as file:
                file.write(text)
        if scenario == "damaged":
            with open(self.path, "wb") as file:
                file.write(self.garbage())

    def remove(self):
        shutil.rmtree(self.library)

    @staticmethod
    def garbage():
        return plistlib.dumps(KEYS)[:300]

    def run(self, *words, harm="whole", prefix=()):
        environment = {**os.environ, "MACAPI_USER_LIBRARY": self.library, "SOAK_WRITE": harm}
        return subprocess.run([*prefix, writer, *words], env=environment, cwd=self.library, timeout=120,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def values(self):
        with open(self.path, "rb") as file:
            return plistlib.load(file)

    def look(self, what, written=False):
        """old, new, or what is wrong; written: the writer has said that the new value is on the disk."""
        try:
            if self.scenario != "damaged":
                self.check_values(self.values() if os.path.exists(self.path) else {}, written)
            began = time.monotonic()
            status = self.run("set", "next", "1").returncode
            next_opens.append(1000 * (time.monotonic() - began))
            if status != 0:
                raise ValueError("the next process could not write")
            values = self.values()
            if values.pop("next", None) != "1":
                raise ValueError("what the next process wrote is not there")
            state = self.check_values(values, written)
            if self.scenario == "damaged":
                self.check_garbage()
            return state
        except Exception as error:  # whatever a damaged file does to its reader
            fail(f"{self.scenario}, {what}: {type(error).__name__}: {error}")
            return "lost"

    def check_values(self, values, written):
        values = dict(values)
        victim = values.pop("victim", None)
        if values != self.others:
            raise ValueError(f"{len(self.others.items() - values.items())} keys lost or changed")
        if victim == "new":
            return "new"
        if victim != (None if self.scenario == "fresh" else "old"):
            raise ValueError(f"the value is {victim!r}")
        if written:
            raise ValueError("the new value is said to be on the disk, and the old one is")
        return "old"

    def check_garbage(self):
        for name in os.listdir(self.folder):
            with open(os.path.join(self.folder, name), "rb") as file:
                if file.read() == self.garbage():
                    return
        raise ValueError("the damaged file has not been kept")


def calls_of(scenario):
    """The system calls of one write: each call's name and which of that name it is, counted from 1."""
    store = Store(parent, scenario)
    log = os.path.join(store.library, "log")
    store.run("set", "victim", "new", prefix=("strace", "-o", log))
    counts = collections.Counter()
    calls = []
    inside = False
    for line in open(log):
        name = line.split("(")[0]
        counts[name] += 1
        if '"soak: begins"' in line:
            inside = True
        elif inside:
            calls.append((name, counts[name]))
        if '"soak: ends"' in line:
            break
    store.remove()
    return calls


def look_at_order():
    """Only a file that is on the disk takes the old one's place, and the folder's turn comes last."""
    names = [name for name, _ in calls_of("some")]
    renamed = names.index("renameat")
    if "fsync" not in names[:renamed] or "fsync" not in names[renamed:]:
        fail(f"the order of calls is no good: {' '.join(names)}")


def injected(scenario, name, number, what):
    """Runs a write whose call of that name and number meets what; the store, and how the writer ended."""
    store = Store(parent, scenario)
    result = store.run("set", "victim", "new", prefix=(
        "strace", "-o", "/dev/null", "-e", f"trace={name}", "-e", f"inject={name}:{what}:when={number}"))
    return store, result.returncode


def in_parallel(work, items):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(work, items))


def told(counts):
    return ", ".join(f"{counts[name]} {name}" for name in ("old", "new", "lost") if counts[name] or name == "lost")


def kill_at_each_call(scenario):
    def one(call):
        store, status = injected(scenario, *call, "signal=SIGKILL")
        what = f"killed at {call[0]} {call[1]}"
        if status != -signal.SIGKILL:
            fail(f"{scenario}, {what}: it lived, and ended with {status}")
        state = store.look(what)
        store.remove()
        return state

    calls = calls_of(scenario)
    print(f"{scenario}: killed at {len(calls)} system calls: {told(collections.Counter(in_parallel(one, calls)))}",
          flush=True)


def kill_at_each_byte(scenario, step):
    files = 3 if scenario == "damaged" else 2  # the file and its copy, and first what takes the damaged one's place
    cuts = range(0, files * size_of(scenario), step)

    def one(cut):
        store = Store(parent, scenario)
        status = store.run("set", "victim", "new", harm=f"cut:{cut}").returncode
        if status != -signal.SIGKILL:
            fail(f"{scenario}, killed after {cut} bytes: it lived, and ended with {status}")
        state = store.look(f"killed after {cut} bytes")
        store.remove()
        return state

    print(f"{scenario}: killed after each of {len(cuts)} numbers of bytes: "
          f"{told(collections.Counter(in_parallel(one, cuts)))}", flush=True)


def size_of(scenario):
    """Bytes of the file that the new value is in."""
    store = Store(parent, scenario)
    store.run("set", "victim", "new")
    size = os.path.getsize(store.path)
    store.remove()
    return size


def fail_each_call(scenario, errors):
    def one(case):
        name, number, error = case
        store, status = injected(scenario, name, number, f"error={error}")
        what = f"{error} at {name} {number}"
        if status not in (0, 3):
            fail(f"{scenario}, {what}: it ended with {status}")
        if error == "EINTR" and name in INTERRUPTIBLE and status != 0:
            fail(f"{scenario}, {what}: it gave up")
        if error != "EINTR" and name == "fsync" and scenario == "some" and status != 3:
            fail(f"{scenario}, {what}: it said that the value is on the disk")
        state = store.look(what, written=status == 0)
        store.remove()
        return state, status

    cases = [(name, number, error) for name, number in calls_of(scenario) if FILE_CALLS.match(name)
             for error in errors]
    results = in_parallel(one, cases)
    refused = sum(status == 3 for state, status in results)
    late = sum(status == 3 and state == "new" for state, status in results)
    print(f"{scenario}: {len(cases)} failed calls: {told(collections.Counter(state for state, _ in results))}; "
          f"{refused} were reported, {late} of these came when the new value was in place already", flush=True)


def short_writes(scenario, step):
    store = Store(parent, scenario)
    if store.run("set", "victim", "new", harm="halves").returncode != 0 or store.look("halves", True) != "new":
        fail(f"{scenario}: short writes did not end in a whole file")
    store.remove()
    sizes = range(0, size_of(scenario), step)

    def one(limit):
        full = Store(parent, scenario)
        status = full.run("set", "victim", "new", harm=f"limit:{limit}").returncode
        if status != 3:
            fail(f"{scenario}, no room behind {limit} bytes: it ended with {status}")
        state = full.look(f"no room behind {limit} bytes")
        if state == "new":
            fail(f"{scenario}, no room behind {limit} bytes: the new value is there all the same")
        full.remove()
        return state

    print(f"{scenario}: no room behind each of {len(sizes)} numbers of bytes: "
          f"{told(collections.Counter(in_parallel(one, sizes)))}", flush=True)


def start(store, *words):
    environment = {**os.environ, "MACAPI_USER_LIBRARY": store.library}
    return subprocess.Popen([writer, *words], env=environment, stdout=subprocess.PIPE, text=True)


def write_together(writers, writes):
    store = Store(parent, "some")
    began = time.monotonic()
    processes = [start(store, "count", f"w{number}/", str(writes)) for number in range(writers)]
    committed = {f"w{number}/{line}": line
                 for number, process in enumerate(processes) for line in process.communicate()[0].split()}
    expected = {**store.others, "victim": "old", **committed}
    lost = len(expected.items() - store.values().items())
    if lost or len(committed) != writers * writes:
        fail(f"{writers} writers: {len(committed)} writes took, {lost} of them are lost")
    print(f"{writers} processes, {writes} writes each: {len(committed)} took, {lost} lost, "
          f"{time.monotonic() - began:.1f} s", flush=True)
    store.remove()


def kill_among_others(rounds):
    """Processes come, write and are killed at any moment; what they have said is on the disk is there."""
    dice = random.Random(1)
    store = Store(parent, "some")
    expected = {**store.others, "victim": "old"}
    for number in range(rounds):
        processes = [start(store, "count", f"r{number}w{one}/", "1000") for one in range(KILLED)]
        time.sleep(dice.uniform(0.005, 0.15))
        for one, process in enumerate(processes):
            process.kill()
            lines = re.findall(r"(\d+)\n", process.communicate()[0])
            expected.update({f"r{number}w{one}/{line}": line for line in lines})
    values = store.values()
    lost = len(expected.items() - values.items())
    # One more of each process may have been on its way.
    surplus = len(values.items() - expected.items())
    if lost or surplus > KILLED * rounds:
        fail(f"killed among others: {lost} lost, {surplus} that nobody has reported")
    if store.run("set", "next", "1").returncode != 0:
        fail("killed among others: the next process could not write")
    written = len(expected) - len(store.others) - 1
    print(f"{KILLED * rounds} processes killed at any moment: {written} writes took, {lost} lost", flush=True)
    store.remove()


def full_disk():
    """A tiny disk of its own, with from no room at all to enough."""
    room = os.path.join(parent, "tiny")
    os.mkdir(room)
    command = f'mount -t tmpfs -o size=64k tiny "{room}" && exec "$@"'
    result = subprocess.run(["unshare", "--mount", "sh", "-c", command, "sh", sys.executable, __file__, "--on", room,
                             writer], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if "mount" in result.stderr or "unshare" in result.stderr:
        print("full disk: left out, no disk can be mounted here:", result.stderr.strip(), flush=True)
        return
    sys.stdout.write(result.stdout)
    if result.returncode != 0:
        fail("full disk: " + result.stderr.strip())


def on_full_disk(room):
    counts = collections.Counter()
    for pages in range(0, 9):
        store = Store(room, "some")
        filler = os.path.join(room, "filler")
        with open(filler, "wb", buffering=0) as file:
            try:
                while True:
                    file.write(bytes(4096))
            except OSError:
                file.truncate(max(0, file.tell() - 4096 * pages))
        written = store.run("set", "victim", "new").returncode == 0
        values = store.values()
        os.remove(filler)
        if (values["victim"] == "new") != written:
            fail(f"full disk, {pages} pages left: the value is {values['victim']}, written {written}")
        counts[store.look(f"full disk, {pages} pages left", written)] += 1
        store.remove()
    if not counts["old"] or not counts["new"]:
        fail("full disk: it never was, or always")
    print(f"full disk, 0 to 8 pages left: {told(counts)}", flush=True)


def may_trace():
    if not shutil.which("strace"):
        return "there is no strace"
    probe = subprocess.run(["strace", "-o", "/dev/null", "-e", "inject=getppid:error=EIO", "true"],
                           stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    return "strace may not trace here: " + probe.stderr.strip() if probe.returncode else ""


def soak(short):
    look_at_order()
    scenarios = ["some", "damaged"] if short else ["fresh", "some", "damaged", "large"]
    for scenario in scenarios:
        if not short or scenario == "some":
            kill_at_each_call(scenario)
        fail_each_call(scenario, ["EIO"] if short else ERRORS)
    for scenario in ["some"] if short else ["some", "damaged"]:
        kill_at_each_byte(scenario, 97 if short else 1)
        short_writes(scenario, 97 if short else 1)
    write_together(8, 10 if short else 1000)
    kill_among_others(4 if short else 200)
    if not short and os.geteuid() == 0:
        full_disk()


arguments = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
arguments.add_argument("--short", action="store_true", help="a part of it")
arguments.add_argument("--on", metavar="FOLDER", help=argparse.SUPPRESS)
arguments.add_argument("writer", metavar="STORE_WRITER")
options = arguments.parse_args()
writer = os.path.abspath(options.writer)
reason = "" if options.on else may_trace()
if reason:
    print("skipped:", reason)
    sys.exit(SKIPPED)
if options.on:
    parent = options.on
    on_full_disk(parent)
else:
    with tempfile.TemporaryDirectory(prefix="soak-") as parent:
        soak(options.short)
    median = sorted(next_opens)[len(next_opens) // 2]
    print(f"the next process took {median:.0f} ms (median), at most {max(next_opens):.0f} ms")
    print(f"{len(failures)} failures")
sys.exit(1 if failures else 0)
