#!/bin/sh
# Measures generation and compilation for a synthetic catalogue of the size of the whole API.
#
#   tools/scale.sh BUILD JOBS
#
# Prints the time of generation, the time of compilation without any cache, and the size of the stripped module.
set -eu
build=$1
jobs=$2
cd "$(dirname -- "$0")/.."
python=/usr/bin/python3

rm -rf "$build"
mkdir -p "$build"
build=$(cd "$build" && pwd)
$python -B -m tools.synthetic_catalogue "$build/catalogue"

seconds() { date +%s.%N; }
since() { $python -c "print(f'{$(seconds) - $1:.1f} s')"; }

start=$(seconds)
$python -B -m tools.generator module "$build/catalogue" "$build/generated/imaging"
echo "generation: $(since "$start"), $(cat "$build"/generated/imaging/*.cpp | wc -l) lines in" \
    "$(find "$build/generated/imaging" -name '*.cpp' | wc -l) files"

cmake -S . -B "$build/cmake" -G Ninja -DZELMOR_BUILD_TESTS=OFF -DZELMOR_CATALOGUE="$build/catalogue" >"$build/configure.log"
cmake --build "$build/cmake" -j "$jobs" --target zelmor_bridge >"$build/bridge.log"
start=$(seconds)
cmake --build "$build/cmake" -j "$jobs" --target imaging >"$build/imaging.log"
echo "compilation on $jobs cores: $(since "$start")"
module=$(find "$build/cmake/python" -name 'imaging*.so')
echo "stripped module: $(($(stat -c %s "$module") / 1024)) KiB"
