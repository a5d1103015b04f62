"""R4: each call of each scenario fails once: tests/prove/failing/ has the program, and the library for other programs."""
import os
import plistlib
import re
import shutil
import subprocess
import tempfile

import figure

TITLE = "failures injected at every allocation and every file, lock and X call of every scenario"
TARGET = "every point, at least 5,000; 0 leaks, crashes and lost data"
POINTS = 5_000
COMMAND = "./run prove R4"

# Each scenario, and how many calls a quick run goes on from one failing call to the next. A window takes AppKit, which
# takes a second to load in each run.
SCENARIOS = {"start": 3, "modules": 5, "play": 40, "load": 5, "collect": 5, "preferences": 15, "window": 40, "alert": 40,
             "printed-alert": 1, "shutdown": 1}
# The programs, with their arguments; the working folder is a copy of the folder that makes_files makes.
TOOLS = {
    "core-prefs": ["-a game list", "-a game write Video/width 640", "-a game delete Video/mode"],
    "core-strings/core-strings": ["check de.strings", "merge de.strings new.strings", "po de.strings -o de.po",
                                  "format --sort de.strings"],
    "core-config/core-config": ["check --schema demo.schema --as Game/levels.txt levels.txt", "check --ini game.ini"],
    "core-memory/core-memory": ["sizes memory.dat"],
}
TOOL_STEP = 60
SUMS = re.compile(r"^(\S+): (\d+) calls .*?(\d+) failures.* (\d+) faults$", re.MULTILINE)


def make_files(place, folder):
    """The files that the programs read."""
    texts = "".join(f'"Text {number}" = "Wort {number}"\n' for number in range(8))
    files = {"de.strings": texts, "new.strings": texts + '"More" = "More"\n', "memory.dat": "core=1500\nlevel=3000\n",
             "game.ini": "[Video]\nwidth=640\n"}
    for name, content in files.items():
        with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
            file.write(content)
    for name in ("demo.schema", "Game/levels.txt"):
        shutil.copy(os.path.join(place.source, "demo", name), folder)
    store = os.path.join(folder, "user", "Preferences")
    os.makedirs(store)
    for name in ("game.plist", "game.plist.bak"):
        with open(os.path.join(store, name), "wb") as file:
            plistlib.dump({"Video/mode": "window", "Video/height": "480"}, file)


def make_bundle(place, folder):
    """A bundle with the program in it, so that the program reads an Info.plist. Returns the path of the program."""
    contents = os.path.join(folder, "Prove.app", "Contents")
    os.makedirs(os.path.join(contents, "MacOS"))
    with open(os.path.join(contents, "Info.plist"), "wb") as file:
        plistlib.dump({"CFBundleIdentifier": "com.example.prove", "CFBundleVersion": "1.2"}, file)
    return shutil.copy(place.program("release", "tests", "prove", "prove_failures"), os.path.join(contents, "MacOS"))


class WindowServer:
    """An X server of its own; `name` is the value for DISPLAY, empty if there is no Xvfb."""

    def __enter__(self):
        self.process, self.name = None, ""
        if shutil.which("Xvfb"):
            reader, writer = os.pipe()
            self.process = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-noreset", "-screen", "0", "1024x768x24"],
                                            pass_fds=[writer], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            os.close(writer)
            with os.fdopen(reader) as answer:
                number = answer.readline().strip()
            self.name = f":{number}" if number else ""
        return self

    def __exit__(self, *reason):
        if self.process:
            self.process.kill()
            self.process.wait()


def play(words, environment, faults):
    """Runs one scenario; returns the numbers of its calls and its failures."""
    result = figure.run(words, env={**os.environ, **environment})
    sums = SUMS.search(result.stdout)
    found = re.findall(r"^FAULT: (.*)", result.stdout, re.MULTILINE)
    faults += found
    if not sums:
        faults.append(f"{' '.join(words)}: {figure.last_lines(result.stdout)}")
        return 0, 0
    print(f"  {sums[0]}", flush=True)
    for fault in found:
        print(f"    {fault[:300]}", flush=True)
    return int(sums[2]), int(sums[3])


def measure(place):
    library = place.program("release", "tests", "prove", "libprove_failing_tool.so")
    calls, failures, faults, left_out = 0, 0, [], []
    with tempfile.TemporaryDirectory(prefix="prove-") as folder, WindowServer() as server:
        os.mkdir(os.path.join(folder, "files"))
        make_files(place, os.path.join(folder, "files"))
        runs = []
        program = make_bundle(place, folder)
        for name, step in SCENARIOS.items():
            display = server.name if name in ("window", "alert") else ""
            if name in ("window", "alert") and not display:
                left_out.append(name)
                continue
            runs.append(([program, name, "1" if place.full else str(step)], {"DISPLAY": display}))
        for tool, commands in TOOLS.items():
            for command in commands:
                runs.append(([place.program("release", "tools", *tool.split("/")), *command.split()],
                             {"LD_PRELOAD": library, "FAILING_TOOL": "1" if place.full else str(TOOL_STEP),
                              "FAILING_FILES": os.path.join(folder, "files"), "DISPLAY": ""}))
        for words, environment in runs:
            found = play(words, environment, faults)
            calls, failures = calls + found[0], failures + found[1]
    text = f"{failures:,} failures at {calls:,} calls of {len(runs)} scenarios, {len(faults)} faults"
    if not place.full:
        text += "; a full run lets every call fail"
    if left_out:
        text += f"; left out without Xvfb: {', '.join(left_out)}"
    return figure.Value(text, faults, reached=place.full and calls >= POINTS and not left_out)
