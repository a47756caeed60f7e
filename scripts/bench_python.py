#!/usr/bin/python3
"""Benchmarks of the Python module (not a test): prints medians and ratios measured in one run.

1. numpy <-> raster: a 4096 x 4096 float32 array into the register layout
   (relief.Raster) and back (to_numpy), against a plain numpy copy.
2. A call against the same work in C++: relief.refine on a 2048 x 2048 scan
   against `relief refine` on the same field (the tool's own timing, which
   includes reading the .npy file); and the error-bounded relief.refine(field,
   max_error=E) against `relief refine --max-error E` (the tool times the
   mesher alone, so the ratio also carries the array conversion and the mesh
   object).
3. relief.batch: refine over N generated 1024 x 1024 scans on a LocalCluster
   of 1 and of 2 worker processes: files per second.

    PYTHONPATH=build/release/python /usr/bin/python3 scripts/bench_python.py \
        --tool build/release/tools/relief [--files 200] [--order 1221] [--skip-batch]
"""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[1]
if not any((Path(p) / "relief" / "__init__.py").exists() for p in sys.path if p):
    sys.path.insert(0, str(ROOT / "build" / "release" / "python"))

import relief  # noqa: E402
from relief import batch  # noqa: E402


def median_seconds(fn, repeats):
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        fn()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def synthetic_scan(rows, cols, seed):
    """A crown of heights 50..90 inside an ellipse, ripples, 0 outside."""
    rng = np.random.default_rng(seed)
    y, x = np.ogrid[0:rows, 0:cols]
    cy, cx = rows / 2 + rng.uniform(-5, 5), cols / 2 + rng.uniform(-5, 5)
    r2 = ((y - cy) / (0.45 * rows)) ** 2 + ((x - cx) / (0.45 * cols)) ** 2
    f = 50 + 40 * np.clip(1 - r2, 0, 1) + 3 * np.sin(x / 9.0 + seed) * np.cos(y / 13.0)
    f = np.where(r2 > 1, 0, f)
    return f.astype(np.float32)


def bench_conversion(repeats):
    a = np.random.default_rng(1).normal(100, 20, (4096, 4096)).astype(np.float32)
    copy = median_seconds(lambda: a.copy(), repeats)
    raster = relief.Raster(a)
    into = median_seconds(lambda: relief.Raster(a), repeats)
    back = median_seconds(lambda: raster.to_numpy(), repeats)
    assert np.array_equal(raster.to_numpy(), a)
    print("1. numpy <-> raster, 4096 x 4096 float32 (median of %d)" % repeats)
    print(f"   numpy copy        {copy * 1e3:8.1f} ms")
    print(f"   array -> raster   {into * 1e3:8.1f} ms   {into / copy:5.2f} x copy   (target <= 2)")
    print(f"   raster -> array   {back * 1e3:8.1f} ms   {back / copy:5.2f} x copy   (target <= 2)")


def bench_call(tool, repeats, work):
    field = synthetic_scan(2048, 2048, 7)
    path = work / "call.npy"
    np.save(path, field)
    tolerance = 0.5
    # Interleaved, so that both see the same load on a shared machine.
    py_times, tool_times = [], []
    for _ in range(repeats):
        py_times.append(median_seconds(lambda: relief.refine(field, tolerance), 1))
        out = subprocess.run(
            [tool, "refine", str(path), "-o", str(work / "call.ply"), "--tolerance", str(tolerance)],
            check=True, capture_output=True, text=True,
        ).stdout
        tool_times.append(float(re.search(r"in ([0-9.]+) s", out).group(1)))
    py, cpp = statistics.median(py_times), statistics.median(tool_times)
    print("2. refine 2048 x 2048, tolerance %.1f (median of %d)" % (tolerance, repeats))
    print(f"   C++ (relief refine, incl. reading) {cpp * 1e3:8.0f} ms")
    print(f"   Python relief.refine               {py * 1e3:8.0f} ms   {py / cpp:5.2f} x   (target <= 1.10)")
    max_error = 0.25
    py_times, tool_times = [], []
    for _ in range(repeats):
        py_times.append(median_seconds(lambda: relief.refine(field, max_error=max_error), 1))
        out = subprocess.run(
            [tool, "refine", str(path), "-o", str(work / "bounded.ply"), "--max-error", str(max_error)],
            check=True, capture_output=True, text=True,
        ).stdout
        tool_times.append(float(re.search(r"\) in ([0-9.]+) s", out).group(1)))
    py, cpp = statistics.median(py_times), statistics.median(tool_times)
    print("   refine 2048 x 2048, max error %.2f (median of %d)" % (max_error, repeats))
    print(f"   C++ (relief refine --max-error, mesher only) {cpp * 1e3:8.0f} ms")
    print(f"   Python relief.refine(max_error=...)          {py * 1e3:8.0f} ms   {py / cpp:5.2f} x   (target <= 1.10)")


def bench_batch(files, work, order):
    from dask.distributed import Client, LocalCluster

    scans = work / "scans"
    scans.mkdir()
    for i in range(files):
        np.save(scans / f"scan-{i:03d}.npy", synthetic_scan(1024, 1024, i))
    print(f"3. batch refine (tolerance 1.0) over {files} scans of 1024 x 1024, runs in the order {order}")
    seconds = {1: [], 2: []}
    for run, workers in enumerate(order):
        with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
            with Client(cluster) as client:
                client.run(lambda: __import__("relief"))  # workers import the module before the clock starts
                start = time.perf_counter()
                rows = batch.run(str(scans / "*.npy"), "refine", tolerance=1.0, out=work / f"out{run}",
                                 client=client, progress=False)
                took = time.perf_counter() - start
        seconds[workers].append(took)
        shutil.rmtree(work / f"out{run}", ignore_errors=True)
        failed = sum(not r.ok for r in rows)
        # Seconds per task, measured inside the task: when they grow with the
        # worker count, the cores were not free (the machine is shared).
        per_task = statistics.mean(r.seconds for r in rows)
        print(f"   {workers} worker(s): {took:7.1f} s   {files / took:6.2f} files/s   "
              f"{per_task:5.2f} s per task   ({failed} failed)   load {os.getloadavg()[0]:.1f}")
    rates = {w: files / statistics.median(t) for w, t in seconds.items()}
    print(f"   median: 1 worker {rates[1]:.2f} files/s, 2 workers {rates[2]:.2f} files/s, "
          f"speed-up {rates[2] / rates[1]:.2f} x   (target >= 1.7)")


def main():
    p = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    p.add_argument("--tool", default=str(ROOT / "build" / "release" / "tools" / "relief"), help="the relief executable")
    p.add_argument("--files", type=int, default=200, help="scans in the batch")
    p.add_argument("--repeats", type=int, default=7)
    p.add_argument("--order", default="1221", help="worker counts of the batch runs (1221: drift cancels out)")
    p.add_argument("--skip-batch", action="store_true")
    args = p.parse_args()
    with tempfile.TemporaryDirectory(prefix="relief-bench-") as tmp:
        work = Path(tmp)
        bench_conversion(args.repeats)
        if os.path.exists(args.tool):
            bench_call(args.tool, max(3, args.repeats // 2), work)
        else:
            print(f"2. skipped: no tool at {args.tool} (build the relief_tool target)")
        if not args.skip_batch:
            bench_batch(args.files, work, [int(c) for c in args.order])


if __name__ == "__main__":
    main()
