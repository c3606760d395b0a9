"""Converts the raw dialog pictures of the automation client to PNG files: pictures.py FOLDER TARGET."""

import pathlib
import struct
import sys
import zlib


def png(width, height, bgra):
    rows = []
    for y in range(height):
        line = bgra[4 * width * y:4 * width * (y + 1)]
        rgb = bytearray(3 * width)
        rgb[0::3], rgb[1::3], rgb[2::3] = line[2::4], line[1::4], line[0::4]
        rows.append(b"\0" + bytes(rgb))

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    head = struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b"")


def main(folder, target):
    for raw in sorted(pathlib.Path(folder).glob("*.bgra")):
        size, _, bgra = raw.read_bytes().partition(b"\n")
        width, height = map(int, size.split())
        pathlib.Path(target, raw.stem + ".png").write_bytes(png(width, height, bgra))


main(*sys.argv[1:])
