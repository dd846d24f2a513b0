#!/usr/bin/env bash
# Generates deterministic synthetic inputs at one of three scales and times
# every stage of the analysis on them, next to `wc -l` over the same bytes.
# Run by hand; the tests never run it.
#
#   bench/run.sh small|medium|large [DATA_DIR]
#
#   small   100 files, 10,000 functions (~15 MB); listing of 300,000 lines
#   medium  1,000 files, 100,000 functions (~150 MB); listing of 3,000,000 lines
#   large   5,000 files, 300,000 functions, 2 million calls (~500 MB);
#           listing of 10,000,000 lines for 200,000 functions
#
# Inputs are written to DATA_DIR (default build-bench/data-SCALE) and reused
# when present. The analyser is built in release mode in build-bench/.
# BENCH_REPEAT=N in the environment runs the resolution and each report N
# times and shows the fastest run (the report files then include the N - 1
# functions the repeats add).
set -euo pipefail
scale=${1:-small}
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-bench"
data=${2:-$build/data-$scale}

case "$scale" in
  small)  files=100;  perfile=100; calls=1; images=10000;  lines=30 ;;
  medium) files=1000; perfile=100; calls=1; images=100000; lines=30 ;;
  large)  files=5000; perfile=60;  calls=7; images=200000; lines=50 ;;
  *) echo "usage: $0 small|medium|large [DATA_DIR]" >&2; exit 2 ;;
esac

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVALDRIN_TESTS=OFF >/dev/null
cmake --build "$build" --target bench_stages -j2 >/dev/null

if [ ! -d "$data/tree" ]; then
  python3 "$root/bench/gen_asm.py" "$data/tree" --files "$files" --per-file "$perfile" --calls "$calls"
fi
if [ ! -f "$data/image/image.elf.dis" ]; then
  python3 "$root/bench/gen_image.py" "$data/image" --functions "$images" --lines "$lines"
fi
mkdir -p "$data/out"
echo "== $scale: assembly tree"
"$build/bench/bench_stages" source "$data/tree" "$data/out/"
echo "== $scale: image"
"$build/bench/bench_stages" image "$data/image/image.elf" "$data/image/image.elf.dis" "$data/out/"
