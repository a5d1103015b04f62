"""R1: lines and branches of core that the tests reach, by the preset coverage. Only a full run measures it."""
import os
import re

import figure

TITLE = "lines and branches of `core/` that the tests of the preset `coverage` reach"
TARGET = "100 % and 100 %"
COMMAND = "./run prove R1"


def measure(place):
    if not place.full:
        raise figure.NotMeasured("a full run measures it: all tests run")
    output = figure.run([os.path.join(place.source, "run"), "coverage"], cwd=place.source).stdout
    found = [re.search(rf"^{name}: ([\d.]+)% \((\d+) out of (\d+)\)", output, re.MULTILINE) for name in ("lines", "branches")]
    if not all(found):
        raise figure.NotMeasured(f"./run coverage: {figure.last_lines(output)}")
    text = ", ".join(f"{match[1]} % of {match[3]} {name}" for match, name in zip(found, ("lines", "branches")))
    return figure.Value(text, reached=all(match[2] == match[3] for match in found))
