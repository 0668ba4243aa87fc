#!/usr/bin/env bash
# Benchmarks the Python package side by side with what Python users would run otherwise, in one
# run: classify_many against scikit-learn's CategoricalNB.predict_proba on the benchmark's medium
# data, training across a local Dask cluster of 2 workers against veltra train on its large
# samples, and cross-validation and test selection against train + evaluate and scikit-learn on
# the medium samples. Builds the benchmark's data generator, the command and the library (Release, in
# build/bench-python), the wheel, and a fresh virtual environment holding it; installs Debian's
# python3-numpy, python3-sklearn and python3-distributed for this script only. Prints the tables.
# Usage: scripts/bench-python.sh [bench/python_bench.py options]
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${VELTRA_JOBS:-2}
out=build/bench-python

bash scripts/install.sh bench bench-python package
cmake -S . -B $out -DCMAKE_BUILD_TYPE=Release -DVELTRA_BUILD_BENCH=ON -DVELTRA_BUILD_TESTS=OFF \
    -DVELTRA_BUILD_FUZZ=OFF -DVELTRA_BUILD_CLI=ON -DVELTRA_WERROR=ON >/dev/null
if ! cmake --build $out -j "$jobs" --target veltra_bench veltra VeltraHost >$out/build-log.txt 2>&1; then
    cat $out/build-log.txt
    exit 1
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
VELTRA_PACKAGE_WINDOWS=0 bash scripts/package.sh --linux $out/api/libVeltraHost.so --out "$work/dist" python >/dev/null
/usr/bin/python3 -m venv --system-site-packages "$work/venv"
"$work/venv/bin/python" -m pip install --quiet --no-index --no-deps "$work"/dist/veltra-*-linux_x86_64.whl
$out/bench/veltra_bench --write="$work/data" --size=medium,large

echo "Veltra $(git describe --always --dirty 2>/dev/null || echo '(no git)'), $(date -u '+%Y-%m-%d %H:%M UTC')"
echo "Machine: $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1), $(nproc) cores," \
    "$(uname -sr), load average $(cut -d ' ' -f 1-3 /proc/loadavg)"
(cd "$work" && "$work/venv/bin/python" "$OLDPWD/bench/python_bench.py" --data "$work/data" \
    --veltra "$OLDPWD/$out/cli/veltra" "$@")
