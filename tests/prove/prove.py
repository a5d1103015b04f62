#!/usr/bin/env python3
"""Measures the figures of docs/reliability.md and prints them as a table.

    prove.py [--full] [--seed NUMBER] [--seconds NUMBER] [--only TEXT] [--again] [FIGURE...]

Without a FIGURE all figures are measured. A figure that is not measured in this run is shown with its last value, or as
not measured. Counters and last values are in prove.json in the folder "core" of the user's cache.

Ends with 0 when no measured figure has a fault, and with 1 otherwise. With --full, a figure that is not at its target
or has no value is a fault too.
"""
import argparse
import contextlib
import datetime
import fcntl
import importlib
import json
import os
import platform
import signal
import sys

import figure

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
FIGURES = [name[:-3] for name in sorted(os.listdir(HERE)) if name.startswith("r") and name[1:3].isdigit()]


def cache_folder():
    base = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    return os.path.join(base, "core")


@contextlib.contextmanager
def state():
    """The counters and the last values, under a lock: one run at a time. They are written when the block ends, also when
    the run is interrupted."""
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(1))
    os.makedirs(cache_folder(), exist_ok=True)
    path = os.path.join(cache_folder(), "prove.json")
    with open(path + ".lock", "w") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            sys.exit(f"another run of prove holds {path}.lock")
        content = {"counters": {}, "values": {}}
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                content.update(json.load(file))
        try:
            yield content
        finally:
            with open(path + ".new", "w", encoding="utf-8") as file:
                json.dump(content, file, indent=1, sort_keys=True)
            os.replace(path + ".new", path)


def machine():
    model = platform.machine()
    with contextlib.suppress(OSError), open("/proc/cpuinfo", encoding="utf-8") as file:
        model = next((line.split(":")[1].strip() for line in file if line.startswith("model name")), model)
    return f"{model}, {os.cpu_count()} processors"


def measured(module, place, options):
    """Measures one figure and returns its row: text, faults, reached, date, machine and command."""
    row = {"date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d"), "machine": machine(),
           "command": module.COMMAND.replace(" prove ", " prove full ") if place.full else module.COMMAND}
    value = module.measure(place, **options)
    row.update(text=value.text, faults=value.faults, reached=value.reached)
    return row


def table(rows):
    lines = ["| # | Figure | Target | Last value | Date | Machine | Command |", "|---|---|---|---|---|---|---|"]
    for module in rows:
        name, row = name_of(module), rows[module]
        value = row["text"] if row else "not measured"
        cells = [name, module.TITLE, module.TARGET, value] + (
            [row["date"], row["machine"], f"`{row['command']}`"] if row else ["", "", ""])
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def name_of(module):
    return f"R{int(module.__name__[1:3])}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--full", action="store_true", help="measure for a night")
    parser.add_argument("--seed", type=int, default=1, help="of the random choices")
    parser.add_argument("--seconds", type=int, help="R2: how long to try changes; R7: how long each fuzzer runs")
    parser.add_argument("--only", help="R2: sources whose names contain this text")
    parser.add_argument("--again", action="store_true", help="R2: the changes that survived")
    parser.add_argument("figures", nargs="*", metavar="FIGURE", help="such as R3")
    arguments = parser.parse_args()

    modules = [importlib.import_module(name) for name in FIGURES]
    wanted = [name.upper() for name in arguments.figures] or [name_of(module) for module in modules]
    unknown = set(wanted) - {name_of(module) for module in modules}
    if unknown:
        parser.error(f"there is no figure {' '.join(sorted(unknown))}")
    options = {name: {key: getattr(arguments, key) for key in keys if getattr(arguments, key)}
               for name, keys in (("R2", ("seconds", "only", "again")), ("R7", ("seconds",)))}
    own = os.path.join(SOURCE, "build", "run", "prove")
    os.makedirs(own, exist_ok=True)

    faults = 0
    with state() as content:
        place = figure.Place(SOURCE, own, arguments.full, arguments.seed, content["counters"])
        for module in modules:
            name = name_of(module)
            if name not in wanted:
                continue
            print(f"{name}: {module.TITLE}", flush=True)
            try:
                row = content["values"][name] = measured(module, place, options.get(name, {}))
                print(f"  {row['text']}", flush=True)
                for fault in row["faults"]:
                    print(f"  FAULT: {fault}", flush=True)
                faults += bool(row["faults"]) or (place.full and not row["reached"])
            except figure.NotMeasured as reason:
                print(f"  not measured: {reason}", flush=True)
                faults += place.full
        rows = {module: content["values"].get(name_of(module)) for module in modules}
    text = table(rows)
    with open(os.path.join(own, "table.md"), "w", encoding="utf-8") as file:
        file.write(text + "\n")
    print(text)
    return 1 if faults else 0


sys.exit(main())
