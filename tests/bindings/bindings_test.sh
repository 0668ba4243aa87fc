#!/usr/bin/env bash
# The Python and .NET packages as users install them, built by scripts/package.sh around the
# built host-interface library, and the two ways of spreading work over processes (a Dask cluster,
# GNU parallel) against one veltra process.
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
unset VELTRA_LIBRARY PYTHONPATH

# interpreter MODULE PACKAGES: the first interpreter that imports MODULE, of the one the build
# found, the one on PATH and Debian's (which its python3-* PACKAGES install for).
interpreter() {
    for candidate in "${python:-python3}" python3 /usr/bin/python3; do
        "$candidate" -c "import $1" 2>/dev/null && { echo "$candidate"; return 0; }
    done
    echo "FAIL $group: no python3 imports $1 (Debian: $2)" >&2
    return 1
}

# wheel: builds the wheel around LIBRARY, offline, and installs it into a fresh virtual
# environment of Debian's interpreter (which sees Debian's NumPy and Dask); sets py to its python.
wheel() {
    VELTRA_PACKAGE_WINDOWS=0 bash "$source/scripts/package.sh" --linux "$library" --out "$work/dist" python \
        >/dev/null || { fail "building the wheel"; return 1; }
    /usr/bin/python3 -m venv --system-site-packages "$work/venv" &&
        "$work/venv/bin/python" -m pip install --quiet --no-index --no-deps "$work"/dist/veltra-*-linux_x86_64.whl ||
        { fail "installing the wheel"; return 1; }
    py=$work/venv/bin/python
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
    wheel || exit 1
    VELTRA_COMMAND=$veltra "$py" "$source/tests/bindings/python/test_veltra.py" || fail "the Python package"
    ;;
csharp)
    # The package as users get it, around LIBRARY and the DLL cross-built into build/package-windows
    # (the first time, a few minutes): its files, its libraries as built, its version.
    VELTRA_PACKAGE_WINDOWS=1 bash "$source/scripts/package.sh" --linux "$library" --out "$work/dist" dotnet \
        >/dev/null || { fail "building the .NET package"; exit 1; }
    version=$(sed -n 's/^project(Veltra VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
    nupkg=$work/dist/Veltra.Net.$version.nupkg
    unzip -Z1 "$nupkg" | sort >layout.got || { fail "no $nupkg"; exit 1; }
    printf '%s\n' '[Content_Types].xml' _rels/.rels Veltra.Net.nuspec lib/netstandard2.0/Veltra.Net.dll \
        lib/netstandard2.0/Veltra.Net.xml runtimes/linux-x64/native/libVeltraHost.so \
        runtimes/win-x64/native/VeltraHost.dll | sort >layout.expected
    same "the package's files" layout.expected layout.got
    unzip -q "$nupkg" -d package || { fail "unzipping $nupkg"; exit 1; }
    native=$work/package/runtimes/linux-x64/native
    same "the Linux library" "$library" "$native/libVeltraHost.so"
    same "the Windows library" "$source/build/package-windows/api/VeltraHost.dll" package/runtimes/win-x64/native/VeltraHost.dll
    grep -q "<version>$version</version>" package/Veltra.Net.nuspec || fail "the nuspec's version"
    grep -q 'name="M:Veltra.Engine.ClassifyMany' package/lib/netstandard2.0/Veltra.Net.xml || fail "the documentation"
    # The test program against the packaged assembly only, beside it as an application has it.
    cp package/lib/netstandard2.0/Veltra.Net.dll . &&
        mcs -warnaserror -r:Veltra.Net.dll -out:EngineTest.exe "$source/tests/bindings/csharp/EngineTest.cs" ||
        { fail "compiling (Debian: mono-mcs, mono-runtime)"; exit 1; }
    # DllImport("VeltraHost") finds the packaged libVeltraHost.so through the library path. The
    # runtime takes its locale from the environment: a decimal-comma one, when the machine has it.
    # Neither the test nor the library may print anything, natively or through the runtime. The test
    # runs the command (VELTRA_COMMAND) for the figures of cross-validation and test selection.
    VELTRA_COMMAND=$veltra LD_LIBRARY_PATH=$native LC_ALL=${VELTRA_COMMA_LOCALE:-${LC_ALL:-}} mono EngineTest.exe \
        >mono.out 2>mono.err || fail "the .NET package"
    [ ! -s mono.out ] && [ ! -s mono.err ] || { fail "output on the console"; head -20 mono.out mono.err; }
    ;;
dask)
    /usr/bin/python3 -c 'import dask.distributed' 2>/dev/null || { fail "no Dask (Debian: python3-distributed)"; exit 1; }
    wheel || exit 1
    job() { "$py" -m veltra.dask "$@"; }
    # One process and two worker processes, in partitions small enough that each gets several: the
    # same output, exit status and reasons of the lines that do not fit, a line holding a zero byte
    # among them.
    { head -n 300 trained.in; printf 'yy\0nnnnnn\n'; tail -n +301 trained.in; } >classify.in
    "$veltra" classify --tsv trained.net <classify.in >single.tsv 2>single.err
    echo "exit status $?" >>single.tsv
    job --workers 2 --lines 40 classify trained.net <classify.in >dask.tsv 2>dask.err
    echo "exit status $?" >>dask.tsv
    sed 's/^veltra classify: //' single.err >>single.tsv
    # (Dask's own log lines, dated, aside.)
    grep -Ev '^[0-9]{4}-[0-9]{2}-[0-9]{2} ' dask.err | sed 's/^veltra.dask classify: //' >>dask.tsv
    same "classify" single.tsv dask.tsv
    # The held-out file, and the same without its final newline, in partitions of 97 lines.
    head -c -1 eval.txt >unterminated.txt
    for input in eval.txt unterminated.txt; do
        "$veltra" evaluate trained.net $input single.txt >/dev/null || fail "evaluate $input in one process"
        accuracy=$(job --workers 2 --lines 97 evaluate trained.net $input dask.txt) || fail "evaluate $input"
        [ "$accuracy" = "Accuracy: 92.00 %" ] || fail "evaluate $input: $accuracy"
        same "evaluate $input" single.txt dask.txt
    done
    # Training across the cluster: counted in partitions, the counts added, the file written from
    # them; the date line aside, what veltra train writes.
    job --workers 2 --lines 333 train network.txt train.txt dask.net || fail "train"
    same "train" <(grep -v '^# Date' trained.net) <(grep -v '^# Date' dask.net)
    # A refused line: its file and line, the same reason as veltra train, nothing under the output's
    # name. A line too long for the reader, further on, is refused first, as veltra train counts
    # the lines before anything else. A missing file: said before any cluster starts.
    { cat train.txt; printf ';TESTS\td\tyy\n'; } >bad.txt
    { cat bad.txt train.txt; printf '#%01100d\n' 0; } >long.txt
    for input in bad.txt long.txt; do
        "$veltra" train network.txt $input single-bad.net 2>single.err
        job --workers 2 --lines 333 train network.txt $input dask-bad.net 2>dask.err
        [ $? = 1 ] && [ ! -e dask-bad.net ] && [ "$(sed 's/^veltra.dask/veltra/' dask.err)" = "$(cat single.err)" ] ||
            { fail "a refused sample line in $input"; cat dask.err single.err; }
    done
    job train network.txt missing.txt dask-missing.net 2>dask.err
    [ $? = 1 ] && [ "$(cat dask.err)" = "veltra.dask train: missing.txt: No such file or directory" ] ||
        { fail "a missing sample file"; cat dask.err; }
    # A worker killed in the middle of a job: its partitions are done again elsewhere, and the
    # output is the same. A scheduler and two workers of our own, one killed.
    for i in $(seq 100); do cat eval.txt; done >many.txt
    "$veltra" evaluate trained.net many.txt single-many.txt >/dev/null
    "$py" -m distributed.cli.dask_scheduler --host 127.0.0.1 --port 0 --scheduler-file scheduler.json \
        --no-dashboard >scheduler.log 2>&1 &
    scheduler=$!
    for i in $(seq 50); do [ -s scheduler.json ] && break; sleep 0.2; done
    workers=()
    for i in 1 2; do
        "$py" -m distributed.cli.dask_worker --scheduler-file scheduler.json --nthreads 1 --no-nanny \
            --no-dashboard >"worker$i.log" 2>&1 &
        workers+=($!)
    done
    address=$("$py" -c 'import json; print(json.load(open("scheduler.json"))["address"])')
    job --scheduler "$address" --lines 50 evaluate trained.net many.txt dask-many.txt >/dev/null &
    evaluation=$!
    sleep 2
    kill -0 $evaluation 2>/dev/null || fail "the evaluation ended before a worker could be killed"
    kill -9 "${workers[0]}"
    wait $evaluation || fail "evaluate with a worker killed"
    same "evaluate with a worker killed" single-many.txt dask-many.txt
    # Ended at once: a worker asked to stop while its scheduler stops too may wait minutes for it.
    kill -9 "${workers[1]}" $scheduler 2>/dev/null
    wait 2>/dev/null
    ;;
parallel)
    "$veltra" classify --tsv trained.net <trained.in >single.tsv 2>/dev/null
    # The recipe of docs/scale-out.md, in blocks small enough for several processes (each exits 1
    # on a line that does not fit).
    parallel --pipe -k --block 1k "$veltra" classify --tsv trained.net <trained.in >parallel.tsv 2>/dev/null
    same "parallel --pipe -k (Debian: parallel)" single.tsv parallel.tsv
    ;;
*) fail "unknown group $group" ;;
esac
[ "$failures" = 0 ]
