#!/usr/bin/env bash
# The bundled example end to end: builds the veltra command if needed (in build/demo), trains the
# form-field network on examples/fields/train.txt, evaluates the held-out fields of
# examples/fields/eval.txt with a report, explains the first miss, writes the report's page and
# classifies a few fields.
# Installs cmake and g++ when they are missing and it runs as root (Debian).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${VELTRA_JOBS:-2}
example=examples/fields
out=build/demo
veltra=$out/cli/veltra

bash scripts/install.sh demo

echo "== Building the veltra command in $out"
if [ ! -f $out/CMakeCache.txt ]; then
    cmake -S . -B $out -DCMAKE_BUILD_TYPE=Release -DVELTRA_BUILD_TESTS=OFF -DVELTRA_BUILD_FUZZ=OFF >/dev/null
fi
cmake --build $out -j "$jobs" --target veltra >/dev/null

echo
echo "== Training $example/network.txt on $example/train.txt"
echo "\$ $veltra train $example/network.txt $example/train.txt $out/trained.txt"
# Warnings and the summary come on standard error, the progress display too on a terminal.
$veltra train $example/network.txt $example/train.txt $out/trained.txt 2>&1

echo
echo "== Evaluating the held-out fields of $example/eval.txt, with a report"
echo "\$ $veltra evaluate --report $out/trained.txt $example/eval.txt $out/evaluated.txt"
$veltra evaluate --report $out/trained.txt $example/eval.txt $out/evaluated.txt
fields=$(grep -c '^;TESTS' $example/eval.txt)
wrong=$(grep -c '^;ERROR' $out/evaluated.txt || true)
echo "$((fields - wrong)) of $fields held-out fields classified right; each with its verdict in $out/evaluated.txt"

echo
echo "== Why the first miss was missed"
# The judged copy holds each field as a comment, its test line and its verdict.
read -r field expected results answer < <(awk -F'\t' '/^# / { field = substr($0, 3) } /^;TESTS/ { line = $0 }
    /^;ERROR/ { split(line, t, "\t"); split($2, a, ":"); gsub(/ /, "_", field); print field, t[2], t[3], a[1]; exit }' \
    $out/evaluated.txt)
echo "${field//_/ }   expected $expected, answered $answer   test results $results"
echo "\$ $veltra explain $out/trained.txt $results"
$veltra explain $out/trained.txt "$results"

echo
echo "== The report as a page"
echo "\$ $veltra report $out/trained.txt $example/eval.txt --html $out/report.html"
$veltra report $out/trained.txt $example/eval.txt --html $out/report.html >/dev/null
echo "Open $out/report.html in a browser (a phone's too): confusion matrix, per-state figures, calibration, what each test contributed, misclassified lines."

echo
echo "== Classifying a few held-out fields, one of each kind"
# eval.txt holds each field as a comment before its test line; take the first field of each state.
picked=$(awk -F'\t' '/^# / { field = substr($0, 3) }
    /^;TESTS/ && !seen[$2]++ { printf "%-18s expected %s   test results %s\n", field, $2, $3 }' $example/eval.txt)
echo "$picked"
read -r -a results <<<"$(awk '{ printf "%s ", $NF }' <<<"$picked")"
echo "\$ $veltra classify $out/trained.txt ${results[*]}"
$veltra classify $out/trained.txt "${results[@]}"

echo
echo "== The same, one tab-separated line per field, for scripts and pipes"
echo "\$ grep -m 5 '^;TESTS' $example/eval.txt | cut -f3 | $veltra classify --tsv $out/trained.txt"
grep -m 5 '^;TESTS' $example/eval.txt | cut -f3 | $veltra classify --tsv $out/trained.txt
