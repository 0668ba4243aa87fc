"""Classifies or evaluates a large file across a Dask cluster, one Veltra engine per worker process.

    veltra_dask.py classify [OPTIONS] NETWORK [RESULTS] > classified.tsv
    veltra_dask.py evaluate [OPTIONS] NETWORK INPUT OUTPUT

``classify`` writes exactly what ``veltra classify --tsv NETWORK < RESULTS`` writes, in input
order; ``evaluate`` writes the judged copy that ``veltra evaluate NETWORK INPUT OUTPUT`` writes,
with the accuracy over the whole file, and prints the accuracy. The file is split into partitions
of whole lines; each worker process loads the description once (the client sends its text, so the
workers need no shared file system) and keeps the engine for every later partition.

Without ``--scheduler`` a local cluster of ``--workers`` processes runs the job. With
``--scheduler tcp://HOST:8786`` the job goes to a running cluster, whose workers must find this
module and ``veltra.py`` (``PYTHONPATH``) and the library (``VELTRA_LIBRARY``). Start workers with
one thread each: an engine serves one thread at a time, so further threads would wait for it.
"""

from __future__ import annotations

import argparse
import collections
import contextlib
import ctypes
import hashlib
import itertools
import os
import sys
import tempfile
import threading
from typing import BinaryIO, Dict, Iterable, Iterator, List, Optional, Tuple

# Worker side: one engine per process and description; one library call at a time per process.
_ENGINES: Dict[str, object] = {}
_LOCK = threading.Lock()
_WHITESPACE = b" \t\n\v\f\r"


def _engine(description: bytes):
    import veltra  # on the workers only: the client needs no library

    key = hashlib.sha256(description).hexdigest()
    if key not in _ENGINES:
        _ENGINES[key] = veltra.Engine.from_text(description)
    return _ENGINES[key]


def classify_partition(description: bytes, data: bytes) -> Tuple[bytes, List[Tuple[int, bytes]]]:
    """The ``--tsv`` lines of one partition, and (line index, results) of each line that failed.

    Lines are trimmed and blank ones skipped, as ``veltra classify`` reads standard input.
    """
    import veltra

    out = []
    failures = []
    with _LOCK:
        engine = _engine(description)
        for index, line in enumerate(data.split(b"\n")):
            results = line.strip(_WHITESPACE)
            if not results:
                continue
            try:
                entries = engine.classify(results)
            except veltra.VeltraError:
                failures.append((index, results))
                continue
            out.append(results + b"".join(b"\t%c\t%.6f" % (ord(state), p) for state, p in entries) + b"\n")
    return b"".join(out), failures


@contextlib.contextmanager
def _quiet_standard_output() -> Iterator[None]:
    # AnalyzeFile shows its progress on standard output, which on a worker is the client's
    # terminal (local cluster) or the worker's log.
    sys.stdout.flush()
    saved = os.dup(1)
    sink = os.open(os.devnull, os.O_WRONLY)
    os.dup2(sink, 1)
    os.close(sink)
    try:
        yield
    finally:
        if os.name == "posix":
            ctypes.CDLL(None).fflush(None)  # what a failed run left in the C stream's buffer
        os.dup2(saved, 1)
        os.close(saved)


def _stopping_line(output: bytes) -> int:
    """The index of the input line that stopped an evaluation, from the partial output: each line
    is copied before it is judged, and a verdict follows each judged test line."""
    copied = 0
    test_line = False
    for line in output.split(b"\n")[:-1]:
        if test_line and (line.startswith(b";OK\t") or line.startswith(b";ERROR\t")):
            test_line = False
            continue
        copied += 1
        test_line = line.startswith(b";TESTS\t")
    return copied - 1 if test_line else copied


def evaluate_partition(description: bytes, data: bytes) -> Tuple[bytes, int, int, bytes, int]:
    """Evaluates one partition with AnalyzeFile: (judged copy without the closing accuracy, right,
    wrong, the closing accuracy block, -1), or (b"", 0, 0, b"", index of the line that failed)."""
    import veltra

    with _LOCK, tempfile.TemporaryDirectory(prefix="veltra-") as work:
        engine = _engine(description)
        input_path = os.path.join(work, "input.txt")
        output_path = os.path.join(work, "output.txt")
        with open(input_path, "wb") as file:
            file.write(data)
        try:
            with _quiet_standard_output():
                engine.evaluate(input_path, output_path)
        except veltra.VeltraError:
            with open(output_path, "rb") as file:
                return b"", 0, 0, b"", _stopping_line(file.read())
        counts = veltra.verdicts(output_path)
        with open(output_path, "rb") as file:
            written = file.read()
    # The run ends with "\n\n;Accuracy: ...\n\n"; before it, a file that ends with a newline (or is
    # empty) has one more, empty line copied, which belongs to the end of the whole file only.
    end = written.rindex(b"\n\n;Accuracy: ")
    body = written[:end]
    if not data or data.endswith(b"\n"):
        body = body[:-1]
    return body, counts.right, counts.wrong, written[end:], -1


def partitions(file: BinaryIO, lines: int) -> Iterator[Tuple[int, bytes]]:
    """(number of the first line, the lines) for each run of `lines` lines of `file`."""
    first = 1
    while True:
        chunk = list(itertools.islice(file, lines))
        if not chunk:
            return
        yield first, b"".join(chunk)
        first += len(chunk)


def in_order(client, function, description, parts: Iterable[Tuple[int, bytes]],
             window: int) -> Iterator[tuple]:
    """(first line number, result) of `function` on each partition, in input order, with at most
    `window` partitions in flight so that a large file is never held whole."""
    pending: collections.deque = collections.deque()
    for first, data in parts:
        pending.append((first, client.submit(function, description, data, pure=False)))
        if len(pending) >= window:
            first, future = pending.popleft()
            yield first, future.result()
    while pending:
        first, future = pending.popleft()
        yield first, future.result()


def classify(client, network: str, results: str, lines: int, window: int) -> int:
    with open(network, "rb") as file:
        description = client.scatter(file.read(), broadcast=True, hash=False)
    name = "standard input" if results == "-" else results
    failed = False
    with (sys.stdin.buffer if results == "-" else open(results, "rb")) as source:
        for first, (out, failures) in in_order(client, classify_partition, description,
                                               partitions(source, lines), window):
            sys.stdout.buffer.write(out)
            for index, text in failures:
                sys.stdout.flush()
                print('veltra_dask classify: %s, line %d: "%s" does not fit %s'
                      % (name, first + index, text.decode("latin-1"), network), file=sys.stderr)
                failed = True
    sys.stdout.flush()
    return 1 if failed else 0


def evaluate(client, network: str, input: str, output: str, lines: int, window: int) -> int:
    """Writes the judged copy beside `output` and puts it in place, synced, when it is whole: an
    interruption or a failure leaves an earlier `output` as it was."""
    partial = output + ".part"
    try:
        return _evaluate(client, network, input, output, partial, lines, window)
    finally:
        if os.path.exists(partial):
            os.remove(partial)


def _evaluate(client, network: str, input: str, output: str, partial: str, lines: int, window: int) -> int:
    with open(network, "rb") as file:
        description = client.scatter(file.read(), broadcast=True, hash=False)
    right = wrong = 0
    closing = b""
    ends_with_newline = True  # an empty file counts as one empty line, as such a file does
    with open(input, "rb") as source, open(partial, "wb") as out:
        parts = partitions(source, lines)
        first_part = next(parts, (1, b""))
        for first, (body, r, w, block, stopped) in in_order(
                client, evaluate_partition, description, itertools.chain([first_part], parts), window):
            if stopped >= 0:
                print("veltra_dask evaluate: %s, line %d: the line does not fit %s"
                      % (input, first + stopped, network), file=sys.stderr)
                return 1
            out.write(body)
            right += r
            wrong += w
            closing = closing or block
        source.seek(0, os.SEEK_END)
        if source.tell() > 0:
            source.seek(-1, os.SEEK_END)
            ends_with_newline = source.read(1) == b"\n"
        if ends_with_newline:
            out.write(b"\n")
        judged = right + wrong
        # Without any test line every partition closed with the same 0 / 0; keep its text.
        if judged:
            text = b"Accuracy: %.2f %%\n" % (right * 100.0 / judged)
            closing = b"\n\n;" + text + b"\n"
        out.write(closing)
        out.flush()
        os.fsync(out.fileno())
        if os.path.exists(output):
            os.chmod(partial, os.stat(output).st_mode & 0o7777)
    os.replace(partial, output)
    print(closing.strip(b"\n;").decode())
    return 0


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="veltra_dask.py", description=__doc__.split("\n\n")[0])
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS",
                       help="a running cluster's scheduler, e.g. tcp://host:8786")
    where.add_argument("--workers", type=int, default=os.cpu_count() or 1,
                       help="worker processes of the local cluster (default: one per core)")
    parser.add_argument("--lines", type=int, default=20000, help="lines per partition (default: 20000)")
    commands = parser.add_subparsers(dest="command", required=True)
    one = commands.add_parser("classify", help="classify one field per line, as veltra classify --tsv")
    one.add_argument("network")
    one.add_argument("results", nargs="?", default="-",
                     help="a file of test results (default: standard input)")
    many = commands.add_parser("evaluate", help="judge a labelled file, as veltra evaluate")
    many.add_argument("network")
    many.add_argument("input")
    many.add_argument("output")
    args = parser.parse_args(argv)
    if args.lines < 1:
        parser.error("--lines must be at least 1")

    from dask.distributed import Client, LocalCluster

    with contextlib.ExitStack() as stack:
        if args.scheduler:
            client = stack.enter_context(Client(args.scheduler))
        else:
            cluster = stack.enter_context(LocalCluster(n_workers=args.workers, threads_per_worker=1,
                                                       processes=True, dashboard_address=None))
            client = stack.enter_context(Client(cluster))
        window = 2 * max(1, sum(client.nthreads().values()))
        if args.command == "classify":
            return classify(client, args.network, args.results, args.lines, window)
        return evaluate(client, args.network, args.input, args.output, args.lines, window)


if __name__ == "__main__":
    # Run through the module's own name, so that the workers find these functions by it.
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    import veltra_dask

    sys.exit(veltra_dask.main())
