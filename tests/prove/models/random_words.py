"""Python's own MT19937. Its state is set by the recurrence that the paper of this generator gives for a seed."""
import array
import random
import struct
import sys

COUNT = 10_000  # of words for a seed


def expected(request):
    seed, count = struct.unpack(">II", request)
    state = [seed]
    for place in range(1, 624):
        state.append((1812433253 * (state[-1] ^ state[-1] >> 30) + place) & 0xffffffff)
    generator = random.Random()
    generator.setstate((3, (*state, 624), None))
    words = array.array("I", generator.getrandbits(32 * count).to_bytes(4 * count, sys.byteorder))
    if sys.byteorder == "little":
        words.byteswap()
    return words.tobytes()


class Maker:
    def __init__(self, dice):
        self.dice = dice

    def request(self):
        return struct.pack(">II", self.dice.getrandbits(32), COUNT)
