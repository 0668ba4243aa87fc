#!/usr/bin/env bash
# The Python and C# bindings against the built library, and the two ways of spreading
# classification over processes (a Dask cluster, GNU parallel) against one veltra process.
# Usage: bindings_test.sh GROUP SOURCE_DIR LIBRARY REFERENCE_HOST VELTRA [PYTHON]
#   GROUP: python, csharp, dask or parallel
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

# Fields for the example's trained network, one per line: distinct results, a blank line, and
# a line that does not fit every 5000 lines.
fields() {
    "$1" - "$2" <<'EOF'
import random, sys
values = ["nfma", "nshdcb", "smelx", "uldo", "ultm", "0123", "n2345", "yn"]
generator = random.Random(11)
for i in range(int(sys.argv[1])):
    print("".join(generator.choice(v + "-") for v in values))
    if i % 5000 == 7:
        print("  \n.yyy")
EOF
}

# same NAME EXPECTED GOT: the two files must be equal byte for byte.
same() { cmp -s "$2" "$3" || { fail "$1: $3 differs from $2"; diff "$2" "$3" | head -5; }; }

# The example's network, trained, as trained.txt.
trained() { "$veltra" train "$source"/examples/fields/{network,train}.txt trained.txt >/dev/null || fail "training"; }

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
dask)
    py=$(interpreter dask.distributed "python3-dask python3-distributed") || exit 1
    program=$source/bindings/python/veltra_dask.py
    trained
    fields "$py" 12000 >results.txt
    "$veltra" classify --tsv trained.txt <results.txt >single.tsv 2>/dev/null
    single=$?
    # Two worker processes, partitions small enough that each gets several.
    "$py" "$program" --workers 2 --lines 1000 classify trained.txt results.txt >dask.tsv 2>dask.err
    status=$?
    [ "$single" = 1 ] && [ "$status" = 1 ] || fail "classify: exit status $status, one process $single"
    same "classify" single.tsv dask.tsv
    [ "$(grep -c '^veltra_dask classify: results.txt, line [0-9]*: "\.yyy" does not fit trained.txt$' dask.err)" = 3 ] ||
        { fail "classify: the lines that do not fit"; cat dask.err; }
    # The example's held-out file, and the same without its final newline, in partitions of 97 lines.
    head -c -1 "$source/examples/fields/eval.txt" >unterminated.txt
    for input in "$source/examples/fields/eval.txt" unterminated.txt; do
        "$veltra" evaluate trained.txt "$input" single.txt >/dev/null || fail "evaluate $input in one process"
        accuracy=$("$py" "$program" --workers 2 --lines 97 evaluate trained.txt "$input" dask.txt 2>dask.err) ||
            { fail "evaluate $input"; cat dask.err; }
        [ "$accuracy" = "Accuracy: 92.00 %" ] || fail "evaluate $input: $accuracy"
        same "evaluate $input" single.txt dask.txt
    done
    ;;
parallel)
    py=$(interpreter random python3) || exit 1
    command -v parallel >/dev/null || { fail "needs GNU parallel (Debian: parallel)"; exit 1; }
    trained
    fields "$py" 12000 >results.txt
    "$veltra" classify --tsv trained.txt <results.txt >single.tsv 2>/dev/null
    # As the README gives it, then in blocks small enough for many processes.
    parallel --pipe -k "$veltra" classify --tsv trained.txt <results.txt >parallel.tsv 2>/dev/null
    same "parallel --pipe -k" single.tsv parallel.tsv
    parallel --pipe -k --block 20k "$veltra" classify --tsv trained.txt <results.txt >blocks.tsv 2>/dev/null
    same "parallel --pipe -k --block 20k" single.tsv blocks.tsv
    # The README's split and xargs -P recipe.
    split -n l/4 results.txt part.
    ls part.?? | xargs -P 4 -I{} sh -c "'$veltra' classify --tsv trained.txt < {} > {}.tsv 2>/dev/null"
    cat part.??.tsv >split.tsv
    same "split and xargs -P" single.tsv split.tsv
    ;;
*)
    echo "unknown group $group" >&2
    exit 2
    ;;
esac
[ "$failures" = 0 ]
