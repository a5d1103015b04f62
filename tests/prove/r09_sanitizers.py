"""R9: all tests with the sanitizers, memcheck, and eight threads on all banks. Only a full run measures it."""
import os
import re

import ctests
import figure
import memcheck

TITLE = "tests with the address, undefined-behaviour and thread sanitizers and memcheck; reports"
TARGET = "all tests, memcheck, 8 threads on 33 banks with 10 M operations; 0 reports"
COMMAND = "./run prove R9"
OPERATIONS = 10_000_000


def use_all_banks(place):
    """Eight threads use all banks under the thread sanitizer. Returns the text for the table and the faults."""
    result = figure.run([place.program("tsan-all", "tests", "core", "memorymgr_threads_test"),
                         "--gtest_filter=Threads.UseAll33BanksAtOnce"],
                        env={**os.environ, "THREAD_OPERATIONS": str(OPERATIONS)})
    done = re.search(r"^(\d+) operations", result.stdout, re.MULTILINE)
    operations = int(done[1]) if done else 0
    is_right = result.returncode == 0 and operations >= OPERATIONS
    return (f"8 threads: {operations:,} operations on 33 banks",
            [] if is_right else [f"8 threads: {figure.last_lines(result.stdout)}"])


def run_tests(place, preset):
    total, skipped, failed = ctests.run(place, preset)
    return f"{preset}: {total - skipped} tests, {skipped} skipped", [f"{preset}: {name}" for name in failed]


def measure(place):
    if not place.full:
        raise figure.NotMeasured("a full run measures it: all tests run")
    results = [run_tests(place, "asan"), run_tests(place, "tsan-all"), use_all_banks(place), memcheck.run(place)]
    faults = [fault for _, found in results for fault in found]
    return figure.Value("; ".join([text for text, _ in results] + [f"{len(faults)} faults"]), faults, reached=True)
