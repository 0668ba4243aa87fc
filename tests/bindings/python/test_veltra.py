# Tests of the Python binding against the built library (VELTRA_LIBRARY), run by bindings_test.sh
# in the directory where it left the cases that both bindings are held to. For each line NAME LOAD
# of "cases", the network NAME.net loaded that way must answer every line of NAME.in with the line
# ReferenceHost (a C host of the same library) wrote to NAME.expected: each state and the bits of
# its probability, or the call that failed. Stops at the first failed check, naming it.

import locale
import os
import re
import struct
from pathlib import Path

import veltra

if not __debug__:
    raise SystemExit("the checks are assertions: run without -O")


def bits(number):
    return "%016x" % struct.unpack("<Q", struct.pack("<d", number))[0]


# What an action returns, or what it raises: the call a VeltraError names, or the error's type.
def outcome(action):
    try:
        return action()
    except Exception as error:
        return getattr(error, "call", type(error).__name__)


# The line ReferenceHost prints for `results`.
def classified(engine, results):
    entries = outcome(lambda: "\t".join("%s\t%s" % (state, bits(p)) for state, p in engine.classify(results)))
    return "%s\t%s\n" % (results, entries)


trained = veltra.Engine()  # which Train reloads from what it wrote
trained.train("network.txt", "train.txt", "retrained.net")
loads = {"file": veltra.Engine.from_file, "training": lambda network: trained,
         "text": lambda network: veltra.Engine.from_text(Path(network).read_text())}
for name, load in (line.split() for line in Path("cases").read_text().splitlines()):
    with loads[load](name + ".net") as engine:
        got = "".join(classified(engine, results) for results in Path(name + ".in").read_text().splitlines())
    assert got == Path(name + ".expected").read_text(), (name, load)

with veltra.Engine.from_file("round.net") as engine, veltra.Engine.from_file("round.net") as closed:
    closed.close()  # and again at the end of the block: nothing happens
    failures = [  # an action that fails, and the call its VeltraError names (or the error it raises)
        (lambda: veltra.Engine.from_file("missing.txt"), "InitializeThruFile"),
        (lambda: veltra.Engine.from_text('H = Kind "d,d"\n'), "InitializeThruParam"),
        (lambda: veltra.Engine().train("round.net", "missing.txt", "out.txt"), "Train"),
        (lambda: engine.evaluate("missing.txt", "out.txt"), "AnalyzeFile"),
        # Refused before the library could take the null handle of a closed engine, or read up to
        # the NUL only.
        (lambda: closed.evaluate("network.txt", "out.txt"), "AnalyzeFile"),
        (lambda: engine.classify("y\0n"), "ValueError"),
    ]
    for action, expected in failures:
        assert outcome(action) == expected, expected
    # The share of the library's verdicts that are right: copied lines that look like verdicts are
    # no verdicts, and a network description has no test lines.
    assert bits(engine.evaluate("decoy.txt", "evaluated.txt")) == bits(2 * 100.0 / 3), "decoy.txt"
    assert bits(engine.evaluate("network.txt", "evaluated.txt")) == bits(float("nan")), "network.txt"

# A Python program may set a locale with a decimal comma (VELTRA_COMMA_LOCALE names one, when the
# machine has it): the library trains and classifies as in the "C" locale all the same.
comma = os.environ.get("VELTRA_COMMA_LOCALE")
if comma:
    locale.setlocale(locale.LC_ALL, comma)
    assert locale.localeconv()["decimal_point"] == ",", comma
    with veltra.Engine() as engine:
        engine.train("network.txt", "train.txt", "comma.net")
        got = "".join(classified(engine, results) for results in Path("trained.in").read_text().splitlines())
    locale.setlocale(locale.LC_ALL, "C")
    assert got == Path("trained.expected").read_text(), comma
    undated = [re.sub("Date of training: .*", "", Path(name).read_text()) for name in ("comma.net", "retrained.net")]
    assert undated[0] == undated[1], comma
