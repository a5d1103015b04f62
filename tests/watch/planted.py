#!/usr/bin/env python3
"""Compares the table of planted bugs in docs/memory-tools.md with what the tools say of each bug.

planted.py TOOL GAME ASAN_GAME PAGE [--columns NAME,...] [--every N] [--print]

TOOL is core-memory, GAME the program planted, ASAN_GAME the same built with the address sanitizer ("" for none). --every
N runs each N-th bug only. --print prints the rows of the table as they should be.
"""
import argparse
import concurrent.futures
import os
import re
import subprocess
import sys
import tempfile

COLUMNS = {
    "nothing": None,
    "run": [],
    "--check": ["--check"],
    "--quarantine": ["--quarantine", "16"],
    "--valgrind": ["--valgrind"],
    "sanitizer": [],
}
NOTHING = "–"


def unique(words):
    return list(dict.fromkeys(words))


def cell_of(output, status, column):
    """The text of a cell: what a run has said."""
    found = unique(re.findall(r"^fault: ([a-z-]+):", output, re.M))
    if column == "--valgrind":
        found += unique(re.findall(r"== (Invalid \w+)", output))
        found += ["lost"] if re.search(r"definitely lost: [1-9]", output) else []
    if column == "sanitizer":
        found += unique(re.findall(r"ERROR: AddressSanitizer: ([a-z-]+)", output))
    if status < 0:
        found.append("crash")
    if not found and re.search(r"^blocks in use", output, re.M):
        found.append("in use")
    if not found and "has run out of memory" in output:
        found.append("alert")
    return ", ".join(found) or NOTHING


def run(options, number, column):
    with tempfile.TemporaryDirectory(prefix="core-planted-") as folder:
        environment = dict(os.environ, MACAPI_LIBRARY=folder, MACAPI_USER_LIBRARY=folder, ASAN_OPTIONS="detect_leaks=0")
        game = options.asan_game if column == "sanitizer" else options.game
        command = [game, str(number)]
        if COLUMNS[column] is not None:
            command = [options.tool, "run", *COLUMNS[column], "-o", folder + "/out", "--", *command]
        done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, timeout=300)
        return cell_of(done.stderr.decode(errors="replace"), done.returncode, column), done.stderr


def read_table(page):
    """The rows of the page's table: number, sentence, and a cell for each column."""
    with open(page, encoding="utf-8") as file:
        rows = [re.split(r"\s*\|\s*", line.strip().strip("|").strip()) for line in file if re.match(r"\| \d+ \|", line)]
    return {int(row[0]): row[1:] for row in rows if len(row) == 2 + len(COLUMNS)}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("tool")
    parser.add_argument("game")
    parser.add_argument("asan_game")
    parser.add_argument("page")
    parser.add_argument("--columns", default=",".join(COLUMNS))
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("--print", action="store_true")
    options = parser.parse_args()
    columns = [name for name in options.columns.split(",") if name != "sanitizer" or options.asan_game]
    table = read_table(options.page)
    numbers = [number for number in table if number % options.every == 0]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        jobs = {(number, name): pool.submit(run, options, number, name) for number in numbers for name in columns}
    wrong = 0
    for number in numbers:
        cells = table[number][1:] + [""] * len(COLUMNS)
        for place, name in enumerate(COLUMNS):
            if name not in columns:
                continue
            cell, output = jobs[number, name].result()
            wanted = cells[place].replace("`", "")
            if cell != wanted:
                wrong += 1
                print(f"bug {number} ({table[number][0]}), {name}: the page says {wanted!r}, the tool {cell!r}")
                if not options.print:
                    print(output.decode(errors="replace"))
            cells[place] = cell
        if options.print:
            shown = [cell if cell == NOTHING else ", ".join(f"`{word}`" for word in cell.split(", "))
                     for cell in cells[:len(COLUMNS)]]
            print(f"| {number} | {table[number][0]} | " + " | ".join(shown) + " |")
    print(f"{len(numbers) * len(columns)} cells, {wrong} of them wrong")
    return 1 if wrong or not numbers else 0


if __name__ == "__main__":
    sys.exit(main())
