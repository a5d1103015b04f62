"""R8: the library's results beside those of a second implementation in Python.

| Part | Second implementation |
|---|---|
| escapes | the two functions below |
| random words | Python's own generator, whose state is set by the recurrence that the paper of MT19937 gives for a seed |
| strings files | the class Reader below |

A document also has lines that end with "=", and several empty lines in a row. After "=" at the end of a line, the text of the
entry is in a later line. Empty lines follow the table in core/parser.cpp.
"""
import itertools
import os
import random
import struct
import subprocess
import tempfile

import figure

TITLE = "results beside a second implementation in Python: texts with escapes, random words, strings files; added up"
TARGET = "10 M texts and all of 2 bytes, 10 M words of 100 seeds, 1 M files, on x86-64 and PowerPC; 0 differences"
COMMAND = "./run prove R8"
COUNTERS = ["texts", "words", "files"]
EMULATORS = {"release": [], "powerpc": ["qemu-ppc", "-L", "/usr/powerpc-linux-gnu"],
             "aarch64": ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]}
NAMES = {"release": "x86-64", "powerpc": "PowerPC", "aarch64": "aarch64"}

LETTERS = dict(zip(b"abtnvfr\"'\\", b"\a\b\t\n\v\f\r\"'\\"))
BYTES = {byte: letter for letter, byte in LETTERS.items()}
BACKSLASH = ord("\\")

def escaped(text):
    return b"".join(bytes([BACKSLASH, BYTES[byte]]) if byte in BYTES else bytes([byte]) for byte in text)

def unescaped(text):
    """Returns the decoded text, and if all its escapes are valid. The letter of an unknown escape is lost."""
    result, valid = bytearray(), True
    rest = iter(text)
    for byte in rest:
        if byte == BACKSLASH:
            letter = next(rest, None)
            valid = valid and letter in LETTERS
            byte = LETTERS.get(letter, BACKSLASH)
        result.append(byte)
    return bytes(result), valid

def words(seed, count):
    state = [seed]
    for place in range(1, 624):
        state.append((1812433253 * (state[-1] ^ state[-1] >> 30) + place) & 0xffffffff)
    generator = random.Random()
    generator.setstate((3, (*state, 624), None))
    return struct.pack(f">{count}I", *(generator.getrandbits(32) for _ in range(count)))

class Reader:
    """Reads the lines of a strings file. It writes into the document as the parser does: a NUL at the end of each line and
    string, and decoded strings in the place of escaped ones."""

    def __init__(self, document):
        self.bytes = bytearray(document + b"\0")
        self.last = len(document)  # the place of the last NUL
        self.cursor = 0
        self.line = (0, 0)  # the first place of the line that was cut last, and the place of its NUL
        self.place = None  # where the next string or token of the line is looked for

    def first_of(self, ends, place):
        """Returns the first place, at or after this place, of one of these bytes or a NUL."""
        return min(found for found in (self.bytes.find(byte, place) for byte in ends + b"\0") if found >= 0)

    def without(self, blanks, place):
        while self.bytes[place] in blanks:
            place += 1
        return place

    def next_line(self):
        start = self.cursor
        if self.cursor < self.line[1]:  # empty lines have kept the cursor before the end of the last line
            self.cursor += self.cursor < self.line[0]
            start = max(start, self.line[0])
        else:
            start = self.without(b"\n", self.cursor)
            self.cursor += start > self.cursor
            if self.bytes[start] == 0:
                return False
            self.line = (start, self.first_of(b"\n", start))
            self.bytes[self.line[1]] = 0
        end = self.line[1]
        self.cursor = min(self.cursor + end - start + 1, self.last)
        self.place = self.without(b" \t", start)
        if self.bytes.startswith(b"//", self.place):
            self.bytes[self.place] = 0
        while end > self.place and self.bytes[end - 1] in b"\r\n":
            end -= 1
            self.bytes[end] = 0
        return True

    def string(self):
        """Returns the decoded bytes between the next two quotes; null when there are no two quotes before a NUL."""
        start = self.first_of(b'"', self.place) + 1
        if self.bytes[start - 1] == 0:
            return None
        end = self.first_of(b'"', start)
        while self.bytes[end] != 0 and self.bytes[end - 1] == BACKSLASH:
            end = self.first_of(b'"', end + 1)
        if self.bytes[end] == 0:
            return None
        self.place = end + 1
        decoded, _ = unescaped(self.bytes[start:end])
        self.bytes[end] = 0
        self.bytes[start:start + len(decoded) + 1] = decoded + b"\0"
        return decoded

    def equals(self):
        """Takes the next token. Returns true if it is "=". After the last token of a line, the place is in the next line."""
        start = self.without(b" \t", self.place)
        end = self.first_of(b" ", start)
        token = self.bytes[start:end]
        if token:
            self.bytes[end] = 0
            self.place = min(end + 1, self.last)
        return token == b"="

def entries(document):
    """The entries of a strings file, in the order of their keys and texts."""
    reader, found = Reader(document), []
    while reader.next_line():
        key = reader.string()
        text = reader.string() if key is not None and reader.equals() else None
        if text is not None:
            found.append((key[:127], text))
    return sorted(found)

def sorted_entries(reply):
    parts = reply.split(b"\0")[:-1]
    return sorted(zip(parts[::2], parts[1::2]))

def any_text(dice, alphabet, longest):
    return bytes(dice.choice(alphabet) for _ in range(dice.randint(0, longest)))

ESCAPES = b"\\\\\\\\abtnvfr\"'xyz \a\b\t\n\v\f\r\x01\x7f\x80\xff"
INSIDE = b"\\\\abtnvfr'xyz ,.=/\x80\xff"

def any_line(dice):
    kind = dice.randrange(16)
    if kind == 0:
        return b"//" + any_text(dice, INSIDE, 20)
    if kind == 1:
        return b"x" + any_text(dice, INSIDE, 20)
    if kind == 4:
        return b'"%s" =%s' % (any_text(dice, INSIDE, 12), dice.choice([b"", b"", b" ", b"\r"]))
    if kind == 5:
        return b'"%s"' % any_text(dice, INSIDE, 30)
    if kind == 6:
        return b"\n" * dice.randrange(5)
    key = any_text(dice, INSIDE, 200 if kind == 2 else 12)
    text = any_text(dice, INSIDE, 30)
    blanks = [dice.choice([b"", b" ", b"\t", b"  "]) for _ in range(2)]
    equals = dice.choice([b"= ", b"= ", b"= ", b"=  ", b"==", b"x "])
    end = dice.choice([b"", b"", b"\r", b" ", b" // end"])
    close = b"" if kind == 3 else b'"'
    return b'%s"%s"%s%s"%s%s%s' % (blanks[0], key, blanks[1] + b" ", equals, text, close, end)

def any_document(dice):
    lines = b"\n".join(any_line(dice) for _ in range(dice.randint(1, 8)))
    return lines + dice.choice([b"", b"\n"]) or b"\n"  # setLanguage leaves an empty file open


def reply(program, emulator, operation, requests):
    """The replies of the program, in the order of the requests."""
    data = b"".join(struct.pack(">I", len(request)) + request for request in requests)
    with tempfile.TemporaryDirectory(prefix="prove-") as folder:
        environment = {**os.environ, "MACAPI_LIBRARY": folder, "MACAPI_USER_LIBRARY": folder}
        output = subprocess.run([*emulator, program, operation], input=data, stdout=subprocess.PIPE, cwd=folder,
                                env=environment, check=True).stdout
    replies, place = [], 0
    while place < len(output):
        length, = struct.unpack_from(">I", output, place)
        replies.append(output[place + 4:place + 4 + length])
        place += 4 + length
    return replies

def parts(dice, sizes):
    """Each part: its counter, operation, requests, what each counts, and the function of the second implementation."""
    every = [bytes(pair) for pair in itertools.product(range(1, 256), repeat=2)]
    texts = every + [any_text(dice, ESCAPES, 40) for _ in range(sizes["texts"] // 2)]
    seeds = [struct.pack(">II", dice.getrandbits(32), 1000) for _ in range(sizes["words"] // 1000)]
    yield "texts", "escape", texts, 1, escaped, bytes
    yield "texts", "unescape", texts, 1, lambda text: b"%d" % unescaped(text)[1] + unescaped(text)[0], bytes
    yield "words", "random", seeds, 1000, lambda request: words(*struct.unpack(">II", request)), bytes
    yield "files", "strings", [any_document(dice) for _ in range(sizes["files"])], 1, entries, sorted_entries

def measure(place):
    sizes = {"texts": 1_000_000, "words": 1_000_000, "files": 100_000} if place.full else {
        "texts": 40_000, "words": 100_000, "files": 4_000}
    number = place.add("R8", runs=1)["runs"]
    faults, played = [], 0
    for preset, emulator in EMULATORS.items():
        try:
            program = place.program(preset, "tests", "prove", "prove_differ")
        except figure.NotMeasured as reason:
            print(f"  left out: {reason}", flush=True)
            continue
        played += 1
        for counter, operation, requests, each, expected, read in parts(random.Random(number), sizes):
            replies = reply(program, emulator, operation, requests)
            wrong = [(request, answer) for request, answer in itertools.zip_longest(requests, replies)
                     if answer is None or read(answer) != expected(request)]
            faults += [f"{preset}, {operation}: {request[:60]!r} gives {answer and answer[:60]!r}" for request, answer in wrong[:3]]
            place.add("R8", **{f"{preset} {counter}": 0 if wrong else each * len(requests)})
    if not played:
        raise figure.NotMeasured("prove_differ is not built")
    counters = place.add("R8")
    text = "; ".join(f"{NAMES[preset]}: " + ", ".join(f"{counters.get(f'{preset} {name}', 0):,} {name}" for name in COUNTERS)
                     for preset in EMULATORS)
    return figure.Value(f"{text}; {len(faults)} differences; not measured: property lists", faults, reached=False)
