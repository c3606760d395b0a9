"""The configuration stream of the range calibrators: each value after its 16-bit type, little-endian."""

import struct

# Kinds by row, and what a reset leaves.
I2, R4, UI1, UI2, UI4 = 2, 4, 17, 18, 19
FORMATS = {I2: "<Hh", R4: "<Hf", UI1: "<HB", UI2: "<HH", UI4: "<HI"}
HEAD = [UI4, UI4, UI4, UI1, R4, UI4, UI1, R4, UI1, I2, UI4, UI1, UI1, UI1, UI1, UI2]
GROUP, TAIL = [UI4, UI4, R4, R4, UI4, UI1], [UI4, I2, I2]
RESET = [0x00010002, 3, 1, 0, 0.0, 1, 0, 0.0, 0, 1, 9600, 1, 0, 2, 1, 0, 0, -1, 1]


def encode(values):
    kinds = HEAD + GROUP * sum(values[15:16]) + TAIL
    return b"".join(struct.pack(FORMATS[kind], kind, value) for kind, value in zip(kinds, values))


def record(in_word=1, in_junction=0, in_degrees=0.0, out_word=1, out_junction=0, out_degrees=0.0, unit=0):
    return [in_word, in_junction, in_degrees, out_word, out_junction, out_degrees, unit]


def word(function, connection=0, sensor=0):
    return function | connection << 4 | sensor << 7
