#!/usr/bin/env bash
# Installs the build into a fresh prefix and uses what it holds as a host would.
# native: the example host is built with find_package(Veltra) and with pkg-config and run, and
#         the installed veltra command runs from the prefix.
# windows: the prefix holds the DLL, its import library and the header.
# Usage: install_test.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR native|windows [CC CFLAGS LDFLAGS]
set -euo pipefail
cmake=$1 build=$2 source=$3 work=$4 mode=$5 cc=${6:-cc} cflags=${7:-} ldflags=${8:-}
prefix=$work/prefix
rm -rf "$work"
mkdir -p "$work"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

if [ "$mode" = windows ]; then
    for file in bin/Veltra.dll lib/Veltra.lib include/Veltra.h bin/veltra.exe; do
        [ -f "$prefix/$file" ] || { echo "FAIL: the installation lacks $file"; exit 1; }
    done
    exit 0
fi

expected=$'d 0.9987\nn 0.0013'
"$cmake" -S "$source/examples/host" -B "$work/host" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_C_FLAGS="$cflags" -DCMAKE_EXE_LINKER_FLAGS="$ldflags" >/dev/null
"$cmake" --build "$work/host" >/dev/null
[ "$("$work/host/veltra_host")" = "$expected" ] || { echo "FAIL: host built with find_package"; exit 1; }

export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name veltra.pc)")
read -r -a flags <<<"$(pkg-config --cflags --libs veltra)"
# shellcheck disable=SC2086
"$cc" $cflags "$source/examples/host/host.c" "${flags[@]}" -Wl,-rpath,"$(pkg-config --variable=libdir veltra)" \
    $ldflags -o "$work/host-pc"
[ "$("$work/host-pc")" = "$expected" ] || { echo "FAIL: host built with pkg-config"; exit 1; }

"$prefix/bin/veltra" check "$source/examples/fields/network.txt" >/dev/null || { echo "FAIL: installed veltra"; exit 1; }
