"""R14: one user spoils a folder that all users share, while another user's game and root use it. Only root can be two
users."""
import os
import re
import sys

import figure

TITLE = "hours in which one user attacked another through a shared folder, added up; files outside of it that were read, moved or changed"
TARGET = "8 hours, 0 files"
COMMAND = "./run prove R14"
HOURS = 8
SKIPPED = 77


def measure(place):
    """A quick run takes 20 seconds, a full run half an hour."""
    seconds = 1800 if place.full else 20
    result = figure.run([sys.executable, os.path.join(place.source, "tests", "soak", "two_users.py"), "--seconds", str(seconds),
                         place.program("release", "tests", "soak", "store_writer"),
                         place.program("release", "tools", "core-prefs")])
    if result.returncode == SKIPPED:
        raise figure.NotMeasured(figure.last_lines(result.stdout, 1))
    faults = re.findall(r"^FAILED: (.*)", result.stdout, re.MULTILINE)
    calls = re.search(r"^(\d+) processes", result.stdout, re.MULTILINE)
    if result.returncode != 0 and not faults or not calls:
        faults.append(figure.last_lines(result.stdout))
    counters = place.add("R14", seconds=0 if faults else seconds, calls=int(calls[1]) if calls and not faults else 0)
    hours = counters["seconds"] / 3600
    return figure.Value(f"{hours:.2f} hours, {counters['calls']:,} processes of the other user and root; {len(faults)} faults",
                        faults, reached=hours >= HOURS)
