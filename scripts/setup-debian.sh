#!/usr/bin/env bash
# Installs the Debian packages relief needs for a purpose, if any are missing.
#   setup-debian.sh build   compiler, CMake, Ninja and the libraries of the tool
#   setup-debian.sh test    the above plus GoogleTest, Google Benchmark, clang (fuzzing) and the
#                           Python module's build and tests (pybind11, numpy, scipy, pytest, Dask)
# As root it installs with apt-get; otherwise it names what is missing and stops.
set -euo pipefail

purpose=${1:-build}
packages=(cmake g++ ninja-build pkg-config libcli11-dev libpng-dev libtiff-dev libjs-three)
if [[ $purpose == test ]]; then
  packages+=(libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev chromium libpolyclipping-dev)
  packages+=(python3-dev pybind11-dev python3-numpy python3-scipy python3-pytest python3-dask python3-distributed)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ $(id -u) -ne 0 ]]; then
  echo "relief: missing Debian packages: ${missing[*]}" >&2
  echo "relief: run this command as root (or with sudo), or install them with: apt-get install ${missing[*]}" >&2
  exit 1
fi
if ! command -v apt-get >/dev/null; then
  echo "relief: apt-get not found; install these packages by hand: ${missing[*]}" >&2
  exit 1
fi
echo "relief: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq || { echo "relief: apt-get update failed (no network?)" >&2; exit 1; }
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
  { echo "relief: apt-get install failed for: ${missing[*]}" >&2; exit 1; }
