#!/usr/bin/env python3
"""One user spoils a folder that all users share, while another plays and root looks after it.

    two_users.py [--seconds N] STORE_WRITER CORE_PREFS

Mallory may write to the machine's Library folder. For as long as it runs she makes links, second names, pipes and
folders there, changes modes, holds locks, damages files and swaps all of them while others are at work. Anna's game
reads and writes the machine's preferences, and so does root.

Whatever happens, no file outside of the shared folder is read, moved, changed or published: Anna's home is the same
before and after, to the last owner and mode; no file that Mallory can read holds a text of Anna's that was hers alone;
and no call takes much longer than the 5 seconds that a write may wait.

Ends with 0 when all held, 1 when something did not, and 77 where it can't be another user.
"""
import argparse
import fcntl
import hashlib
import os
import plistlib
import random
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
ANNA = 61001
MALLORY = 61003
SECRET = "swordfish"
LONGEST_CALL = 30  # seconds, on a machine under load
TARGETS = ["keys", "private.plist", "damaged.plist", "notes", "autostart", "autostart/new.desktop", "open/all.plist"]


def as_user(user):
    return ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]


def why_not():
    if os.geteuid() != 0 or not shutil.which("setpriv"):
        return "only root can be another user"
    status = subprocess.run([*as_user(ANNA), options.writer], stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL).returncode
    return "" if status == 2 else "other users may not run the programs, or there can be none"  # 2: it says its usage


def make_home(home):
    """Files of many kinds, none of which another user may read but for those in "open"."""
    files = {
        "keys": f"ssh-rsa {SECRET}\n".encode(),
        "notes": f"{SECRET}\n".encode(),
        "private.plist": plistlib.dumps({"Player": SECRET, "victim": SECRET}),
        "private.plist.bak": plistlib.dumps({"Player": SECRET}),
        "damaged.plist": plistlib.dumps({"Player": SECRET})[:-20],
        "open/all.plist": plistlib.dumps({"Player": "Anna"}),
    }
    os.makedirs(os.path.join(home, "autostart"))
    os.makedirs(os.path.join(home, "open"))
    for name, contents in files.items():
        path = os.path.join(home, name)
        with open(path, "wb") as file:
            file.write(contents)
        os.chmod(path, 0o644 if name.startswith("open") else 0o600)
        os.chown(path, 0 if name == "notes" else ANNA, ANNA)  # the notes are root's
    for name in ("", "autostart", "open"):
        os.chown(os.path.join(home, name), ANNA, ANNA)
    os.chmod(home, 0o711)
    os.chmod(os.path.join(home, "autostart"), 0o700)


def snapshot(home):
    """What may not change: each file's kind, owner, mode, time, and contents."""
    state = {}
    for folder, folders, files in os.walk(home):
        for name in ["", *folders, *files]:
            path = os.path.join(folder, name)
            status = os.lstat(path)
            contents = b""
            if stat.S_ISREG(status.st_mode):
                with open(path, "rb") as file:
                    contents = hashlib.sha256(file.read()).digest()
            state[path] = (status.st_mode, status.st_uid, status.st_gid, status.st_ino, status.st_mtime_ns, contents)
    return state


class Mallory:
    """Spoils the shared folder until she is killed. Her seed is all that she starts from."""

    def __init__(self, home, folders, seed):
        self.home = home
        self.folders = folders
        self.dice = random.Random(seed)
        self.held = []

    def name(self):
        folder = self.dice.choice(self.folders)
        stores = ["store_writer.plist", ".GlobalPreferences.plist"]
        hosts = [name for name in self.names(folder) if name.endswith(".plist")]
        ends = ["", "", "", ".bak", ".bak", ".lock", ".new", ".damaged-1"]
        return os.path.join(folder, self.dice.choice(stores + hosts) + self.dice.choice(ends))

    @staticmethod
    def names(folder):
        try:
            return os.listdir(folder)
        except OSError:
            return []

    def target(self):
        return os.path.join(self.home, self.dice.choice(TARGETS))

    def clear(self, path):
        try:
            os.unlink(path)
        except IsADirectoryError:
            os.rename(path, f"{path}.{self.dice.random()}")

    def symlink(self, path):
        self.clear(path) if os.path.lexists(path) else None
        os.symlink(self.target(), path)

    def swap(self, path):
        """Two names that change places, as fast as she can."""
        other = path + ".mallory"
        os.path.lexists(other) or os.symlink(self.target(), other)
        for _ in range(50):
            third = path + ".third"
            os.rename(path, third)
            os.rename(other, path)
            os.rename(third, other)

    def hardlink(self, path):
        self.clear(path) if os.path.lexists(path) else None
        os.link(os.path.join(self.home, "open/all.plist"), path)

    def damage(self, path):
        self.clear(path) if os.path.lexists(path) else None
        with open(path, "wb") as file:
            file.write(plistlib.dumps({"Player": "Mallory"})[: self.dice.randrange(300)])
        os.chmod(path, self.dice.choice([0o666, 0o644, 0o6777, 0]))

    def store(self, path):
        self.clear(path) if os.path.lexists(path) else None
        with open(path, "wb") as file:
            file.write(plistlib.dumps({"Player": "Mallory" * self.dice.randrange(1000)}))
        os.chmod(path, 0o666)

    def trap(self, path):
        """A damaged file that all may write, and the copy to publish."""
        base = path.split(".plist")[0] + ".plist"
        self.damage(base)
        self.symlink(base + ".bak")

    def pipe(self, path):
        self.clear(path) if os.path.lexists(path) else None
        os.mkfifo(path, 0o666)

    def folder(self, path):
        self.clear(path) if os.path.lexists(path) else None
        os.mkdir(path, 0o777)

    def lock(self, path):
        file = open(path.split(".plist")[0] + ".plist.lock", "r+b")
        fcntl.lockf(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        self.held.append(file)

    def release(self, path):
        for file in self.held:
            file.close()
        self.held = []

    def move_folder(self, path):
        folder = self.dice.choice(self.folders)
        os.rename(folder, folder + ".away")
        os.symlink(self.target(), folder)
        time.sleep(self.dice.random() / 100)
        os.unlink(folder)
        os.rename(folder + ".away", folder)

    def remove(self, path):
        self.clear(path)

    def play(self):
        tricks = [self.symlink, self.swap, self.hardlink, self.damage, self.store, self.trap, self.trap, self.pipe,
                  self.folder, self.lock, self.release, self.release, self.move_folder, self.remove, self.remove]
        while True:
            try:
                self.dice.choice(tricks)(self.name())
            except (OSError, ValueError):
                pass  # she may not do everything


def start_mallory(home, folders, seed):
    pid = os.fork()
    if pid == 0:
        try:
            os.setgroups([])
            os.setresgid(MALLORY, MALLORY, MALLORY)
            os.setresuid(MALLORY, MALLORY, MALLORY)
            Mallory(home, folders, seed).play()
        finally:
            os._exit(1)
    return pid


def published(library, home):
    """Files in the shared folder with Anna's secret which Mallory can read, and that are no second name of Anna's."""
    of_home = {status[3] for status in snapshot(home).values()}
    found = []
    for folder, _, files in os.walk(library):
        for name in files:
            path = os.path.join(folder, name)
            status = os.lstat(path)
            if not stat.S_ISREG(status.st_mode) or status.st_ino in of_home:
                continue
            with open(path, "rb") as file:
                if SECRET.encode() in file.read():
                    found.append(path)
    return found


def play(seconds, parent):
    library = os.path.join(parent, "Library")
    preferences = os.path.join(library, "Preferences")
    folders = [preferences, os.path.join(preferences, "ByHost")]
    home = os.path.join(parent, "home")
    os.chmod(parent, 0o755)
    for folder in [library, *folders]:
        os.makedirs(folder)
        os.chmod(folder, 0o777)
    make_home(home)
    before = snapshot(home)
    seed = random.randrange(1 << 32)
    print(f"two users: {seconds} seconds, seed {seed}", flush=True)
    dice = random.Random(seed)
    mallories = [start_mallory(home, folders, seed + number) for number in range(3)]
    failures = []
    calls = 0
    try:
        end = time.monotonic() + seconds
        while time.monotonic() < end and not failures:
            failures = one_call(dice, library, home, parent)
            calls += 1
            failures += difference(before, snapshot(home))
    finally:
        for pid in mallories:
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)
    failures += [f"published: {path}" for path in published(library, home)]
    print(f"{calls} processes beside 3 of Mallory's", flush=True)
    return failures


def difference(before, after):
    return [f"changed: {path}: {before.get(path)} is {after.get(path)}"
            for path in sorted(before.keys() | after.keys()) if before.get(path) != after.get(path)]


def one_call(dice, library, home, parent):
    """Anna's game, or root, looks at the machine's preferences or changes them."""
    user = dice.choice([ANNA, ANNA, 0])
    value = str(dice.randrange(1000))
    prefs = [options.core_prefs, "-ma", "store_writer"]
    command = dice.choice([[options.writer, "machine", "victim", value]] * 4 +
                          [[*prefs, "list"], [*prefs, "write", "victim", value], [*prefs, "delete", "victim"]])
    environment = {**os.environ, "MACAPI_LIBRARY": library, "HOME": home, "MACAPI_USER_LIBRARY": parent + "/none"}
    try:
        result = subprocess.run([*as_user(user), *command], env=environment, cwd="/", timeout=LONGEST_CALL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    except subprocess.TimeoutExpired:
        return [f"user {user}: {' '.join(command)} did not end"]
    if result.returncode < 0 or result.returncode > 4:
        return [f"user {user}: {' '.join(command)} ended with {result.returncode}: {result.stderr.decode()}"]
    if SECRET.encode() in result.stdout + result.stderr:
        return [f"user {user}: {' '.join(command)} said what it should not have read"]
    return []


parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
parser.add_argument("--seconds", type=int, default=180)
parser.add_argument("writer", metavar="STORE_WRITER")
parser.add_argument("core_prefs", metavar="CORE_PREFS")
options = parser.parse_args()
options.writer = os.path.abspath(options.writer)
options.core_prefs = os.path.abspath(options.core_prefs)
reason = why_not()
if reason:
    print("skipped:", reason)
    sys.exit(SKIPPED)
with tempfile.TemporaryDirectory(prefix="two-users-") as scratch:
    problems = play(options.seconds, scratch)
for problem in problems:
    print(f"FAILED: {problem}")
print(f"{len(problems)} failures")
sys.exit(1 if problems else 0)
