"""Runs tests of a preset by ctest and counts them."""
import os
import re

import figure


def run(place, preset, *words, **environment):
    """Returns the number of tests, of tests that were skipped, and the names of those that failed."""
    folder = os.path.dirname(place.program(preset, "CMakeCache.txt"))
    result = figure.run(["ctest", "--test-dir", folder, "-j", str(os.cpu_count() or 1), "--no-tests=error", *words],
                        env={**os.environ, **environment})
    total = re.search(r"tests failed out of (\d+)", result.stdout)
    if not total:
        raise figure.NotMeasured(f"ctest {preset} {' '.join(words)}: {figure.last_lines(result.stdout)}")
    failed = re.findall(r"Test +#\d+: (\S+) .*\*\*\*(?!Skipped)(?:Failed|Exception|Timeout|Not Run)", result.stdout)
    if result.returncode != 0 and not failed:
        failed = [figure.last_lines(result.stdout)]
    return int(total[1]), len(re.findall(r"\*\*\*Skipped", result.stdout)), failed
