#!/usr/bin/env bash
# Builds the benchmarks (Release, in build/bench) and prints the setup and one table: per size and
# job, the engine's figure beside the flat-array reference's, their ratio and the team's target.
# Arguments go to veltra_bench, e.g. scripts/bench.sh --size=small --benchmark_filter=Analyze.
# Google Benchmark's own lines are kept in build/bench/bench-log.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${VELTRA_JOBS:-2}
out=build/bench

bash scripts/install.sh bench

cmake -S . -B $out -DCMAKE_BUILD_TYPE=Release -DVELTRA_BUILD_BENCH=ON -DVELTRA_BUILD_TESTS=OFF \
    -DVELTRA_BUILD_FUZZ=OFF -DVELTRA_BUILD_CLI=OFF -DVELTRA_WERROR=ON >/dev/null
if ! cmake --build $out -j "$jobs" --target veltra_bench >$out/build-log.txt 2>&1; then
    cat $out/build-log.txt
    exit 1
fi

compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' $out/CMakeCache.txt)
echo "Veltra $(git describe --always --dirty 2>/dev/null || echo '(no git)'), $(date -u '+%Y-%m-%d %H:%M UTC')"
echo "Machine: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores," \
    "$(uname -sr), load average $(cut -d ' ' -f 1-3 /proc/loadavg)"
echo "Build: Release, $("$compiler" --version | head -n 1), libVeltra.so through its exports"

# Standard output carries the engine's progress and warnings: not wanted here.
table=$out/bench-table.txt
rm -f $table
if ! $out/bench/veltra_bench --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
    --table=$table "$@" >/dev/null 2>$out/bench-log.txt; then
    tail -n 20 $out/bench-log.txt
    exit 1
fi
[ ! -f $table ] || cat $table
