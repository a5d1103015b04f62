#!/usr/bin/env python3
"""What libcorewatch.so tells of a game's files on a host without core-config: reads_test.py LIBRARY GAME [EMULATOR...]

The test takes the place of the tool: it makes the journal (watch/journal.h) and reads the events (watch/reads.h). GAME is
the program reading. The numbers are those of a big-endian host.
"""
import os
import struct
import subprocess
import sys
import tempfile

LIBRARY, GAME, *EMULATOR = sys.argv[1:]
CHUNK = 256 * 1024
READS, PREFERENCE = 16, 17
FILE, TEXT, LINE, FLOAT32, LINE_INT2 = 1, 2, 3, 16, 33
WORLD = b"world\r\n{\r\n    gravity = 9.81\r\n}\r\n"


def records(journal):
    for chunk in range(0, len(journal), CHUNK):
        place = chunk + (64 if chunk == 0 else 0)
        while place < chunk + CHUNK:
            size, kind = struct.unpack_from(">II", journal, place)
            if size == 0:
                return
            yield kind, journal[place + 16:place + size]
            place += size


def events(block):
    place = 0
    while place + 16 <= len(block):
        size, what, result, at, _ = struct.unpack_from(">HBBIQ", block, place)
        if size == 0:
            return
        yield what, result, at, block[place + 16:place + size]
        place += size


def journal_of(folder):
    path = os.path.join(folder, "journal")
    with open(path, "wb") as file:
        file.write(struct.pack(">8s14I", b"corejrnl", 1, *[0] * 13).ljust(CHUNK, b"\0"))
    os.mkdir(os.path.join(folder, "Data"))
    for name, content in (("world.txt", WORLD), ("path.txt", b"path\r\n1 2\r\n"), ("game.ini", b"[Video]\nwidth=800\n")):
        with open(os.path.join(folder, "Data", name), "wb") as file:
            file.write(content)
    variables = {"CORE_WATCH_JOURNAL": path, "CORE_WATCH_EVENTS": "reads", "LD_PRELOAD": LIBRARY}
    command = list(EMULATOR)
    for key, value in variables.items():
        command += ["-E", f"{key}={value}"]
    environment = dict(os.environ, MACAPI_LIBRARY=folder, MACAPI_USER_LIBRARY=folder)
    result = subprocess.run([*command, GAME], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False, timeout=300)
    assert result.returncode == 7, result
    with open(path, "rb") as file:
        return file.read()


def main():
    with tempfile.TemporaryDirectory() as folder:
        found = list(records(journal_of(folder)))
    seen = [event for kind, block in found if kind == READS for event in events(block)]
    texts = [rest[:at] for what, _, at, rest in seen if what == TEXT]
    assert any(what == FILE and rest.startswith(b"Data\\world.txt\0/") for what, _, _, rest in seen), seen
    assert WORLD in texts and b"1 2\r\n" in texts, texts
    assert sum(what == LINE for what, *_ in seen) >= 4, seen
    gravity = WORLD.index(b"gravity") + len(b"gravity ")
    assert any(what == FLOAT32 and result == 1 and at == gravity and rest.startswith(b"gravity\0")
               for what, result, at, rest in seen), seen
    assert any(what == FLOAT32 and result == 0 and rest.startswith(b"gravity\x000\x0041180000\0")
               for what, result, _, rest in seen), seen
    assert any(what == LINE_INT2 and result == 1 for what, result, *_ in seen), seen
    preferences = [block.rstrip(b"\0") for kind, block in found if kind == PREFERENCE]
    assert b"\1\1\1\0Data/game.ini\0Video\0width\000640\000800" in preferences, preferences


main()
