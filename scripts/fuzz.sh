#!/usr/bin/env bash
# Fuzzes every reader: builds the libFuzzer targets of fuzz/ with clang, AddressSanitizer and
# UndefinedBehaviorSanitizer in build/fuzz (installing clang and its runtime when missing, as
# root), then runs each target for SECONDS seconds from its checked-in corpus. A crash, a sanitizer
# report or a broken contract fails the run; the input behind it is kept in build/fuzz/findings/.
# New inputs go to build/fuzz/corpus/<target>, never into fuzz/corpus. FastPathFuzzer also starts
# from the seeded inputs its build writes to build/fuzz/fuzz/seeds/FastPathFuzzer.
# Usage: scripts/fuzz.sh [SECONDS [TARGET...]]   (20 seconds and every target by default)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(InitializeFuzzer AnalyzeFuzzer TrainFuzzer AnalyzeFileFuzzer FastPathFuzzer)
jobs=${VELTRA_JOBS:-2}
build=build/fuzz

bash scripts/install.sh fuzz

echo "== Fuzzing: configure and build"
flags="-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all -fno-omit-frame-pointer"
cmake -S . -B "$build" -G "Unix Makefiles" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DVELTRA_LIBFUZZER=ON -DVELTRA_BUILD_FUZZ=ON -DVELTRA_BUILD_TESTS=OFF -DVELTRA_BUILD_CLI=OFF \
  -DVELTRA_WERROR=ON >/dev/null
cmake --build "$build" -j "$jobs" --target "${targets[@]}" 2>&1 | grep -v -E '^\[ *[0-9]+%\]|^(Consolidate|Scanning|Built target)' || true
for target in "${targets[@]}"; do
  [ -x "$build/fuzz/$target" ] || { echo "fuzz.sh: $target was not built" >&2; exit 1; }
done

echo "== Fuzzing: $seconds s per target"
mkdir -p "$build/findings"
found=()
for target in "${targets[@]}"; do
  work=$build/corpus/$target
  log=$build/$target.log
  mkdir -p "$work"
  inputs=("fuzz/corpus/$target")
  [ ! -d "$build/fuzz/seeds/$target" ] || inputs+=("$build/fuzz/seeds/$target")
  set +e
  "$build/fuzz/$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -dict=fuzz/veltra.dict -artifact_prefix="$build/findings/$target-" \
    "$work" "${inputs[@]}" >"$log" 2>&1
  status=$?
  set -e
  # The last status line: "#<runs> DONE cov: <edges> ft: <features> corp: <inputs>/<size> ...".
  figures=$(grep -E '^#[0-9]+' "$log" | tail -n 1 | sed -E 's/^#([0-9]+)[^c]*cov: ([0-9]+) ft: ([0-9]+) corp: ([0-9]+).*/\1 runs, coverage \2, features \3, corpus \4/')
  if [ "$status" = 0 ]; then
    echo "$target: $figures"
  else
    echo "$target: FINDING (exit $status); the end of $log:"
    tail -n 40 "$log"
    ls "$build/findings/$target-"* 2>/dev/null || true
    found+=("$target")
  fi
done

echo
if [ ${#found[@]} -gt 0 ]; then
  echo "Fuzzing: findings in ${found[*]}"
  exit 1
fi
echo "Fuzzing: ${#targets[@]} targets, $seconds s each, no finding"
