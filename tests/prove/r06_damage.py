"""R6: every flip of one bit in the headers of heap states, by the program prove_damage."""
import os
import re

import figure

TITLE = "heap states whose headers were damaged in every single bit"
TARGET = "1,000 states, no access outside the bank's memory, no hang"
STATES = 1_000
COMMAND = "./run prove R6"
LINE = re.compile(r"^(used|free|fallback) (\w+) (flips=.*)$", re.MULTILINE)
LINKED = ("magic", "size", "next", "prev")  # the fields that the walk of core-memory can compare with others
# Preset, size of the bank in bytes, and the states of a full run and of a short one. The larger bank has an index.
RUNS = [("release", 4096, 800, 10), ("release", 65536, 200, 10), ("powerpc", 4096, 20, 0), ("powerpc", 65536, 20, 0)]
EMULATORS = {"release": [], "powerpc": ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"]}
NAMES = {"release": "x86-64", "powerpc": "PowerPC"}


def share(part, whole):
    return f"{100 * part / whole:.0f} %" if whole else "-"


def table(host, fields):
    """A table of docs/reliability.md: what each damage leads to."""
    lines = [f"| Damaged word, {NAMES[host]} | checkMemory finds | core-memory finds | and names the block | alloc and free "
             "leave the bank | do not end |", "|---|---|---|---|---|---|"]
    for name, count in sorted(fields.items()):
        lines.append(f"| {name} | {share(count['check'], count['flips'])} | {share(count['walk'], count['flips'])} | "
                     f"{share(count['named'], count['walk'])} | "
                     f"{share(count['outside'] + count['location'], count['played'])} | "
                     f"{share(count['circles'], count['played'])} |")
    return "\n".join(lines) + "\n"


def faults_of(host, fields):
    for name, count in fields.items():
        if name.split()[1] not in LINKED:
            continue
        if count["walk"] != count["flips"]:
            yield f"{NAMES[host]}, {name}: core-memory finds {count['walk']} of {count['flips']} flips"
        # A wrong size of a fallback block makes a sum wrong, and nothing tells which block it is.
        if count["named"] != count["flips"] and name != "fallback size":
            yield f"{NAMES[host]}, {name}: core-memory names the block after {count['named']} of {count['flips']} flips"


def damage(place, host, size, states):
    """Runs the program. Returns the counts of each field, and the faults."""
    counter = f"{host} {size}"
    first = 1 + place.add("R6", **{counter: 0})[counter]
    program = place.program(host, "tests", "prove", "prove_damage")
    result = figure.run([*EMULATORS[host], program, str(first), str(states), str(size)])
    fields = {f"{state} {word}": {name: int(number) for name, number in re.findall(r"(\w+)=(\d+)", numbers)}
              for state, word, numbers in LINE.findall(result.stdout)}
    faults = [f"{counter}: {text}" for text in re.findall(r"^FAULT: (.*)", result.stdout, re.MULTILINE)]
    if result.returncode != 0 and not faults or not fields:
        faults.append(f"{counter}: {figure.last_lines(result.stdout)}")
    flips = sum(count["flips"] for count in fields.values())
    place.add("R6", **{counter: 0 if faults else states, f"{host} flips": flips})
    return fields, faults


def measure(place):
    fields, faults = {host: {} for host in NAMES}, []
    for host, size, full, short in RUNS:
        states = full if place.full else short
        if not states:
            continue
        counts, found = damage(place, host, size, states)
        faults += found
        for name, count in counts.items():
            sums = fields[host].setdefault(name, dict.fromkeys(count, 0))
            sums.update({word: sums[word] + number for word, number in count.items()})
    for host in NAMES:
        faults += faults_of(host, fields[host])
    with open(os.path.join(place.own, "damage.md"), "w", encoding="utf-8") as file:
        file.write("\n".join(table(host, fields[host]) for host in NAMES if fields[host]))
    counters = place.add("R6")
    left = {host: sum(count["outside"] for count in fields[host].values()) for host in NAMES}
    played = {host: sum(count["played"] for count in fields[host].values()) for host in NAMES}
    text = "; ".join(f"{NAMES[host]}: " + ", ".join(f"{counters.get(f'{host} {size}', 0):,} states of {size // 1024} KiB"
                                                    for preset, size, _, _ in RUNS if preset == host)
                     + f", {counters.get(f'{host} flips', 0):,} flips" for host in NAMES if f"{host} flips" in counters)
    shares = " and ".join(f"{share(left[host], played[host])} on {NAMES[host]}" for host in NAMES if played[host])
    text += (": checkMemory and core-memory never leave the bank and always end; share of the flips after which alloc or free "
             f"leave the bank: {shares}, see below")
    states = sum(counters.get(f"{host} {size}", 0) for host, size, _, _ in RUNS if host == "release")
    return figure.Value(text, faults, reached=states >= STATES and not any(left.values()))
