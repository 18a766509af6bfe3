#!/bin/bash
# HRR randomisation benchmark: time per drawn genotype of HrrMarker::Randomize against a bare
# loop of as many rand() calls (target: at most 2x). Builds the library in Release mode in the
# given build directory when needed, then the benchmark with -O2 against it.
#
#   bench/hrr_randomisation.sh [build dir]        (default build)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
build=${1:-$root/build}
out=$here/out
mkdir -p "$out"

if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
fi
build_type=$(awk -F= '/^CMAKE_BUILD_TYPE:/ {print $2}' "$build/CMakeCache.txt")
if [ "$build_type" != "Release" ]; then
    echo "warning: $build is a '$build_type' build; the figures are meant for Release (-O2)" >&2
fi
cmake --build "$build" --target varkel_core -j 2 > /dev/null

g++ -std=c++17 -O2 -Wall -Wextra -Wpedantic -I "$root/src" -o "$out/hrr_randomisation" \
    "$here/hrr_randomisation.cpp" "$build/libvarkel_core.a"
"$out/hrr_randomisation"
