#!/usr/bin/env bash
# Runs every test of Veltra: installs what is missing (as root, on Debian), then builds and tests
# the normal build (with the Python and C# bindings and the scale-out recipes, its export-level
# hosts also under valgrind memcheck), the sanitizer build (AddressSanitizer and
# UndefinedBehaviorSanitizer), the ThreadSanitizer build of the engines on separate threads and the
# Windows cross-build, whose DLL and test programs run under wine. Ends with one summary line.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=${VELTRA_JOBS:-2}

need=()
command -v cmake >/dev/null || need+=(cmake)
command -v g++ >/dev/null || need+=(g++)
command -v make >/dev/null || need+=(make)
command -v pkg-config >/dev/null || need+=(pkg-config)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
command -v x86_64-w64-mingw32-g++-posix >/dev/null || need+=(g++-mingw-w64-x86-64-posix)
command -v wine >/dev/null || need+=(wine wine64)
# The C# binding's test: Debian's mono. The scale-out tests: GNU parallel, and Dask, which Debian
# installs for its own interpreter (/usr/bin/python3), whatever python3 comes first on PATH.
command -v mcs >/dev/null || need+=(mono-mcs)
command -v mono >/dev/null || need+=(mono-runtime)
parallel --version 2>/dev/null | grep -q 'GNU parallel' || need+=(parallel)
/usr/bin/python3 -c 'import dask.distributed' 2>/dev/null || need+=(python3-dask python3-distributed)
command -v valgrind >/dev/null || need+=(valgrind)
. scripts/packages.sh
install_missing test.sh "${need[@]}"

passed=0
failed=0
run_suite() {  # name preset [ctest jobs]
  local name=$1 preset=$2 log
  echo "== $name: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs" 2>&1 | grep -v -E '^\[ *[0-9]+%\]|^(Consolidate|Scanning|Built target)' || true
  echo "== $name: test"
  log=$(mktemp)
  set +e
  ctest --preset "$preset" -j "${3:-$jobs}" 2>&1 | tee "$log" | grep -v -E '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed'
  local status=${PIPESTATUS[0]}
  set -e
  local line total bad
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1 || true)
  total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
  bad=$(sed -E 's/.* ([0-9]+) tests failed.*/\1/' <<<"$line")
  rm -f "$log"
  if [ -z "$line" ]; then total=0; bad=1; fi
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  if [ "$status" != 0 ] && [ "$bad" = 0 ]; then failed=$((failed + 1)); fi
}

# Wine keeps its state in the build directory; no debug chatter in the captured streams.
export WINEPREFIX="$root/build/windows/wineprefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

run_suite "Linux" default
run_suite "Linux with sanitizers" sanitize
run_suite "Linux with ThreadSanitizer" tsan
# One wine server for the whole suite, started before any test: test programs that start it
# themselves, in parallel on a new prefix, can race its start-up.
mkdir -p "$WINEPREFIX"
wineserver -p
wineboot -i >/dev/null 2>&1 || true
run_suite "Windows (wine)" windows 1
wineserver -k || true

echo
echo "Veltra: $passed passed, $failed failed"
[ "$failed" = 0 ]
