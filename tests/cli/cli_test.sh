#!/usr/bin/env bash
# Runs the veltra command as a user would, one row per case: the exit status, standard output
# (a pattern, matched after the progress display's backspaces are removed) and standard error
# (exact). Files named in rows are copies of tests/cli/data in a scratch directory; written files
# are compared with the golden ones there byte for byte. With "windows", VELTRA runs veltra.exe
# under wine: line ends are read as LF (Windows writes text with CR LF), and the cases of devices
# that only Linux has are left out.
# Usage: cli_test.sh GROUP VELTRA SOURCE_DIR [PYTHON] [windows]
set -u
group=$1 veltra=$2 source=$3 python=${4:-} windows=${5:-} ran=0 failures=0
data=$source/tests/cli/data
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" && cp "$data"/*.txt .
fail() { echo "FAIL $group: $*"; failures=$((failures + 1)); }
# in_group GROUP: whether this run tests GROUP (counting one more check if so).
in_group() { [ "$1" = "$group" ] && ran=$((ran + 1)); }
# The output of Windows text mode read as Linux writes it.
lf() { if [ -n "$windows" ]; then tr -d '\r'; else cat; fi; }
same() { lf <"$1" | cmp -s - "$data/$2" || { fail "$1 is not $2"; lf <"$1" | diff - "$data/$2"; }; }

# run GROUP NAME STATUS STDOUT STDERR STDIN ARGS...: the row runs only in its own group. With
# err_pattern=1 before it, STDERR is a pattern too.
run() {
    in_group "$1" || return 0
    printf '%s' "$6" | "$veltra" "${@:7}" >stdout.txt 2>stderr.txt
    local status=$? out err
    out=$(tr -d '\b' <stdout.txt | lf; echo .) err=$(lf <stderr.txt; echo .)
    # shellcheck disable=SC2053 # STDOUT is a pattern
    if [ "${err_pattern:-0}" = 1 ]; then [[ ${err%.} == $5 ]]; else [ "${err%.}" = "$5" ]; fi &&
        [[ $status = "$3" && ${out%.} == $4 ]] || { fail "$2 (exit status $status)"; cat -A stdout.txt stderr.txt; }
}

usage="Usage: veltra COMMAND ?--quiet? ARGUMENTS...*Commands:*train NETWORK SAMPLES OUTPUT*classify*evaluate*explain*report*check NETWORK*Exit status: 0 on success, 1 on failure, 2 on a"$'\n'"wrong command line."$'\n'
err_pattern=1 run usage "no command" 2 "" "$usage" ""
run usage "help" 0 "$usage" "" "" --help
run usage "-h" 0 "$usage" "" "" -h
run usage "version" 0 "veltra 2.6.0 (host interface 2)"$'\n' "" "" --version
err_pattern=1 run usage "unknown command" 2 "" "veltra: unknown command frob"$'\n\n'"$usage" "" frob
for command in train classify evaluate explain report check cut cv select; do
    run usage "$command --help" 0 "Usage: veltra $command *" "" "" "$command" x --help
    run usage "$command -h" 0 "Usage: veltra $command *" "" "" "$command" -h
done
run usage "too many arguments" 2 "" $'veltra check: wrong number of arguments\nUsage: veltra check [--quiet] NETWORK\n' "" check network.txt trained.txt
run usage "--tsv is no argument" 2 "" $'veltra classify: wrong number of arguments\nUsage: veltra classify [--tsv] [--quiet] NETWORK [RESULTS...]\n' "" classify --tsv
evaluate_usage=$'\nUsage: veltra evaluate [--report] [--json FILE] [--names LIST] [--quiet] NETWORK INPUT OUTPUT\n'
run usage "option of another command" 2 "" "veltra evaluate: unknown option --tsv$evaluate_usage" "" evaluate --tsv trained.txt eval.txt out.txt
run usage "option without its file" 2 "" "veltra evaluate: --json needs a file name$evaluate_usage" "" evaluate trained.txt eval.txt out.txt --json
# Names that do not fit the states are a wrong command line, told before anything is judged.
while IFS='|' read -r names problem; do
    run usage "--names $names" 2 "" "veltra evaluate: --names$problem$evaluate_usage" "" evaluate --report --names "$names" kinds.txt labelled.txt out.txt
done <<'ROWS'
a=alpha,b|: "b" is not STATE=NAME
ab=alpha|: "ab=alpha": a state is one character
a= |: "a=": the name is empty
a=alpha,a=again|: a is named twice
|: "" is not STATE=NAME
ROWS
run usage "--names of no state" 2 "" $'veltra report: --names: x is no state of kinds.txt (its states: a b c d)\n' "" report --names a=alpha,x=ex kinds.txt labelled.txt

# Training writes nothing on standard output; its warnings and summary go to standard error
# (--quiet: nothing). A failure says why, with the file and line at fault when the library's
# reason does not name them.
trained=$'WARNING: found 0 count for state: Digits=y|H=n\nWARNING: found 0 count for state: Digits=n|H=d\nWARNING: found 0 count for state: Blank=n|H=n\nEnd of training.\nNumber of sample lists processed: 1\nTotal sample count: 4\n'
run train "trains" 0 "" "$trained" "" train network.txt samples.txt out.txt
run train "quietly" 0 "" "" "" train --quiet network.txt samples.txt out.txt
run train "samples from standard input, output to standard output" 0 "# Two states*# Trained by BayesianEngine 2.6*#	CP values:*" "$trained" "$(cat samples.txt)" train network.txt - -
run train "faulty network" 1 "" $'veltra train: broken.txt, line 2: String: Digits does not contain: =\n' "" train broken.txt samples.txt out.txt
run train "faulty sample" 1 "" $'veltra train: bad.txt, line 3: Expected 2 test results but got 3 Results:yyy\n' "" train network.txt bad.txt out.txt
run train "faulty sample from standard input" 1 "" $'veltra train: standard input, line 3: Expected 2 test results but got 3 Results:yyy\n' "$(cat bad.txt)" train network.txt - out.txt
run train "missing samples" 1 "" $'veltra train: Cannot open file: missing.txt\n' "" train network.txt missing.txt out.txt

human=$'yn\n  d   97.30 %\n  n    2.70 %\n\nny\n  n   97.30 %\n  d    2.70 %\n'
run classify "arguments" 0 "$human" "" "" classify trained.txt yn ny
run classify "standard input" 0 "$human" "" $'yn\n\n  ny\r\n' classify trained.txt
run classify "tsv, full stops ignored" 0 $'y.y\td\t0.692308\tn\t0.307692\n--\td\t0.500000\tn\t0.500000\n' "" "" classify trained.txt --tsv -- y.y --
run classify "bad line, others classified" 1 $'yn\td\t0.972973\tn\t0.027027\nny\tn\t0.972973\td\t0.027027\n' $'veltra classify: standard input, line 2: Expected 2 test results but got 3. Test results:\nyyy\n' $'yn\nyyy\nny\n' classify --tsv trained.txt
run classify "bad argument" 1 "" $'veltra classify: Test: Blank does not contain state: Blank=x|H=d\n' "" classify trained.txt yx
run classify "standard input among arguments" 0 $'yn\td\t0.972973\tn\t0.027027\nny\tn\t0.972973\td\t0.027027\nny\tn\t0.972973\td\t0.027027\n' "" $'ny\n' classify --tsv trained.txt yn - ny
run classify "untrained network" 1 "" $'veltra classify: network.txt holds no probabilities; train it first\n' "" classify network.txt yn
run classify "missing network" 1 "" $'veltra classify: Cannot open file: missing.txt\n' "" classify missing.txt yn
# Standard output that cannot be written, standard input that cannot be read: exit status 1.
if [ -z "$windows" ] && in_group classify; then
    "$veltra" classify trained.txt yn >/dev/full 2>stderr.txt
    [ $? = 1 ] && [ "$(cat stderr.txt)" = "veltra: cannot write standard output: No space left on device" ] || fail "standard output full"
    "$veltra" classify trained.txt <. >/dev/null 2>stderr.txt
    [ $? = 1 ] && [ "$(cat stderr.txt)" = "veltra classify: cannot read standard input" ] || fail "standard input a directory"
fi
# With enough observed tests of small probability every product underflows to 0, and is reported.
printf -v fields '%*s' 400 ''
{ echo 'H = Kind "a,b"'; echo 'P(H=a) = 0.5'; echo 'P(H=b) = 0.5'
  for t in $(seq 400); do echo "T$t = t \"x,y\""; for s in a b; do echo "P(T$t=x|H=$s) = 0.01"; echo "P(T$t=y|H=$s) = 0.99"; done; done; } >tiny.txt
run classify "underflow" 0 "*"$'\n  a    0.00 %\n  b    0.00 %\n' "veltra classify: warning: \"${fields// /x}\": every probability is 0, the products underflowed (see veltra check)"$'\n' "" classify tiny.txt "${fields// /x}"
run classify "underflow, quietly" 0 "*"$'\n  a    0.00 %\n  b    0.00 %\n' "" "" classify --quiet tiny.txt "${fields// /x}"
run check "underflow" 0 "*Underflow: a product of the smallest probabilities (prior 0.5, test 0.01) is 0 after 162 observed tests; fields with that many such results get probability 0 for every state"$'\n' "" "" check tiny.txt

# The report on kinds.txt (kinds-report.txt, and kinds-figures.json to full precision), whose
# probabilities can be read off its lines; figures worked by hand:
# precision a 3/5, b 2/3, c 0/1; recall a 3/5, b 2/3, d 0/1; macro (0.6 + 2/3 + 0 + 0) / 4;
# weighted (5 * 0.6 + 3 * 2/3) / 9 = 5/9; log loss -(4 ln 0.64 + 4 ln 0.12 + ln 0.25) / 9 = 1.2947;
# Brier (4 * 0.1728 + 4 * 1.2128 + 0.75) / 9 = 0.6992, where a right 0.64 line scores
# 0.36^2 + 3 * 0.12^2, a wrong one 0.88^2 + 0.64^2 + 2 * 0.12^2 and the "-" line 0.75^2 + 3 * 0.25^2.
report=$(cat "$data/kinds-report.txt"; echo .)
run evaluate "evaluates" 0 $'Accuracy: 66.67 %\n' "" "" evaluate trained.txt eval.txt out.txt
! in_group evaluate || same out.txt eval-judged.txt
run evaluate "report after the accuracy" 0 $'Accuracy: 55.56 %\n\n'"${report%.}" "" "" evaluate --report --json evaluated.json kinds.txt labelled.txt out.txt
! in_group evaluate || same evaluated.json kinds-figures.json
run evaluate "standard input to standard output" 0 "$(cat eval-judged.txt)"$'\n\nAccuracy: 66.67 %\n' "" "$(cat eval.txt)"$'\n' evaluate trained.txt - -
run evaluate "figures to standard output" 0 $'Accuracy: 55.56 %\n{*"accuracy"*}\n' "" "" evaluate --json - kinds.txt labelled.txt out.txt
run evaluate "line that does not fit" 1 "" $'veltra evaluate: bad.txt, line 3: Expected 2 test results but got 3. Test results:\nyyy\n' "" evaluate trained.txt bad.txt out.txt
run evaluate "untrained network" 1 "" $'veltra evaluate: network.txt holds no probabilities; train it first\n' "" evaluate network.txt eval.txt out.txt
run evaluate "output is the network" 1 "" $'veltra evaluate: the output trained.txt would overwrite the network\n' "" evaluate trained.txt eval.txt trained.txt
# Outputs that are no files are written and never read back: a pipe through /dev/stdout, a full
# device. Each finishes or fails at once.
if [ -z "$windows" ] && in_group evaluate; then
    timeout 20 "$veltra" evaluate trained.txt eval.txt /dev/full >stdout.txt 2>stderr.txt
    [ $? = 1 ] && [ "$(cat stderr.txt)" = "veltra evaluate: Cannot write file: /dev/full" ] && [ ! -s stdout.txt ] ||
        fail "output to /dev/full"
    timeout 20 "$veltra" evaluate trained.txt eval.txt /dev/stdout 2>stderr.txt | cat >piped.txt
    [ "${PIPESTATUS[0]}" = 0 ] && grep -q '^;Accuracy: 66.67 %' piped.txt || fail "evaluation through a pipe"
    timeout 20 "$veltra" evaluate --json /dev/stdout trained.txt eval.txt /dev/null 2>stderr.txt | cat >piped.txt
    [ "${PIPESTATUS[0]}" = 0 ] && grep -q '"accuracy"' piped.txt || fail "figures through a pipe"
fi
if [ -z "$windows" ] && in_group train; then
    timeout 20 "$veltra" train network.txt samples.txt /dev/stdout 2>stderr.txt | cat >piped.txt
    [ "${PIPESTATUS[0]}" = 0 ] && grep -q '^# Trained by BayesianEngine 2.6' piped.txt || fail "training through a pipe"
fi

run report "report without a judged copy" 0 "${report%.}" "" "" report --json figures.json kinds.txt labelled.txt
! in_group report || same figures.json kinds-figures.json
# Named states label the matrix, the tables and the misclassified lines; the JSON adds the names.
run report "named states" 0 "Report: 9 test lines*"$'\n          alpha  bravo      c      d\nalpha         3      1      1      0\n*\nbravo        0.6667     0.6667     0.6667          3\n*\nLine  Expected     Most probable  Probability  Runner-up  Probability  Results\n   5  alpha        bravo               0.6400  alpha           0.1200  y\n   6  bravo        alpha               0.6400  bravo           0.1200  x\n   9  alpha/bravo  c                   0.6400  alpha           0.1200  z\n  10  d            alpha               0.6400  bravo           0.1200  x\n' "" "" report --names 'a=alpha, b = bravo' kinds.txt labelled.txt
run report "named states in the JSON" 0 '*{"state": "a", "name": "alpha", *{"state": "c", "name": "c", *"misclassified": [*{"line": 9, "expected": "ab", "results": "z", "most_probable": "c", *' "" "" report --names a=alpha --json - kinds.txt labelled.txt
# The text report lists the first 20 misclassified lines: 21 "x" lines expected b, all answered a.
{ for i in $(seq 21); do printf ';TESTS\tb\tx\n'; done; } >misses.txt
run report "misclassified lines cut at 20" 0 "*Misclassified: 21 of 21 test lines*"$'\n  20  b   *\n... and 1 more (--json FILE lists them all)\n' "" "" report kinds.txt misses.txt
# x is no state of trained.txt: a row of its own, and a log loss of -ln 1e-15.
run report "expected state unknown" 0 "Report: 1 test lines, 0 right*"$'\nx           1    0\n*\nLog loss: 34.5388\n*' "" "" report trained.txt unknown.txt
run report "untrained network" 1 "" $'veltra report: network.txt holds no probabilities; train it first\n' "" report network.txt eval.txt
run report "report from standard input" 0 "${report%.}" "" "$(cat labelled.txt)" report kinds.txt -
run report "line that does not fit" 1 "" $'veltra report: bad.txt, line 3: Expected 2 test results but got 3. Test results:\nyyy\n' "" report trained.txt bad.txt
run report "missing input" 1 "" $'veltra report: Cannot open file: missing.txt\n' "" report trained.txt missing.txt
run report "input is a directory" 1 "" $'veltra report: Not a regular file, cannot read it twice: .\n' "" report trained.txt .
run report "page would overwrite the input" 1 "" $'veltra report: writing ./eval.txt would overwrite a file the command reads or writes\n' "" report --html ./eval.txt trained.txt eval.txt
run report "page not writable" 1 "Report: 3 test lines, 2 right*" $'veltra report: cannot write none/page.html\n' "" report trained.txt eval.txt --html none/page.html
printf '# fine\n;TESTS\td\n' >short.txt
head -c 1100 /dev/zero | tr '\0' y >long.txt
run report "line too long" 1 "" $'veltra report: Line 1 of long.txt is longer than 1023 bytes\n' "" report trained.txt long.txt
run report "test line without results" 1 "" $'veltra report: short.txt, line 2: Wrong format in line:\n;TESTS\td\n' "" report trained.txt short.txt

# "yy": d 0.5 * 0.9 * 0.2 = 0.09 against n 0.5 * 0.1 * 0.8 = 0.04, d 69.23 %. Without Digits ("-y")
# d 0.1 against n 0.4, d 20 % and n wins; without Blank ("y-") d 0.45 against 0.05, d 90 %.
explained=$(cat "$data/explain-yy.txt"; echo .) unobserved=$(cat "$data/explain-unobserved.txt"; echo .)
run explain "winner changes" 0 "${explained%.}" "" "" explain trained.txt yy
run explain "unobserved tests not left out" 0 "${unobserved%.}" "" "" explain trained.txt -- -y -.-
run explain "bad line, others explained" 1 "${explained%.}" $'veltra explain: standard input, line 1: Expected 2 test results but got 3. Test results:\nyyy\n' $'yyy\nyy\n' explain trained.txt

printf '\r\nH = Kind "dd"\r\nT = Ends in x "x,yz"\r\n' >wide.txt
run check "untrained" 0 $'network.txt: hypothesis Kind, 2 states, 2 tests\nStates: d n\nTests, one result character each, in this order:\n   1  Digits  y,n  Has digits\n   2  Blank   y,n  Has a blank\nProbabilities: none; train the network before classifying with it\n' "" "" check network.txt
run check "trained" 0 $'trained.txt: hypothesis Kind, 2 states, 2 tests\n*\nProbabilities: 10 lines\nUnderflow: a product of the smallest probabilities (prior 0.5, test 0.1) is 0 after 324 observed tests; this network has fewer tests\n' "" "" check trained.txt
run check "more than one character" 0 $'wide.txt: hypothesis Kind, 1 state, 1 test\nStates: dd\nTests, one result character each, in this order:\n   1  T  x,yz  Ends in x\nProbabilities: none; train the network before classifying with it\n' $'veltra check: warning: state "dd" is not one character\nveltra check: warning: value "yz" of test T is not one character\n' "" check wide.txt
run check "faulty network" 1 "" $'veltra check: broken.txt, line 2: String: Digits does not contain: =\n' "" check broken.txt
run check "missing network" 1 "" $'veltra check: Cannot open file: missing.txt\n' "" check missing.txt

# A labelled file cut to the tests of a description naming some of the network's, in its order.
printf 'H = Kind "d,n"\nBlank = Has a blank "y,n"\n' >blank.txt
printf 'H = Kind "d,n"\nBlank = b "y,n"\nDigits = d "y,n"\n' >swapped.txt
printf 'H = Kind "d,n"\nSize = s "y,n"\n' >size.txt
printf '# no test\nH = Kind "d,n"\n' >none.txt
run cut "to one test, standard input to standard output" 0 $'# Three labelled fields.\n;TESTS\td\tn\n;TESTS\tn\ty\n;TESTS\tdn\t-\n' $'Test lines cut: 3, to 1 of 2 tests\n' "$(cat eval.txt)"$'\n' cut network.txt blank.txt - -
run cut "quietly, to both tests" 0 "" "" "" cut --quiet trained.txt network.txt eval.txt out.txt
! in_group cut || lf <out.txt | cmp -s - <(sed 's/-\.-/--/' eval.txt) || fail "cut to both tests: not eval.txt without its full stops"
run cut "line that does not fit" 1 "" $'veltra cut: bad.txt, line 3: Expected 2 test results but got 3. Test results:\nyyy\n' "" cut network.txt blank.txt bad.txt out.txt
run cut "test not in the network" 1 "" $'veltra cut: size.txt, line 2: Test Size is no test of the loaded network\n' "" cut network.txt size.txt eval.txt out.txt
run cut "tests in another order" 1 "" $'veltra cut: swapped.txt, line 3: Test Digits comes before Blank in the loaded network, not after it\n' "" cut network.txt swapped.txt eval.txt out.txt
run cut "no test chosen" 1 "" $'veltra cut: none.txt holds no test\n' "" cut network.txt none.txt eval.txt out.txt
run cut "faulty chosen description" 1 "" $'veltra cut: broken.txt, line 2: String: Digits does not contain: =\n' "" cut network.txt broken.txt eval.txt out.txt
run cut "output is the network" 1 "" $'veltra cut: the output network.txt would overwrite the network\n' "" cut network.txt blank.txt eval.txt network.txt
run cut "output is the input" 1 "" $'veltra cut: Output would overwrite an input file: ./eval.txt\n' "" cut network.txt blank.txt eval.txt ./eval.txt
# Cross-validation and test selection: each fold (or step) as the library reports it, the samples
# refused as training refuses them, the folds the same for the same seed, the JSON readable.
cv_usage="Usage: veltra cv [--folds K] [--seed N] [--stratified] [--report] [--json FILE] [--html FILE]"
run cv "one line a fold" 0 "Fold      Lines      Right  Accuracy"$'\n'"   1          1  *"$'\n'"   4          1  *"$'\n\n'"Mean accuracy: *over 4 folds"$'\n'"All folds: ? of 4 lines right, *" "" "" cv --folds 4 network.txt samples.txt
run cv "folds without lines" 0 "*"$'\n'"   ?          0          0         -"$'\n'"*"$'\n\n'"Mean accuracy: *over 4 folds"$'\n'"*" "" "" cv network.txt samples.txt
run cv "report" 0 "*All folds: *"$'\n\n'"Report: 4 test lines, * right*Calibration*" "" "" cv --report --folds 2 --seed 3 network.txt samples.txt
run cv "refused sample line" 1 "" $'veltra cv: bad.txt, line 3: Expected 2 test results but got 3 Results:yyy\n' "" cv network.txt bad.txt
run cv "refused line of standard input" 1 "" $'veltra cv: standard input, line 3: Expected 2 test results but got 3 Results:yyy\n' "$(cat bad.txt)" cv network.txt -
run cv "missing network" 1 "" $'veltra cv: Cannot open file: missing.txt\n' "" cv missing.txt samples.txt
run cv "one fold" 2 "" "veltra cv: --folds takes a whole number from 2, not 1"$'\n'"$cv_usage"$'\n' "" cv --folds 1 network.txt samples.txt
run cv "seed not a number" 2 "" "veltra cv: --seed takes a whole number, not -1"$'\n'"$cv_usage"$'\n' "" cv --seed -1 network.txt samples.txt
run cv "figures over the network" 1 "" $'veltra cv: writing network.txt would overwrite a file the command reads or writes\n' "" cv --json network.txt network.txt samples.txt
run select "down to one test" 0 "Backward elimination by 10-fold cross-validation (seed 0) on 4 test lines: 2 tests down to 1"$'\n\n'"Step  Dropped  *"$'\n'"   1  *      1  *  kept"$'\n\n'"Kept: 1 test (step 1): *Each test: *"$'\n'"   1  Digits  *"$'\n'"   2  Blank   *" "" "" select --keep 1 network.txt samples.txt
run select "refused sample line" 1 "" $'veltra select: bad.txt, line 3: Expected 2 test results but got 3 Results:yyy\n' "" select network.txt bad.txt
run select "more tests than the network" 1 "" $'veltra select: cannot keep 3 tests: network.txt has 2\n' "" select --keep 3 network.txt samples.txt
run select "the kept network to standard output" 0 "*Kept: 1 test (step 1): Digits*# Two states, two tests, not trained."$'\n'"H = Kind \"d,n\""$'\n'"Digits = Has digits \"y,n\""$'\n' "" "" select --keep 1 --write - network.txt samples.txt
run select "the kept network over the samples" 1 "" $'veltra select: writing samples.txt would overwrite a file the command reads or writes\n' "" select --write samples.txt network.txt samples.txt
run cv "a name for no state" 2 "" $'veltra cv: --names: x is no state of network.txt (its states: d n)\n' "" cv --names x=ex network.txt samples.txt
if in_group cv; then
    "$veltra" cv --stratified --seed 9 --folds 3 network.txt samples.txt >first.txt 2>&1 &&
        "$veltra" cv --stratified --seed 9 --folds 3 --json cv.json network.txt samples.txt >again.txt 2>&1 &&
        cmp -s first.txt again.txt || fail "the same seed, other folds"
    [ -z "$python" ] || "$python" -c 'import json, sys; d = json.load(open("cv.json")); c = d["cross_validation"]
sys.exit(not (d["lines"] == 4 and len(c["per_fold"]) == 3 and sum(f["right"] for f in c["per_fold"]) == d["right"]))' ||
        fail "cv --json"
fi
if in_group select && [ -n "$python" ]; then
    "$veltra" select --forward --json - network.txt samples.txt 2>&1 >/dev/null | tee err.txt | grep -q . && fail "select --json: $(cat err.txt)"
    "$veltra" select --forward --json - network.txt samples.txt 2>/dev/null | sed -n '/^{/,$p' >select.json
    "$python" -c 'import json, sys; d = json.load(open("select.json")); s = d["steps"]
sys.exit(not (d["direction"] == "forward" and [x["tests"] for x in s] == [0, 1, 2] and d["kept"] == sorted(d["kept"])
              and len(d["kept"]) == s[d["chosen_step"]]["tests"] and len(d["tests"]) == 2))' || fail "select --json"
fi

# The bundled example end to end, and its files as the generator writes them.
err_pattern=1 run example "trains the example" 0 "" "*End of training.*Total sample count: 2000"$'\n' "" train "$source"/examples/fields/{network,train}.txt example.txt
run example "evaluates the example" 0 $'Accuracy: 92.00 %\n' "" "" evaluate example.txt "$source/examples/fields/eval.txt" evaluated.txt
! in_group example || [ -z "$python" ] || { mkdir generated && "$python" "$source/examples/fields/generate.py" --out generated && diff -r -q -x generate.py generated "$source/examples/fields"; } || fail "generate.py does not reproduce examples/fields"
[ "$ran" -gt 0 ] && [ "$failures" = 0 ]