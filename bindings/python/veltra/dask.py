"""Classifies, evaluates or trains on large files across a Dask cluster, one engine per worker.

    python -m veltra.dask classify [OPTIONS] NETWORK [RESULTS] > classified.tsv
    python -m veltra.dask evaluate [OPTIONS] NETWORK INPUT OUTPUT
    python -m veltra.dask train [OPTIONS] NETWORK SAMPLES OUTPUT

``classify`` writes exactly what ``veltra classify --tsv NETWORK < RESULTS`` writes, in input
order; ``evaluate`` writes the judged copy that ``veltra evaluate NETWORK INPUT OUTPUT`` writes,
with the accuracy over the whole file, and prints the accuracy; ``train`` writes the trained
description that ``veltra train NETWORK SAMPLES OUTPUT`` writes (the date line aside): the workers
count the samples of their partitions, the client adds the counts, and the library writes the
trained file from the sums. The file is split into partitions of whole lines; each worker loads
the description once (the client sends its text).

Without ``--scheduler`` a local cluster of ``--workers`` processes runs the job, its workers
reading their partitions from the input file itself. With ``--scheduler tcp://HOST:8786`` the job
goes to a running cluster, whose workers need this package installed, nothing more: the client
sends them their partitions, so they need no shared file system. Start workers with one thread each: an engine serves one thread at a time.
The inputs are checked before any cluster starts. A line the network refuses is reported with its
file and line number, and nothing is left under the output's name. On a terminal a progress line
shows how much of the input is done.
"""

from __future__ import annotations

import argparse
import collections
import contextlib
import hashlib
import itertools
import logging
import os
import sys
import tempfile
import threading
import time
import warnings
from typing import BinaryIO, Dict, Iterable, Iterator, List, Optional, Tuple, Union

# Worker side: one engine per process and description; one call at a time per process.
_ENGINES: Dict[str, object] = {}
_LOCK = threading.Lock()
_WHITESPACE = b" \t\n\v\f\r"


class JobError(Exception):
    """A failure of the job, said on one line; the job exits 1."""


def _engine(description: bytes):
    import veltra

    key = hashlib.sha256(description).hexdigest()
    if key not in _ENGINES:
        _ENGINES[key] = veltra.Engine.from_text(description)
    return _ENGINES[key]


Part = Union[bytes, Tuple[str, int, int]]


def _read(part: Part) -> bytes:
    """A partition's lines: given, or (path, offset, length) of a file the worker reads itself."""
    if isinstance(part, bytes):
        return part
    path, offset, length = part
    with open(path, "rb") as file:
        file.seek(offset)
        data = file.read(length)
    if len(data) != length:
        raise JobError(f"{path} changed while the job ran")
    return data


def classify_partition(description: bytes, first: int, part: Part) -> Tuple[bytes, List[Tuple[int, str]]]:
    """The ``--tsv`` lines of one partition, and (line index, reason) of each line that does not
    fit. Lines are trimmed and blank ones skipped, as ``veltra classify`` reads standard input."""
    import veltra

    data = _read(part)
    lines = [(index, line.strip(_WHITESPACE)) for index, line in enumerate(data.split(b"\n"))]
    lines = [(index, results) for index, results in lines if results]
    failures = [(index, "the line holds a zero byte") for index, results in lines if b"\0" in results]
    lines = [(index, results) for index, results in lines if b"\0" not in results]
    out = []
    with _LOCK:
        engine = _engine(description)
        batch = engine.classify_many([results for _, results in lines])
        for row, (index, results) in enumerate(lines):
            if not batch.ok[row]:
                try:
                    engine.classify(results)
                except veltra.VeltraError as error:
                    failures.append((index, error.reason))
                continue
            entries = b"".join(b"\t%s\t%.6f" % (state, probability)
                               for state, probability in zip(batch.states[row], batch.probabilities[row]))
            out.append(results + entries + b"\n")
    failures.sort()
    return b"".join(out), failures


def evaluate_partition(description: bytes, first: int, part: Part) -> Tuple[bytes, int, int, bytes, int, str]:
    """Judges one partition: (judged copy without its closing accuracy, right, wrong, the closing
    accuracy block, -1, ""), or (b"", 0, 0, b"", index of the line that failed, its reason)."""
    import veltra

    data = _read(part)
    with _LOCK, tempfile.TemporaryDirectory(prefix="veltra-") as work:
        engine = _engine(description)
        input_path = os.path.join(work, "input.txt")
        output_path = os.path.join(work, "output.txt")
        with open(input_path, "wb") as file:
            file.write(data)
        try:
            accuracy = engine.evaluate(input_path, output_path)
        except veltra.LineError as error:
            return b"", 0, 0, b"", error.line - 1, error.reason
        with open(output_path, "rb") as file:
            written = file.read()
    # The run ends with "\n\n;Accuracy: ...\n\n"; before it, a file that ends with a newline (or is
    # empty) has one more, empty line copied, which belongs to the end of the whole file only.
    end = written.rindex(b"\n\n;Accuracy: ")
    body = written[:end]
    if not data or data.endswith(b"\n"):
        body = body[:-1]
    return body, accuracy.right, accuracy.wrong, written[end:], -1, ""


def count_partition(description: bytes, name: str, first: int, part: Part) -> Tuple[bytes, int, str]:
    """Counts the samples of one partition, the lines from line `first` of the file `name`: (the
    counts as int64 bytes, 0, ""), or (b"", number of the line that was refused or -1, its
    reason)."""
    import numpy as np

    import veltra

    with _LOCK:
        engine = _engine(description)
        counts = np.zeros(engine.count_size(), dtype=np.int64)
        try:
            engine.count(_read(part), counts, file=name, first_line=first)
        except veltra.VeltraError as error:
            return b"", error.line if error.line > 0 else -1, error.reason
    return counts.tobytes(), 0, ""


def partitions(file: BinaryIO, lines: int) -> Iterator[Tuple[int, int, bytes]]:
    """(number of the first line, offset, the lines) for each run of `lines` lines of `file`, the
    last run shorter. The newlines are found by NumPy in large reads, so that the client keeps up
    with the workers."""
    import numpy as np

    first, offset = 1, 0
    pieces: List[bytes] = []  # the partition so far, of `held` lines
    held = 0
    while True:
        chunk = file.read(1 << 22)
        if not chunk:
            break
        ends = np.flatnonzero(np.frombuffer(chunk, dtype=np.uint8) == 10) + 1
        start = used = 0  # the chunk's bytes and newlines in partitions already given
        while used + lines - held <= len(ends):
            used += lines - held
            stop = int(ends[used - 1])
            pieces.append(chunk[start:stop])
            data = b"".join(pieces)
            yield first, offset, data
            first += lines
            offset += len(data)
            pieces, held, start = [], 0, stop
        if start < len(chunk):
            pieces.append(chunk[start:])
        held += len(ends) - used
    if pieces:
        yield first, offset, b"".join(pieces)


def refusal(path: str, line: int, reason: str) -> str:
    """What a run in one process reports where a partition refused `line` of `path` (-1: no line)
    for `reason`: that run counts the file's lines before anything else, and so refuses first a
    line longer than 1023 bytes (a CR before its newline aside), wherever it stands."""
    with open(path, "rb") as file:
        for number, text in enumerate(file, 1):
            length = len(text) - text.endswith(b"\n") - text.endswith(b"\r\n")
            if length > 1023:
                return f"Line {number} of {path} is longer than 1023 bytes"
    return f"{path}, line {line}: {reason}" if line > 0 else reason


class Progress:
    """The share of the input done, on standard error when it is a terminal, redrawn at most ten
    times a second and cleared at the end."""

    def __init__(self, total: int) -> None:
        self.total = max(total, 1)
        self.done = 0
        self.shown = sys.stderr.isatty()
        self.drawn = 0.0
        self.start = time.monotonic()

    def add(self, done: int) -> None:
        self.done += done
        now = time.monotonic()
        if not self.shown or now - self.drawn < 0.1:
            return
        self.drawn = now
        rate = self.done / max(now - self.start, 1e-9)
        left = (self.total - self.done) / rate if rate > 0 else 0
        sys.stderr.write("\r%3d %%  %.0f bytes/s  %d:%02d left   " % (
            min(100, self.done * 100 // self.total), rate, left // 60, left % 60))
        sys.stderr.flush()

    def end(self) -> None:
        if self.shown and self.drawn:
            sys.stderr.write("\r" + " " * 60 + "\r")
            sys.stderr.flush()


def in_order(client, function, parts: Iterable[Tuple[int, int, bytes]], window: int, *arguments,
             shared: Optional[str] = None) -> Iterator[tuple]:
    """(first line number, size, result) of `function` (of the fixed `arguments`, then the
    partition's first line number and its lines) on each partition, in input order, with at most
    `window` partitions in flight so that a large file is never held whole. Where the workers see
    the file at the path `shared`, they read their partitions from it: only where it lies travels."""
    pending: collections.deque = collections.deque()
    try:
        for first, offset, data in parts:
            part = data if shared is None else (shared, offset, len(data))
            pending.append((first, len(data), client.submit(function, *arguments, first, part, pure=False)))
            if len(pending) >= window:
                first, size, future = pending.popleft()
                yield first, size, future.result()
        while pending:
            first, size, future = pending.popleft()
            yield first, size, future.result()
    finally:
        # A job that stops early (a refused line) leaves no partition running.
        if pending:
            client.cancel([future for _, _, future in pending])


def _shared(path: str, shared: bool) -> Optional[str]:
    return os.path.abspath(path) if shared and path != "-" else None


def classify(client, description, results: str, lines: int, window: int, shared: bool = False) -> int:
    name = "standard input" if results == "-" else results
    failed = False
    progress = Progress(0 if results == "-" else os.path.getsize(results))
    with (sys.stdin.buffer if results == "-" else open(results, "rb")) as source:
        for first, size, (out, failures) in in_order(client, classify_partition, partitions(source, lines),
                                                     window, description, shared=_shared(results, shared)):
            progress.add(size)
            sys.stdout.buffer.write(out)
            for index, reason in failures:
                sys.stdout.flush()
                progress.end()
                print("veltra.dask classify: %s, line %d: %s" % (name, first + index, reason), file=sys.stderr)
                failed = True
    progress.end()
    sys.stdout.flush()
    return 1 if failed else 0


def evaluate(client, description, input: str, output: str, lines: int, window: int, shared: bool = False) -> int:
    """Writes the judged copy beside `output` and puts it in place, synced, when it is whole: an
    interruption or a failure leaves an earlier `output` as it was."""
    partial = os.path.join(os.path.dirname(os.path.abspath(output)), "." + os.path.basename(output) + ".part")
    right = wrong = 0
    closing = b""
    ends_with_newline = True  # an empty file counts as one empty line, as such a file does
    progress = Progress(os.path.getsize(input))
    try:
        with open(input, "rb") as source, open(partial, "wb") as out:
            parts = partitions(source, lines)
            first_part = next(parts, (1, 0, b""))
            for first, size, (body, r, w, block, stopped, reason) in in_order(
                    client, evaluate_partition, itertools.chain([first_part], parts), window, description,
                    shared=_shared(input, shared)):
                if stopped >= 0:
                    raise JobError(refusal(input, first + stopped, reason))
                progress.add(size)
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
                closing = b"\n\n;Accuracy: %.2f %%\n\n" % (right * 100.0 / judged)
            out.write(closing)
            out.flush()
            os.fsync(out.fileno())
            if os.path.exists(output):
                os.chmod(partial, os.stat(output).st_mode & 0o7777)
        os.replace(partial, output)
    finally:
        progress.end()
        if os.path.exists(partial):
            os.remove(partial)
    print(closing.strip(b"\n;").decode())
    return 0


def train(client, description, engine, network: str, samples: str, output: str, lines: int, window: int,
          shared: bool = False) -> int:
    import numpy as np

    sums = np.zeros(engine.count_size(), dtype=np.int64)
    progress = Progress(os.path.getsize(samples))
    try:
        with open(samples, "rb") as source:
            for first, size, (counts, refused, reason) in in_order(
                    client, count_partition, partitions(source, lines), window, description, samples,
                    shared=_shared(samples, shared)):
                if refused:
                    raise JobError(refusal(samples, refused, reason))
                progress.add(size)
                sums += np.frombuffer(counts, dtype=np.int64)
    finally:
        progress.end()
    engine.train_counts(network, sums, output)
    return 0


def main(argv: Optional[List[str]] = None) -> int:
    parser = argparse.ArgumentParser(prog="python -m veltra.dask", description=__doc__.split("\n\n")[0])
    where = parser.add_mutually_exclusive_group()
    where.add_argument("--scheduler", metavar="ADDRESS", help="a running cluster's scheduler, e.g. tcp://host:8786")
    where.add_argument("--workers", type=int, default=os.cpu_count() or 1,
                       help="worker processes of the local cluster (default: one per core)")
    parser.add_argument("--lines", type=int, default=20000, help="lines per partition (default: 20000)")
    commands = parser.add_subparsers(dest="command", required=True)
    one = commands.add_parser("classify", help="classify one field per line, as veltra classify --tsv")
    one.add_argument("network")
    one.add_argument("results", nargs="?", default="-", help="a file of test results (default: standard input)")
    many = commands.add_parser("evaluate", help="judge a labelled file, as veltra evaluate")
    many.add_argument("network")
    many.add_argument("input")
    many.add_argument("output")
    learn = commands.add_parser("train", help="train a network on labelled samples, as veltra train")
    learn.add_argument("network")
    learn.add_argument("samples")
    learn.add_argument("output")
    args = parser.parse_args(argv)
    if args.lines < 1:
        parser.error("--lines must be at least 1")
    try:
        return run(args)
    except KeyboardInterrupt:
        return 130
    except (JobError, OSError) as error:
        reason = error if isinstance(error, JobError) else f"{error.filename or ''}: {error.strerror}"
        print(f"veltra.dask {args.command}: {reason}", file=sys.stderr)
        return 1
    except Exception as error:  # the library's refusals, with their reasons
        import veltra

        if not isinstance(error, veltra.VeltraError):
            raise
        print(f"veltra.dask {args.command}: {str(error).split(': ', 1)[1]}", file=sys.stderr)
        return 1


def run(args: argparse.Namespace) -> int:
    import veltra
    from veltra import dask as job

    # Everything the job needs is checked before a cluster starts.
    engine = veltra.Engine.from_file(args.network)
    with open(args.network, "rb") as file:
        text = file.read()
    source = getattr(args, {"classify": "results", "evaluate": "input", "train": "samples"}[args.command])
    if source != "-":
        with open(source, "rb"):
            pass
    if args.command in ("evaluate", "train") and not os.path.isdir(os.path.dirname(os.path.abspath(args.output))):
        raise JobError(f"Cannot open file: {args.output}")

    from dask.distributed import Client, LocalCluster

    # Partitions sent to a remote cluster travel in the task graph, by design: one round trip.
    warnings.filterwarnings("ignore", message="Large object of size", category=UserWarning)

    with contextlib.ExitStack() as stack:
        if args.scheduler:
            client = stack.enter_context(Client(args.scheduler))
        else:
            # Its workers' own log lines would only repeat the job's one-line messages.
            cluster = stack.enter_context(LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                                                       dashboard_address=":0", silence_logs=logging.CRITICAL))
            client = stack.enter_context(Client(cluster))
        description = client.scatter(text, broadcast=True, hash=False)
        window = 4 * max(1, len(client.scheduler_info().get("workers", {})))
        # A local cluster's workers read their partitions from the file itself.
        shared = not args.scheduler
        if args.command == "classify":
            return job.classify(client, description, args.results, args.lines, window, shared)
        if args.command == "evaluate":
            return job.evaluate(client, description, args.input, args.output, args.lines, window, shared)
        return job.train(client, description, engine, args.network, args.samples, args.output, args.lines, window,
                         shared)


if __name__ == "__main__":
    # Run as the package's module, whose functions the workers find by name.
    from veltra.dask import main as package_main

    sys.exit(package_main())
