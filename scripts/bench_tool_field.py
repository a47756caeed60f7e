#!/usr/bin/env python3
"""Writes the benchmark's height field: SIZE x SIZE float32 TIFF (one strip,
uncompressed) holding a dome with ripples inside a disc and 0 outside it, so
that meshing meets both valid and empty pixels. Standard library only."""
import array
import math
import struct
import sys

path, size = sys.argv[1], int(sys.argv[2])
c = size / 2.0
radius = 0.45 * size
values = array.array("f", bytes(4 * size * size))
for y in range(size):
    dy = (y - c) / radius
    row = y * size
    for x in range(size):
        dx = (x - c) / radius
        r2 = dx * dx + dy * dy
        if r2 < 1.0:
            values[row + x] = 100.0 + 80.0 * math.sqrt(1.0 - r2) + 3.0 * math.sin(0.05 * x) * math.cos(0.07 * y)

# Classic little-endian TIFF: header, one image directory, then the strip.
tags = [  # (tag, type, count, value); type 3 = SHORT, 4 = LONG
    (256, 4, 1, size), (257, 4, 1, size), (258, 3, 1, 32), (259, 3, 1, 1), (262, 3, 1, 1),
    (273, 4, 1, 0), (277, 3, 1, 1), (278, 4, 1, size), (279, 4, 1, 4 * size * size), (339, 3, 1, 3)]
ifd_size = 2 + 12 * len(tags) + 4
data_offset = 8 + ifd_size
with open(path, "wb") as out:
    out.write(b"II*\0" + struct.pack("<I", 8))
    out.write(struct.pack("<H", len(tags)))
    for tag, kind, count, value in tags:
        if tag == 273:
            value = data_offset
        packed = struct.pack("<HH", value, 0) if kind == 3 else struct.pack("<I", value)
        out.write(struct.pack("<HHI", tag, kind, count) + packed)
    out.write(struct.pack("<I", 0))
    values.tofile(out)
