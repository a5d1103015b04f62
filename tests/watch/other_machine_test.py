#!/usr/bin/env python3
"""core-memory with a game for another processor: other_machine_test.py TOOL GAMES LIBRARY MACHINE FOLDER

GAMES is the folder of the games ending and planted, and LIBRARY the libcorewatch.so, of a build for the MACHINE, such as
"32-bit x86". FOLDER is the name of the folder in which core-memory looks for the library, such as "i386-linux-gnu".
"""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

TOOL, GAMES, LIBRARY = (os.path.abspath(path) for path in sys.argv[1:4])
MACHINE, FOLDER = sys.argv[4:]


class OtherMachine(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="core-machine-")
        self.addCleanup(scratch.cleanup)
        self.folder = scratch.name
        self.tool = shutil.copy(TOOL, self.folder)
        self.environment = dict(os.environ, MACAPI_LIBRARY=self.folder, MACAPI_USER_LIBRARY=self.folder)

    def add_library(self):
        os.mkdir(f"{self.folder}/{FOLDER}")
        shutil.copy(LIBRARY, f"{self.folder}/{FOLDER}")

    def run_game(self, options, *game):
        done = subprocess.run([self.tool, "run", "-o", "out", *options, "--", f"{GAMES}/{game[0]}", *game[1:]],
                              cwd=self.folder, env=self.environment, capture_output=True, text=True, timeout=300)
        return done.returncode, done.stderr

    def snapshot(self):
        with open(f"{self.folder}/out/end.snapshot", encoding="utf-8") as file:
            return file.read()

    def test_run_says_which_library_is_missing_and_how_to_build_it(self):
        status, error = self.run_game([], "planted", "1")
        self.assertEqual(status, 3)
        self.assertIn(f"the game is a {MACHINE} program, and there is no libcorewatch.so for {MACHINE} programs", error)
        self.assertIn(f"{FOLDER}/", error)
        self.assertFalse(os.path.exists(f"{self.folder}/out"))

    def test_run_shows_the_blocks_in_use(self):
        self.add_library()
        status, error = self.run_game([], "planted", "1")
        self.assertEqual(status, 0)
        self.assertRegex(error, r"game/mesh.cpp:41 +1 +128 +1 +unknown\n")
        self.assertIn('used bank=1 offset=0 size=128 place="game/mesh.cpp:41"\n', self.snapshot())

    def test_check_finds_an_overrun_and_knows_the_times(self):
        self.add_library()
        error = self.run_game(["--check"], "planted", "4")[1]
        self.assertIn('fault: overrun: bank "level", 100 bytes from game/mesh.cpp:41: ', error)
        self.run_game(["--check"], "planted", "3")
        self.assertRegex(self.snapshot(), r'fallback bank=4 number=1 size=5056 place="game/sound.cpp:12" born=\d+\n')

    def test_stacks_name_the_callers(self):
        self.add_library()
        self.assertIn("\n    main (", self.run_game(["--stacks"], "planted", "2")[1])

    def test_valgrind_finds_an_overrun_or_the_tool_says_what_valgrind_needs(self):
        self.add_library()
        error = self.run_game(["--valgrind"], "planted", "4")[1]
        if "== Invalid write" not in error:
            self.assertIn(f"core-memory: Valgrind starts a {MACHINE} game only if the debug symbols", error)

    def test_snapshot_reads_a_running_game(self):
        with subprocess.Popen([f"{GAMES}/ending", "wait"], env=self.environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as game:
            self.assertEqual(game.stdout.readline(), "ready\n")
            done = subprocess.run([self.tool, "snapshot", str(game.pid)], cwd=self.folder, capture_output=True, text=True,
                                  timeout=300)
            self.assertEqual(game.communicate("\n", timeout=120)[0], "over\n")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn('used bank=0 offset=0 size=128 place="game/mesh.cpp:41"\n', done.stdout)


unittest.main(argv=sys.argv[:1])
