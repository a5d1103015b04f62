#!/usr/bin/env python3
"""The table, the CSV file and the chart of what the benchmarks say.

    build/release/bench/parser_bench | bench/table.py [OUT.csv [OUT.svg]]

Reads the rows of bench/peers.h (subject, operation, side, nanoseconds; tabs between them), of which the first of a subject
is ours, and takes no notice of other lines. "2.5x" behind a peer: it takes 2.5 times as long as we do.
"""
import csv
import math
import os
import sys
from xml.sax.saxutils import escape


def read(lines):
    """Subjects in their order: [(subject, operation, [(side, nanoseconds), ...]), ...]"""
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
    width = max(len(f"{subject}, a {operation}") for subject, operation, _ in subjects)
    for subject, operation, sides in subjects:
        ours = sides[0][1]
        title = f"{subject}, a {operation}"
        peers = "   ".join(f"{side} {duration(taken)} {times(taken / ours)}" for side, taken in sides[1:])
        print(f"{title:<{width}}  {duration(ours):>8}   {peers}".rstrip())


def write_csv(subjects, path):
    with open(path, "w", newline="") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow(["subject", "operation", "side", "nanoseconds", "times ours"])
        for subject, operation, sides in subjects:
            for side, taken in sides:
                rows.writerow([subject, operation, side, f"{taken:.4g}", f"{taken / sides[0][1]:.3f}"])


# ---- The chart: a bar for each peer, from 1x to how much longer than ours it takes, on a logarithmic scale.

WIDTH, MARGIN, NAMES, VALUES = 860, 24, 300, 130  # pixels; NAMES and VALUES are the columns beside the bars
ROW, TITLE, HEAD, FOOT = 22, 30, 64, 44
FASTER, SLOWER, INK, GREY, RULE = "#2a6f97", "#d08c3c", "#1f2933", "#6b7785", "#e3e8ed"
TICKS = (0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000)


class Chart:
    def __init__(self, subjects):
        self.subjects = [entry for entry in subjects if len(entry[2]) > 1]
        ratios = [taken / sides[0][1] for _, _, sides in self.subjects for _, taken in sides[1:]]
        self.low = max([tick for tick in TICKS if tick <= min(ratios + [1])] or [TICKS[0]])
        self.high = min([tick for tick in TICKS if tick >= max(ratios + [2])] or [TICKS[-1]])
        self.parts = []

    def x(self, ratio):
        inside = min(max(ratio, self.low), self.high)
        share = math.log(inside / self.low) / math.log(self.high / self.low)
        return MARGIN + NAMES + share * (WIDTH - 2 * MARGIN - NAMES - VALUES)

    def text(self, x, y, words, size=12, colour=INK, anchor="start", weight="normal"):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" fill="{colour}" '
                          f'text-anchor="{anchor}" font-weight="{weight}">{escape(words)}</text>')

    def bar(self, y, ratio):
        left, right = sorted((self.x(1), self.x(ratio)))
        colour = FASTER if ratio >= 1 else SLOWER
        self.parts.append(f'<rect x="{left:.1f}" y="{y:.1f}" width="{max(right - left, 1):.1f}" height="{ROW - 8}" '
                          f'rx="2" fill="{colour}"/>')

    def scale(self, bottom):
        for tick in (tick for tick in TICKS if self.low <= tick <= self.high):
            x = self.x(tick)
            colour = GREY if tick == 1 else RULE
            self.parts.append(f'<line x1="{x:.1f}" y1="{HEAD}" x2="{x:.1f}" y2="{bottom:.1f}" stroke="{colour}"/>')
            self.text(x, bottom + 16, f"{tick:g}x", 11, GREY, "middle")

    def draw(self):
        height = HEAD + FOOT + sum(TITLE + ROW * (len(sides) - 1) for _, _, sides in self.subjects)
        self.text(MARGIN, 34, "How many times as long the others take", 17, weight="600")
        self.text(MARGIN, 53, "Beside each subject: core's own time for one operation. Left of 1x the other one is faster.",
                  12, GREY)
        self.scale(height - FOOT + 4)
        y = HEAD
        for subject, operation, sides in self.subjects:
            ours = sides[0][1]
            self.text(MARGIN, y + 20, subject, 13, weight="600")
            self.text(WIDTH - MARGIN, y + 20, f"{duration(ours)} a {operation}", 12, GREY, "end")
            y += TITLE
            for side, taken in sides[1:]:
                self.bar(y, taken / ours)
                self.text(MARGIN + NAMES - 12, y + 11, side, 12, INK, "end")
                self.text(WIDTH - MARGIN, y + 11, f"{times(taken / ours)}", 12, INK, "end", "600")
                y += ROW
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
                f'viewBox="0 0 {WIDTH} {height}" font-family="Helvetica, Arial, sans-serif">\n'
                f'<rect width="{WIDTH}" height="{height}" rx="8" fill="#ffffff"/>\n' + "\n".join(self.parts) + "\n</svg>\n")


def main():
    subjects = read(sys.stdin)
    if not subjects:
        sys.exit("table.py: no rows")
    write_table(subjects)
    for path, write in zip(sys.argv[1:3], (write_csv, lambda them, out: open(out, "w").write(Chart(them).draw()))):
        os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
        write(subjects, path)


if __name__ == "__main__":
    main()
