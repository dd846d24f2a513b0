#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for
# the given number of seconds (default 60), starting from the seed inputs in
# tests/data/fuzz/<target>. A failing input is saved under
# build-fuzz/artifacts/<target>/; copy it into tests/data/fuzz/<target>/ so
# that the test suite replays it from then on.
set -euo pipefail
seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build=${FUZZ_BUILD_DIR:-$root/build-fuzz}

cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVALDRIN_FUZZ=ON >/dev/null
cmake --build "$build" -j2 >/dev/null

status=0
for target in mathparser aidfile rootfile elffile assembly listing; do
  corpus="$build/corpus/$target"
  artifacts="$build/artifacts/$target/"
  mkdir -p "$corpus" "$artifacts"
  echo "== fuzz_$target for ${seconds}s"
  if ! "$build/fuzz/fuzz_$target" "$corpus" "$root/tests/data/fuzz/$target" \
      -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
      -artifact_prefix="$artifacts" -print_final_stats=1 2>"$build/fuzz_$target.log"; then
    status=1
    echo "fuzz_$target FAILED; see $build/fuzz_$target.log and $artifacts"
  fi
  grep -E 'stat::number_of_executed_units|stat::average_exec_per_sec' "$build/fuzz_$target.log" || true
done
exit $status
