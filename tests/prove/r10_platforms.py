"""R10: a game on each window platform, as tests/windows starts them."""
import ctests
import figure

TITLE = "switches to full screen and back on each window platform; the state afterwards"
TARGET = "200 cycles each, state as before after the end and after SIGKILL"
CYCLES = 200
COMMAND = "./run prove R10"


def measure(place):
    if not place.full:
        raise figure.NotMeasured("a full run measures it")
    total, skipped, failed = ctests.run(place, "release", "-R", "AreRestoredAfterItsEnd", WINDOW_CYCLES=str(CYCLES))
    return figure.Value(f"{total - skipped - len(failed)} of {total} platforms, {CYCLES} cycles each, {skipped} not installed",
                        failed, reached=not skipped and not failed)
