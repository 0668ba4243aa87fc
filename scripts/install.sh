#!/usr/bin/env bash
# Installs the Debian packages that a job of this repository needs and the machine lacks, when run
# as root; otherwise names them and fails. Jobs: demo (the example), tests (every test), fuzz,
# format, bench. The other scripts run it as their first step.
# Usage: scripts/install.sh JOB...
set -euo pipefail
need=()
missing() { command -v "$1" >/dev/null || need+=("${@:2}"); }
for job in "$@"; do
  case $job in
    demo) missing cmake cmake; missing make make; missing gcc gcc; missing g++ g++ ;;
    tests)
      missing cmake cmake; missing make make; missing g++ g++; missing pkg-config pkg-config
      [ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
      [ -f /usr/include/gmock/gmock.h ] || need+=(libgmock-dev)
      missing x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix
      missing wine wine wine64
      missing valgrind valgrind
      # The C# binding's test: Debian's mono. The scale-out tests: GNU parallel, and Dask, which
      # Debian installs for its own interpreter (/usr/bin/python3), whatever python3 comes first.
      missing mcs mono-mcs; missing mono mono-runtime
      parallel --version 2>/dev/null | grep -q 'GNU parallel' || need+=(parallel)
      /usr/bin/python3 -c 'import dask.distributed' 2>/dev/null || need+=(python3-dask python3-distributed) ;;
    fuzz)
      missing cmake cmake; missing make make; missing clang++-14 clang-14
      dpkg -s libclang-rt-14-dev >/dev/null 2>&1 || need+=(libclang-rt-14-dev) ;;
    format) missing clang-format-14 clang-format-14 ;;
    bench)
      missing cmake cmake; missing make make; missing g++ g++
      [ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev) ;;
    *) echo "install.sh: unknown job $job" >&2; exit 2 ;;
  esac
done
[ ${#need[@]} -gt 0 ] || exit 0
if [ "$(id -u)" != 0 ]; then
  echo "install.sh: missing ${need[*]}; install them (as root: apt-get install ${need[*]})" >&2
  exit 1
fi
echo "== Installing ${need[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq "${need[@]}" >/dev/null
