#!/usr/bin/env bash
# The Python and C# bindings against the built library, and the two ways of spreading
# classification over processes (a Dask cluster, GNU parallel) against one veltra process.
# Usage: bindings_test.sh TEST SOURCE_DIR LIBRARY REFERENCE_HOST VELTRA [PYTHON]
#   TEST: bindings.python, bindings.csharp, scaleout.dask or scaleout.parallel
# With VELTRA_COMMA_LOCALE naming a locale with a decimal comma (found through LOCPATH), the
# bindings also run under it.
set -u
group=${1#*.} source=$2 library=$3 reference=$4 veltra=$5 python=${6:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL $group: $*"; failures=$((failures + 1)); }
export VELTRA_LIBRARY=$library PYTHONPATH=$source/bindings/python

# interpreter MODULE PACKAGES: the first interpreter that imports MODULE, of the one the build
# found, the one on PATH and Debian's (which its python3-* PACKAGES install for).
interpreter() {
    for candidate in "${python:-python3}" python3 /usr/bin/python3; do
        "$candidate" -c "import $1" 2>/dev/null && { echo "$candidate"; return 0; }
    done
    echo "FAIL $group: no python3 imports $1 (Debian: $2)" >&2
    return 1
}

# same NAME EXPECTED GOT: the two files must be equal byte for byte.
same() { cmp -s "$2" "$3" || { fail "$1: $3 differs from $2"; diff "$2" "$3" | head -5; }; }

cd "$work" || exit 1
cp "$source"/examples/fields/{network,train,eval}.txt .
"$veltra" train --quiet network.txt train.txt trained.net || fail "training"
# Fields for the trained network, trained.in: the held-out file's test results, one per line, and
# about every hundred fields a blank line and a line that does not fit.
awk -F '\t' '/^;TESTS/ { print $3 } NR % 200 == 0 { print "  \n.yyy" }' eval.txt >trained.in

case $group in
python | csharp)
    py=$(interpreter ctypes python3) || exit 1
    # many.net: 300 two-character states, more than the 256 a network of one-character states
    # could have, priors rising with the index.
    "$py" - >many.net <<'EOF'
names = [chr(65 + i // 26) + chr(97 + i % 26) for i in range(300)]
print('H = Many "%s"\nT = Even "x,y"' % ",".join(names))
for i, name in enumerate(names):
    print(f"P(H={name}) = {(i + 1) / 45150}\nP(T=x|H={name}) = {(i % 7 + 1) / 8}")
    print(f"P(T=y|H={name}) = {(7 - i % 7) / 8}")
EOF
    printf '%s\n' x y - z >many.in
    "$reference" many.net <many.in >many.expected || fail "ReferenceHost many.net"
    "$reference" trained.net <trained.in >trained.expected || fail "ReferenceHost trained.net"
    # How each binding loads NAME.net to answer NAME.in as NAME.expected says.
    printf '%s\n' "many file" "many text" "trained training" >cases
    # For failures and evaluations: a network of two states, and an input for it whose copied lines
    # look like verdicts.
    cp "$source/tests/cli/data/trained.txt" round.net
    printf ';OK\td:1\n;TESTS\td\tyn\n;ERROR\tn:1\n;TESTS\tn\tyy\n;TESTS\tdn\t-.-\n' >decoy.txt
    ;;&
python)
    "$py" "$source/tests/bindings/python/test_veltra.py" || fail "the Python binding"
    ;;
csharp)
    mcs -warnaserror -out:EngineTest.exe "$source/bindings/csharp/Veltra.cs" "$source/tests/bindings/csharp/EngineTest.cs" ||
        { fail "compiling (Debian: mono-mcs, mono-runtime)"; exit 1; }
    # DllImport("Veltra") finds libVeltra.so through the library path. The runtime takes its
    # locale from the environment: a decimal-comma one, when the machine has it.
    LD_LIBRARY_PATH=$(dirname "$library") LC_ALL=${VELTRA_COMMA_LOCALE:-${LC_ALL:-}} mono EngineTest.exe >/dev/null ||
        fail "the C# binding"
    ;;
dask)
    py=$(interpreter dask.distributed "python3-dask python3-distributed") || exit 1
    program=$source/bindings/python/veltra_dask.py
    # One process and two worker processes, in partitions small enough that each gets several: the
    # same output, exit status and lines that do not fit.
    "$veltra" classify --tsv trained.net <trained.in >single.tsv 2>single.err
    echo "exit status $?" >>single.tsv
    "$py" "$program" --workers 2 --lines 40 classify trained.net <trained.in >dask.tsv 2>dask.err
    echo "exit status $?" >>dask.tsv
    sed -n 's/^veltra classify: standard input, \(line [0-9]*\): .*/\1/p' single.err >>single.tsv
    sed -n 's/^veltra_dask classify: standard input, \(line [0-9]*\): .*/\1/p' dask.err >>dask.tsv
    same "classify" single.tsv dask.tsv
    # The held-out file, and the same without its final newline, in partitions of 97 lines.
    head -c -1 eval.txt >unterminated.txt
    for input in eval.txt unterminated.txt; do
        "$veltra" evaluate trained.net $input single.txt >/dev/null || fail "evaluate $input in one process"
        accuracy=$("$py" "$program" --workers 2 --lines 97 evaluate trained.net $input dask.txt) ||
            fail "evaluate $input"
        [ "$accuracy" = "Accuracy: 92.00 %" ] || fail "evaluate $input: $accuracy"
        same "evaluate $input" single.txt dask.txt
    done
    ;;
parallel)
    "$veltra" classify --tsv trained.net <trained.in >single.tsv 2>/dev/null
    # The README's recipe, in blocks small enough for several processes (each exits 1 on a line
    # that does not fit).
    parallel --pipe -k --block 1k "$veltra" classify --tsv trained.net <trained.in >parallel.tsv 2>/dev/null
    same "parallel --pipe -k (Debian: parallel)" single.tsv parallel.tsv
    ;;
*) fail "unknown group $group" ;;
esac
[ "$failures" = 0 ]
