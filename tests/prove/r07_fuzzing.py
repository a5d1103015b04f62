"""R7: the fuzzers, with the address and undefined-behaviour sanitizers. They start from the corpus in the tree."""
import os
import sys

import figure

TITLE = "runs of each fuzzer, added up"
TARGET = "100 M runs each, 0 open findings"
RUNS = 100_000_000
COMMAND = "./run prove R7"


def in_millions(runs):
    return f"{runs / 1_000_000:.2f} M" if runs >= 1_000_000 else f"{runs:,}"


def measure(place, seconds=None):
    seconds = seconds or (1800 if place.full else 5)
    folder = os.path.join(place.source, "tests", "fuzz")
    sys.path.insert(0, folder)
    import fuzzers
    names = fuzzers.names()
    programs = {os.path.dirname(place.program("fuzz", "tests", "fuzz", f"fuzz_{name}")) for name in names}
    faults = []
    for result in fuzzers.run_all(programs.pop(), os.path.join(place.own, "fuzz"), seconds, names):
        place.add("R7", **{result.name: result.runs})
        if result.finding:
            faults.append(f"fuzz_{result.name}: {result.finding}")
    counters = place.add("R7")
    text = ", ".join(f"{name} {in_millions(counters[name])}" for name in names)
    return figure.Value(f"{text}; {len(faults)} findings", faults, all(counters[name] >= RUNS for name in names))
