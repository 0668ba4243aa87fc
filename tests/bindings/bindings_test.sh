#!/usr/bin/env bash
# The Python and C# bindings against the built library.
# Usage: bindings_test.sh GROUP SOURCE_DIR LIBRARY REFERENCE_HOST VELTRA [PYTHON]
#   GROUP: python or csharp
set -u
group=$1 source=$2 library=$3 reference=$4 veltra=$5 python=${6:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL $group: $*"; failures=$((failures + 1)); }
export VELTRA_LIBRARY=$library VELTRA_REFERENCE=$reference VELTRA_SOURCE_DIR=$source

# interpreter MODULE PACKAGES: the first interpreter that imports MODULE, of the one the build
# found, the one on PATH and Debian's (which its python3-* PACKAGES install for).
interpreter() {
    local candidate
    for candidate in "$python" python3 /usr/bin/python3; do
        [ -n "$candidate" ] && "$candidate" -c "import $1" 2>/dev/null && { echo "$candidate"; return 0; }
    done
    echo "FAIL $group: no python3 imports $1 (Debian: $2)" >&2
    return 1
}

cd "$work" || exit 1

case $group in
python)
    py=$(interpreter ctypes python3) || exit 1
    "$py" "$source/tests/bindings/python/test_veltra.py" -v || failures=$((failures + 1))
    ;;
csharp)
    command -v mcs >/dev/null && command -v mono >/dev/null || { fail "needs mcs and mono (Debian: mono-mcs, mono-runtime)"; exit 1; }
    mcs -warnaserror -out:EngineTest.exe "$source/bindings/csharp/Veltra.cs" "$source/tests/bindings/csharp/EngineTest.cs" ||
        { fail "compiling"; exit 1; }
    # DllImport("Veltra") finds libVeltra.so through the library path.
    LD_LIBRARY_PATH=$(dirname "$library")${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH} \
        mono EngineTest.exe "$source" "$work" "$reference" >out.txt || failures=$((failures + 1))
    tr -d '\b' <out.txt | grep -a -E 'FAILED|failed checks'
    ;;
*)
    echo "unknown group $group" >&2
    exit 2
    ;;
esac
[ "$failures" = 0 ]
