#!/usr/bin/env bash
# Runs every test of Veltra: installs what is missing (as root, on Debian), then runs the workflow
# of each build, configure, build and test, and judges it by its exit status: the normal build
# (with the Python and C# bindings and the scale-out recipes, its export-level hosts also under
# valgrind memcheck), the sanitizer build (AddressSanitizer and UndefinedBehaviorSanitizer), the
# ThreadSanitizer build of the engines on separate threads, and the Windows cross-build, whose DLL
# and test programs run under wine. Ends with one summary line.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install.sh tests package

failed=()
run() {
  echo "== $1"
  cmake --workflow --preset "$1" || failed+=("$1")
}
run default
run sanitize
run tsan
# One wine server for the Windows tests, started with the prefix before any of them: test programs
# that start it themselves on a new prefix can race its start-up. The preset names the prefix.
export WINEPREFIX="$PWD/build/windows/wineprefix" WINEDEBUG=-all
mkdir -p "$WINEPREFIX"
wineserver -p
wineboot -i >/dev/null 2>&1 || true
run windows
wineserver -k || true

echo
if [ ${#failed[@]} -gt 0 ]; then
  echo "Veltra: tests failed in ${failed[*]}"
  exit 1
fi
echo "Veltra: every test passed in default, sanitize, tsan and windows"
