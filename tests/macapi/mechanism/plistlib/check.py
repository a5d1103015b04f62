#!/usr/bin/env python3
"""Holds macapi's property lists against Python's.

    check.py COUNT COMMAND...    COMMAND starts the program made of exchange.cpp

Lists that the program makes have to say the same to plistlib, and lists that plistlib writes the same to the program,
also once the program has written them again.
"""
import datetime
import plistlib
import random
import re
import struct
import subprocess
import sys

count, command = int(sys.argv[1]), sys.argv[2:]

# Characters that XML cannot hold, and what stands for them behind a backslash.
pictures = {chr(0x2400 + c): chr(c) for c in range(1, 32) if c not in (9, 10, 13)}
pictures.update({'\ufffc': '\ufffe', '\ufffd': '\uffff'})


def meant(text):
    def unfold(match):
        slashes, picture = match.groups()
        return '\\' * (len(slashes) // 2) + (pictures[picture] if len(slashes) % 2 else picture)
    return re.sub('(\\\\*)([%s])' % ''.join(pictures), unfold, text)


def hexadecimal(text):
    return meant(text).encode().hex()


def describe(value):
    if isinstance(value, str):
        return 's' + hexadecimal(value)
    if isinstance(value, bool):
        return 't' if value else 'f'
    if isinstance(value, int):
        return 'i%d' % value
    if isinstance(value, float):
        return 'rnan' if value != value else 'r' + struct.pack('>d', value).hex()
    if isinstance(value, bytes):
        return 'd' + value.hex()
    if isinstance(value, datetime.datetime):
        return 'D%04d' % value.year + value.strftime('-%m-%dT%H:%M:%SZ')
    if isinstance(value, list):
        return '[' + ','.join(map(describe, value)) + ']'
    entries = sorted((bytes.fromhex(hexadecimal(key)), describe(entry)) for key, entry in value.items())
    return '{' + ','.join(key.hex() + ':' + entry for key, entry in entries) + '}'


def as_it_stands(value):
    """The value to the letter, backslashes and all."""
    if isinstance(value, dict):
        return {key: as_it_stands(value[key]) for key in sorted(value)}
    return list(map(as_it_stands, value)) if isinstance(value, list) else repr(value)


def framed(data):
    return b'%d\n' % len(data) + data


def frames(stream):
    start = 0
    while start < len(stream):
        line = stream.index(b'\n', start)
        end = line + 1 + int(stream[start:line])
        yield stream[line + 1:end]
        start = end


def run(*arguments, stdin=b''):
    answer = list(frames(subprocess.run(command + list(arguments), input=stdin, stdout=subprocess.PIPE,
                                        check=True).stdout))
    return list(zip(answer[::2], answer[1::2]))


def make_character():
    kind = random.randrange(8)
    if kind == 0:
        return '\\'
    if kind == 1:
        return random.choice(list(pictures) + ['\u2409', '\u2400', '\u2420'])
    if kind == 2:
        return random.choice(' \t\n\r<>&\'"]\x7f\x85')
    if kind == 3:
        return chr(0x10000 * random.randrange(1, 17) + random.randrange(0x10000))
    if kind == 4:
        return chr(random.choice([random.randrange(32, 0xd800), random.randrange(0xe000, 0xfffe)]))
    return chr(random.randrange(32, 127))


def make_text():
    return ''.join(make_character() for _ in range(random.randrange(12)))


def make_real():
    if random.randrange(3):
        return struct.unpack('>d', random.getrandbits(64).to_bytes(8, 'big'))[0]
    return random.choice([0.0, -0.0, 0.1, 1e300, 5e-324, float('inf'), -float('inf'), float('nan')])


def make_integer():
    return random.choice([0, 1, -1, 2**31, 2**63 - 1, -2**63, 2**64 - 1, random.getrandbits(40), -random.getrandbits(62)])


def make_date():
    return datetime.datetime(random.randrange(1, 10000), random.randrange(1, 13), random.randrange(1, 29),
                             random.randrange(24), random.randrange(60), random.randrange(60))


def make_value(depth):
    kind = random.randrange(0 if depth else 7, 9 if depth < 5 else 7)
    most = 6 if depth else 12
    if kind < 2:
        return make_text()
    if kind < 6:
        return (make_integer, make_real, lambda: random.random() < 0.5, make_date)[kind - 2]()
    if kind == 6:
        return random.getrandbits(8 * 80).to_bytes(80, 'big')[:random.randrange(81)]
    if kind == 7:
        return [make_value(depth + 1) for _ in range(random.randrange(most))]
    return {make_text(): make_value(depth + 1) for _ in range(random.randrange(most))}


def check(same, *what):
    if not same:
        sys.exit('\n'.join(str(part) for part in what))


made = run('make', '20031024', str(count))
check(len(made) == count, 'the program made %d lists' % len(made))
for said, data in made:
    seen = describe(plistlib.loads(data))
    check(seen == said.decode(), 'ours, as it says:', said, 'and as plistlib reads it:', seen, data)

random.seed(1024)
theirs = [plistlib.dumps(make_value(0), fmt=plistlib.FMT_XML) for _ in range(count)]
rewritten = run('rewrite', stdin=b''.join(map(framed, theirs)))
check(len(rewritten) == count, 'the program rewrote %d lists' % len(rewritten))
for data, (said, again) in zip(theirs, rewritten):
    value = plistlib.loads(data)
    check(describe(value) == said.decode(), 'theirs:', describe(value), 'and as we read it:', said, data)
    back = plistlib.loads(again)
    check(as_it_stands(back) == as_it_stands(value), 'theirs:', data, 'rewritten:', again)
print('%d lists of ours and %d of theirs say the same on both sides' % (count, count))
