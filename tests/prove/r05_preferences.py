"""R5: a store of preferences whose writers are killed, have no disk space, meet failing calls (tests/soak/soak.py) or
lose the power (tests/prove/replay.py)."""
import os
import re
import sys
import tempfile

import figure
import replay

TITLE = "preferences: cuts, which are writers that were killed, lost the power, had no space or met a failing call"
TARGET = "10,000 cuts, 0 committed keys lost, next open under 100 ms, no stale lock"
CUTS = 10_000
COMMAND = "./run prove R5"
SOAK = re.compile(r"(?:killed at|killed after each of|no room behind each of|:) (\d+) "
                  r"(?:system calls|numbers of bytes|failed calls)|^(\d+) processes killed", re.MULTILINE)


def soak(place, writer):
    """Runs soak.py; returns the number of its cuts, and its faults."""
    words = [] if place.full else ["--short"]
    result = figure.run([sys.executable, os.path.join(place.source, "tests", "soak", "soak.py"), *words, writer])
    if result.returncode == 77:
        raise figure.NotMeasured(result.stdout.strip())
    print("  " + result.stdout.strip().replace("\n", "\n  "), flush=True)
    faults = re.findall(r"^FAILED: (.*)", result.stdout, re.MULTILINE)
    if result.returncode != 0 and not faults:
        faults = [figure.last_lines(result.stdout)]
    return sum(int(number) for found in SOAK.findall(result.stdout) for number in found if number), faults


def time_of(microseconds):
    times = sorted(microseconds)
    return f"{times[len(times) // 2] / 1000:.1f} ms (median), at most {times[-1] / 1000:.0f} ms"


def measure(place):
    writer = place.program("release", "tests", "soak", "store_writer")
    recovery = place.program("release", "tests", "prove", "prove_recovery")
    disturbed, faults = soak(place, writer)
    run = place.add("R5", runs=1)["runs"]  # each run chooses other states
    # In memory, the times are the library's and not the disk's.
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="prove-", dir=memory) as folder:
        found = replay.run((writer, recovery), folder, place.full, place.seed + run)
    for name, count in sorted(found.counts.items()):
        print(f"  replay: {count:,} {name}", flush=True)
    faults += found.faults
    power, killed = found.counts["power"], found.counts["killed"]
    cuts = disturbed + power + killed + found.counts["full disk"]
    counters = place.add("R5", cuts=cuts, power=power)
    return figure.Value(
        f"{counters['cuts']:,} cuts, {counters['power']:,} of them losses of power with writes out of order; "
        f"{len(faults)} faults in this run; the next open took {time_of(found.reads)}, and its first write "
        f"{time_of(found.writes)}; no stale lock", faults, reached=counters["cuts"] >= CUTS)
