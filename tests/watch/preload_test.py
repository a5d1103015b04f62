#!/usr/bin/env python3
"""The messages of libcorewatch.so on a host without core-memory: preload_test.py LIBRARY GAME [EMULATOR...]

The test takes the place of the tool: it answers each message. GAME is the program planted.
"""
import os
import socket
import subprocess
import sys
import tempfile
import threading

LIBRARY, GAME, *EMULATOR = sys.argv[1:]

# The number of a bug, the options, and what the messages begin with.
CASES = [
    (0, {"CORE_WATCH_CHECK": "each"}, []),
    (4, {"CORE_WATCH_CHECK": "block"}, ['fault: overrun: bank "level", 100 bytes from ']),
    (7, {"CORE_WATCH_CHECK": "block"}, ['fault: overrun: bank "tiny", 5000 bytes from ']),
    (10, {"CORE_WATCH_CHECK": "block"}, ['fault: damage: bank "level", 100 bytes from ',
                                     'fault: overrun: bank "level", 100 bytes from ']),
    (11, {}, ['fault: double-free: bank "level", 104 bytes from ']),
    (15, {}, ['fault: wrong-bank: bank "level", 104 bytes from ']),
    (17, {}, ['fault: wrong-bank: bank "tiny", 5032 bytes from ']),
    (20, {}, ['fault: no-block: bank "level", address ']),
    (22, {"CORE_WATCH_CHECK": "block"}, ['fault: write-after-free: bank "level", 100 bytes from ']),
    (23, {"CORE_WATCH_CHECK": "block", "CORE_WATCH_QUARANTINE": "16"}, ['fault: write-after-free: bank "level", ']),
    (26, {"CORE_WATCH_CHECK": "block"}, ['fault: overrun: bank "frame", 100 bytes from ']),
]


def answer(listener, messages):
    while True:
        connection, _ = listener.accept()
        with connection:
            parts = list(iter(lambda: connection.recv(65536), b""))
            messages.append(b"".join(parts).decode())
            connection.sendall(b"\0")


def messages_of(number, options):
    messages = []
    name = f"core-preload-test-{os.getpid()}-{number}"
    with socket.socket(socket.AF_UNIX) as listener, tempfile.TemporaryDirectory() as folder:
        listener.bind("\0" + name)
        listener.listen(16)
        threading.Thread(target=answer, args=(listener, messages), daemon=True).start()
        variables = dict(options, CORE_WATCH=name, LD_PRELOAD=LIBRARY)
        environment = dict(os.environ, MACAPI_LIBRARY=folder, MACAPI_USER_LIBRARY=folder)
        command = [*EMULATOR]
        if EMULATOR:
            for key, value in variables.items():
                command += ["-E", f"{key}={value}"]
        else:
            environment.update(variables)
        subprocess.run([*command, GAME, str(number)], env=environment, stdin=subprocess.DEVNULL, check=True, timeout=300)
    return messages


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
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
