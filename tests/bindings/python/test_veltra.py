# Tests of the Python package as a user installs it: bindings_test.sh installs the wheel into a
# fresh virtual environment and runs this file there, in the directory where it left the cases that
# both bindings are held to. For each line NAME LOAD of "cases", the network NAME.net loaded that
# way must answer every line of NAME.in as ReferenceHost (a C host of the same interface) wrote to
# NAME.expected, one field at a time and all at once. Then the failures, with their reasons; the
# silence; progress, messages and introspection; and the misuse that Python programs commit, in
# subprocesses of their own. (Training in parts, through count and train_counts: the Dask test,
# scaleout.dask.) Stops at the first failed check, naming it.

import json
import os
import struct
import subprocess
import sys
from pathlib import Path

import numpy as np

import veltra

if not __debug__:
    raise SystemExit("the checks are assertions: run without -O")
assert "site-packages" in veltra.__file__, f"not the installed package: {veltra.__file__}"
assert veltra.__version__ == "2.6.0" and veltra.interface_version == 2, veltra.__version__


def bits(number):
    return "%016x" % struct.unpack("<Q", struct.pack("<d", number))[0]


def expected_line(results, answer):
    if answer is None:
        return "%s\tclassify\n" % results
    return "%s\t%s\n" % (results, "\t".join("%s\t%s" % (state, bits(p)) for state, p in answer))


def classified(engine, results):
    try:
        return expected_line(results, engine.classify(results))
    except veltra.FieldError:
        return expected_line(results, None)


def classified_many(engine, fields, given=None):
    batch = engine.classify_many(fields if given is None else given)
    return "".join(expected_line(results, list(zip((s.decode("latin-1") for s in batch.states[i]),
                                                   batch.probabilities[i])) if batch.ok[i] else None)
                   for i, results in enumerate(fields))


trained = veltra.Engine()  # which training loads with what it wrote
assert trained.train("network.txt", "train.txt", "retrained.net") == 2000
loads = {"file": veltra.Engine.from_file, "training": lambda network: trained,
         "text": lambda network: veltra.Engine.from_text(Path(network).read_bytes())}
for name, load in (line.split() for line in Path("cases").read_text().splitlines()):
    fields = Path(name + ".in").read_text(encoding="latin-1").splitlines()
    expected = Path(name + ".expected").read_text(encoding="latin-1")
    engine = loads[load](name + ".net")
    assert "".join(classified(engine, results) for results in fields) == expected, (name, load)
    assert classified_many(engine, fields) == expected, (name, load, "many")
    array = np.array([field.encode("latin-1") for field in fields])
    assert classified_many(engine, fields, array) == expected, (name, load, "array")
    # Fields of str and bytes mixed, and none at all.
    mixed = [field.encode("latin-1") if i % 2 else field for i, field in enumerate(fields)]
    assert classified_many(engine, fields, mixed) == expected, (name, load, "mixed")
    for none in ([], np.array([], dtype="S2")):
        assert engine.classify_many(none).states.shape == (0, len(engine.states)), (name, load, "none")

# Failures: the exception's class, and its text (the call, the file and line, the library's reason).
with veltra.Engine.from_file("round.net") as engine, veltra.Engine.from_file("round.net") as closed:
    closed.close()
    closed.close()  # and again at the end of the block: nothing happens
    Path("bad.txt").write_text(";TESTS\td\tyn\n;TESTS\tn\tyyy\n")
    failures = [
        (lambda: veltra.Engine.from_file("missing.txt"), veltra.FileError,
         "load_file: Cannot open file: missing.txt"),
        (lambda: veltra.Engine.from_text('H = Kind "d,d"\n'), veltra.VeltraError,
         "load_text: Cannot add in node duplicate value: d"),
        (lambda: veltra.Engine().train("round.net", "missing.txt", "out.txt"), veltra.FileError,
         "train: Cannot open file: missing.txt"),
        (lambda: engine.evaluate("bad.txt", "out.txt"), veltra.LineError,
         "evaluate: bad.txt, line 2: Expected 2 test results but got 3. Test results:\nyyy"),
        (lambda: engine.classify("yyy"), veltra.FieldError,
         "classify: Expected 2 test results but got 3. Test results:\nyyy"),
        (lambda: engine.classify_many(["yn", "y"], strict=True), veltra.FieldError,
         "classify_many: Expected 2 test results but got 1. Test results:\ny"),
        (lambda: closed.evaluate("network.txt", "out.txt"), ValueError, "the engine is closed"),
        (lambda: engine.classify("y\0n"), ValueError, "the test results holds a NUL character"),
        (lambda: engine.classify("y\u20ac"), ValueError, None),
        (lambda: engine.classify(42), TypeError, None),
        (lambda: veltra.Engine().classify("yn"), veltra.VeltraError, "classify: Network has not been initialized yet"),
        # A callback calling into its own engine: refused, not waiting for itself.
        (lambda: engine.evaluate("decoy.txt", progress=lambda done, total: engine.classify("yn")), RuntimeError,
         "classify: the engine is inside another call (a callback may not call it)"),
        (lambda: engine.evaluate("decoy.txt", progress=lambda done, total: engine.close()), RuntimeError, None),
    ]
    for action, kind, text in failures:
        try:
            action()
        except Exception as error:
            assert type(error) is kind, (text, error)
            assert text is None or str(error) == text, (text, str(error))
        else:
            raise AssertionError(f"no failure: {text}")
    accuracy = engine.evaluate("decoy.txt", "evaluated.txt")
    assert (accuracy.right, accuracy.wrong) == (2, 1) and bits(accuracy) == bits(2 * 100.0 / 3), accuracy

# Messages, progress and what a network holds.
messages, reports = [], []


class Bar:  # as a tqdm bar takes its updates
    total, n = None, 0

    def update(self, lines):
        self.n += lines


with veltra.Engine(messages=lambda kind, text: messages.append((kind, text))) as engine:
    bar = Bar()
    engine.train("network.txt", "train.txt", "again.net", progress=bar)
    assert bar.n == bar.total == 4003, (bar.n, bar.total)
    assert messages[-3:] == [("summary", "End of training."), ("summary", "Number of sample lists processed: 1"),
                             ("summary", "Total sample count: 2000")], messages[-3:]
    assert {kind for kind, _ in messages[:-3]} == {"warning"}, messages
    judged = []
    engine.evaluate("eval.txt", progress=lambda done, total: reports.append((done, total)),
                    judged=lambda line, expected, results, ranking: judged.append((line, results, ranking)))
    assert reports[-1][0] == reports[-1][1] and len(judged) == 500, (reports[-1], len(judged))
    line, results, ranking = judged[0]
    assert ranking == engine.classify(results), (line, results)
    assert engine.states == ["d", "a", "p", "n", "i"] and engine.tests[2].tag == "Length", engine.tests
    assert engine.tests[7] == veltra.Test("Cents", "Last run of digits is two digits after a dot or comma: yes, no",
                                          ("y", "n"))

# Cross-validation and test selection give the figures of the command, which reads them through the
# same library: folds in the same order, the same tests kept, each verdict told once.
command = os.environ["VELTRA_COMMAND"]
subprocess.run([command, "cv", "--quiet", "--folds", "5", "--seed", "7", "--json", "cv.json", "network.txt",
                "train.txt"], check=True, capture_output=True)
subprocess.run([command, "select", "--quiet", "--keep", "4", "--folds", "3", "--json", "select.json", "network.txt",
                "train.txt"], check=True, capture_output=True)
told = []
with veltra.Engine.from_file("network.txt") as engine:
    figures = engine.cross_validate("train.txt", folds=5, seed=7, verdict=lambda *verdict: told.append(verdict))
    cv = json.loads(Path("cv.json").read_text())["cross_validation"]
    per_fold = cv["per_fold"]
    assert list(figures["right"]) == [fold["right"] for fold in per_fold], (figures, per_fold)
    assert list(figures["accuracy"]) == [fold["accuracy"] for fold in per_fold], figures
    assert (figures["mean"], figures["std"]) == (cv["mean_accuracy"], cv["accuracy_deviation"]), figures
    assert figures["overall"] == sum(figures["right"]) / sum(figures["right"] + figures["wrong"]), figures
    assert list(figures["right"] + figures["wrong"]) == [fold["lines"] for fold in per_fold], per_fold
    assert len(told) == sum(fold["lines"] for fold in per_fold) and told[0][0] == 0, len(told)
    assert engine.states == ["d", "a", "p", "n", "i"], engine.states
chosen = veltra.select_tests("network.txt", "train.txt", keep=4, folds=3)
selected = json.loads(Path("select.json").read_text())
assert chosen["kept"] == selected["kept_tags"] and len(chosen["steps"]) == len(selected["steps"]), chosen["kept"]
assert [step["right"] for step in chosen["steps"]] == [step["right"] for step in selected["steps"]], chosen["steps"]
assert chosen["mutual_information"].shape == (8,), chosen["mutual_information"]
for call, failure in ((lambda: veltra.Engine().cross_validate("train.txt"), ValueError),
                      (lambda: veltra.select_tests("network.txt", "missing.txt"), veltra.FileError)):
    try:
        call()
        raise AssertionError(f"no {failure.__name__}")
    except failure:
        pass

# Misuse, each in a process of its own: nothing on standard output or error, whatever the library
# warns of or refuses; exit with a daemon thread inside a call; close from another thread while a
# call runs; every state given back as it came.
Path("long.txt").write_text("".join(";TESTS\td\tyn\n" for _ in range(300000)))
programs = {
    "silence": """
with veltra.Engine() as engine:
    engine.train("network.txt", "train.txt", "quiet.net")
    engine.evaluate("eval.txt", "quiet.txt")
    try:
        engine.classify("yyy")
    except veltra.FieldError:
        pass
""",
    "busy daemon threads at exit": """
import threading
def evaluate_forever(started, **options):
    engine = veltra.Engine.from_file("round.net")
    started.set()
    while True:
        engine.evaluate("long.txt", **options)
# One inside the library at exit, one in a progress callback (where the interpreter ends it).
for options in ({}, {"progress": lambda done, total: None}):
    started = threading.Event()
    threading.Thread(target=evaluate_forever, args=(started,), kwargs=options, daemon=True).start()
    started.wait()
""",
    "close from another thread": """
import threading, time
engine = veltra.Engine.from_file("round.net")
result = []
thread = threading.Thread(target=lambda: result.append(engine.evaluate("long.txt", "long-judged.txt")))
thread.start()
time.sleep(0.05)
engine.close()
thread.join()
assert engine.closed and result[0].right == 300000, result
""",
    "bytes round trip": """
network = 'H = Accents "\\xe9,e"\\nT = t "\\xe0,a"\\nP(H=\\xe9) = 0.5\\nP(H=e) = 0.5\\n'
network += 'P(T=\\xe0|H=\\xe9) = 0.9\\nP(T=a|H=\\xe9) = 0.1\\nP(T=\\xe0|H=e) = 0.2\\nP(T=a|H=e) = 0.8\\n'
with veltra.Engine.from_text(network) as engine:
    state, probability = engine.classify("\\xe0")[0]
    assert state == "\\xe9" and engine.states == ["\\xe9", "e"], engine.states
    with open("accents.txt", "wb") as file:
        file.write((";TESTS\\t" + state + "\\t\\xe0\\n").encode("latin-1"))
    assert engine.evaluate("accents.txt").right == 1
""",
}
for name, program in programs.items():
    run = subprocess.run([sys.executable, "-c", "import veltra\n" + program], capture_output=True, timeout=120)
    assert run.returncode == 0 and run.stdout == b"" and run.stderr == b"", (name, run)
