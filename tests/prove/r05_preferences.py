"""R5: a store of preferences whose writers are killed, have no disk space, or see failing calls: tests/soak/soak.py."""
import os
import re
import sys

import figure

TITLE = "preferences: writers that were killed, had no space or met a failing call, added up; keys that were lost"
TARGET = "10,000 cuts, 0 keys lost"
CUTS = 10_000
COMMAND = "./run prove R5"


def measure(place):
    writer = place.program("release", "tests", "soak", "store_writer")
    words = [] if place.full else ["--short"]
    result = figure.run([sys.executable, os.path.join(place.source, "tests", "soak", "soak.py"), *words, writer])
    if result.returncode == 77:
        raise figure.NotMeasured(result.stdout.strip())
    cuts = sum(int(number) for number in re.findall(
        r": (?:killed at|killed after each of|no room behind each of)? ?(\d+) (?:system calls|numbers of bytes|failed calls)",
        result.stdout))
    faults = re.findall(r"^FAILED: (.*)", result.stdout, re.MULTILINE)
    if result.returncode != 0 and not faults:
        faults = [figure.last_lines(result.stdout)]
    counters = place.add("R5", cuts=cuts, faults=len(faults))
    return figure.Value(f"{counters['cuts']:,} cuts, {counters['faults']} with a fault; not measured: unsynced writes in "
                        "other orders, time of the next open", faults, reached=False)
