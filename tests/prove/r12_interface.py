"""R12: the interface, compared with the last release, and games that are built with the installed libraries."""
import ctests
import figure

TITLE = "comparisons with the last release's interface, and games built outside the tree"
TARGET = "no unexplained change"
COMMAND = "./run prove R12"


def measure(place):
    total, skipped, failed = ctests.run(place, "release", "-R", r"^(Abi|Consumer|Install)\.")
    return figure.Value(f"{total - skipped - len(failed)} of {total} checks", failed, reached=not skipped and not failed)
