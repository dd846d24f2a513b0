#!/bin/sh
# Times both assembly passes on a synthetic tree; run by hand, never by the tests.
#
#   bench/source_passes.sh [SCALE] [DATA_DIR]
#
# SCALE 1 (the default) is 2,000 files with 200,000 functions, about 300 MB.
# The tree is written to DATA_DIR (default: a temporary folder, removed
# afterwards); an existing DATA_DIR with files in it is reused as it is. The
# analyser library is built in release mode in build-bench/.
set -eu

scale=${1:-1}
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-bench"
data=${2:-}
cleanup=""
if [ -z "$data" ]; then
  data=$(mktemp -d)
  cleanup="$data"
fi
trap '[ -n "$cleanup" ] && rm -rf "$cleanup"' EXIT

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVALDRIN_TESTS=OFF >/dev/null
cmake --build "$build" --target analyser -j2 >/dev/null
g++ -std=c++20 -O2 -I"$root/src" "$root/bench/pass_timer.cpp" "$build/libanalyser.a" -o "$build/pass_timer"

if [ -z "$(ls -A "$data" 2>/dev/null)" ]; then
  echo "generating scale $scale into $data"
  python3 "$root/bench/gen_asm.py" "$data" "$scale"
fi
du -sh "$data"

# The timer prints its figures on stderr; standard output (warnings) is dropped.
if [ -x /usr/bin/time ]; then
  /usr/bin/time -v "$build/pass_timer" "$data" 2>&1 >/dev/null |
    grep -E "^(files|pass)|Maximum resident|Elapsed"
else
  "$build/pass_timer" "$data" >/dev/null
fi
