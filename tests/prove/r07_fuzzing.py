"""R7: the fuzzers, with the address and undefined-behaviour sanitizers. They start from the corpus in the tree."""
import os
import re
import tempfile

import figure

TITLE = "runs of each fuzzer, added up"
TARGET = "100 M runs each, 0 open findings"
RUNS = 100_000_000
COMMAND = "./run prove R7"


def measure(place):
    seconds = 1800 if place.full else 5
    names = sorted(name[len("fuzz_"):-len(".cpp")] for name in os.listdir(os.path.join(place.source, "tests", "fuzz"))
                   if name.startswith("fuzz_"))
    faults = []
    learnt = os.path.join(place.own, "fuzz")
    for name in names:
        program = place.program("fuzz", "tests", "fuzz", f"fuzz_{name}")
        corpus = os.path.join(learnt, name)
        os.makedirs(corpus, exist_ok=True)
        with tempfile.TemporaryDirectory(prefix="prove-") as folder:
            result = figure.run([program, f"-max_total_time={seconds}", "-max_len=4096", "-print_final_stats=1",
                                 f"-artifact_prefix={learnt}/{name}-", corpus,
                                 os.path.join(place.source, "tests", "fuzz", "corpus", name)], cwd=folder)
        runs = re.search(r"number_of_executed_units:\s*(\d+)", result.stdout)
        if result.returncode != 0:
            faults.append(f"fuzz_{name}: {figure.last_lines(result.stdout)}")
        place.add("R7", **{name: int(runs[1]) if runs and result.returncode == 0 else 0})
    counters = place.add("R7")
    text = ", ".join(f"{name} {counters[name]:,}" for name in names)
    return figure.Value(f"{text}; {len(faults)} findings", faults, all(counters[name] >= RUNS for name in names))
