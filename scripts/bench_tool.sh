#!/usr/bin/env bash
# Timed runs of `relief mesh` and `relief rasterize` on a 4096 x 4096 float
# TIFF: wall-clock seconds and peak resident memory (from /usr/bin/time -v),
# and the peak memory against the size of the mesh (`mesh`) or raster
# (`rasterize`) written.
#
# Usage: scripts/bench_tool.sh [RELIEF_BINARY] [WORK_DIR] [SIZE]
# Defaults: build/release/tools/relief, /tmp/relief-bench, 4096.
# Build first: cmake --preset release && cmake --build build/release --target relief_tool
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
relief="${1:-$here/../build/release/tools/relief}"
work="${2:-/tmp/relief-bench}"
size="${3:-4096}"
mkdir -p "$work"
field="$work/field$size.tif"

[ -x "$relief" ] || { echo "no relief binary at $relief (build the release preset first)" >&2; exit 1; }
if [ ! -f "$field" ]; then
  echo "writing $field ..."
  python3 "$here/bench_tool_field.py" "$field" "$size"
fi

# Runs the command under /usr/bin/time -v; prints seconds and peak RSS (MiB).
timed() {
  local label="$1"; shift
  local log="$work/time.log"
  /usr/bin/time -v "$@" >"$work/out.log" 2>"$log"
  local wall  # rss stays global: the ratio lines read it
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$log")
  rss=$(awk -F': ' '/Maximum resident set size/ {print $2}' "$log")
  peak_mib=$((rss / 1024))
  printf '%-34s wall %-9s peak RSS %6d MiB\n' "$label" "$wall" "$peak_mib"
}

mib() { echo $(( $(stat -c %s "$1") / 1048576 )); }

echo "machine: $(nproc) cores, $(awk '/MemTotal/ {print int($2/1024)}' /proc/meminfo) MiB; input $(mib "$field") MiB"
for ext in stl ply; do
  timed "mesh ${size}^2 -> .$ext" "$relief" -q mesh "$field" -o "$work/mesh.$ext"
  triangles=$("$relief" info "$work/mesh.$ext" | awk '/triangles/ {print $2}')
  echo "    $triangles triangles, file $(mib "$work/mesh.$ext") MiB, peak/file = $(awk -v p="$peak_mib" -v f="$(mib "$work/mesh.$ext")" 'BEGIN {printf "%.2f", p / f}')"
done
# rasterize promises a peak under three times the raster it writes.
against_raster() {
  echo "    raster $(mib "$1") MiB, peak/raster = $(awk -v p="$rss" -v r="$(stat -c %s "$1")" 'BEGIN {printf "%.2f", p * 1024 / r}')"
}
timed "rasterize .stl -> .tif" "$relief" -q rasterize "$work/mesh.stl" -o "$work/back.tif"
against_raster "$work/back.tif"
timed "rasterize .ply -> .npy" "$relief" -q rasterize "$work/mesh.ply" -o "$work/back.npy"
against_raster "$work/back.npy"
timed "rasterize .stl --min -> .npy" "$relief" -q rasterize "$work/mesh.stl" -o "$work/back-min.npy" --min
against_raster "$work/back-min.npy"
rm -f "$work/mesh.stl" "$work/mesh.ply" "$work/back.tif" "$work/back.npy" "$work/back-min.npy" "$work/out.log" "$work/time.log"
