"""R6: every flip of one bit in the headers of heap states, by the program prove_damage."""
import os
import re

import figure

TITLE = "heap states whose headers were damaged in every single bit"
TARGET = "1,000 states, no access outside the bank's memory, no hang"
STATES = 1_000
COMMAND = "./run prove R6"
LINE = re.compile(r"^(used|free) (\w+) (flips=.*)$", re.MULTILINE)
LINKED = ("magic", "size", "next", "prev")  # the fields that the walk of core-memory can compare with others


def share(part, whole):
    return f"{100 * part / whole:.0f} %" if whole else "-"


def table(fields):
    """The table of docs/reliability.md: what each damage leads to."""
    lines = ["| Damaged word | checkMemory finds | core-memory finds | and names the block | alloc and free leave the bank | "
             "do not end |", "|---|---|---|---|---|---|"]
    for name, count in fields.items():
        lines.append(f"| {name} | {share(count['check'], count['flips'])} | {share(count['walk'], count['flips'])} | "
                     f"{share(count['named'], count['walk'])} | {share(count['outside'], count['played'])} | "
                     f"{share(count['circles'], count['played'])} |")
    return "\n".join(lines) + "\n"


def measure(place):
    states = STATES if place.full else 20
    first = 1 + place.add("R6", states=0)["states"]
    result = figure.run([place.program("release", "tests", "prove", "prove_damage"), str(first), str(states)])
    fields = {f"{state} {word}": {name: int(number) for name, number in re.findall(r"(\w+)=(\d+)", numbers)}
              for state, word, numbers in LINE.findall(result.stdout)}
    faults = re.findall(r"^FAULT: (.*)", result.stdout, re.MULTILINE)
    faults += [f"{name}: core-memory finds {count['walk']} of {count['flips']} flips" for name, count in fields.items()
               if name.split()[1] in LINKED and (count["walk"] != count["flips"] or count["named"] != count["flips"])]
    if result.returncode != 0 and not faults or not fields:
        faults.append(figure.last_lines(result.stdout))
    with open(os.path.join(place.own, "damage.md"), "w", encoding="utf-8") as file:
        file.write(table(fields))
    counters = place.add("R6", states=0 if faults else states, flips=sum(count["flips"] for count in fields.values()))
    left = sum(count["outside"] for count in fields.values())
    played = sum(count["played"] for count in fields.values())
    text = (f"{counters['states']:,} states, {counters['flips']:,} flips: checkMemory and core-memory never leave the bank "
            f"and always end; after {share(left, played)} of the flips alloc or free leave the bank, see below")
    return figure.Value(text, faults, reached=counters["states"] >= STATES and left == 0)
