#!/usr/bin/env python3
"""Makes the table, the CSV file and the chart of the benchmarks' results.

    build/release/bench/parser_bench | bench/table.py [OUT.csv [OUT.svg]]

Reads the rows that bench/peers.h describes: subject, operation, side and nanoseconds, with tabs between them. The first
row of a subject is core's. Other lines are ignored. "2.5x" after a peer: the peer takes 2.5 times as long as core.
"""
import csv
import math
import os
import sys
from xml.sax.saxutils import escape


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


def write_table(subjects):
    titles = [f"{subject}, per {operation}" for subject, operation, _ in subjects]
    width = max(map(len, titles))
    for title, (_, _, sides) in zip(titles, subjects):
        ours = sides[0][1]
        peers = "   ".join(f"{side} {duration(taken)} {times(taken / ours)}" for side, taken in sides[1:])
        print(f"{title:<{width}}  {duration(ours):>8}   {peers}".rstrip())


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
ROW, GAP, HEAD, FOOT = 17, 9, 86, 20
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

    def peer(self, y, name, ratio):
        left, right = sorted((self.x(1), self.x(ratio)))
        self.text(BARS - 12, y + 12, name, 11.5, INK, "end")
        self.parts.append(f'<rect x="{left:.1f}" y="{y + 3:.1f}" width="{max(right - left, 1):.1f}" height="{ROW - 6}" '
                          f'rx="2" fill="{FASTER if ratio >= 1 else SLOWER}"/>')
        self.text(WIDTH - MARGIN, y + 12, times(ratio), 11.5, INK, "end", "600")

    def draw(self):
        heights = [ROW * max(len(sides) - 1, 2) + GAP for _, _, sides in self.subjects]
        bottom = HEAD + sum(heights)
        self.text(MARGIN, 34, "How many times as long as core the other libraries take", 17, weight="600")
        words = "Right of 1x core is faster; left of 1x the other library is. core's own time is below each subject."
        if self.fastest < self.low:
            words += f" Bars end at {self.low:g}x."
        self.text(MARGIN, 53, words, 12, GREY)
        self.scale(bottom)
        y = HEAD
        for (subject, operation, sides), height in zip(self.subjects, heights):
            ours = sides[0][1]
            self.line(MARGIN, y, WIDTH - MARGIN, y, RULE)
            self.text(MARGIN, y + GAP / 2 + 12, subject, 12, weight="600")
            self.text(MARGIN, y + GAP / 2 + 12 + ROW, f"{duration(ours)} per {operation}", 11.5, GREY)
            for row, (side, taken) in enumerate(sides[1:]):
                self.peer(y + GAP / 2 + row * ROW, side, taken / ours)
            y += height
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + FOOT}" '
                f'viewBox="0 0 {WIDTH} {bottom + FOOT}" font-family="Helvetica, Arial, sans-serif">\n'
                f'<rect width="{WIDTH}" height="{bottom + FOOT}" rx="8" fill="#ffffff"/>\n'
                + "\n".join(self.parts) + "\n</svg>\n")


def write_chart(subjects, path):
    with open(path, "w") as file:
        file.write(Chart(subjects).draw())


def main():
    subjects = read(sys.stdin)
    if not subjects:
        sys.exit("table.py: no rows")
    write_table(subjects)
    for path, write in zip(sys.argv[1:], (write_csv, write_chart)):
        os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
        write(subjects, path)


if __name__ == "__main__":
    main()
