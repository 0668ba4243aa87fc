"""The report of veltra evaluate and veltra report, and the page of veltra report --html.

Usage: report_test.py VELTRA SOURCE_DIR

The figures of kinds.txt on labelled.txt are worked out by hand below; the page is read as XML
(it must be well-formed) and every figure it shows is checked against the JSON, and every figure
of the JSON must be on the page.
"""

import json
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from html.parser import HTMLParser
from pathlib import Path

VELTRA = SOURCE = None

# kinds.txt gives "x" a 0.64 and b, c, d 0.12 each, "y" b 0.64, "z" c 0.64, "-" 0.25 each (a first).
# labelled.txt, line by line: expected, most probable, the state the line counts for, its probability:
#   a x: a right a 0.64    a x: a right a 0.64    a y: b wrong a 0.12    b x: a wrong b 0.12
#   b y: b right b 0.64    ab y: b right b 0.64   ab z: c wrong a 0.12   d x: a wrong d 0.12
#   a -: a right a 0.25
HAND = {
    "lines": 9,
    "right": 5,
    "accuracy": 5 / 9,
    "states": ["a", "b", "c", "d"],
    "confusion": [[3, 1, 1, 0], [1, 2, 0, 0], [0, 0, 0, 0], [1, 0, 0, 0]],
    # state: precision, recall, f1, support, predicted (None: nothing to count)
    "per_state": {
        "a": (0.6, 0.6, 0.6, 5, 5),
        "b": (2 / 3, 2 / 3, 2 / 3, 3, 3),
        "c": (0.0, None, 0.0, 0, 1),  # most probable once, never expected
        "d": (None, 0.0, 0.0, 1, 0),  # expected once, never most probable
    },
    # All four states count: (0.6 + 2/3 + 0 + 0) / 4.
    "macro_average": 0.31666666666666667,
    # By support: (5 * 0.6 + 3 * 2/3 + 0 + 1 * 0) / 9 = 5/9.
    "weighted_average": 5 / 9,
    # -(4 ln 0.64 + 4 ln 0.12 + ln 0.25) / 9 = (4 * 0.44628710 + 4 * 2.12026354 + 1.38629436) / 9
    "log_loss": 1.2947218796,
    # A right 0.64 line: 0.36^2 + 3 * 0.12^2 = 0.1728; a wrong one: 0.88^2 + 0.64^2 + 2 * 0.12^2
    # = 1.2128; the "-" line: 0.75^2 + 3 * 0.25^2 = 0.75. (4 * 0.1728 + 4 * 1.2128 + 0.75) / 9.
    "brier_score": 0.69915555556,
    # bin: lines, right, mean probability
    "calibration": {2: (1, 1, 0.25), 6: (8, 4, 0.64)},
}


def veltra(*args, cwd):
    done = subprocess.run([VELTRA, *args], cwd=cwd, capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(f"veltra {' '.join(args)}: exit status {done.returncode}\n{done.stderr}")
    return done.stdout


def at(document, path):
    for key in path.split("."):
        document = document[int(key)] if isinstance(document, list) else document[key]
    return document


class PageParts(HTMLParser):
    """Every tag and attribute of the page, and the text of its style elements."""

    def __init__(self):
        super().__init__()
        self.tags, self.attributes, self.style, self._in_style = set(), set(), "", False

    def handle_starttag(self, tag, attrs):
        self.tags.add(tag)
        self.attributes.update(name for name, _ in attrs)
        self._in_style = tag == "style"

    def handle_endtag(self, tag):
        self._in_style = False

    def handle_data(self, data):
        if self._in_style:
            self.style += data


class ReportTest(unittest.TestCase):
    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.dir = Path(self.work.name)
        for name in ("kinds.txt", "labelled.txt"):
            (self.dir / name).write_bytes((SOURCE / "tests/cli/data" / name).read_bytes())

    def tearDown(self):
        self.work.cleanup()

    def report(self, network, labelled, page=False):
        options = ["--json", "figures.json"] + (["--html", "page.html"] if page else [])
        veltra("report", *options, network, labelled, cwd=self.dir)
        return json.loads((self.dir / "figures.json").read_text())

    def test_figures_worked_by_hand(self):
        figures = self.report("kinds.txt", "labelled.txt")
        close = lambda value, hand: self.assertAlmostEqual(value, hand, delta=1e-9)
        for key in ("lines", "right", "states", "confusion"):
            with self.subTest(key):
                self.assertEqual(figures[key], HAND[key])
        for key in ("accuracy", "log_loss", "brier_score"):
            with self.subTest(key):
                close(figures[key], HAND[key])
        for row, (state, hand) in zip(figures["per_state"], HAND["per_state"].items()):
            for name, value in zip(("precision", "recall", "f1", "support", "predicted"), hand):
                with self.subTest(state=state, figure=name):
                    self.assertEqual(row["state"], state)
                    if value is None:
                        self.assertIsNone(row[name])
                    else:
                        close(row[name], value)
        for average in ("macro_average", "weighted_average"):
            for name in ("precision", "recall", "f1"):
                with self.subTest(average=average, figure=name):
                    close(figures[average][name], HAND[average])
        for index, bin in enumerate(figures["calibration"]):
            with self.subTest(bin=index):
                self.assertAlmostEqual(bin["from"], index / 10)
                lines, right, mean = HAND["calibration"].get(index, (0, 0, None))
                self.assertEqual((bin["lines"], bin["right"]), (lines, right))
                if lines:
                    close(bin["mean_probability"], mean)
                    close(bin["share_right"], right / lines)
                else:
                    self.assertIsNone(bin["mean_probability"])
        self.assertEqual(figures["tests"], [{"tag": "T", "description": "Points to", "cp": 51, "dp": 52}])

    def test_evaluate_reports_the_same_figures_and_the_library_accuracy(self):
        alone = self.report("kinds.txt", "labelled.txt")
        printed = veltra("evaluate", "--json", "evaluated.json", "kinds.txt", "labelled.txt", "out.txt", cwd=self.dir)
        self.assertEqual(json.loads((self.dir / "evaluated.json").read_text()), alone)
        library = (self.dir / "out.txt").read_text().rstrip().splitlines()[-1]
        self.assertEqual(library, ";Accuracy: %.2f %%" % (alone["accuracy"] * 100))
        self.assertIn(library[1:], printed)

    def check_page(self, figures):
        text = (self.dir / "page.html").read_text(encoding="utf-8")
        root = ElementTree.fromstring(text)  # well-formed XML
        parts = PageParts()
        parts.feed(text)
        self.assertTrue(text.startswith("<!DOCTYPE html>\n"))
        self.assertFalse(parts.tags & {"script", "link", "img", "iframe", "object", "embed"})
        self.assertFalse(parts.attributes & {"src", "href"} or any(a.startswith("on") for a in parts.attributes))
        self.assertNotIn("url(", parts.style)
        self.assertNotIn("@import", parts.style)

        shown = {}
        for element in root.iter():
            path = element.get("data-json")
            if path is not None:
                shown.setdefault(path, []).append("".join(element.itertext()))
        for path, texts in shown.items():
            value = at(figures, path)
            for text in texts:
                with self.subTest(path=path, shown=text):
                    if value is None:
                        self.assertEqual(text, "\u2013")
                    elif text.endswith(" %"):
                        self.assertEqual(text, "%.2f %%" % (value * 100))
                    elif "." in text:
                        decimals = len(text.partition(".")[2])
                        self.assertLessEqual(abs(float(text) - value), 0.5 * 10**-decimals + 1e-12)
                    else:
                        self.assertEqual(text, str(value))

        wanted = {"lines", "right", "accuracy", "log_loss", "brier_score"}
        wanted |= {f"confusion.{s}.{p}" for s in range(len(figures["confusion"])) for p in range(figures["network_states"])}
        for list_name, names in (("per_state", ("precision", "recall", "f1", "support", "predicted")),
                                 ("calibration", ("lines", "mean_probability", "share_right")),
                                 ("tests", ("cp", "dp"))):
            wanted |= {f"{list_name}.{i}.{name}" for i in range(len(figures[list_name])) for name in names}
        wanted |= {f"{average}.{name}" for average in ("macro_average", "weighted_average")
                   for name in ("precision", "recall", "f1")}
        self.assertEqual(wanted - shown.keys(), set())

    def test_page_carries_the_figures_of_the_json(self):
        self.check_page(self.report("kinds.txt", "labelled.txt", page=True))

    def test_page_of_the_example(self):
        example = SOURCE / "examples/fields"
        veltra("train", str(example / "network.txt"), str(example / "train.txt"), "trained.txt", cwd=self.dir)
        figures = self.report("trained.txt", str(example / "eval.txt"), page=True)
        self.assertEqual([test["tag"] for test in figures["tests"]],
                         ["Digits", "Separator", "Length", "First", "Case", "Groups", "Run", "Cents"])
        self.assertTrue(all(test["cp"] is not None and test["dp"] is not None for test in figures["tests"]))
        self.assertEqual(figures["lines"], sum(map(sum, figures["confusion"])))
        self.check_page(figures)


if __name__ == "__main__":
    VELTRA, SOURCE = str(Path(sys.argv[1]).resolve()), Path(sys.argv[2]).resolve()
    unittest.main(argv=sys.argv[:1], verbosity=1)
