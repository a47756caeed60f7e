#!/usr/bin/env python3
"""Helpers of refine_wide_field.sh, standard library only.

  field OUT.npy WIDTH HEIGHT   writes a smooth float32 field; a smaller size
                               is the top-left crop of a larger one
  check MESH.stl               prints the facet count and whether the mesh is
                               edge-manifold (every edge in at most two facets,
                               running opposite ways) without cracks (an edge
                               with one facet lies on the box's border), naming
                               the first bad edge
"""
import array
import math
import struct
import sys


def write_field(path, width, height):
    # A long gentle swell (one period over 8192 px) with ripples of 3 units,
    # all heights well above 0 (no data).
    base = [100.0 + 0.004 * x + 25.0 * math.sin(2 * math.pi * x / 8192.0) for x in range(width)]
    ripple = [3.0 * math.sin(0.011 * x) for x in range(width)]
    header = "{'descr': '<f4', 'fortran_order': False, 'shape': (%d, %d), }" % (height, width)
    header += " " * (64 - (10 + len(header) + 1) % 64) + "\n"
    with open(path, "wb") as out:
        out.write(b"\x93NUMPY\x01\x00" + struct.pack("<H", len(header)) + header.encode())
        for y in range(height):
            swell = 20.0 * math.cos(2 * math.pi * y / 8192.0)
            wave = math.cos(0.007 * y)
            array.array("f", [b + swell + r * wave for b, r in zip(base, ripple)]).tofile(out)


def check_stl(path):
    with open(path, "rb") as f:
        data = f.read()
    count = struct.unpack_from("<I", data, 80)[0]
    directed = set()
    for i in range(count):
        at = 84 + 50 * i + 12
        corners = (data[at:at + 12], data[at + 12:at + 24], data[at + 24:at + 36])
        for k in range(3):
            edge = corners[k] + corners[(k + 1) % 3]
            if edge in directed:
                a = struct.unpack("<3f", corners[k])
                b = struct.unpack("<3f", corners[(k + 1) % 3])
                print("%d facets, NOT edge-manifold: edge %s - %s runs the same way twice (facet %d)" % (count, a, b, i))
                return 1
            directed.add(edge)
    # An edge with one facet must lie on the border of the box: anything
    # else is a crack (the fields here have no holes).
    xs = [struct.unpack("<f", e[0:4])[0] for e in directed] + [struct.unpack("<f", e[12:16])[0] for e in directed]
    ys = [struct.unpack("<f", e[4:8])[0] for e in directed] + [struct.unpack("<f", e[16:20])[0] for e in directed]
    lo_x, hi_x, lo_y, hi_y = min(xs), max(xs), min(ys), max(ys)
    for edge in directed:
        if edge[12:24] + edge[0:12] in directed:
            continue
        ax, ay = struct.unpack_from("<2f", edge, 0)
        bx, by = struct.unpack_from("<2f", edge, 12)
        if not ((ax == bx and ax in (lo_x, hi_x)) or (ay == by and ay in (lo_y, hi_y))):
            print("%d facets, edge-manifold, but edge (%g, %g) - (%g, %g) has one facet inside the box: a crack"
                  % (count, ax, ay, bx, by))
            return 1
    print("%d facets, edge-manifold, no cracks" % count)
    return 0


if __name__ == "__main__":
    if sys.argv[1] == "field":
        write_field(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]))
    elif sys.argv[1] == "check":
        sys.exit(check_stl(sys.argv[2]))
