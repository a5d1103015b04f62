"""R1: which lines and branches the tests reach, by `./run coverage`. Only a full run measures it, because all tests run."""
import os

import coverage
import figure

TITLE = "lines and branches of `core/` that the tests reach, and lines of the other folders"
TARGET = "`core/`: 100 % and 100 %, but for lines listed with a reason; other folders: 95 % of the lines"
COMMAND = "./run prove R1"
LEAST = 95 # percent of the lines of each other folder


def measure(place):
    if not place.full:
        raise figure.NotMeasured("a full run measures it: all tests run")
    result = figure.run([os.path.join(place.source, "run"), "coverage"], cwd=place.source)
    try:
        report = coverage.Report(place.source)
    except OSError as error:
        raise figure.NotMeasured(f"./run coverage: {figure.last_lines(result.stdout)}") from error
    faults = report.faults()
    if result.returncode != 0:
        faults.append(f"./run coverage: {figure.last_lines(result.stdout)}")
    shares = report.shares()
    return figure.Value(report.summary(), faults, all(share >= LEAST for share in shares.values()))
