"""R3: random heap operations beside the model. Each run takes seeds that no run has taken before."""
import os
import re

import figure

TITLE = "random heap operations that the library and its model answer alike, added up"
TARGET = "200 M on x86-64, 50 M on PowerPC, 20 M with sanitizers"
COMMAND = "./run prove R3"
TARGETS = {"release": 200_000_000, "powerpc": 50_000_000, "asan": 20_000_000}
NAMES = {"release": "x86-64", "powerpc": "PowerPC", "asan": "sanitizers"}
EMULATORS = {"powerpc": ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"]}
RESULT = re.compile(r"\[ RUN +\] (\S+)[^\[]*?(\d+) operations, hash (\w+)")


def play(place, preset, rounds, seed):
    """Plays; returns the operations with new seeds, the hash of each case, and the faults."""
    program = place.program(preset, "tests", "core", "memorymgr_model_test")
    environment = {**os.environ, "MODEL_ROUNDS": str(rounds), "MODEL_SEED": str(seed)}
    result = figure.run([*EMULATORS.get(preset, []), program], env=environment)
    cases = {case: (int(operations), hash_) for case, operations, hash_ in RESULT.findall(result.stdout)}
    faults = [] if result.returncode == 0 and cases else [f"{preset}, seed {seed}: {figure.last_lines(result.stdout)}"]
    operations = sum(operations for operations, _ in cases.values())
    new = operations // rounds * (rounds - 1)  # the first round has the same seed in every run
    return new, {case: hash_ for case, (_, hash_) in cases.items()}, faults


def compare(place, presets, rounds, seed):
    """Plays the same seeds with each preset. Returns the presets that have a program, and the faults."""
    hashes, faults = {}, []
    for preset in presets:
        try:
            operations, hashes[preset], wrong = play(place, preset, rounds, seed)
        except figure.NotMeasured as reason:
            print(f"  left out: {reason}", flush=True)
            continue
        faults += wrong
        place.add("R3", **{preset: 0 if wrong else operations})
    for preset, found in hashes.items():
        if found != next(iter(hashes.values())):
            faults.append(f"{preset}: other hashes than {next(iter(hashes))}, seed {seed}")
    return list(hashes), faults


def below_target(place):
    counters = place.add("R3")
    return [preset for preset in TARGETS if counters.get(preset, 0) < TARGETS[preset]]


def measure(place):
    """A quick run plays one round of new seeds with each preset. A full run goes on until each preset is at its target."""
    rounds = 8 if place.full else 2
    faults, presets = [], below_target(place) if place.full else list(TARGETS)
    while presets and not faults:
        seed = 1 + place.add("R3", seeds=0)["seeds"]
        presets, faults = compare(place, presets, rounds, seed)
        place.add("R3", seeds=rounds - 1)
        presets = [preset for preset in presets if place.full and preset in below_target(place)]
    counters = place.add("R3")
    if not any(counters.get(preset) for preset in TARGETS) and not faults:
        raise figure.NotMeasured("no program of the model is built")
    text = ", ".join(f"{counters.get(preset, 0):,} on {NAMES[preset]}" for preset in TARGETS)
    return figure.Value(f"{text}; {len(faults)} differences", faults, reached=not below_target(place))
