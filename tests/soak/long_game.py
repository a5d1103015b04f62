#!/usr/bin/env python3
"""Plays a game of many hours, whose clock is its own, and compares what it uses at the beginning and at the end.

    long_game.py [--frames N] [--sample N] [--short] LONG_GAME

The game plays 2,000,000 frames of a 60th of a second, 9 hours and a quarter, in minutes: banks, texts, preferences,
folders, threads, windows. After each sample of 100,000 frames the script notes what the process and the window server
have for the game. Nothing may have grown between the first sample and the last one, with two exceptions: for each window
that is made and closed, AppKit's back end (GNUstep 0.29) keeps 50 to 65 bytes, and one counter at the window server. A
program that makes and closes windows of AppKit without this library grows at the same rate.

--short does not compare the memory of the process, which grows during the first frames: caches of AppKit fill.

Ends with 0 when nothing has grown, 1 when something has or the game has failed, and 77 without an X server.
"""
import argparse
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
MEMORY = ["malloc-bytes", "resident-kB"]  # --short leaves them out
INFORMATION = ["frame", "hours", "switches"]
GROWTH_OF_APPKIT = {"malloc-bytes": 80, "x-synccounter": 1}  # for each switch of windows, at most


class Server:
    """An X server of the script's own, and what it says about its clients: their windows, pixmaps, cursors and more.

    The requests are those of the extension X-Resource.
    """

    def __init__(self):
        ends = os.pipe()
        self.process = subprocess.Popen(["Xvfb", "-displayfd", str(ends[1]), "-noreset", "-screen", "0", "1024x768x24",
                                         "-extension", "GLX"], pass_fds=[ends[1]], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(ends[1])
        with os.fdopen(ends[0]) as number:
            self.display = ":" + number.readline().strip()
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect("/tmp/.X11-unix/X" + self.display[1:])
        self.socket.sendall(struct.pack("<BxHHHHH", ord("l"), 11, 0, 0, 0, 0))
        success, words = struct.unpack("<B5xH", self.receive(8))
        self.own = struct.unpack("<I", self.receive(4 * words)[4:8])[0]
        if success != 1:
            raise OSError("the X server refuses the connection")
        self.extension = self.ask(98, struct.pack("<Hxx", 10) + b"X-Resource\0\0")[9]
        self.names = {}

    def receive(self, size):
        data = b""
        while len(data) < size:
            part = self.socket.recv(size - len(data))
            if not part:
                raise OSError("the X server has ended")
            data += part
        return data

    def ask(self, number, body, detail=0):
        """Sends a request and returns its reply."""
        self.socket.sendall(struct.pack("<BBH", number, detail, 1 + len(body) // 4) + body)
        reply = self.receive(32)
        if reply[0] != 1:
            raise OSError(f"the X server answers request {number} with an error")
        return reply + self.receive(4 * struct.unpack("<I", reply[4:8])[0])

    def name(self, atom):
        if atom not in self.names:
            reply = self.ask(17, struct.pack("<I", atom))
            self.names[atom] = reply[32:32 + struct.unpack("<H", reply[8:10])[0]].decode().lower().replace(" ", "-")
        return self.names[atom]

    def pairs(self, detail, body):
        reply = self.ask(self.extension, body, detail)
        return struct.iter_unpack("<II", reply[32:32 + 8 * struct.unpack("<I", reply[8:12])[0]])

    def resources(self):
        counts = {"x-clients": 0, "x-pixmap-bytes": 0}
        for client, _ in list(self.pairs(1, b"")):
            if client == self.own:
                continue
            counts["x-clients"] += 1
            counts["x-pixmap-bytes"] += struct.unpack("<I", self.ask(self.extension, struct.pack("<I", client), 3)[8:12])[0]
            for atom, count in list(self.pairs(2, struct.pack("<I", client))):
                name = "x-" + self.name(atom)
                counts[name] = counts.get(name, 0) + count
        return counts

    def end(self):
        self.socket.close()
        self.process.terminate()
        self.process.wait()


def of_process(number):
    with open(f"/proc/{number}/status", encoding="utf-8") as file:
        status = dict(line.split(":", 1) for line in file)
    return {"resident-kB": int(status["VmRSS"].split()[0]), "threads": int(status["Threads"]),
            "descriptors": len(os.listdir(f"/proc/{number}/fd"))}


def sample(line, game, server, folder):
    words = line.split()
    numbers = {name: float(number) for name, number in zip(words[::2], words[1::2])}
    numbers.update(of_process(game.pid), files=sum(len(files) for _, _, files in os.walk(folder)))
    numbers.update(server.resources())
    return numbers


def play(server, folder):
    """Returns the samples, and the status with which the game ends."""
    environment = {**os.environ, "DISPLAY": server.display, "HOME": folder, "TMPDIR": folder}
    for name in ("MACAPI_LIBRARY", "MACAPI_USER_LIBRARY"):
        environment[name] = os.path.join(folder, name)
        os.mkdir(environment[name])
    samples = []
    start = time.monotonic()
    with open(os.path.join(folder, "messages"), "w+", encoding="utf-8", errors="replace") as messages, subprocess.Popen(
            [os.path.abspath(options.game), str(options.frames), str(options.sample)], cwd=folder, env=environment,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=messages, text=True) as game:
        for line in game.stdout:
            if not line.startswith("frame ") or " hours " not in line:
                print(line, end="", flush=True)
                continue
            samples.append(sample(line, game, server, folder))
            print(f"{samples[-1]['frame']:,.0f} frames, {samples[-1]['hours']} hours of the game in "
                  f"{time.monotonic() - start:.0f} seconds; {samples[-1]['resident-kB']:,.0f} kB", flush=True)
            game.stdin.write("\n")
            game.stdin.flush()
        if game.wait() != 0:
            messages.seek(0)
            print(messages.read(), end="", flush=True)
    return samples, game.returncode


def compare(first, last):
    """Prints the numbers and returns the names of those that have grown."""
    grown = []
    for name in sorted(first.keys() | last.keys()):
        numbers = first.get(name, 0), last.get(name, 0)
        print(f"{name:24} {numbers[0]:14,.10g} {numbers[1]:14,.10g}")
        allowed = GROWTH_OF_APPKIT.get(name, 0) * (last["switches"] - first["switches"])
        if numbers[1] > numbers[0] + allowed and name not in INFORMATION + (MEMORY if options.short else []):
            grown.append(name)
    return grown


parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
parser.add_argument("--frames", type=int, default=2_000_000)
parser.add_argument("--sample", type=int, default=100_000, help="frames between two samples")
parser.add_argument("--short", action="store_true", help="the memory of the process is not compared")
parser.add_argument("game", metavar="LONG_GAME")
options = parser.parse_args()
if not shutil.which("Xvfb"):
    print("skipped: there is no Xvfb")
    sys.exit(SKIPPED)
x_server = Server()
try:
    with tempfile.TemporaryDirectory(prefix="long-game-") as own:
        taken, ended = play(x_server, own)
finally:
    x_server.end()
if ended != 0 or len(taken) < 2:
    sys.exit(f"the game ended with {ended} after {len(taken)} samples")
growing = compare(taken[0], taken[-1])
print(f"{len(growing)} numbers have grown: {' '.join(growing)}" if growing else "0 numbers have grown")
sys.exit(1 if growing else 0)
