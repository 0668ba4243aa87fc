"""Benchmarks of the Python package beside what Python users would run otherwise, every figure a
ratio to its reference measured in the same run (scripts/bench-python.sh sets everything up):

- batch classification: Engine.classify_many on a whole matrix of fields against scikit-learn's
  CategoricalNB.predict_proba on the same matrix, the benchmark's medium data; target: twice the
  rows per second;
- training across a local Dask cluster of 2 workers against ``veltra train`` on the benchmark's
  large samples, repeated to 2 million lines; target: 0.8 times the lines per second (the
  cluster's start excluded), and peak memory of the client and of the workers that does not grow
  when the file doubles;
- tuning, on the medium samples: ``veltra cv --folds 10`` against one ``veltra train`` plus one
  ``veltra evaluate`` of the same file (target: at most twice their time) and against
  scikit-learn's ``cross_val_score(CategoricalNB(), X, y, cv=10)``, reading the file included
  (target: 20 times its speed); ``veltra select`` backward to 10 tests with 10 folds (target:
  under a minute).

Usage: python_bench.py --data DIR --veltra PATH [--repeat N] [--only classify|train|tune]
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import time

import numpy as np

import veltra

# A line of a sample file: ";TESTS\t<state>\t<results>".
PREFIX = len(b";TESTS\t")


def best(repeat, run, before=None):
    """The shortest of `repeat` timed runs of `run`, each after an untimed `before`."""
    times = []
    for _ in range(repeat):
        if before is not None:
            before()
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return min(times)


def matrix(results, tests, values):
    """Test results (bytes of one character per test) as scikit-learn's categories: a, b, ... as
    0, 1, ..., and "-" (no result) as one more category."""
    codes = np.full(256, values, dtype=np.int64)
    for v in range(values):
        codes[ord("a") + v] = v
    flat = np.frombuffer(b"".join(results), dtype=np.uint8).reshape(len(results), tests)
    return codes[flat]


def classification(data, repeat):
    from sklearn.naive_bayes import CategoricalNB

    directory = os.path.join(data, "medium")
    trained = os.path.join(directory, "trained.txt")
    engine = veltra.Engine.from_file(trained)
    tests, values = len(engine.tests), len(engine.tests[0].values)
    with open(os.path.join(directory, "samples.txt"), "rb") as file:
        samples = [line.rstrip(b"\n") for line in file if line.startswith(b";TESTS\t")]
    states = np.array([line[PREFIX:PREFIX + 1] for line in samples])
    model = CategoricalNB(min_categories=values + 1).fit(matrix([line[PREFIX + 2:] for line in samples],
                                                                tests, values), states)
    with open(os.path.join(directory, "fields.txt"), "rb") as file:
        fields = file.read().split(b"\n")[:-1]
    array = np.array(fields, dtype="S%d" % tests)
    texts = [field.decode("latin-1") for field in fields]
    X = matrix(fields, tests, values)
    rows = len(fields)

    # Every field of the batch as the single call classifies it, before anything is timed.
    batch = engine.classify_many(array, strict=True)
    for i in range(0, rows, 997):
        single = engine.classify(texts[i])
        assert [s for s, _ in single] == [s.decode("latin-1") for s in batch.states[i]], texts[i]
        assert [p for _, p in single] == list(batch.probabilities[i]), texts[i]

    # Each timed veltra run starts from a fresh load: nothing it classified before is remembered.
    def reload():
        engine.load_file(trained)

    some = 2000
    figures = [
        ("scikit-learn predict_proba, the whole matrix", rows / best(repeat, lambda: model.predict_proba(X))),
        ("veltra classify_many, a NumPy array of S%d" % tests,
         rows / best(repeat, lambda: engine.classify_many(array), reload)),
        ("veltra classify_many, a list of str", rows / best(repeat, lambda: engine.classify_many(texts), reload)),
        ("veltra classify, one call a field",
         some / best(repeat, lambda: [engine.classify(text) for text in texts[:some]], reload)),
        ("scikit-learn predict_proba, one call a row",
         some / 4 / best(repeat, lambda: [model.predict_proba(X[i:i + 1]) for i in range(some // 4)])),
    ]
    reference = figures[0][1]
    print(f"\nBatch classification: medium ({len(engine.states)} states, {tests} tests of {values} values), "
          f"{rows} distinct fields, best of {repeat}")
    print("%-48s %14s %10s %8s" % ("", "rows/s", "ratio", "target"))
    for name, rate in figures:
        target = 2.0 if name.startswith("veltra classify_many, a NumPy") else None
        mark = "" if target is None else ("%8.2f%s" % (target, "" if rate / reference >= target else "  MISSED"))
        print("%-48s %14.0f %10.2f %s" % (name, rate, rate / reference, mark))


def dask_run(network, samples, output, repeat):
    """In a process of its own: a local cluster of 2 workers, then training across it, the
    workers reading their partitions from the file and sent them as a remote cluster's are; prints
    the best times and the peak memory of this process and of the workers, as JSON."""
    from dask.distributed import Client, LocalCluster

    from veltra import dask as job

    engine = veltra.Engine.from_file(network)
    with open(network, "rb") as file:
        text = file.read()
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None,
                      silence_logs=50) as cluster, Client(cluster) as client:
        job.warnings.filterwarnings("ignore", message="Large object of size", category=UserWarning)
        description = client.scatter(text, broadcast=True, hash=False)
        times = {}
        for mode, shared in (("read", True), ("sent", False)):
            times[mode] = best(repeat, lambda: job.train(client, description, engine, network, samples, output,
                                                         20000, 8, shared))
        workers = client.run(lambda: resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)
    print(json.dumps({"times": times, "client": resource.getrusage(resource.RUSAGE_SELF).ru_maxrss,
                      "workers": max(workers.values())}))


def undated(path):
    with open(path, "rb") as file:
        return [line for line in file if not line.startswith(b"# Date")]


def training(data, veltra_command, repeat):
    directory = os.path.join(data, "large")
    network = os.path.join(directory, "network.txt")
    with open(os.path.join(directory, "samples.txt"), "rb") as file:
        lines = [line for line in file if line.startswith(b";TESTS\t")]
    files = {}
    for times in (10, 20):
        files[times] = os.path.join(directory, "samples-x%d.txt" % times)
        with open(files[times], "wb") as file:
            for _ in range(times):
                file.writelines(lines)
    count = 10 * len(lines)
    single = os.path.join(directory, "single.net")
    command = [veltra_command, "train", "--quiet", network, files[10], single]
    reference = count / best(repeat, lambda: subprocess.run(command, check=True))
    runs = {}
    for times, path in files.items():
        output = os.path.join(directory, "dask-x%d.net" % times)
        run = subprocess.run([sys.executable, __file__, "--dask-run", network, path, output, "--repeat", str(repeat)],
                             check=True, capture_output=True, text=True)
        runs[times] = json.loads(run.stdout.strip().splitlines()[-1])
        if times == 10:
            assert undated(output) == undated(single), "the cluster's trained file differs from veltra train's"
    print(f"\nTraining: large samples ({count} lines, {os.path.getsize(files[10]) >> 20} MiB), "
          f"a local cluster of 2 workers, best of {repeat}")
    print("%-48s %14s %10s %8s" % ("", "lines/s", "ratio", "target"))
    print("%-48s %14.0f %10.2f" % ("veltra train", reference, 1.0))
    for mode, name in (("read", "Dask, workers read their partitions"), ("sent", "Dask, partitions sent to workers")):
        rate = count / runs[10]["times"][mode]
        mark = "%8.2f%s" % (0.8, "" if rate / reference >= 0.8 else "  MISSED") if mode == "read" else ""
        print("%-48s %14.0f %10.2f %s" % (name, rate, rate / reference, mark))
    print("\nPeak memory (MiB)                                 2M lines    4M lines")
    for who in ("client", "workers"):
        print("%-48s %10.0f %11.0f" % ("Dask " + ("client" if who == "client" else "worker, the larger"),
                                       runs[10][who] / 1024, runs[20][who] / 1024))


def sklearn_cross_validation(samples, tests, values):
    """scikit-learn's 10-fold cross-validation of CategoricalNB, from the sample file's bytes."""
    from sklearn.model_selection import cross_val_score
    from sklearn.naive_bayes import CategoricalNB

    with open(samples, "rb") as file:
        lines = [line.rstrip(b"\n") for line in file if line.startswith(b";TESTS\t")]
    states = np.array([line[PREFIX:PREFIX + 1] for line in lines])
    X = matrix([line[PREFIX + 2:] for line in lines], tests, values)
    return cross_val_score(CategoricalNB(min_categories=values + 1), X, states, cv=10).mean()


def tuning(data, veltra_command, repeat):
    directory = os.path.join(data, "medium")
    network = os.path.join(directory, "network.txt")
    samples = os.path.join(directory, "samples.txt")
    engine = veltra.Engine.from_file(network)
    tests, values = len(engine.tests), len(engine.tests[0].values)
    trained, judged = os.path.join(directory, "tune-trained.txt"), os.path.join(directory, "tune-judged.txt")
    with open(samples, "rb") as file:
        count = sum(1 for line in file if line.startswith(b";TESTS\t"))

    def quiet(*arguments):
        subprocess.run([veltra_command, arguments[0], "--quiet", *arguments[1:]], check=True,
                       stdout=subprocess.DEVNULL)

    def train_and_evaluate():
        quiet("train", network, samples, trained)
        quiet("evaluate", trained, samples, judged)

    reference = best(repeat, train_and_evaluate)
    cv = best(repeat, lambda: quiet("cv", "--folds", "10", network, samples))
    learn = best(1, lambda: sklearn_cross_validation(samples, tests, values))
    select = best(1, lambda: quiet("select", "--folds", "10", "--keep", "10", network, samples))
    print(f"\nTuning: medium ({len(engine.states)} states, {tests} tests of {values} values), {count} sample lines, "
          f"best of {repeat} (scikit-learn and select: one run)")
    print("%-48s %14s %10s %8s" % ("", "seconds", "ratio", "target"))
    rows = [
        ("veltra train + veltra evaluate", reference, 1.0, None, None),
        ("veltra cv --folds 10", cv, cv / reference, 2.0, cv / reference <= 2.0),
        ("scikit-learn cross_val_score, cv=10, parsing in", learn, learn / cv, 20.0, learn / cv >= 20.0),
        ("veltra select --keep 10 (10 folds)", select, None, 60.0, select < 60.0),
    ]
    for name, seconds, ratio, target, met in rows:
        mark = "" if target is None else "%8.2f%s" % (target, "" if met else "  MISSED")
        print("%-48s %14.3f %10s %s" % (name, seconds, "" if ratio is None else "%.2f" % ratio, mark))
    print("(the ratio of scikit-learn is its time over veltra cv's; of select, the target is in seconds)")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--data", help="the directory veltra_bench --write filled")
    parser.add_argument("--veltra", help="the veltra command")
    parser.add_argument("--repeat", type=int, default=5)
    parser.add_argument("--only", choices=("classify", "train", "tune"))
    parser.add_argument("--dask-run", nargs=3, metavar=("NETWORK", "SAMPLES", "OUTPUT"), help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.dask_run:
        dask_run(*args.dask_run, min(args.repeat, 3))
        return
    if not args.data or not args.veltra:
        parser.error("--data and --veltra are required")
    print("Python %s, NumPy %s, veltra %s" % (sys.version.split()[0], np.__version__, veltra.__version__))
    if args.only in (None, "classify"):
        classification(args.data, args.repeat)
    if args.only in (None, "train"):
        training(args.data, args.veltra, min(args.repeat, 3))
    if args.only in (None, "tune"):
        tuning(args.data, args.veltra, min(args.repeat, 3))


if __name__ == "__main__":
    main()
