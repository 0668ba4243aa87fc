"""The command's progress display: on a terminal (a pseudo-terminal as standard error), training
and evaluation show a percentage, lines a second and the time left, redrawn at most ten times a
second and cleared before anything else is written; redirected, standard error holds the warnings
and the summary alone, and --quiet leaves nothing. Standard output never holds any of it.

Usage: terminal_test.py VELTRA DATA_DIR
"""

import os
import pty
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

veltra, data = sys.argv[1], Path(sys.argv[2])


def on_terminal(args, cwd):
    """(exit status, standard output, what reached the terminal, seconds) of one run."""
    master, slave = pty.openpty()
    started = time.monotonic()
    process = subprocess.Popen([veltra] + args, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=slave)
    os.close(slave)
    shown = b""
    while True:
        try:
            chunk = os.read(master, 65536)
        except OSError:  # the terminal's last writer has gone
            break
        if not chunk:
            break
        shown += chunk
    out = process.stdout.read()
    status = process.wait()
    os.close(master)
    return status, out, shown.replace(b"\r\n", b"\n"), time.monotonic() - started


def redirected(args, cwd):
    run = subprocess.run([veltra] + args, cwd=cwd, stdin=subprocess.DEVNULL, capture_output=True)
    return run.returncode, run.stdout, run.stderr


failures = []
with tempfile.TemporaryDirectory() as work:
    network = data / "network.txt"
    lines = "".join(";TESTS\t%s\t%s\n" % (state, results)
                    for state, results in [("d", "yn"), ("n", "ny"), ("d", "yy"), ("n", "nn")] * 100000)
    Path(work, "samples.txt").write_text(lines)
    for args in (["train", str(network), "samples.txt", "out.txt"],
                 ["evaluate", str(data / "trained.txt"), "samples.txt", "judged.txt"]):
        status, out, shown, seconds = on_terminal(args, work)
        quiet = redirected(args[:1] + ["--quiet"] + args[1:], work)
        plain = redirected(args, work)
        # The display: "\r" and a line of 60 columns, each redraw; the last one clears it.
        draws = re.findall(rb"\r([^\r\n]{60})", shown)
        drawn = [d for d in draws if d.strip()]
        if status != 0 or not drawn or draws[-1].strip():
            failures.append("%s on a terminal: status %d, %d draws, %r" % (args[0], status, len(draws), shown[-200:]))
        elif not all(re.fullmatch(rb" *\d+ %  \d+ lines/s  (\d+:\d\d|\?) left *", d) for d in drawn):
            failures.append("%s: a draw reads %r" % (args[0], drawn))
        elif len(drawn) > 10 * seconds + 2:
            failures.append("%s: %d draws in %.2f s" % (args[0], len(drawn), seconds))
        # Without the display, the terminal shows what standard error holds when redirected.
        if re.sub(rb"\r[^\r\n]{60}", b"", shown).replace(b"\r", b"") != plain[2] or b"\r" in plain[2] or out != plain[1]:
            failures.append("%s: %r on the terminal, %r redirected" % (args[0], shown[-300:], plain[2]))
        if quiet[0] != 0 or quiet[2] != b"" or quiet[1] != plain[1]:
            failures.append("%s --quiet: %r" % (args[0], quiet))

for failure in failures:
    print("FAIL terminal:", failure)
sys.exit(1 if failures else 0)
