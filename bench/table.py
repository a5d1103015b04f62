#!/usr/bin/env python3
"""Makes the table, the CSV file and the chart of the benchmarks' results.

    build/release/bench/parser_bench | bench/table.py [OUT.csv [OUT.svg [SHORT.svg]]]

Reads the rows that bench/peers.h describes: subject, operation, side and nanoseconds, with tabs between them. The first
row of a subject is core's. Other lines are ignored. "2.5x" after a peer: the peer takes 2.5 times as long as core.
A subject may have a goal, the longest time that core should take (GOALS). The table says whether core reached it, and a
mark in the chart shows where the bar of that peer should end. SHORT.svg is a chart of the subjects in SHORT.
The machine and the date are written below the title of a chart.
"""
import csv
import datetime
import math
import os
import platform
import sys
from xml.sax.saxutils import escape


# The goals: a subject, or its beginning with "..."; then a peer and the part of its time that core may take, or None
# and nanoseconds. The first goal that matches a subject counts.
GOALS = (
    ("strings file of 1000 texts, loaded", "fgets, std::unordered_map, no escapes", 0.9),
    ("config file, values of eight kinds", "memchr, from_chars, by hand", 1.6),
    ("program that makes a bank", None, 10e6),
    ("start of a small game", None, 0.3e6),
    ("Preferences::read, 20 settings", None, 250),
    ("Preferences::read, INI file of 20 settings", None, 1000),
    ("heap: worst...", None, 1000),
    ("heap: index and walk...", "the walk", 1.1),
    ("heap: ...", "rbtree_best_fit", 1.0),
    ("core-memory run: ...", "the game alone", 1.25),
    ("core-memory run --check: ...", "the game alone", 3.0),
    ("core-memory run --stacks: ...", "the game alone", 10.0),
)

# The goal for many sessions of the heap together: the geometric mean of core's time divided by this peer's time, both
# without the loop of the benchmark. There is one mean for the sessions that the heap was tuned with, and one for the
# sessions that were kept out of the tuning. The other subjects of the heap have one of these words in their names.
MEAN_PEER, MEAN_GOAL = "rbtree_best_fit", 0.6
KEPT_OUT = "heap: kept out, "
NO_SESSION = ("cold, ", "worst of ", "among free nodes", "half in use", "index and walk")

# The subjects of the short chart, in its order.
SHORT = (
    "heap: lua-game",
    "heap: images",
    "heap: levels in reverse",
    "heap: 20,000 holes",
    "config file, cut into tokens",
    "config file, values of eight kinds",
    "translate, known texts",
    "strings file of 1000 texts, loaded",
    "Preferences::read, 20 settings",
    "RegSetInt32, one of 1000 settings",
    "program that makes a bank",
    "start of a small game",
)


def goal(subject):
    """Returns (peer, factor or nanoseconds); None for a subject without a goal."""
    for name, peer, limit in GOALS:
        if subject == name or (name.endswith("...") and subject.startswith(name[:-3])):
            return peer, limit
    return None


def limit_of(subject, sides):
    """Returns core's longest time in nanoseconds; None for a subject without a goal, and when its peer is missing."""
    peer, limit = goal(subject) or (None, None)
    if peer is None:
        return limit
    times_of = dict(sides)
    return times_of[peer] * limit if peer in times_of else None


def read(lines):
    """Returns the subjects in input order: [(subject, operation, [(side, nanoseconds), ...]), ...]"""
    subjects = {}
    for line in lines:
        fields = line.rstrip("\n").split("\t")
        if len(fields) == 4:
            subject, operation, side, nanoseconds = fields
            subjects.setdefault(subject, (operation, []))[1].append((side, float(nanoseconds)))
    return [(subject, operation, sides) for subject, (operation, sides) in subjects.items()]


def duration(nanoseconds):
    for limit, divisor, unit in ((1e3, 1, "ns"), (1e6, 1e3, "us"), (1e9, 1e6, "ms"), (math.inf, 1e9, "s")):
        if nanoseconds < limit:
            return f"{nanoseconds / divisor:.3g} {unit}"


def times(ratio):
    return f"{ratio:.2f}x" if ratio < 10 else f"{ratio:.0f}x"


def verdict(subject, sides):
    limit = limit_of(subject, sides)
    if limit is None:
        return ""
    return f"   (goal {duration(limit)}: {'reached' if sides[0][1] <= limit else 'missed'})"


def heap_means(subjects):
    """Returns a sentence about the goal for each half of the heap's sessions that has sessions with the peer."""
    ratios = {"used for tuning": [], "kept out of tuning": []}
    for subject, _, sides in subjects:
        if subject.startswith("heap: ") and MEAN_PEER in dict(sides) and not any(w in subject for w in NO_SESSION):
            half = "kept out of tuning" if subject.startswith(KEPT_OUT) else "used for tuning"
            ratios[half].append(sides[0][1] / dict(sides)[MEAN_PEER])
    sentences = []
    for half, found in ratios.items():
        if found:
            mean = math.exp(sum(map(math.log, found)) / len(found))
            sentences.append(f"heap, geometric mean of {len(found)} sessions {half}: {mean:.2f} of {MEAN_PEER}'s time,"
                             f" the slowest {max(found):.2f}"
                             f"   (goal {MEAN_GOAL}: {'reached' if mean <= MEAN_GOAL else 'missed'})")
    return sentences


def machine():
    """Returns the processor, the number of its cores, and the day."""
    model = platform.machine()
    try:
        with open("/proc/cpuinfo") as file:
            model = next((line.split(":", 1)[1].strip() for line in file if line.startswith("model name")), model)
    except OSError:
        pass
    return f"{model}, {os.cpu_count()} cores, {datetime.date.today().isoformat()}"


def write_table(subjects):
    titles = [f"{subject}, per {operation}" for subject, operation, _ in subjects]
    width = max(map(len, titles))
    for title, (subject, _, sides) in zip(titles, subjects):
        ours = sides[0][1]
        peers = "   ".join(f"{side} {duration(taken)} {times(taken / ours)}" for side, taken in sides[1:])
        print(f"{title:<{width}}  {duration(ours):>8}   {peers}{verdict(subject, sides)}".rstrip())
    for sentence in heap_means(subjects):
        print(sentence)


def write_csv(subjects, path):
    with open(path, "w", newline="") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow(["subject", "operation", "side", "nanoseconds", "times ours"])
        for subject, operation, sides in subjects:
            for side, taken in sides:
                rows.writerow([subject, operation, side, f"{taken:.4g}", f"{taken / sides[0][1]:.3f}"])


# ---- The chart: a bar for each peer, from 1x to the peer's time divided by core's time, on a logarithmic scale.

WIDTH, MARGIN = 900, 24  # pixels
BARS, VALUES = 490, 60   # x of the start of the bars; width of the column after the bars
ROW, GAP, HEAD, FOOT = 17, 9, 104, 20
FASTER, SLOWER, INK, GREY, RULE = "#2a6f97", "#d08c3c", "#1f2933", "#6b7785", "#e3e8ed"
TICKS = (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000)


class Chart:
    def __init__(self, subjects):
        self.subjects = [entry for entry in subjects if len(entry[2]) > 1]
        ratios = [taken / sides[0][1] for _, _, sides in self.subjects for _, taken in sides[1:]]
        self.fastest = min(ratios + [0.5])
        self.low = max([tick for tick in TICKS if tick <= self.fastest] or [TICKS[0]])
        self.high = min([tick for tick in TICKS if tick >= max(ratios + [2])] or [TICKS[-1]])
        self.parts = []

    def x(self, ratio):
        inside = min(max(ratio, self.low), self.high)
        share = math.log(inside / self.low) / math.log(self.high / self.low)
        return BARS + share * (WIDTH - MARGIN - VALUES - BARS)

    def text(self, x, y, words, size=12, colour=INK, anchor="start", weight="normal"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" fill="{colour}" '
                          f'text-anchor="{anchor}" font-weight="{weight}">{escape(words)}</text>')

    def line(self, x1, y1, x2, y2, colour):
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>')

    def scale(self, bottom):
        for tick in (tick for tick in TICKS if self.low <= tick <= self.high):
            self.line(self.x(tick), HEAD, self.x(tick), bottom, GREY if tick == 1 else RULE)
            self.text(self.x(tick), HEAD - 6, f"{tick:g}x", 11, GREY, "middle")

    def peer(self, y, name, ratio, least):
        left, right = sorted((self.x(1), self.x(ratio)))
        self.text(BARS - 12, y + 12, name, 11.5, INK, "end")
        self.parts.append(f'<rect x="{left:.1f}" y="{y + 3:.1f}" width="{max(right - left, 1):.1f}" height="{ROW - 6}" '
                          f'rx="2" fill="{FASTER if ratio >= 1 else SLOWER}"/>')
        self.text(WIDTH - MARGIN, y + 12, times(ratio), 11.5, INK, "end", "600")
        if least is not None:
            self.parts.append(f'<rect x="{self.x(least) - 1:.1f}" y="{y + 1:.1f}" width="2" height="{ROW - 2}" '
                              f'fill="{INK}"/>')

    def draw(self):
        heights = [ROW * max(len(sides) - 1, 2) + GAP for _, _, sides in self.subjects]
        bottom = HEAD + sum(heights)
        self.text(MARGIN, 34, "How many times as long as core the other libraries take", 17, weight="600")
        words = "Right of 1x core is faster; left of 1x the other library is. core's own time is below each subject."
        if self.fastest < self.low:
            words += f" Bars end at {self.low:g}x."
        self.text(MARGIN, 53, words, 12, GREY)
        self.text(MARGIN, 70, f"A dark mark is a goal: the bar should end at it or right of it. {machine()}.", 12, GREY)
        self.scale(bottom)
        y = HEAD
        for (subject, operation, sides), height in zip(self.subjects, heights):
            ours = sides[0][1]
            self.line(MARGIN, y, WIDTH - MARGIN, y, RULE)
            self.text(MARGIN, y + GAP / 2 + 12, subject, 12, weight="600")
            limit = limit_of(subject, sides)
            peer = (goal(subject) or (None, None))[0]
            words = f"{duration(ours)} per {operation}"
            if limit is not None and peer is None:
                words += f" (goal: {duration(limit)})"
            self.text(MARGIN, y + GAP / 2 + 12 + ROW, words, 11.5, GREY)
            for row, (side, taken) in enumerate(sides[1:]):
                least = taken / limit if limit is not None and side == peer else None
                self.peer(y + GAP / 2 + row * ROW, side, taken / ours, least)
            y += height
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + FOOT}" '
                f'viewBox="0 0 {WIDTH} {bottom + FOOT}" font-family="Helvetica, Arial, sans-serif">\n'
                f'<rect width="{WIDTH}" height="{bottom + FOOT}" rx="8" fill="#ffffff"/>\n'
                + "\n".join(self.parts) + "\n</svg>\n")


def write_chart(subjects, path):
    with open(path, "w") as file:
        file.write(Chart(subjects).draw())


def write_short_chart(subjects, path):
    by_name = {entry[0]: entry for entry in subjects}
    write_chart([by_name[name] for name in SHORT if name in by_name], path)


def main():
    subjects = read(sys.stdin)
    if not subjects:
        sys.exit("table.py: no rows")
    write_table(subjects)
    for path, write in zip(sys.argv[1:], (write_csv, write_chart, write_short_chart)):
        os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
        write(subjects, path)


if __name__ == "__main__":
    main()
