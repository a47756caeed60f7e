#!/usr/bin/env bash
# `relief refine --tolerance 0.5` on a smooth 8192 x 8192 field and on its
# 4096 x 4096 top-left crop: wall-clock time, peak memory, triangle count,
# max and RMS error against the field, and an edge-manifold check of each
# mesh. The wide field must finish in under 60 s with an error no worse than
# the crop's.
#
# Usage: scripts/refine_wide_field.sh [RELIEF_BINARY] [WORK_DIR]
# Defaults: build/release/tools/relief, /tmp/relief-wide. The fields are
# written once (about 10 s and 320 MB in all) and kept for later runs.
set -euo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
relief="${1:-$here/../build/release/tools/relief}"
work="${2:-/tmp/relief-wide}"
mkdir -p "$work"
[ -x "$relief" ] || { echo "no relief binary at $relief (build the release preset first)" >&2; exit 1; }

for size in 4096 8192; do
  [ -f "$work/smooth$size.npy" ] || python3 "$here/refine_wide_field.py" field "$work/smooth$size.npy" "$size" "$size"
done

echo "machine: $(nproc) cores, $(awk '/MemTotal/ {print int($2/1024)}' /proc/meminfo) MiB"
status=0
for size in 4096 8192; do
  log="$work/time$size.log"
  /usr/bin/time -v "$relief" refine "$work/smooth$size.npy" -o "$work/refined$size.stl" --tolerance 0.5 \
    >"$work/out$size.log" 2>"$log"
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$log")
  rss=$(awk -F': ' '/Maximum resident set size/ {print int($2 / 1024)}' "$log")
  echo "== ${size} x ${size}: wall $wall, peak RSS $rss MiB"
  sed 's/^/   /' "$work/out$size.log"
  python3 "$here/refine_wide_field.py" check "$work/refined$size.stl" | sed 's/^/   /' || status=1
  rm -f "$work/refined$size.stl"
done
crop=$(awk '/max error/ {sub(",", "", $5); print $5}' "$work/out4096.log")
wide=$(awk '/max error/ {sub(",", "", $5); print $5}' "$work/out8192.log")
if awk -v w="$wide" -v c="$crop" 'BEGIN {exit !(w <= c)}'; then
  echo "max error: 8192^2 $wide <= 4096^2 crop $crop"
else
  echo "max error: 8192^2 $wide is WORSE than the 4096^2 crop's $crop"; status=1
fi
exit $status
