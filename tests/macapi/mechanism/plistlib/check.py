#!/usr/bin/env python3
"""Holds macapi's property lists against Python's.

    check.py COUNT COMMAND...    COMMAND starts the program made of exchange.cpp

Lists that the program makes have to say the same to plistlib, and lists that plistlib writes the same to the program,
also once the program has written them again. Every other list of plistlib is dressed: see lists.py.
"""
import random
import sys

import lists


def check(difference):
    if difference:
        sys.exit(difference)


def main():
    count, command = int(sys.argv[1]), sys.argv[2:]
    made = lists.answers(command, 'make', '20031024', str(count))
    check(len(made) != count and 'the program made %d lists' % len(made))
    for said, data in made:
        check(lists.difference_of_ours(said, data))

    random.seed(1024)
    theirs = [lists.make_list() for _ in range(count)]
    theirs[::2] = map(lists.dressed, theirs[::2])
    rewritten = lists.answers(command, 'rewrite', stdin=b''.join(map(lists.framed, theirs)))
    check(len(rewritten) != count and 'the program rewrote %d lists' % len(rewritten))
    for data, (said, again) in zip(theirs, rewritten):
        check(lists.difference_of_theirs(data, said, again))
    print('%d lists of ours and %d of theirs say the same on both sides' % (count, count))


main()
