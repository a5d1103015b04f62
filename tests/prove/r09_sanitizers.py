"""R9: all tests with the address, undefined-behaviour and thread sanitizers. Only a full run measures it."""
import ctests
import figure

TITLE = "tests with the address, undefined-behaviour and thread sanitizers; reports"
TARGET = "all tests, memcheck, 8 threads with 10 M operations; 0 reports"
COMMAND = "./run prove R9"


def measure(place):
    if not place.full:
        raise figure.NotMeasured("a full run measures it: all tests run")
    parts, faults = [], []
    for preset in ("asan", "tsan-all"):
        total, skipped, failed = ctests.run(place, preset)
        parts.append(f"{preset}: {total - skipped} tests, {skipped} skipped")
        faults += [f"{preset}: {name}" for name in failed]
    return figure.Value(f"{'; '.join(parts)}; {len(faults)} failed; not measured: memcheck, 10 M operations of 8 threads",
                        faults, reached=False)
