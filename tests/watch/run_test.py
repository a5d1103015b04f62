#!/usr/bin/env python3
"""Tests of core-memory run: run_test.py TOOL FOLDER, where FOLDER has the games ending, growing and planted."""
import csv
import glob
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

TOOL, GAMES = sys.argv.pop(1), sys.argv.pop(1)


class Run(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory(prefix="core-run-")
        self.folder = self.scratch.name
        self.environment = dict(os.environ, MACAPI_LIBRARY=self.folder, MACAPI_USER_LIBRARY=self.folder)
        self.addCleanup(self.scratch.cleanup)

    def start(self, *words, **more):
        return subprocess.Popen(words, cwd=self.folder, env=self.environment, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **more)

    def run_game(self, options, *game):
        process = self.start(TOOL, "run", "-o", "out", *options, "--", GAMES + "/" + game[0], *game[1:])
        out, error = process.communicate(timeout=120)
        return process.returncode, out, error

    def run_plain(self, *game):
        process = self.start(GAMES + "/" + game[0], *game[1:])
        out, _ = process.communicate(timeout=120)
        return process.returncode, out

    def snapshot(self, name="end"):
        with open(f"{self.folder}/out/{name}.snapshot", encoding="utf-8") as file:
            return file.read()

    def snapshots(self):
        return len(glob.glob(self.folder + "/out/*.snapshot"))

    def write(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def test_each_end_leaves_a_snapshot_and_the_exit_status_of_the_game(self):
        for way, cause in (("return", "the manager's end"), ("exit", "exit"), ("_exit", "_exit"), ("_Exit", "_Exit"),
                           ("abort", "signal 6"), ("handler", "signal 15"), ("fork", "the manager's end")):
            with self.subTest(way=way):
                status, out, error = self.run_game([], "ending", way)
                self.assertEqual((status, out), self.run_plain("ending", way))
                self.assertIn(f"the end of the memory manager: {cause}\n", error)
                self.assertIn("game/mesh.cpp:41", self.snapshot())
                os.remove(f"{self.folder}/out/end.snapshot")

    def test_the_game_sees_its_own_signals_files_and_banks(self):
        for option in ([], ["--check"], ["--stacks"]):
            self.assertEqual(self.run_game(option, "ending", "look")[:2], self.run_plain("ending", "look"))

    def test_a_signal_for_the_tool_reaches_the_game(self):
        tool = self.start(TOOL, "run", "-o", "out", "--", GAMES + "/ending", "wait")
        self.assertEqual(tool.stdout.readline(), "ready\n")
        tool.send_signal(signal.SIGTERM)
        tool.communicate(timeout=120)
        self.assertEqual(tool.returncode, -signal.SIGTERM)
        self.assertIn("game/mesh.cpp:41", self.snapshot())

    def test_the_game_plays_on_when_the_tool_is_killed(self):
        tool = self.start(TOOL, "run", "-o", "out", "--", GAMES + "/ending", "wait")
        self.assertEqual(tool.stdout.readline(), "ready\n")
        tool.kill()
        tool.wait()
        tool.stdin.write("\n")
        tool.stdin.flush()
        self.assertEqual(tool.stdout.read(), "over\n")
        tool.stdin.close()
        tool.stdout.close()
        tool.stderr.close()

    def test_a_fault_fails_only_with_fail_on_fault(self):
        self.assertEqual(self.run_game([], "planted", "11")[0], 0)
        self.assertEqual(self.run_game(["--fail-on-fault"], "planted", "11")[0], 1)
        self.assertEqual(self.run_game(["--fail-on-fault", "--check=each"], "planted", "0")[0], 0)

    def test_check_each_finds_an_overrun_at_the_next_operation_on_the_bank(self):
        error = self.run_game(["--check=each"], "planted", "8")[2]
        self.assertRegex(error, "^fault: underrun: bank \"level\", 100 bytes from game/mesh.cpp:41: ")
        self.assertNotIn("found when the block was freed", error)

    def test_the_game_and_the_faults_are_told_when_it_can_not_be_watched(self):
        process = self.start(TOOL, "run", "--", "/bin/sh", "-c", "exit 7")
        error = process.communicate(timeout=120)[1]
        self.assertEqual(process.returncode, 7)
        self.assertIn("the game has made no memory manager", error)

    def test_a_game_that_does_not_exist_gives_status_3(self):
        status, _, error = self.run_game([], "no-such-game")
        self.assertEqual(status, 3)
        self.assertIn("no-such-game: No such file or directory", error)

    def test_the_report_says_when_each_place_was_first_seen_if_the_blocks_have_records(self):
        for option in ([], ["--check"]):
            tool = self.start(TOOL, "run", "-o", "out", *option, "--", GAMES + "/ending", "wait")
            self.assertEqual(tool.stdout.readline(), "ready\n")
            started = time.monotonic()
            while time.monotonic() < started + 0.1: # the time that the test measures
                time.sleep(0.01)
            error = tool.communicate("\n", timeout=120)[1]
            seen = dict(re.findall(r"^(game/\w+)\.cpp.* ([\d,]+|unknown)$", error, re.M))
            if not option:
                self.assertEqual(seen, {"game/mesh": "unknown", "game/late": "unknown"})
                continue
            between = int(seen["game/late"].replace(",", "")) - int(seen["game/mesh"].replace(",", ""))
            self.assertGreaterEqual(between, 90)
            self.assertRegex(self.snapshot(), r'used .* place="game/late.cpp:8" born=\d+')

    def test_the_records_of_check_take_at_most_64_bytes_for_each_block(self):
        plain = self.run_game([], "ending", "grow")[1].split()
        checked = self.run_game(["--check"], "ending", "grow")[1].split()
        self.assertEqual(len(plain), 12)
        for place in range(0, len(plain), 2):
            blocks = int(plain[place])
            with self.subTest(blocks=blocks):
                self.assertLessEqual((int(checked[place + 1]) - int(plain[place + 1])) / blocks, 64)

    def test_a_budget_that_is_exceeded_gives_status_1_and_names_the_places(self):
        self.write("budget", "# of the level\nunits <= 4 KiB\nunits fallback <= 0\nleaks <= 11 from game/path\ncore <= 0\n")
        status, _, error = self.run_game(["--budget", "budget"], "growing")
        self.assertEqual(status, 1)
        self.assertIn("budget: units <= 4 KiB: the high-water mark was 7,008 bytes\n  2,592 bytes in 12 blocks from "
                      "game/path.cpp:31\n", error)
        self.assertIn("budget: leaks <= 11 from game/path: 12 blocks are in use\n", error)
        self.assertEqual(error.count("budget: "), 2)

    def test_budgets_that_hold_give_the_status_of_the_game(self):
        self.write("budget", "units <= 8 KiB\nleaks <= 0 from game/unit\nleaks <= 12\n\"units\" <= 7008 B\n")
        self.assertEqual(self.run_game(["--budget", "budget"], "growing")[0], 0)

    def test_a_budget_for_a_bank_that_does_not_exist_is_exceeded(self):
        self.write("budget", "unit <= 8 KiB\n")
        status, _, error = self.run_game(["--budget", "budget"], "growing")
        self.assertEqual(status, 1)
        self.assertIn("budget: unit <= 8 KiB: the game has no such bank\n", error)

    def test_a_line_that_is_no_budget_gives_status_2_before_the_game_starts(self):
        for line in ("units < 4", "units <= many", "units fallback <= 4 KiB", "leaks <= -1", "<= 5"):
            self.write("budget", "\n" + line + "\n")
            status, out, error = self.run_game(["--budget", "budget"], "growing")
            self.assertEqual((status, out), (2, ""))
            self.assertIn(f"line 2 is no budget: \"{line}\"; write BANK <= NUMBER with B, KiB, MiB or GiB after it", error)

    def test_every_takes_snapshots_while_the_game_runs_and_timeline_records_the_banks(self):
        tool = self.start(TOOL, "run", "-o", "out", "--every", "0.02", "--timeline", "time", "--", GAMES + "/ending",
                          "wait")
        self.assertEqual(tool.stdout.readline(), "ready\n")
        wanted = self.snapshots() + 2  # the next one may be from before
        deadline = time.monotonic() + 60
        while self.snapshots() < wanted and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(tool.communicate("\n", timeout=120)[0], "over\n")
        self.assertIn("game/mesh.cpp:41", self.snapshot(f"{wanted:04}"))
        with open(f"{self.folder}/time", encoding="utf-8") as file:
            events = json.load(file)["traceEvents"]
        self.assertIn(("core", 128), {(event["name"], event["args"]["bytes in use"]) for event in events})
        with open(f"{self.folder}/time.csv", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
        self.assertIn(("core", "32768", "128"), {(row["bank"], row["size"], row["bytes in use"]) for row in rows})


unittest.main()
