#!/bin/bash
# Peak resident memory of one Delaunay triangulation of 1M uniform points:
# relief's box start and CGAL's range insertion, each in a process of its own
# (the same binary and points; the figure includes the input arrays).
#
#   bench/peers/delaunay_memory.sh [build/release]
set -euo pipefail
bench="${1:-build/release}/bench/peers/bench_peer_cgal_delaunay"
for name in BM_ReliefBox BM_CgalRange; do
  kib=$( { /usr/bin/time -f '%M' "$bench" --benchmark_filter="^$name/1000000\$" --benchmark_min_time=0.001 \
           >/dev/null; } 2>&1 | tail -1)
  echo "$name/1000000: peak resident $((kib / 1024)) MiB"
done
