#!/usr/bin/env bash
# Builds relief and its command-line tool (release) and runs the main job:
# `relief demo`, a synthetic tooth from height field to mesh and back.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-debian.sh build
# A build folder of its own, without tests and benchmarks (their libraries
# are only installed by the test command).
cmake --preset release -B build/main -DRELIEF_BUILD_TESTS=OFF -DRELIEF_BUILD_BENCHMARKS=OFF -DRELIEF_BUILD_TOOLS=ON >/dev/null
cmake --build build/main -j2 --target relief_tool relief_example
./build/main/tools/relief demo --out relief-demo "$@"
