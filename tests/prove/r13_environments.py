"""R13: hostile variables, locales and paths for a small game (environment.cpp) and for each program."""
import os
import random
import re
import shutil
import signal
import subprocess
import tempfile

import figure

TITLE = "a small game and the programs in hostile environments: variables, locales, paths"
TARGET = "each combination ends with a documented answer; 0 crashes, hangs and files outside of the allowed folders"
COMMAND = "./run prove R13"

SECONDS = 60  # a run that takes longer hangs. A machine may be busy.
USER = 61002  # an ordinary user without an entry in the password file
QUICK_SHARE = 30  # a quick run tries one of so many combinations
LOCALES = (("de_DE", "UTF-8"), ("tr_TR", "UTF-8"), ("tr_TR", "ISO-8859-9"), ("ar_EG", "UTF-8"))
NUMBERS = b"numbers 150 -25 3\n"  # what the game prints in every locale

# The calls that make, change or remove a file.
WRITES = ("open,openat,creat,mkdir,mkdirat,rename,renameat,renameat2,link,linkat,symlink,symlinkat,unlink,unlinkat,rmdir,"
          "truncate,chmod,fchmodat,mknod,mknodat")
OPENS_TO_WRITE = re.compile(r"O_WRONLY|O_RDWR|O_CREAT|O_TRUNC")
SYSTEM_FILES = ("/dev/null", "/dev/tty", "/dev/full", "/proc/self/", "/dev/shm/")


class Sandbox:
    """The only folder in which a run may write. Its names that a case uses: see make."""

    def __init__(self, folder):
        self.folder = folder

    def make(self):
        shutil.rmtree(self.folder, ignore_errors=True)
        for name in ("home", "work", "de", "unreadable", "with \"quotes\" 'and' spaces", "back\\slash", "new\nline"):
            os.makedirs(os.path.join(self.folder, name))
        for name, target in (("circle-a", "circle-b"), ("circle-b", "circle-a"), ("dangling", "nowhere")):
            os.symlink(target, os.path.join(self.folder, name))
        os.mkfifo(os.path.join(self.folder, "fifo"))
        files = {"text.ini": "[Video]\nwidth=640\n", "de/strings.utf8": '"Quit" = "Beenden"\n', "empty": "",
                 "zeros": "\0" * 4096, "memory.dat": "core=1500\n", "unreadable/text.ini": "[Video]\n"}
        for name, content in files.items():
            with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
                file.write(content)
        if os.geteuid() == 0:
            for folder, folders, names in os.walk(self.folder):
                for name in [".", *folders, *names]:
                    os.lchown(os.path.join(folder, name), USER, USER)
        os.chmod(os.path.join(self.folder, "unreadable"), 0)

    def remove(self):
        if os.path.isdir(os.path.join(self.folder, "unreadable")):
            os.chmod(os.path.join(self.folder, "unreadable"), 0o700)
        shutil.rmtree(self.folder, ignore_errors=True)


def hostile_paths(sandbox):
    """Paths that are none, or that a program does not expect."""
    names = ("circle-a", "circle-a/x", "dangling", "unreadable/text.ini", "unreadable", "empty", "zeros", "home", "text.ini/x",
             "with \"quotes\" 'and' spaces", "back\\slash", "new\nline", "de/../../" + os.path.basename(sandbox) + "/text.ini",
             "a" * 1000, "a" * 1000 + "/" + "b" * 1000, "%s%n%d", "../" * 60 + "nowhere")
    return [os.path.join(sandbox, name).encode() for name in names] + [
        b"", b".", b"..", b"/", b"relative", b"-", b"--", b"\xff\xfe\x80", b"x" * 5000, b"/" + b"d/" * 3000, b"~", b"$HOME",
        b"*", b"/dev/null", b"/dev/full", b"/proc/self/mem", b"file\nname", b"\\\\server\\share", b"C:\\x"]


def environments(sandbox):
    """Returns pairs of a name for the report and the variables that a case sets; null removes a variable."""
    cases = [("an empty environment", dict.fromkeys(os.environ))]
    values = hostile_paths(sandbox) + [os.path.join(sandbox, "fifo").encode()]
    for variable in ("HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "MACAPI_LIBRARY", "MACAPI_USER_LIBRARY", "TMPDIR", "PATH"):
        cases += [(variable, {variable: value}) for value in [None, *values]]
    cases.append(("no folder at all", dict.fromkeys(("HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"))))
    names = [f"{language}.{encoding}" for language, encoding in LOCALES]
    for variable in ("LANG", "LC_ALL", "LC_NUMERIC", "LC_CTYPE"):
        cases += [(variable, {"LC_ALL": None, variable: value}) for value in
                  [*names, "C", "POSIX", "C.UTF-8", "xx_YY", "../../etc", "de_DE.nonsense", "%s%n", b"\xff\xfe", "l" * 5000, ""]]
    displays = ("", ":", ":99999", ":-1", ":0.99999", "nonsense", "unix:", "%s%n:0", "/nowhere:0", "::::", b"\xff:0",
                "d" * 5000, "d" * 5000 + ":0", "\n:0", "tcp/:77", "[::1]:77", "localhost:77")
    cases += [("DISPLAY", {"DISPLAY": value}) for value in displays]
    zones = (":/etc/passwd", "../../etc/passwd", "nonsense", "%", "UTC" * 2000, ":", b"\xff", "X-99999999999")
    cases += [("TZ", {"TZ": value}) for value in zones]
    for variable in ("TERM", "COLUMNS", "LINES", "NO_COLOR", "CORE_LOG_LEVEL", "CORE_WATCH", "CORE_WATCH_JOURNAL",
                     "CORE_WATCH_EVENTS", "CORE_WATCH_CHECK", "XAUTHORITY", "LANGUAGE", "USER", "LOGNAME", "PWD", "SHELL"):
        cases += [(variable, {variable: value})
                  for value in (None, "", "-1", "99999999999999999999", "%s%n", b"\xff\xfe", "v" * 5000, os.path.join(sandbox, "fifo"))]
    cases.append(("10,000 variables", {f"V{number}": "x" * 50 for number in range(10000)}))
    return cases


class Program:
    """A program with its arguments; PATH in them is a path of the case."""

    def __init__(self, path, arguments, statuses, waits=False):
        self.path = path
        self.arguments = arguments
        self.statuses = statuses  # the documented ones
        self.waits = waits        # it reads a FIFO until the writer's end, as programs do

    def words(self, path):
        return [self.path, *(path if word == "PATH" else word for word in self.arguments)]


def programs(place):
    def tool(*parts):
        return place.program("release", "tools", *parts)
    tools = (0, 1, 2, 3)
    return [
        Program(place.program("release", "tests", "prove", "prove_environment"), ["PATH", "PATH"], (0,)),
        Program(tool("core-prefs"), ["-a", "prove_environment", "list"], tools),
        Program(tool("core-strings", "core-strings"), ["check", "PATH"], tools, True),
        Program(tool("core-config", "core-config"), ["check", "--ini", "PATH"], tools, True),
        Program(tool("core-memory", "core-memory"), ["sizes", "PATH"], tools, True),
        Program(tool("core-doctor", "core-doctor"), ["PATH"], tools, True),
    ]


def as_ordinary_user():
    return ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups"] if os.geteuid() == 0 else []


def written_paths(log, folder):
    """The paths of the files that the calls of the log have made, changed or removed."""
    paths = []
    with open(log, encoding="utf-8", errors="replace") as file:
        for line in file:
            call = re.match(r"\d+ +(\w+)\((.*)\) += ", line)
            if not call or (call[1].startswith("open") and not OPENS_TO_WRITE.search(call[2])):
                continue
            base = folder
            for at, text in re.findall(r'(?:(?:AT_FDCWD|\d+)<([^>]*)>, )?"((?:[^"\\]|\\.)*)"', call[2]):
                base = at or folder
                name = text.encode("latin-1", "replace").decode("unicode_escape", "replace")
                paths.append(os.path.normpath(os.path.join(base, name)))
    return paths


def is_allowed(path, sandbox):
    return path == sandbox or path.startswith(sandbox + "/") or path.startswith(SYSTEM_FILES) or re.match(r"/proc/\d+/", path)


class Runner:
    def __init__(self, folder, locales):
        self.sandbox = Sandbox(os.path.join(folder, "sandbox"))
        self.log = os.path.join(folder, "calls")
        self.locales = locales
        self.runs = 0
        self.faults = []

    def _variables(self, changes):
        home = os.path.join(self.sandbox.folder, "home")
        variables = {b"PATH": os.environb.get(b"PATH", b""), b"HOME": home.encode(), b"LANG": b"C.UTF-8",
                     b"LOCPATH": self.locales.encode()}
        for name, value in changes.items():
            if value is None:
                variables.pop(name.encode(), None)
            else:
                variables[name.encode()] = value if isinstance(value, bytes) else value.encode()
        return variables

    def _start(self, words, changes):
        """Runs the program under strace. Returns the status, null if it hangs, and the output."""
        env = ["env", "-i", *(name + b"=" + value for name, value in self._variables(changes).items())]
        traced = [shutil.which("strace"), "-f", "-qq", "-z", "-y", "-s", "9000", "--seccomp-bpf", "-o", self.log,
                  "-e", "trace=" + WRITES, *as_ordinary_user(), *env, *words]
        with subprocess.Popen(traced, cwd=os.path.join(self.sandbox.folder, "work"), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True) as process:
            try:
                output = process.communicate(timeout=SECONDS)[0]
                return process.returncode, output
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                return None, process.communicate()[0]

    def run(self, program, case, changes, path):
        self.sandbox.make()
        status, output = self._start(program.words(path), changes)
        outside = [name for name in written_paths(self.log, os.path.join(self.sandbox.folder, "work"))
                   if not is_allowed(name, self.sandbox.folder)]
        fault = ""
        if status is None:
            fault = "hangs"
        elif status not in program.statuses:
            fault = f"ends with {status}"
        elif outside:
            fault = f"writes {outside[0]}"
        elif status != 0 and not output:
            fault = f"ends with {status} and says nothing"
        elif program.path.endswith("environment") and NUMBERS not in output:
            fault = "reads other numbers"
        self.runs += 1
        if fault:
            name = os.path.basename(program.path)
            values = {key: value[:60] if value else value for key, value in list(changes.items())[:3]}
            self.faults.append(f"{name}: {fault}; {case}: {values}, path {path[:60]!r}: {output[-160:]!r}")
            print(f"    {self.faults[-1][:400]}", flush=True)


def make_locales(folder):
    for language, encoding in LOCALES:
        figure.run(["localedef", "-i", language, "-f", encoding, "--no-archive", os.path.join(folder, f"{language}.{encoding}")])
    return len(os.listdir(folder))


def combinations(place, sandbox):
    """Each program with each environment, and each program with each path."""
    usual = os.path.join(sandbox, "text.ini").encode()
    fifo = os.path.join(sandbox, "fifo").encode()
    found = []
    for program in programs(place):
        found += [(program, case, changes, usual) for case, changes in environments(sandbox)]
        found += [(program, "a path", {}, path) for path in hostile_paths(sandbox) + ([] if program.waits else [fifo])]
    return found


def measure(place):
    if not shutil.which("strace"):
        raise figure.NotMeasured("strace is not installed")
    with tempfile.TemporaryDirectory(prefix="prove-") as folder:
        os.chmod(folder, 0o755)
        locales = os.path.join(folder, "locales")
        os.mkdir(locales)
        count = make_locales(locales)
        runner = Runner(folder, locales)
        cases = combinations(place, runner.sandbox.folder)
        if not place.full:
            cases = random.Random(place.seed).sample(cases, len(cases) // QUICK_SHARE)
        try:
            for case in cases:
                runner.run(*case)
        finally:
            runner.sandbox.remove()
    text = f"{runner.runs:,} combinations, {len(runner.faults)} faults"
    if not place.full:
        text += "; a full run tries each combination"
    if count < len(LOCALES):
        text += f"; {len(LOCALES) - count} locales are missing"
    return figure.Value(text, runner.faults, reached=place.full and count == len(LOCALES))
