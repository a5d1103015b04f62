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
SCENARIOS = {"start": 5, "modules": 5, "play": 150, "location": 10, "locks": 1, "load": 8, "collect": 20, "preferences": 25,
             "window": 120, "alert": 60, "printed-alert": 1, "shutdown": 1}
ON_A_DISPLAY = ("window", "alert", "appkit")

# AppKit makes about 93,000 calls for memory for the first window and the first alert. The step in a run of a night, and
# in a quick run.
APPKIT_STEPS = (1200, 60000)


class Tool:
    """A program that is a scenario.

    arguments: GAME in them is the start of a small game. status: the exit status without failures. reports: the output
    tells what has failed. step: a quick run goes on so many calls from one failing call to the next.
    """

    def __init__(self, program, arguments, status=0, reports=False, step=60):
        self.program = program
        self.arguments = arguments
        self.status = status
        self.reports = reports
        self.step = step


# The working folder of a program is a copy of the folder that make_files makes.
TOOLS = (
    [Tool("core-prefs", arguments)
     for arguments in ("-a game list", "-a game write Video/width 640", "-a game delete Video/mode")] +
    [Tool("core-strings/core-strings", arguments, step=120)
     for arguments in ("check de.strings", "merge de.strings new.strings", "po de.strings -o de.po",
                       "format --sort de.strings", "record -o texts.strings -- GAME collect")] +
    [Tool("core-strings/core-strings", "missing -- GAME collect", status=1, reports=True, step=120)] +
    [Tool("core-config/core-config", arguments)
     for arguments in ("check --schema demo.schema --as Game/levels.txt levels.txt", "check --ini game.ini",
                       "learn -o new.schema -- GAME load", "run -- GAME load")] +
    [Tool("core-memory/core-memory", "sizes memory.dat")] +
    [Tool("core-memory/core-memory", arguments, reports=True)
     for arguments in ("run -o snapshots -- GAME location", "run --check=each -o snapshots -- GAME locks")] +
    [Tool("core-doctor/core-doctor", arguments, status=1, reports=True, step=100) for arguments in ("--json", "GAME")])

# Games whose calls fail while a tool watches them: the watching library is in the game. The number is the step of a quick
# run.
WATCHED = (("core-memory/core-memory", "run --check=each -o snapshots", "location", 40),
           ("core-memory/core-memory", "run --stacks -o snapshots", "shutdown", 15),
           ("core-strings/core-strings", "record -o texts.strings", "collect", 80),
           ("core-config/core-config", "run", "load", 40))
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


def play(words, environment, folder, faults):
    """Runs one scenario in the folder; returns the numbers of its calls and its failures."""
    result = figure.run(words, env={**os.environ, **environment}, cwd=folder)
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


def scenario_runs(place, program, display):
    """Returns the command and the variables of each scenario."""
    runs = []
    for name, step in SCENARIOS.items():
        on_display = display if name in ON_A_DISPLAY else ""
        if on_display or name not in ON_A_DISPLAY:
            runs.append(([program, name, "1" if place.full else str(step)], {"DISPLAY": on_display}))
    return runs


def tool_runs(place, program, folder):
    runs = []
    for tool in TOOLS:
        words = tool.arguments.split()
        at = words.index("GAME") if "GAME" in words else len(words)
        words[at:] = [program, "once", *words[at + 1:]] if at + 1 < len(words) else [program][:len(words) - at]
        runs.append(([place.program("release", "tools", *tool.program.split("/")), *words],
                     {"LD_PRELOAD": place.program("release", "tests", "prove", "libprove_failing_tool.so"),
                      "FAILING_TOOL": "1" if place.full else str(tool.step), "FAILING_STATUS": str(tool.status),
                      "FAILING_GAME": str(int("GAME" in tool.arguments)), "FAILING_REPORTS": str(int(tool.reports)),
                      "FAILING_FILES": os.path.join(folder, "files"), "DISPLAY": ""}))
    return runs


def watched_runs(place, program):
    return [([place.program("release", "tools", *tool.split("/")), *arguments.split(), "--", program, scenario,
              "1" if place.full else str(quick)], {"DISPLAY": ""})
            for tool, arguments, scenario, quick in WATCHED]


def appkit_run(place, program, display):
    """Lets calls for memory fail that AppKit makes. Returns a text with the number of failures and the crashes."""
    step = APPKIT_STEPS[0 if place.full else 1]
    result = figure.run([program, "appkit", str(step)], env={**os.environ, "DISPLAY": display})
    sums = SUMS.search(result.stdout)
    ends = re.findall(r"^  AppKit (\S.*): (\d+)$", result.stdout, re.MULTILINE)
    crashes = sum(int(number) for _, number in ends)
    faults = re.findall(r"^FAULT: (.*)", result.stdout, re.MULTILINE)
    for line in result.stdout.splitlines():
        print(f"  {line[:300]}", flush=True)
    return (f"AppKit ended {crashes} of {sums[3] if sums else 0} games without memory of its own", faults)


def measure(place):
    calls, failures, faults = 0, 0, []
    with tempfile.TemporaryDirectory(prefix="prove-") as folder, WindowServer() as server:
        os.mkdir(os.path.join(folder, "files"))
        make_files(place, os.path.join(folder, "files"))
        program = make_bundle(place, folder)
        runs = (scenario_runs(place, program, server.name) + tool_runs(place, program, folder) +
                watched_runs(place, program))
        for words, environment in runs:
            found = play(words, environment, folder, faults)
            calls, failures = calls + found[0], failures + found[1]
        appkit = appkit_run(place, program, server.name) if server.name else ("", [])
    faults += appkit[1]
    text = f"{failures:,} failures at {calls:,} calls of {len(runs)} scenarios, {len(faults)} faults"
    if not place.full:
        text += "; a full run lets every call fail"
    if not server.name:
        text += f"; left out without Xvfb: {', '.join(ON_A_DISPLAY)}"
    else:
        text += f"; {appkit[0]}"
    return figure.Value(text, faults, reached=place.full and calls >= POINTS and bool(server.name))
