#!/usr/bin/env bash
# Installs the build into a fresh prefix and uses what it holds as a host would.
# native: the example host is built with find_package(Veltra) and with pkg-config and run, and
#         the installed veltra command runs from the prefix.
# windows: the prefix holds the DLL, its import library, the header and the command.
# Usage: install_test.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR native|windows [CC CFLAGS LDFLAGS]
set -euo pipefail
cmake=$1 build=$2 source=$3 work=$4 mode=$5 cc=${6:-cc} cflags=${7:-} ldflags=${8:-}
prefix=$work/prefix
rm -rf "$work" && "$cmake" --install "$build" --prefix "$prefix" >/dev/null
[ "$mode" = native ] ||
    exec ls "$prefix"/{bin/Veltra.dll,lib/Veltra.lib,include/Veltra.h,bin/VeltraHost.dll,lib/VeltraHost.lib,include/VeltraHost.h,bin/veltra.exe} >/dev/null

"$cmake" -S "$source/examples/host" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags" >/dev/null
"$cmake" --build "$work/host" >/dev/null
# shellcheck disable=SC2155 # a missing veltra.pc fails pkg-config below
export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name veltra.pc)")
# shellcheck disable=SC2046,SC2086
"$cc" $cflags "$source/examples/host/host.c" $(pkg-config --cflags --libs veltra) -Wl,-rpath,"$(pkg-config --variable=libdir veltra)" $ldflags -o "$work/host-pc"
for host in host/veltra_host host-pc; do
    [ "$("$work/$host")" = $'d 0.9987\nn 0.0013' ] || { echo "FAIL: $host, built against the installation"; exit 1; }
done
# shellcheck disable=SC2046,SC2086
"$cc" $cflags "$source/examples/host/embed.c" $(pkg-config --cflags --libs veltra-host) -Wl,-rpath,"$(pkg-config --variable=libdir veltra-host)" $ldflags -o "$work/embed-pc"
fields=$source/examples/fields
for host in host/veltra_embed embed-pc; do
    "$work/$host" "$fields/network.txt" "$fields/train.txt" "$work/trained.txt" nbxut0nn anmd-15n yy >"$work/embed.out" 2>"$work/embed.err"
    [ "$(cat "$work/embed.out")" = $'Veltra 2.6.0, host interface 2\n  End of training.\n  Number of sample lists processed: 1\n  Total sample count: 2000\nTrained on 2000 samples, 12 warnings\nnbxut0nn: n 1.0000\nanmd-15n: p 0.9708\nyy: not classified' ] &&
        grep -q '^field 3: Expected 8 test results but got 2' "$work/embed.err" ||
        { echo "FAIL: $host, built against the installation"; cat "$work/embed.out" "$work/embed.err"; exit 1; }
done
"$prefix/bin/veltra" check "$source/examples/fields/network.txt" >/dev/null
