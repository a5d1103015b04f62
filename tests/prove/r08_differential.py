"""R8: the library's results beside those of a second implementation in Python.

| Part | Second implementation |
|---|---|
| texts with escapes | models/escapes.py |
| random words | models/random_words.py |
| strings files | models/strings.py |
| lines, tokens and values | models/parser.py |
| property lists | Python's plistlib |

A batch is some requests. The second implementation answers each request once, and the programs of all hosts must give the
same bytes. Two processes play the batches.
"""
import concurrent.futures
import os
import random
import struct
import subprocess
import sys
import tempfile

import figure
from models import escapes, parser_calls, random_words, strings

TITLE = ("results beside a second implementation in Python: texts with escapes, random words, strings files, parsed documents, "
         "property lists in each direction; added up")
TARGET = ("10 M texts and all of 2 bytes, 10 M words of 100 seeds, 1 M files, 1 M documents, 100,000 lists each way, on x86-64 "
          "and PowerPC; 0 differences")
COMMAND = "./run prove R8"
TARGETS = {"texts": 10_000_000, "words": 10_000_000, "files": 1_000_000, "documents": 1_000_000, "lists": 100_000}
EMULATORS = {"release": [], "powerpc": ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"],
             "aarch64": ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]}
NAMES = {"release": "x86-64", "powerpc": "PowerPC", "aarch64": "aarch64"}
LISTS_FOLDER = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "macapi", "mechanism", "plistlib")


def one(request):
    return 1


def texts_in(request):
    return request.count(b"\0")


def words_in(request):
    return random_words.COUNT


# Operation of prove_differ: counter, what makes requests, what answers them, and how much a request counts.
OPERATIONS = {
    "escape": ("texts", escapes.Maker, escapes.expected_escaped, texts_in),
    "unescape": ("texts", escapes.Maker, escapes.expected_unescaped, texts_in),
    "random": ("words", random_words.Maker, random_words.expected, words_in),
    "strings": ("files", strings.Maker, strings.expected, one),
    "parser": ("documents", parser_calls.Maker, parser_calls.expected, one),
}
# For each operation the requests of a batch, and the batches of a full run. A short run has one batch.
BATCHES = {"escape": (520, 8), "unescape": (520, 8), "random": (100, 10), "strings": (20_000, 50), "parser": (20_000, 50),
           "lists": (5_000, 20)}
SHORT = 10  # a batch of a short run has a tenth of the requests


def framed(data):
    return struct.pack(">I", len(data)) + data


def unframed(output):
    replies, place = [], 0
    while place < len(output):
        length, = struct.unpack_from(">I", output, place)
        replies.append(output[place + 4:place + 4 + length])
        place += 4 + length
    return replies


def output_of(command, data):
    """What the program writes. It writes its files in memory, because a disk would take most of the time."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="prove-", dir=memory) as folder:
        environment = {**os.environ, "MACAPI_LIBRARY": folder, "MACAPI_USER_LIBRARY": folder}
        return subprocess.run(command, input=data, stdout=subprocess.PIPE, cwd=folder, env=environment, check=True).stdout


def differences(requests, answers, output):
    replies = unframed(output)
    return [f"{request[:300]!r} gives {reply[:300]!r}, not {answer[:300]!r}"
            for request, answer, reply in zip(requests, answers, replies + [b"nothing"] * len(requests)) if answer != reply]


def play_requests(operation, seed, count, commands):
    """Plays a batch. Returns the counter, how much was compared, and the differences of each host."""
    counter, maker, expected, each = OPERATIONS[operation]
    maker = maker(random.Random(f"{operation} {seed}"))
    requests = [maker.request() for _ in range(count)]
    if operation.endswith("escape") and seed % 1000 == 0:  # once in a run
        requests.append(escapes.TWO_BYTES)
    answers = [expected(request) for request in requests]
    data, right = b"".join(map(framed, requests)), b"".join(map(framed, answers))
    found = {}
    for host, command in commands.items():
        output = output_of([*command, operation], data)
        found[host] = [] if output == right else differences(requests, answers, output) or ["more replies than requests"]
    return counter, sum(map(each, requests)), found


def play_lists(seed, count, commands):
    """As play_requests, for property lists: the program makes lists, and reads and writes those of plistlib."""
    sys.path.insert(0, LISTS_FOLDER)
    import lists
    random.seed(seed)
    theirs = [lists.make_list() for _ in range(count)]
    theirs[::2] = map(lists.dressed, theirs[::2])
    data = b"".join(map(lists.framed, theirs))
    right, found = None, {}
    for host, command in commands.items():
        both = lists.answers(command, "make", str(seed), str(count)), lists.answers(command, "rewrite", stdin=data)
        found[host] = []
        if both == right:
            continue  # as another host, whose lists have no difference
        pairs = [lists.difference_of_ours(*pair) for pair in both[0]]
        pairs += [lists.difference_of_theirs(document, *pair) for document, pair in zip(theirs, both[1])]
        found[host] = [text for text in pairs if text] + ["a list is missing"] * (len(pairs) != 2 * count)
        right = both if right is None and not found[host] else right
    return "lists", count, found


def play(operation, seed, count, differ, exchange):
    if operation == "lists":
        return play_lists(seed, count, exchange)
    return play_requests(operation, seed, count, differ)


def programs(place, *path):
    """The command of a program on each host for which it is built."""
    commands = {}
    for preset, emulator in EMULATORS.items():
        try:
            commands[preset] = [*emulator, place.program(preset, "tests", *path)]
        except figure.NotMeasured as reason:
            print(f"  left out: {reason}", flush=True)
    return commands


def jobs(full, run):
    """The arguments of play for all batches: operation, seed and number of requests."""
    for operation, (count, batches) in BATCHES.items():
        for batch in range(batches if full else 1):
            yield operation, 1000 * run + batch, count if full else count // SHORT


def measure(place):
    differ = programs(place, "prove", "prove_differ")
    exchange = programs(place, "macapi", "mechanism", "plist_exchange")
    if not differ:
        raise figure.NotMeasured("prove_differ is not built")
    run = place.add("R8", runs=1)["runs"]
    faults = []
    with concurrent.futures.ProcessPoolExecutor(2) as pool:
        played = [pool.submit(play, *job, differ, exchange) for job in jobs(place.full, run)]
        for job, result in zip(jobs(place.full, run), played):
            counter, count, found = result.result()
            for host, texts in found.items():
                faults += [f"{NAMES[host]}, {job[0]}, seed {job[1]}: {text}" for text in texts[:3]]
                place.add("R8", **{f"{host} {counter}": 0 if texts else count})
    counters = place.add("R8")
    text = "; ".join(f"{NAMES[host]}: " + ", ".join(f"{counters.get(f'{host} {name}', 0):,} {name}" for name in TARGETS)
                     for host in EMULATORS if f"{host} texts" in counters)
    reached = all(counters.get(f"{host} {name}", 0) >= target for host in ("release", "powerpc")
                  for name, target in TARGETS.items())
    return figure.Value(f"{text}; {len(faults)} differences", faults, reached)
