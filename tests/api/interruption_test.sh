#!/usr/bin/env bash
# What an interrupted or starved run leaves, through a plain C host of the library (RunHost) and
# through the veltra command, each training and evaluating. A run killed mid-way (by SIGKILL, as
# an out-of-memory kill or a stopped container ends it, and by SIGINT, as Ctrl-C does) leaves the
# earlier output byte for byte, or no output where there was none. A run that meets a full disk
# (a small tmpfs, mounted when the test runs as root) or a file-size limit fails with
# "Cannot write file: <output>" and nothing else, and keeps the earlier output too; no temporary
# file is left then.
# Usage: interruption_test.sh RUNHOST VELTRA SOURCE_DIR
set -u
host=$1 veltra=$2 data=$3/tests/data failures=0
work=$(mktemp -d)
cleanup() { mountpoint -q "$work/full" 2>/dev/null && umount "$work/full"; rm -rf "$work"; }
trap cleanup EXIT
cd "$work" || exit 1
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# The training network of the golden runs (states a, b, c; tests Dig y/n and Len s/m/l), six
# million sample lines, about a second of training, and the earlier outputs of a short run.
cp "$data/training/network.txt" "$data/training/samples.txt" "$data/batch/input.txt" .
awk 'BEGIN { split("a b c ab", s, " "); split("ys yl nm n- -s ym", r, " ");
             for (i = 0; i < 6000000; ++i) printf ";TESTS\t%s\t%s\n", s[i % 4 + 1], r[i % 6 + 1] }' >many.txt
"$host" train network.txt samples.txt trained.txt >/dev/null && "$host" evaluate trained.txt input.txt judged.txt >/dev/null ||
    { echo "FAIL: the short runs"; exit 1; }

# command_for PROGRAM JOB OUTPUT: sets cmd to the command line of the program ("host" or
# "veltra") training on many.txt or evaluating it, into OUTPUT.
command_for() {
    local program=$host
    [ "$1" = veltra ] && program=$veltra
    cmd=("$program" train network.txt many.txt "$3")
    [ "$2" = evaluate ] && cmd=("$program" evaluate trained.txt many.txt "$3")
}

# interrupt SIGNAL PROGRAM JOB OUTPUT: starts the job, waits until it is writing its output (its
# temporary file is there) and a little longer, and sends it SIGNAL; it must die of the signal,
# mid-run. Background jobs of a script ignore SIGINT: env gives it back its default action.
interrupt() {
    local signal=$1 tries=0 status
    shift
    command_for "$@"
    env --default-signal=INT "${cmd[@]}" >progress.txt 2>err.txt &
    local pid=$!
    while ! compgen -G ".$3.*.tmp" >/dev/null && [ $tries -lt 3000 ] && kill -0 $pid 2>/dev/null; do
        sleep 0.01
        tries=$((tries + 1))
    done
    sleep 0.05
    kill -s "$signal" $pid
    wait $pid
    status=$?
    [ $status = $((128 + $(kill -l "$signal"))) ] || fail "$*: status $status, not ended by SIG$signal mid-run"
}

for program in host veltra; do
    for job in train evaluate; do
        earlier=trained.txt
        [ $job = evaluate ] && earlier=judged.txt
        for signal in KILL INT; do
            cp $earlier out.txt
            interrupt $signal $program $job out.txt
            cmp -s out.txt $earlier || fail "$program $job, SIG$signal: the earlier output was not kept"
            # The run was writing its output when it ended: its temporary is left beside it.
            compgen -G '.out.txt.*.tmp' >/dev/null || fail "$program $job, SIG$signal: no temporary, no output open"
            rm -f out.txt .out.txt.*.tmp
        done
        interrupt KILL $program $job new.txt
        [ ! -e new.txt ] || fail "$program $job, SIGKILL: a half file where there was none"
        rm -f .new.txt.*.tmp
    done
done

# Cross-validation and selection write their figures, pages and chosen network whole at their
# end: stopped by Ctrl-C before, they leave the earlier files as they were.
for job in "cv --json figures.json --html page.html" "select --json figures.json --html page.html --write kept.txt"; do
    for file in figures.json page.html kept.txt; do echo earlier >$file; done
    # shellcheck disable=SC2086
    env --default-signal=INT "$veltra" $job network.txt many.txt >/dev/null 2>err.txt &
    pid=$!
    sleep 0.3
    kill -s INT $pid
    wait $pid
    status=$?
    [ $status = 130 ] || fail "veltra ${job%% *}, SIGINT: status $status, not ended by SIGINT mid-run"
    for file in figures.json page.html kept.txt; do
        [ "$(cat $file)" = earlier ] && ! compgen -G ".$file.*.tmp" >/dev/null ||
            fail "veltra ${job%% *}, SIGINT: the earlier $file was not kept"
    done
done

# starved WHAT PROGRAM JOB OUTPUT EARLIER [LIMIT]: the job into OUTPUT, which holds EARLIER, must
# fail with the message alone and keep EARLIER, under a file-size limit of LIMIT KiB if given.
starved() {
    local what=$1 program=$2 job=$3 output=$4 earlier=$5 limit=${6:-unlimited} status
    cp "$earlier" "$output"
    command_for "$program" "$job" "$output"
    (ulimit -f "$limit" && trap '' XFSZ && exec "${cmd[@]}") >/dev/null 2>err.txt
    status=$?
    local said="Cannot write file: $output"
    [ "$program" = veltra ] && said="veltra $job: $said"
    # The command shows training's warnings before it.
    [ $status = 1 ] && [ "$(tail -n 1 err.txt)" = "$said" ] && [ "$(grep -vc WARNING err.txt)" = 1 ] ||
        { fail "$what, $program $job: status $status"; cat err.txt; }
    cmp -s "$output" "$earlier" || fail "$what, $program $job: the earlier output was not kept"
    [ -z "$(find "$(dirname "$output")" -name '*.tmp')" ] || fail "$what, $program $job: a temporary was left"
}

for program in host veltra; do
    starved "a file-size limit" $program train limited.txt trained.txt 1
    starved "a file-size limit" $program evaluate limited.txt judged.txt 64
done

if [ "$(id -u)" = 0 ] && mkdir full && mount -t tmpfs -o size=128k tmpfs full 2>/dev/null; then
    for program in host veltra; do
        for job in train evaluate; do
            earlier=trained.txt
            [ $job = evaluate ] && earlier=judged.txt
            cp $earlier full/out.txt
            dd if=/dev/zero of=full/filler bs=4k 2>/dev/null
            starved "a full disk" $program $job full/out.txt $earlier
            rm -f full/filler
        done
    done
else
    echo "interruption_test: the full disk case skipped: it mounts a tmpfs, which needs root"
fi

echo "interruption_test: $failures failed checks"
[ $failures = 0 ]
