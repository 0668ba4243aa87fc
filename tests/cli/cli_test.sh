#!/usr/bin/env bash
# Runs the veltra command as a user would and compares its exit status, standard output and
# standard error with the expected ones, one row per case.
# Usage: cli_test.sh GROUP VELTRA SOURCE_DIR [PYTHON]
set -u
group=$1 veltra=$2 source=$3 python=${4:-}
data=$source/tests/cli/data
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" && cp "$data"/*.txt .
failures=0

# run NAME STATUS STDOUT STDERR STDIN ARGS...: stdout and stderr compared exactly.
# start NAME ...: the same, but stdout need only begin with STDOUT.
run() { compare exact "$@"; }
start() { compare start "$@"; }
compare() {
    local mode=$1 name=$2 status=$3 out=$4 err=$5 input=$6
    shift 6
    printf '%s' "$input" >stdin.txt
    "$veltra" "$@" <stdin.txt >stdout.txt 2>stderr.txt
    local got=$?
    [ "$mode" = start ] && head -c ${#out} stdout.txt >stdout.cut && mv stdout.cut stdout.txt
    printf '%s' "$out" >expected.out
    printf '%s' "$err" >expected.err
    if [ "$got" != "$status" ] || ! cmp -s expected.out stdout.txt || ! cmp -s expected.err stderr.txt; then
        echo "FAIL $group: $name (exit status $got, expected $status)"
        diff <(cat -A expected.out) <(cat -A stdout.txt)
        diff <(cat -A expected.err) <(cat -A stderr.txt)
        failures=$((failures + 1))
    fi
}

# The progress display of training (23 backspaces) and evaluation (22): "Line: 1 / total" up to n.
progress() {
    local width=$1 n=$2 total=$3 i
    for ((i = 1; i <= n; i++)); do printf "%${width}s" "" | tr ' ' '\b'; printf 'Line: %d / %d' "$i" "$total"; done
}

usage=$("$veltra" --help)$'\n'
case $group in
usage)
    run "no command" 1 "" "$usage" ""
    start "help" 0 "Usage: veltra COMMAND" "" "" --help
    run "unknown command" 1 "" "veltra: unknown command frob"$'\n\n'"$usage" "" frob
    for command in train classify evaluate check; do
        start "$command --help" 0 "Usage: veltra $command " "" "" "$command" x --help
    done
    run "too few arguments" 1 "" $'veltra train: wrong number of arguments\nUsage: veltra train NETWORK SAMPLES OUTPUT\n' "" \
        train network.txt samples.txt
    run "too many arguments" 1 "" $'veltra check: wrong number of arguments\nUsage: veltra check NETWORK\n' "" \
        check network.txt trained.txt
    run "classify needs a network" 1 "" \
        $'veltra classify: wrong number of arguments\nUsage: veltra classify [--tsv] NETWORK [RESULTS...]\n' "" classify --tsv
    run "unknown option" 1 "" $'veltra evaluate: unknown option --tsv\n' "" evaluate --tsv trained.txt eval.txt out.txt
    ;;
train)
    summary=$'\nWARNING: found 0 count for state: Digits=y|H=n\nWARNING: found 0 count for state: Digits=n|H=d\n'
    summary+=$'WARNING: found 0 count for state: Blank=n|H=n\nEnd of training.\n'
    summary+=$'Number of sample lists processed: 1\nTotal sample count: 4\n'
    run "trains" 0 "$(progress 23 4 5)$summary" "" "" train network.txt samples.txt out.txt
    run "trained file classifies" 0 $'yn\td\t0.999998\tn\t0.000002\n' "" "" classify --tsv out.txt yn
    run "missing network" 1 "" $'Cannot open file: missing.txt\n' "" train missing.txt samples.txt out.txt
    run "missing samples" 1 "" $'Cannot open file: missing.txt\n' "" train network.txt missing.txt out.txt
    run "output not writable" 1 "" $'Cannot open file: none/out.txt\n' "" train network.txt samples.txt none/out.txt
    run "output is an input" 1 "" $'veltra train: the output ./samples.txt would overwrite an input\n' "" \
        train network.txt samples.txt ./samples.txt
    printf 'H = Kind "d,n"\nDigits\n' >broken.txt
    run "faulty network" 1 "" $'String: Digits does not contain: =\nveltra train: broken.txt is not a valid network description\n' \
        "" train broken.txt samples.txt out.txt
    printf ';TESTS\td\tyyy\n' >long.txt
    run "faulty sample" 1 "$(progress 23 1 1)" \
        $'Expected 2 test results but got 3 Results:yyy\n\nveltra train: long.txt: training stopped at a line that does not fit network.txt\n' \
        "" train network.txt long.txt out.txt
    ;;
classify)
    human=$'yn\n  d   97.30 %\n  n    2.70 %\n\nny\n  n   97.30 %\n  d    2.70 %\n'
    run "arguments" 0 "$human" "" "" classify trained.txt yn ny
    run "standard input" 0 "$human" "" $'yn\n\n  ny\r\n' classify trained.txt
    run "tsv, full stops ignored" 0 $'y.y\td\t0.692308\tn\t0.307692\n--\td\t0.500000\tn\t0.500000\n' "" "" \
        classify trained.txt --tsv -- y.y --
    run "bad line, others classified" 1 $'yn\td\t0.972973\tn\t0.027027\nny\tn\t0.972973\td\t0.027027\n' \
        $'Expected 2 test results but got 3. Test results:\nyyy\nveltra classify: standard input, line 2: "yyy" does not fit trained.txt\n' \
        $'yn\nyyy\nny\n' classify --tsv trained.txt
    run "bad argument" 1 "" $'Test: Blank does not contain state: Blank=x|H=d\nveltra classify: "yx" does not fit trained.txt\n' \
        "" classify trained.txt yx
    run "untrained network" 1 "" $'veltra classify: network.txt holds no probabilities; train it first\n' "" \
        classify network.txt yn
    run "missing network" 1 "" $'Cannot open file: missing.txt\n' "" classify missing.txt yn
    ;;
evaluate)
    run "evaluates" 0 "$(progress 22 5 4)"$'\n\nAccuracy: 66.67 %\n\n' "" "" evaluate trained.txt eval.txt out.txt
    expected=$'# Three labelled fields.\n;TESTS\td\tyn\n;OK\td:0.973  n:0.02703  \n;TESTS\tn\tyy\n'
    expected+=$';ERROR\td:0.6923  n:0.3077  \n;TESTS\tdn\t-.-\n;OK\td:0.5  n:0.5  \n\n\n\n;Accuracy: 66.67 %\n\n'
    printf '%s' "$expected" | cmp -s - out.txt || { echo "FAIL evaluate: output file"; failures=$((failures + 1)); }
    printf '# fine\n;TESTS\td\tyn\n;TESTS\tn\tyyy\n' >bad.txt
    run "line that does not fit" 1 "$(progress 22 3 3)" \
        $'Expected 2 test results but got 3. Test results:\nyyy\nveltra evaluate: bad.txt, line 3: the line does not fit trained.txt\n' \
        "" evaluate trained.txt bad.txt out.txt
    run "missing input" 1 "" $'Cannot open file: missing.txt\n' "" evaluate trained.txt missing.txt out.txt
    run "output not writable" 1 "" $'Cannot open file: none/out.txt\n' "" evaluate trained.txt eval.txt none/out.txt
    run "output is the input" 1 "" $'veltra evaluate: the output eval.txt would overwrite an input\n' "" \
        evaluate trained.txt eval.txt eval.txt
    run "untrained network" 1 "" $'veltra evaluate: network.txt holds no probabilities; train it first\n' "" \
        evaluate network.txt eval.txt out.txt
    ;;
check)
    tests=$'Tests, one result character each, in this order:\n   1  Digits  y,n  Has digits\n   2  Blank   y,n  Has a blank\n'
    run "untrained" 0 $'network.txt: hypothesis Kind, 2 states, 2 tests\nStates: d n\n'"$tests"$'Probabilities: none; train the network before classifying with it\n' \
        "" "" check network.txt
    run "trained" 0 $'trained.txt: hypothesis Kind, 2 states, 2 tests\nStates: d n\n'"$tests"$'Probabilities: 10 lines\n' \
        "" "" check trained.txt
    printf '\r\nH = Kind "dd"\r\nT = Ends in x "x,yz"\r\n' >wide.txt
    run "more than one character" 0 \
        $'wide.txt: hypothesis Kind, 1 state, 1 test\nStates: dd\nTests, one result character each, in this order:\n   1  T  x,yz  Ends in x\nProbabilities: none; train the network before classifying with it\n' \
        $'veltra check: warning: state "dd" is not one character\nveltra check: warning: value "yz" of test T is not one character\n' \
        "" check wide.txt
    printf 'H = Kind "d,n"\nText without an equals sign\n' >broken.txt
    run "faulty network" 1 "" \
        $'String: Text without an equals sign does not contain: =\nveltra check: broken.txt is not a valid network description\n' "" check broken.txt
    run "missing network" 1 "" $'Cannot open file: missing.txt\n' "" check missing.txt
    ;;
example)
    # The bundled example end to end, and its files as the generator writes them.
    "$veltra" train "$source/examples/fields/network.txt" "$source/examples/fields/train.txt" trained.txt >/dev/null &&
        "$veltra" evaluate trained.txt "$source/examples/fields/eval.txt" evaluated.txt >/dev/null &&
        [ "$(tail -n 2 evaluated.txt)" = ";Accuracy: 92.00 %" ] ||
        { echo "FAIL example: accuracy $(tail -n 2 evaluated.txt)"; failures=$((failures + 1)); }
    if [ -n "$python" ]; then
        mkdir generated && "$python" "$source/examples/fields/generate.py" --out generated &&
            diff -r -q -x generate.py generated "$source/examples/fields" ||
            { echo "FAIL example: generate.py does not reproduce the checked-in files"; failures=$((failures + 1)); }
    fi
    ;;
*)
    echo "unknown group $group" && exit 2
    ;;
esac
[ "$failures" = 0 ]
