"""Tests of the Python binding against the built library. Every probability is compared, to the
bit, with what ReferenceHost (a C host of the same library) gets for the same inputs.

Environment: VELTRA_LIBRARY (the library), VELTRA_REFERENCE (ReferenceHost), VELTRA_SOURCE_DIR.
"""

import contextlib
import ctypes
import math
import os
import random
import struct
import subprocess
import sys
import tempfile
import unittest

SOURCE = os.environ["VELTRA_SOURCE_DIR"]
sys.path.insert(0, os.path.join(SOURCE, "bindings", "python"))
import veltra  # noqa: E402

DATA = os.path.join(SOURCE, "tests", "data")
FIELDS = os.path.join(SOURCE, "examples", "fields")
THREE_STATES = os.path.join(DATA, "three-states.net")
LIBC = ctypes.CDLL(None)
# The values of the example's eight tests, in the order of its results.
FIELD_VALUES = ["nfma", "nshdcb", "smelx", "uldo", "ultm", "0123", "n2345", "yn"]


def bits(probability):
    return "%016x" % struct.unpack("<Q", struct.pack("<d", probability))[0]


def reference(network, inputs):
    """ReferenceHost's line for each input: the input, then state and probability bits, or -1."""
    run = subprocess.run([os.environ["VELTRA_REFERENCE"], network], input="".join(i + "\n" for i in inputs),
                         capture_output=True, text=True, check=True)
    return run.stdout.splitlines()


def binding_line(engine, results):
    try:
        return results + "".join("\t%s\t%s" % (state, bits(p)) for state, p in engine.classify(results))
    except veltra.VeltraError as error:
        assert error.call == "Analyze", error.call
        return results + "\t-1"


@contextlib.contextmanager
def captured(fd, into):
    """Collects what is written to file descriptor `fd` (1 or 2, where the library writes) into `into`."""
    sys.stdout.flush()
    sys.stderr.flush()
    saved = os.dup(fd)
    with tempfile.TemporaryFile() as sink:
        os.dup2(sink.fileno(), fd)
        try:
            yield
        finally:
            LIBC.fflush(None)  # what the library left in the C streams' buffers
            os.dup2(saved, fd)
            os.close(saved)
            sink.seek(0)
            into.append(sink.read().decode())


def many_states_network(count):
    """A description with `count` two-character states and one test, priors rising with the index."""
    names = ["%s%s" % (chr(0x41 + i // 26), chr(0x61 + i % 26)) for i in range(count)]
    total = count * (count + 1) // 2
    lines = ['H = Many "%s"' % ",".join(names), 'T = Even "x,y"']
    for i, name in enumerate(names):
        lines.append("P(H=%s) = %.17g" % (name, (i + 1) / total))
        lines.append("P(T=x|H=%s) = %.17g" % (name, (i % 7 + 1) / 8))
        lines.append("P(T=y|H=%s) = %.17g" % (name, 1 - (i % 7 + 1) / 8))
    return "\n".join(lines) + "\n"


class BindingTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.TemporaryDirectory()
        cls.trained = os.path.join(cls.work.name, "trained.txt")
        with veltra.Engine() as engine, captured(1, []):
            engine.train(os.path.join(FIELDS, "network.txt"), os.path.join(FIELDS, "train.txt"), cls.trained)
        cls.many = os.path.join(cls.work.name, "many.net")
        with open(cls.many, "w") as file:
            file.write(many_states_network(300))

    @classmethod
    def tearDownClass(cls):
        cls.work.cleanup()

    def path(self, name):
        return os.path.join(self.work.name, name)

    def test_probabilities_equal_the_c_api(self):
        generator = random.Random(7)
        fields = ["".join(generator.choice(values + "-") for values in FIELD_VALUES) for _ in range(400)]
        cases = [  # network, inputs (including some that do not classify)
            (THREE_STATES, ["a.b-c", "abab", "----", "a.b.a.c", "abc", "abax", ""]),
            (self.trained, fields + ["msld-32n", "nbxut0nn", "msld-32", "msld-32nn"]),
            # More states than 256, the most a network of one-character states could have.
            (self.many, ["x", "y", "-", "z"]),
        ]
        for network, inputs in cases:
            expected = reference(network, inputs)
            with open(network, "rb") as file:
                text = file.read()
            for load in (veltra.Engine.from_file, veltra.Engine.from_text):
                source = network if load == veltra.Engine.from_file else text
                with self.subTest(os.path.basename(network), load=load.__name__), load(source) as engine:
                    with captured(2, []):
                        got = [binding_line(engine, results) for results in inputs]
                    self.assertEqual(got, expected)

    def test_failures(self):
        missing, output = self.path("missing.txt"), self.path("out.txt")
        three = veltra.Engine.from_file(THREE_STATES)
        closed = veltra.Engine.from_file(THREE_STATES)
        closed.close()
        failure = veltra.VeltraError
        rows = [  # name, action, exception, the call it names, standard error
            ("missing network file", lambda: veltra.Engine.from_file(missing), failure, "InitializeThruFile",
             "Cannot open file: %s\n" % missing),
            ("faulty description", lambda: veltra.Engine.from_text('H = Kind "d,d"\n'), failure,
             "InitializeThruParam", "Cannot add in node duplicate value: d\n"),
            ("no network", lambda: veltra.Engine().classify("ab"), failure, "Analyze",
             "Network has not been initialized yet\n"),
            ("results too short", lambda: three.classify("abc"), failure, "Analyze",
             "Expected 4 test results but got 3. Test results:\nabc\n"),
            ("missing samples", lambda: veltra.Engine().train(THREE_STATES, missing, output), failure, "Train",
             "Cannot open file: %s\n" % missing),
            ("missing input", lambda: three.evaluate(missing, output), failure, "AnalyzeFile",
             "Cannot open file: %s\n" % missing),
            ("classify when closed", lambda: closed.classify("abab"), failure, "Analyze", ""),
            ("train when closed", lambda: closed.train(THREE_STATES, THREE_STATES, output), failure, "Train", ""),
            ("evaluate when closed", lambda: closed.evaluate(THREE_STATES, output), failure, "AnalyzeFile", ""),
            # The library would read up to the NUL only.
            ("NUL in results", lambda: three.classify("ab\0ab"), ValueError, None, ""),
            ("NUL in description", lambda: veltra.Engine.from_text('H = K "a"\0'), ValueError, None, ""),
        ]
        for name, action, exception, call, err in rows:
            with self.subTest(name):
                written = []
                with captured(2, written), self.assertRaises(exception) as caught:
                    action()
                self.assertEqual(written, [err])
                if call:
                    self.assertEqual(caught.exception.call, call)
                    self.assertTrue(str(caught.exception).startswith(call + ": "), str(caught.exception))
        three.close()

    def test_close(self):
        with veltra.Engine.from_file(THREE_STATES) as engine:
            self.assertFalse(engine.closed)
        self.assertTrue(engine.closed)
        engine.close()  # again: nothing happens
        with self.assertRaises(KeyError), veltra.Engine.from_file(THREE_STATES) as failing:
            raise KeyError("from the block")
        self.assertTrue(failing.closed)

    def test_training_reloads_the_engine(self):
        output = self.path("retrained.txt")
        with veltra.Engine() as engine, captured(1, []):
            engine.train(os.path.join(FIELDS, "network.txt"), os.path.join(FIELDS, "train.txt"), output)
            inputs = ["msld-32n", "anmd-15n", "nbxut0nn"]
            self.assertEqual([binding_line(engine, r) for r in inputs], reference(output, inputs))

    def test_evaluate(self):
        decoy = self.path("decoy.txt")  # copied lines that look like verdicts are no verdicts
        with open(decoy, "w") as file:
            file.write(";OK\td:1\n;TESTS\td\tyn\n;ERROR\tn:1\n;TESTS\tn\tyy\n;TESTS\tdn\t-.-\n")
        blank = self.path("blank.txt")
        with open(blank, "w") as file:
            file.write("# no test lines\n")
        cli = os.path.join(SOURCE, "tests", "cli", "data")
        rows = [  # input, accuracy
            (os.path.join(FIELDS, "eval.txt"), 460 * 100.0 / 500),
            (decoy, 2 * 100.0 / 3),
            (blank, math.nan),
        ]
        for input, accuracy in rows:
            with self.subTest(os.path.basename(input)):
                output = self.path("evaluated.txt")
                network = self.trained if input.startswith(FIELDS) else os.path.join(cli, "trained.txt")
                with veltra.Engine.from_file(network) as engine, captured(1, []):
                    got = engine.evaluate(input, output)
                if math.isnan(accuracy):
                    self.assertTrue(math.isnan(got), got)
                    continue
                self.assertEqual(bits(got), bits(accuracy))
                with open(output) as file:
                    self.assertEqual(file.read().rstrip("\n").rsplit("\n", 1)[1], ";Accuracy: %.2f %%" % got)


if __name__ == "__main__":
    unittest.main()
