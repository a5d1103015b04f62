#!/usr/bin/env python3
"""libcorewatch.so on a host without the tools: preload_test.py LIBRARY GAME ASKING [EMULATOR...]

The test takes the place of the tools: it answers each message, and reads the journal. GAME is the program planted, ASKING
the program asking.
"""
import os
import socket
import struct
import subprocess
import sys
import tempfile
import threading

LIBRARY, GAME, ASKING, *EMULATOR = sys.argv[1:]

# The number of a bug, the options, and what the messages begin with.
CASES = [
    (0, {"CORE_WATCH_CHECK": "each"}, []),
    (4, {"CORE_WATCH_CHECK": "1"}, ['fault: overrun: bank "level", 100 bytes from ']),
    (7, {"CORE_WATCH_CHECK": "1"}, ['fault: overrun: bank "tiny", 5000 bytes from ']),
    (10, {"CORE_WATCH_CHECK": "1"}, ['fault: damage: bank "level", 100 bytes from ',
                                     'fault: overrun: bank "level", 100 bytes from ']),
    (11, {}, ['fault: double-free: bank "level", 104 bytes from ']),
    (15, {}, ['fault: wrong-bank: bank "level", 104 bytes from ']),
    (17, {}, ['fault: wrong-bank: bank "tiny", 5032 bytes from ']),
    (20, {}, ['fault: no-block: bank "level", address ']),
    (22, {"CORE_WATCH_CHECK": "1"}, ['fault: write-after-free: bank "level", 100 bytes from ']),
    (23, {"CORE_WATCH_CHECK": "1", "CORE_WATCH_QUARANTINE": "16"}, ['fault: write-after-free: bank "level", ']),
    (26, {"CORE_WATCH_CHECK": "1"}, ['fault: overrun: bank "frame", 100 bytes from ']),
]


def answer(listener, messages):
    while True:
        connection, _ = listener.accept()
        with connection:
            parts = list(iter(lambda: connection.recv(65536), b""))
            messages.append(b"".join(parts).decode())
            connection.sendall(b"\0")


def run(command, variables, folder):
    environment = dict(os.environ, MACAPI_LIBRARY=folder, MACAPI_USER_LIBRARY=folder)
    words = [*EMULATOR]
    if EMULATOR:
        for key, value in variables.items():
            words += ["-E", f"{key}={value}"]
    else:
        environment.update(variables)
    subprocess.run([*words, *command], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   cwd=folder, timeout=300, check=False)


def messages_of(number, options):
    messages = []
    name = f"core-preload-test-{os.getpid()}-{number}"
    with socket.socket(socket.AF_UNIX) as listener, tempfile.TemporaryDirectory() as folder:
        listener.bind("\0" + name)
        listener.listen(16)
        threading.Thread(target=answer, args=(listener, messages), daemon=True).start()
        run([GAME, str(number)], dict(options, CORE_WATCH=name, LD_PRELOAD=LIBRARY), folder)
    return messages


def counts_of_texts(order):
    """The calls of the game asking, by text, in a journal with this byte order."""
    journal = os.memfd_create("journal")
    os.write(journal, b"corejrnl" + struct.pack(order + "III", 1, 0, 0))
    os.ftruncate(journal, 256 * 1024)
    with tempfile.TemporaryDirectory() as folder:
        run([ASKING, "play", folder], {"CORE_WATCH_JOURNAL": f"/proc/{os.getpid()}/fd/{journal}",
                                       "CORE_WATCH_EVENTS": "strings", "LD_PRELOAD": LIBRARY}, folder)
    counts, place = {}, 64
    data = os.pread(journal, os.fstat(journal).st_size, 0)
    while struct.unpack_from(order + "I", data, place)[0] != 0:
        size, kind, count, _ = struct.unpack_from(order + "IIII", data, place)
        if kind == 3:
            length = struct.unpack_from(order + "4QIIII", data, place + 16)[5]
            text = data[place + 64:place + size].split(b"\0")[1]
            counts[text[:length]] = counts.get(text[:length], 0) + count
        place += size
    return counts


def main():
    wrong = 0
    for number, options, wanted in CASES:
        found = messages_of(number, options)
        faults = [message for message in found if message.startswith("fault: ")]
        fits = len(faults) == len(wanted) and all(fault.startswith(text) for fault, text in zip(faults, wanted))
        if not fits or len(found) != len(faults) + 1 or not found[-1].startswith("end: the manager's end\nmanager 0x"):
            wrong += 1
            print(f"bug {number}:", *found, sep="\n  ")
    print(f"{len(CASES)} bugs, {wrong} of them told wrong")
    counts = counts_of_texts(">" if "ppc" in " ".join(EMULATOR) else "<")
    if counts.get(b"Start") != 5 or counts.get(b"Only here") != 1 or counts.get(b"x" * 200) != 1:
        wrong += 1
        print("texts counted wrong:", counts)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
