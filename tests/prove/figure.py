"""What all figures share."""
import os
import re
import subprocess


class NotMeasured(Exception):
    """The figure cannot be measured here; the text says why."""


class Value:
    """A figure's value of today.

    text: for the table. faults: what broke the promise, a line each. reached: the value is at its target.
    """

    def __init__(self, text, faults=(), reached=False):
        self.text = text
        self.faults = list(faults)
        self.reached = reached and not self.faults


class Place:
    """Where a run of prove works.

    source: the root of the sources. own: a folder for its files. full: a run of a night. counters: numbers that add up
    over runs, by the name of the figure.
    """

    def __init__(self, source, own, full, seed, counters):
        self.source = source
        self.own = own
        self.full = full
        self.seed = seed
        self.counters = counters

    def program(self, preset, *parts):
        """The path of a built program; raises NotMeasured when it has not been built."""
        path = os.path.join(self.source, "build", preset, *parts)
        if not os.path.exists(path):
            raise NotMeasured(f"build/{preset}/{'/'.join(parts)} is not built")
        return path

    def add(self, figure, **numbers):
        """Adds numbers to the figure's counters and returns all its counters."""
        counters = self.counters.setdefault(figure, {})
        for name, number in numbers.items():
            counters[name] = counters.get(name, 0) + number
        return counters


def run(words, **options):
    """Runs a command; its output, standard error included, is in stdout."""
    return subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **options)


def last_lines(text, count=3):
    return " / ".join(re.sub(r"\s+", " ", line).strip() for line in text.strip().split("\n")[-count:])
