#!/usr/bin/env python3
"""Reads what gcov counted in several builds and merges it: which lines and branches of which sources were reached.

A build's counts are those of all its programs and libraries. A line is reached if a build has reached it.

Only decisions of the source count as branches. After each call that can throw, the compiler adds an edge to the code
that handles the exception, and gcov lists this edge and the edge to the next statement as branches of the line. Such a
pair is not counted. Branches of a line without source code, such as the destructors at a closing brace, are not counted
either.

The compiler can make more than one version of a line: for each type of a template, for each build. Versions with the same
number of branches are merged branch by branch. When the numbers differ, the version counts in which the largest share of
the branches is reached.
"""
import collections
import concurrent.futures
import json
import os
import re
import subprocess
import sys

BATCH = 24 # notes files for each start of gcov


class Source:
    """The lines of one source by number: how often each ran; and by number, then number of branches: how often each ran."""

    def __init__(self):
        self.lines = {}
        self.versions = collections.defaultdict(dict)

    def add_line(self, number, count, branches):
        self.lines[number] = self.lines.get(number, 0) + count
        if branches:
            known = self.versions[number].setdefault(len(branches), [0] * len(branches))
            for index, taken in enumerate(branches):
                known[index] += taken

    def branches(self, number):
        """How often each branch of a line was taken."""
        return max(self.versions[number].values(), key=lambda taken: sum(map(bool, taken)) / len(taken), default=[])


def decisions(branches):
    """The counts of the branches that are decisions of the source."""
    kept = []
    for branch in branches:
        if branch["throw"]:
            del kept[-1:] # the edge to the next statement
        else:
            kept.append(branch["count"])
    return kept


def notes_below(folder):
    """The compiler's notes for each object of a build. The samples are left out: their lines are comments of headers."""
    for path, folders, names in os.walk(folder):
        if os.path.basename(path) == "tests" and "samples" in folders:
            folders.remove("samples")
        yield from (os.path.join(path, name) for name in names if name.endswith(".gcno"))


def _read(gcov, notes):
    words = [gcov, "--json-format", "--stdout", "--branch-probabilities", *notes]
    # gcov's status is not 0 when it cannot read the counts of an object. The lines of that object then count as not reached.
    output = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False).stdout
    return [json.loads(line) for line in output.splitlines() if line.startswith(b"{")]


def _has_code(text):
    return re.search(r"\w", re.sub(r"//.*|\b(else|default:)", "", text)) is not None


def _assertions(texts):
    """The numbers of the lines of assert statements."""
    numbers = set()
    inside = False
    for number, text in enumerate(texts, 1):
        inside = inside or text.lstrip().startswith("assert(")
        if inside:
            numbers.add(number)
        inside = inside and not text.rstrip().endswith(");")
    return numbers


class Reached:
    """The merged counts: sources by their path below root, for the folders of root that count."""

    def __init__(self, root, folders):
        self.root = os.path.realpath(root)
        self.folders = folders
        self.sources = collections.defaultdict(Source)
        self.texts = {}
        self.assertions = {}

    def add_build(self, folder, gcov="gcov"):
        notes = sorted(notes_below(folder))
        batches = [notes[i:i + BATCH] for i in range(0, len(notes), BATCH)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            for documents in pool.map(lambda batch: _read(gcov, batch), batches):
                for document in documents:
                    self._add(document)

    def _add(self, document):
        for file in document["files"]:
            path = os.path.realpath(os.path.join(document["current_working_directory"], file["file"]))
            name = os.path.relpath(path, self.root)
            if name.split(os.sep)[0] not in self.folders:
                continue
            for line in file["lines"]:
                number = line["line_number"]
                decides = _has_code(self.text(name, number)) and number not in self.assertions[name]
                self.sources[name].add_line(number, line["count"], decisions(line["branches"]) if decides else [])

    def text(self, name, number):
        if name not in self.texts:
            with open(os.path.join(self.root, name), encoding="utf-8") as file:
                self.texts[name] = file.read().split("\n")
            self.assertions[name] = _assertions(self.texts[name])
        return self.texts[name][number - 1].strip()

    def of_folder(self, folder):
        return {name: source for name, source in sorted(self.sources.items()) if name.startswith(folder + os.sep)}


# ---- The tools in Python

def _lines_of(code):
    """The numbers of the lines of a code object that do something."""
    yield from (number for _, _, number in code.co_lines() if number)
    for constant in code.co_consts:
        if isinstance(constant, type(code)):
            yield from _lines_of(constant)


def _is_python(path):
    with open(path, encoding="utf-8", errors="replace") as file:
        return path.endswith(".py") or "python" in file.readline()


def python_sources(root, folder):
    """The sources in Python below a folder: for each path the lines that do something, and those that ran."""
    ran = collections.defaultdict(set)
    for name in os.listdir(os.path.join(root, PYLINES)):
        with open(os.path.join(root, PYLINES, name), encoding="utf-8") as file:
            for line in file:
                path, _, number = line.rpartition(":")
                ran[os.path.relpath(path, root)].add(int(number))
    sources = {}
    for place, _, names in os.walk(os.path.join(root, folder)):
        for path in (os.path.join(place, name) for name in names):
            if _is_python(path):
                with open(path, encoding="utf-8") as file:
                    lines = set(_lines_of(compile(file.read(), path, "exec")))
                name = os.path.relpath(path, root)
                sources[name] = (lines, lines & ran[name])
    return sources


# ---- The report of `./run coverage`

FOLDERS = ["core", "file", "logger", "macapi", "watch", "tools"]
BUILDS = [("coverage", "gcov"), ("coverage-checked", "gcov"), ("coverage-powerpc", "powerpc-linux-gnu-gcov")]
PYLINES = "build/run/pylines"
LIST = os.path.join(os.path.dirname(os.path.abspath(__file__)), "unreached.txt")


def explained(path):
    """The lines of the list, by source."""
    lines = collections.defaultdict(collections.Counter)
    with open(path, encoding="utf-8") as file:
        items = re.split(r"\n\n+", re.sub(r"(?m)^#.*\n", "", file.read()).strip())
    for item in filter(None, items):
        source, *rest = item.split("\n")
        lines[source].update(line[2:] for line in rest if line.startswith("- "))
        if not rest or rest[-1].startswith("- "):
            raise ValueError(f"{path}: no reason for {source}: {item}")
    return lines


class Report:
    def __init__(self, root):
        self.reached = Reached(root, FOLDERS)
        for preset, gcov in BUILDS:
            self.reached.add_build(os.path.join(root, "build", preset), gcov)
        self.python = python_sources(root, "tools")
        self.explained = explained(LIST)

    def unreached(self, folder):
        """(source, line, count of branches that were not taken; 0: the line did not run) for each line with a gap."""
        for name, source in self.reached.of_folder(folder).items():
            for number, count in sorted(source.lines.items()):
                missing = source.branches(number).count(0)
                if count == 0 or missing:
                    yield name, number, missing if count else 0

    def lines(self, folder):
        """The number of lines that ran, and of all."""
        counts = [count for source in self.reached.of_folder(folder).values() for count in source.lines.values()]
        return sum(map(bool, counts)), len(counts)

    def branches(self, folder):
        taken = [count for source in self.reached.of_folder(folder).values() for number in source.versions
                 for count in source.branches(number)]
        return sum(map(bool, taken)), len(taken)

    def python_lines(self):
        return sum(len(ran) for _, ran in self.python.values()), sum(len(lines) for lines, _ in self.python.values())

    def shares(self):
        """The percentage of lines of each folder but core, and of the tools in Python."""
        counts = {folder: self.lines(folder) for folder in FOLDERS[1:]}
        counts["tools in Python"] = self.python_lines()
        return {name: 100 * ran / max(all_lines, 1) for name, (ran, all_lines) in counts.items()}

    def faults(self):
        """Lines of core with a gap that the list does not explain, and lines of the list that have no gap."""
        left = {name: lines.copy() for name, lines in self.explained.items()}
        faults = []
        for name, number, missing in self.unreached("core"):
            text = self.reached.text(name, number)
            lines = left.get(name, collections.Counter())
            lines[text] -= 1
            if lines[text] < 0:
                what = f"{missing} branches not taken" if missing else "did not run"
                faults.append(f"{name}:{number}: {what}: {text}")
        stale = [f"{os.path.basename(LIST)}: {name}: reached, or no longer a line: {text}"
                 for name, lines in left.items() for text, count in lines.items() for _ in range(count)]
        return faults + stale

    def summary(self):
        def share(counts, what):
            return f"{100 * counts[0] / max(counts[1], 1):.1f} % of {counts[1]:,} {what}"

        listed = sum(sum(lines.values()) for lines in self.explained.values())
        core = f"core {share(self.lines('core'), 'lines')} and {share(self.branches('core'), 'branches')}, {listed} lines listed"
        others = ", ".join(f"{name} {percent:.1f} %" for name, percent in self.shares().items())
        return f"{core}; lines of the other folders: {others}"

    def gaps(self):
        """The sources outside core, those with the most lines that did not run first: (count, source, line numbers)."""
        found = [(sum(count == 0 for count in source.lines.values()), name, [n for n, c in sorted(source.lines.items()) if not c])
                 for folder in FOLDERS[1:] for name, source in self.reached.of_folder(folder).items()]
        found += [(len(lines - ran), name, sorted(lines - ran)) for name, (lines, ran) in self.python.items()]
        return sorted((gap for gap in found if gap[0]), reverse=True)


def _ranges(numbers):
    """Numbers as text: 3-5 9."""
    parts = []
    for number in numbers:
        if parts and parts[-1][1] == number - 1:
            parts[-1][1] = number
        else:
            parts.append([number, number])
    return " ".join(f"{first}-{last}" if first != last else str(first) for first, last in parts)


def main():
    report = Report(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
    print("Lines that did not run, outside core:")
    for count, name, numbers in report.gaps():
        print(f"  {count:4} {name}: {_ranges(numbers)}")
    for fault in report.faults():
        print(fault)
    print(report.summary())
    return 1 if report.faults() else 0


if __name__ == "__main__":
    sys.exit(main())
