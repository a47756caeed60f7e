#!/usr/bin/env bash
# Builds relief (release) and runs its main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-debian.sh build
cmake --preset release -DRELIEF_BUILD_TESTS=OFF -DRELIEF_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build/release -j2
./build/release/examples/relief_example
