#!/usr/bin/env bash
# Builds relief and runs everything that checks it:
#   1. unit tests in release and under AddressSanitizer + UndefinedBehaviorSanitizer;
#   2. every benchmark once, briefly, as a smoke test;
#   3. an install into a temporary prefix and a consumer built against it with
#      find_package and with pkg-config;
#   4. the Python module's tests (pytest) and its installed package;
#   5. each fuzz target for 60 seconds (when clang is available).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup-debian.sh test

step() { printf '\n==== %s\n' "$*"; }

step "release build and unit tests"
cmake --preset release -DRELIEF_BUILD_TESTS=ON -DRELIEF_BUILD_BENCHMARKS=ON -DRELIEF_BUILD_TOOLS=ON >/dev/null
cmake --build build/release -j2
ctest --preset release -j2

step "sanitizer build and unit tests"
cmake --preset asan >/dev/null
cmake --build build/asan -j2
ctest --preset asan -j2

step "benchmark smoke run"
for b in build/release/bench/bench_*; do
  [[ -x $b ]] || continue
  echo "-- $b"
  "$b" --benchmark_min_time=0.01 >/dev/null
done

step "install and consumer projects"
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install build/release --prefix "$prefix" >/dev/null
cmake -S tests/package -B "$prefix/consumer-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$prefix/consumer-cmake" >/dev/null
"$prefix/consumer-cmake/consumer"
export PKG_CONFIG_PATH="$prefix/lib/pkgconfig:$prefix/lib/x86_64-linux-gnu/pkgconfig"
libdir=$(pkg-config --variable=libdir relief)
g++ -std=c++17 tests/package/main.cpp $(pkg-config --cflags --libs relief) -Wl,-rpath,"$libdir" -o "$prefix/consumer-pc"
"$prefix/consumer-pc"

step "Python module: tests and installed package"
cmake --preset release -DRELIEF_BUILD_PYTHON=ON -DPython_EXECUTABLE=/usr/bin/python3 >/dev/null
cmake --build build/release -j2 --target relief_python
# Exit code 5 (no tests collected) would mean the tests went missing: a failure too.
RELIEF_PYTHON_DIR="$PWD/build/release/python" /usr/bin/python3 -m pytest -q -p no:cacheprovider tests/python ||
  { rc=$?; [[ $rc -eq 5 ]] && echo "relief: no Python tests were collected" >&2; exit "$rc"; }
cmake --install build/release --prefix "$prefix/py" >/dev/null
site=$(echo "$prefix"/py/lib/python3*/*-packages)
(cd / && PYTHONPATH="$site" /usr/bin/python3 -c \
  "import numpy, relief; assert len(relief.mesh_from_height_field(numpy.ones((8, 8)))) > 0")

if command -v clang++ >/dev/null; then
  step "fuzzing (60 s per target)"
  cmake --preset fuzz >/dev/null
  cmake --build build/fuzz -j2
  for f in build/fuzz/tests/fuzz/fuzz_*; do
    [[ -x $f ]] || continue
    echo "-- $f"
    name=$(basename "$f")
    corpus="$prefix/corpus-$name"
    mkdir -p "$corpus"
    # The tool's readers promise to stay within 512 MiB on any file; seed
    # files (tests/fuzz/seeds/NAME) are read alongside the fresh corpus.
    rss=2048
    [[ $name == fuzz_tool_readers ]] && rss=512
    seeds=()
    [[ -d tests/fuzz/seeds/$name ]] && seeds=("tests/fuzz/seeds/$name")
    "$f" -max_total_time=60 -rss_limit_mb=$rss -malloc_limit_mb=512 -print_final_stats=0 "$corpus" "${seeds[@]}" 2>&1 | tail -n 3
  done
else
  echo "clang++ not found: fuzz targets skipped"
fi

step "all checks passed"
