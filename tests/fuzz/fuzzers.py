#!/usr/bin/env python3
"""Runs the fuzzers, and makes their corpus minimal.

    fuzzers.py run PROGRAMS LEARNT SECONDS [NAME...]
    fuzzers.py minimise PROGRAMS REPLAYS LEARNT [NAME...]

PROGRAMS: the folder of libFuzzer's programs. REPLAYS: the folder of the programs that replay a corpus. LEARNT: a folder
for new inputs, and for inputs that fail. Without a NAME, all fuzzers.

run: each fuzzer runs for SECONDS, two fuzzers at a time. minimise: corpus/NAME gets the smallest inputs of corpus/NAME and
LEARNT/NAME that reach all lines which these inputs reach together; inputs whose names begin with "found-" stay, because they
once failed. Then corpus/NAME.observed gets what the fuzzer observes.
"""
import collections
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "corpus")

# The bytes of an input, at most. Long inputs take longer and seldom do more than short ones. The limits of the code under
# test are shorter: 1023 bytes of a line of an INI file, 127 bytes of a key, 1023 bytes of a path.
LONGEST = {"ini": 2048, "paths": 1100, "plist": 1024, "reads": 1024, "schema": 1024, "snapshot": 1024, "walk": 4096,
           "commandline": 256, "sizes": 256, "strings": 255, "translation": 255, "unescape": 256}
LONGEST_OTHERS = 512

# The fuzzers that do not look for leaks: libgettextpo does not free all its memory, and the search after each run would take
# a hundred times as long as the run.
LEAKING = {"po"}

# runs: since the start of the program. cpu: seconds of the processor. finding: the end of the output, empty if all is well.
Result = collections.namedtuple("Result", "name runs cpu finding")


def names():
    return sorted(file[len("fuzz_"):-len(".cpp")] for file in os.listdir(HERE)
                  if file.startswith("fuzz_") and file.endswith(".cpp"))


def options(name):
    """libFuzzer's options. Its default order of inputs, -entropic=1, takes longer than a run of most of these fuzzers."""
    leaks = ["-detect_leaks=0"] if name in LEAKING else []
    return [f"-max_len={LONGEST.get(name, LONGEST_OTHERS)}", "-entropic=0"] + leaks


def run(programs, learnt, seconds, name):
    """Runs one fuzzer, in an empty folder."""
    corpus = os.path.join(os.path.abspath(learnt), name)
    os.makedirs(corpus, exist_ok=True)
    program = os.path.join(os.path.abspath(programs), f"fuzz_{name}")
    words = [program, f"-max_total_time={seconds}", *options(name), "-print_final_stats=1",
             f"-artifact_prefix={corpus}-", corpus, os.path.join(CORPUS, name)]
    with tempfile.TemporaryDirectory(prefix="fuzz-") as folder, tempfile.TemporaryFile() as output:
        process = subprocess.Popen(words, cwd=folder, stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0)
        text = output.read().decode(errors="replace")
    runs = re.search(r"number_of_executed_units:\s*(\d+)", text)
    finding = ""
    if process.returncode != 0:
        lines = [line for line in text.split("\n") if re.search(r"ERROR|SUMMARY|Test unit written", line)]
        finding = " / ".join(lines) or text[-300:]
    return Result(name, int(runs[1]) if runs else 0, used.ru_utime + used.ru_stime, finding)


def run_all(programs, learnt, seconds, wanted):
    """Yields the results, each as soon as its fuzzer and those before it have ended."""
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        yield from pool.map(lambda name: run(programs, learnt, seconds, name), wanted)


def size_of(folder):
    sizes = [os.path.getsize(os.path.join(folder, file)) for file in os.listdir(folder)]
    return f"{len(sizes)} inputs, {sum(sizes):,} bytes"


def minimise(programs, learnt, name):
    """-use_counters=0: an input must reach a line, and not reach it more often than others do."""
    corpus = os.path.join(CORPUS, name)
    inputs = [folder for folder in (corpus, os.path.join(learnt, name)) if os.path.isdir(folder)]
    with tempfile.TemporaryDirectory(prefix="fuzz-") as smallest:
        subprocess.run([os.path.join(programs, f"fuzz_{name}"), "-set_cover_merge=1", "-use_counters=0", *options(name),
                        smallest, *inputs], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        os.makedirs(corpus, exist_ok=True)
        for file in os.listdir(corpus):
            if not file.startswith("found-"):
                os.remove(os.path.join(corpus, file))
        for file in os.listdir(smallest):
            shutil.copyfile(os.path.join(smallest, file), os.path.join(corpus, file[:12])) # of the hash in its name
    print(f"{name}: {size_of(corpus)}", flush=True)


def observe(replays, name):
    corpus = os.path.join(CORPUS, name)
    program = os.path.join(replays, f"fuzz_{name}")
    observed = subprocess.run([program, corpus], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE).stdout
    with open(corpus + ".observed", "wb") as file:
        file.write(observed)


def main():
    arguments = sys.argv[1:]
    if len(arguments) < 4 or arguments[0] not in ("run", "minimise"):
        sys.exit(__doc__)
    wanted = arguments[4:] or names()
    if arguments[0] == "minimise":
        for name in wanted:
            minimise(arguments[1], arguments[3], name)
            observe(arguments[2], name)
        return 0
    findings = 0
    for result in run_all(arguments[1], arguments[2], arguments[3], wanted):
        rate = result.runs / result.cpu if result.cpu > 0 else 0
        print(f"{result.name}: {result.runs:,} runs, {rate:,.0f} in a second of the processor", flush=True)
        if result.finding:
            print(f"FAILED: {result.name}: {result.finding}", flush=True)
            findings += 1
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
