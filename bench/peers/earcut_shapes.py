#!/usr/bin/python3
"""earcut (Debian's python3-mapbox-earcut) on bench_earclip's shapes.

The wavy circle is built with bench/bench_earclip.cpp's formula; the noisy
star with the same recipe (radii uniform in [50, 100), every fifth point
moved onto its neighbours' segment) but Python's random generator, so it is
a star of the same kind, not the same polygon. Prints the median CPU time of
five calls per size: ./bench/peers/earcut_shapes.py
"""
import math
import random
import time

import mapbox_earcut
import numpy as np


def star(n, seed=12345):
    rng = random.Random(seed)
    pts = []
    for i in range(n):
        a, r = 2 * math.pi * i / n, rng.uniform(50.0, 100.0)
        pts.append([r * math.cos(a), r * math.sin(a)])
    for i in range(4, n - 1, 5):  # collinear runs
        pts[i] = [0.5 * (pts[i - 1][0] + pts[i + 1][0]), 0.5 * (pts[i - 1][1] + pts[i + 1][1])]
    return np.array(pts, dtype=np.float32)


def wavy_circle(n):
    pts = []
    for i in range(n):
        a = 2 * math.pi * i / n
        r = 0.5 * n * (1.0 + 0.1 * math.sin(20.0 * a))
        pts.append([r * math.cos(a), r * math.sin(a)])
    return np.array(pts, dtype=np.float32)


def median_ms(points):
    rings = np.array([len(points)], dtype=np.uint32)
    times = []
    for _ in range(5):
        start = time.process_time()
        mapbox_earcut.triangulate_float32(points, rings)
        times.append(time.process_time() - start)
    return 1000 * sorted(times)[2]


for name, make in (("star", star), ("wavy circle", wavy_circle)):
    for n in (100, 1000, 10000, 100000):
        print(f"earcut {name:12s} {n:7d} vertices: {median_ms(make(n)):9.3f} ms")
