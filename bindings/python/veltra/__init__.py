"""Veltra, a naive Bayes categorisation engine, from Python.

    import veltra

    with veltra.Engine.from_file("trained.txt") as engine:
        for state, probability in engine.classify("msld-32n"):
            print(state, probability)
        batch = engine.classify_many(["msld-32n", "anmd-15n"])    # NumPy arrays
        print(batch.states[:, 0], batch.probabilities[:, 0], batch.ok)

The engine runs in the library's host interface (``libVeltraHost.so``, ``VeltraHost.dll``), which
the wheel carries; ``VELTRA_LIBRARY`` names another copy of it. Nothing is printed: a failure
raises :class:`VeltraError` (or a subclass) carrying the library's reason, and the file and line
at fault where there is one; the library's warnings and summaries reach ``messages`` when an
engine is given one; training and evaluation report their progress to ``progress`` when asked.

Texts (descriptions, test results, states) are bytes, and ``str`` stands for them one character
per byte (Latin-1): every state an engine returns can be given back to it. File names are encoded
as the file system encodes them.

An engine may be shared by threads: its calls take turns. :meth:`Engine.close` waits for a call
that is running. An engine in use when the program exits (a daemon thread still classifying) is
left as it is, never destroyed under the call.
"""

from __future__ import annotations

import ctypes
import math
import os
import threading
import weakref
from typing import (Any, Callable, Iterable, List, NamedTuple, Optional, Sequence, Tuple, Union)

from . import _native
from ._native import library

__all__ = ["Engine", "VeltraError", "FileError", "LineError", "FieldError", "Batch", "Test", "Accuracy",
           "Verdicts", "verdicts", "select_tests", "__version__", "interface_version"]

__version__: str = library.veltra_version().decode("ascii")
"""The library's version."""

interface_version: int = library.veltra_interface_version()
"""The version of the host interface the library implements."""

Text = Union[str, bytes]
FileName = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Progress = Union[Callable[[int, int], Any], Any]

_KINDS = {_native.MESSAGE_FAILURE: "failure", _native.MESSAGE_WARNING: "warning",
          _native.MESSAGE_PROGRESS: "progress", _native.MESSAGE_SUMMARY: "summary"}
_FILE_REASONS = ("Cannot open file", "Cannot read file", "Cannot write file", "Not a regular file",
                 "Output would overwrite", "Cannot create a temporary file")


class VeltraError(Exception):
    """The library refused a call. ``reason`` is its message (the text the seven exports write on
    standard error); ``file`` and ``line`` name the file and line at fault, or are ``""`` and 0;
    ``call`` names the engine operation."""

    def __init__(self, call: str, reason: str, file: str = "", line: int = 0) -> None:
        where = ""
        if file and file not in reason:
            where = f"{file}, line {line}: " if line > 0 else f"{file}: "
        super().__init__(f"{call}: {where}{reason}")
        self.call = call
        self.reason = reason
        self.file = file
        self.line = line


class FileError(VeltraError):
    """A file could not be opened, read or written, or may not be used as asked (an input that is
    no regular file, an output that is an input)."""


class LineError(VeltraError):
    """A line of a file does not fit the network or its format: ``file`` and ``line`` say which."""


class FieldError(VeltraError):
    """The test results of a field do not fit the network."""


class Test(NamedTuple):
    """A test of the network: its tag, its description and its values, in the order of the
    results."""

    tag: str
    description: str
    values: Tuple[str, ...]


class Batch(NamedTuple):
    """The answers of :meth:`Engine.classify_many` for ``n`` fields of a network of ``s`` states:
    ``states`` (``n`` × ``s``, dtype ``S1``) and ``probabilities`` (``n`` × ``s``, float64), most
    probable first, and ``ok`` (``n``, bool), false where a field does not fit (its row is then
    undefined)."""

    states: Any
    probabilities: Any
    ok: Any


class Accuracy(float):
    """The share of test lines judged right, in per cent (NaN without test lines), as the library
    prints it rounded to two decimals; ``right`` and ``wrong`` count the lines."""

    right: int
    wrong: int

    def __new__(cls, right: int, wrong: int) -> "Accuracy":
        judged = right + wrong
        value = super().__new__(cls, right * 100.0 / judged if judged else math.nan)
        value.right = right
        value.wrong = wrong
        return value


class Verdicts(NamedTuple):
    """The verdicts of a judged copy: test lines judged right and judged wrong."""

    right: int
    wrong: int

    @property
    def accuracy(self) -> float:
        """The share judged right, in per cent, computed as the library computes it; NaN for none."""
        judged = self.right + self.wrong
        return self.right * 100.0 / judged if judged else math.nan


def verdicts(path: FileName) -> Verdicts:
    """Counts the verdicts in a judged copy (:meth:`Engine.evaluate`): the verdict stands on the
    line right after each test line, so a copied input line that begins ``";OK"`` is no verdict."""
    with open(path, "rb") as file:
        lines = file.read().split(b"\n")
    right = wrong = 0
    i = 0
    while i < len(lines):
        if lines[i].startswith(b";TESTS\t") and i + 1 < len(lines):
            right += lines[i + 1].startswith(b";OK\t")
            wrong += lines[i + 1].startswith(b";ERROR\t")
            i += 1
        i += 1
    return Verdicts(right, wrong)


def _bytes(value: Text, what: str) -> bytes:
    if isinstance(value, str):
        try:
            data = value.encode("latin-1")
        except UnicodeEncodeError:
            raise ValueError(f"{what} holds a character that is no byte (Latin-1): {value!r}") from None
    elif isinstance(value, (bytes, bytearray, memoryview)):
        data = bytes(value)
    else:
        raise TypeError(f"{what} must be str or bytes, not {type(value).__name__}")
    if b"\0" in data:
        raise ValueError(f"{what} holds a NUL character")
    return data


def _joined(fields: List[Any]) -> Optional[bytes]:
    """Fields that are all ``str`` as one run of Latin-1 bytes, each ended by a NUL, encoded at
    once; None where some field is no ``str``, holds a NUL or a character that is no byte."""
    try:
        joined = "\0".join(fields)
    except TypeError:
        return None
    if joined.count("\0") != max(len(fields) - 1, 0):
        return None
    try:
        return joined.encode("latin-1") + b"\0"
    except UnicodeEncodeError:
        return None


def _path(value: FileName, what: str) -> bytes:
    if not isinstance(value, (str, bytes, os.PathLike)):
        raise TypeError(f"{what} must be a path, not {type(value).__name__}")
    return _bytes(os.fsencode(value), what)


def _text(data: Optional[bytes]) -> str:
    return (data or b"").decode("latin-1")


class _State:
    """What the engine's finalizer needs: the handle and the lock its calls take."""

    def __init__(self, handle: int) -> None:
        self.handle: Optional[int] = handle
        # Reentrant, so that a callback calling into its own engine is refused by the library
        # (RuntimeError) rather than waiting for itself.
        self.lock = threading.RLock()


def _destroy(state: _State) -> None:
    # At exit a daemon thread may be inside a call: the engine is then left to the process's end.
    if not state.lock.acquire(blocking=False):
        return
    try:
        if state.handle is not None and library.veltra_engine_destroy(state.handle) == _native.OK:
            state.handle = None
    finally:
        state.lock.release()


class _Callbacks:
    """The library's callbacks of one engine, calling the Python functions it is given."""

    def __init__(self) -> None:
        self.messages: Optional[Callable[[str, str], Any]] = None
        self.progress: Optional[Progress] = None
        self.reported = 0
        self.judged: Optional[Callable[..., Any]] = None
        self.error: Optional[BaseException] = None
        self.on_message = _native.MessageCallback(self._message)
        self.on_progress = _native.ProgressCallback(self._progress)
        self.on_judged = _native.JudgedCallback(self._judged)

    def _guarded(self, function: Callable[[], Any]) -> None:
        # An exception cannot cross the library: it is kept and raised when the call returns.
        if self.error is None:
            try:
                function()
            except BaseException as error:  # noqa: B902 - raised again after the call
                self.error = error

    def _message(self, context: Any, kind: int, text: bytes) -> None:
        if self.messages is not None:
            self._guarded(lambda: self.messages(_KINDS.get(kind, str(kind)), _text(text)))

    def _progress(self, context: Any, done: int, total: int) -> None:
        target = self.progress
        if target is None:
            return
        if callable(target) and not hasattr(target, "update"):
            self._guarded(lambda: target(done, total))
            return

        def advance() -> None:  # a tqdm-like bar: its total, and the lines since the last report
            if getattr(target, "total", None) != total:
                target.total = total
            target.update(done - self.reported)
            self.reported = done

        self._guarded(advance)

    def _judged(self, context: Any, line: int, expected: bytes, results: bytes, count: int,
                states: Any, probabilities: Any) -> None:
        if self.judged is not None:
            ranking = [(chr(states[i][0] if isinstance(states[i], bytes) else states[i]), probabilities[i])
                       for i in range(count)]
            self._guarded(lambda: self.judged(line, _text(expected), _text(results), ranking))


def _seed(seed: int) -> int:
    if isinstance(seed, bool) or not isinstance(seed, int) or not 0 <= seed < 2 ** 64:
        raise ValueError("seed must be a whole number from 0 to 2**64 - 1")
    return seed


def _fold_figures(right: Any, wrong: Any) -> dict:
    import numpy as np

    lines = right + wrong
    accuracy = np.where(lines > 0, right / np.maximum(lines, 1), np.nan)  # a fold without lines: NaN
    judged = accuracy[lines > 0]
    total = int(lines.sum())
    return {"right": right, "wrong": wrong, "accuracy": accuracy,
            "mean": float(judged.mean()) if len(judged) else math.nan,
            "std": float(judged.std(ddof=1)) if len(judged) > 1 else 0.0,
            "overall": float(right.sum()) / total if total else math.nan}


def select_tests(network: FileName, samples: FileName, *, folds: int = 10, seed: int = 0, keep: int = 0,
                 forward: bool = False, stratified: bool = False, progress: Optional[Progress] = None) -> dict:
    """Chooses the tests of ``network`` by cross-validated accuracy on ``samples`` (the folds of
    :meth:`Engine.cross_validate` with the same ``folds``, ``seed`` and ``stratified``): greedy
    backward elimination, or forward selection, ties broken by log loss, down (or up) to ``keep``
    tests; with ``keep`` 0 all the way, keeping the best set met. Returns a dictionary: ``steps``,
    one dictionary per step (``test``: the tag dropped or added, None for the first set;
    ``tests``, ``right``, ``wrong``, ``accuracy``, ``log_loss``); ``kept``, the tags kept, in
    results order; ``tests``, every tag; and per test, as NumPy arrays in results order,
    ``mutual_information`` (bits), ``accuracy_drop`` (the accuracy of every test less that of
    every test but that one) and ``accuracy_without`` and ``log_loss_without`` (the figures
    of every test but that one)."""
    import numpy as np

    if isinstance(folds, bool) or not isinstance(folds, int) or folds < 2:
        raise ValueError("folds must be a whole number, at least 2")
    if isinstance(keep, bool) or not isinstance(keep, int) or keep < 0:
        raise ValueError("keep must be a whole number, 0 or more")
    flags = (_native.SELECT_FORWARD if forward else 0) | (_native.CV_STRATIFIED if stratified else 0)
    with Engine() as engine:
        description = _path(network, "the network file name")
        engine._run("select_tests", library.veltra_engine_load_file, description)
        engine._refresh()
        count = len(engine.tests)
        steps = (_native.SelectionStep * (count + 1))()
        scores = (_native.TestScore * max(count, 1))()
        kept = (ctypes.c_int32 * max(count, 1))()
        step_count, test_count, kept_count = ctypes.c_int32(count + 1), ctypes.c_int32(count), ctypes.c_int32()
        engine._run("select_tests", library.veltra_engine_select_tests, description,
                    _path(samples, "the sample file name"), folds, _seed(seed), flags, keep, steps,
                    ctypes.byref(step_count), scores, kept, ctypes.byref(test_count), ctypes.byref(kept_count),
                    failure=LineError, progress=progress)
        tags = [test.tag for test in engine.tests]

    def share(right: int, wrong: int) -> float:
        return right / (right + wrong) if right + wrong else math.nan

    return {
        "steps": [{"test": None if step.test < 0 else tags[step.test], "tests": step.tests, "right": step.right,
                   "wrong": step.wrong, "accuracy": share(step.right, step.wrong), "log_loss": step.log_loss}
                  for step in steps[:step_count.value]],
        "kept": [tags[kept[i]] for i in range(kept_count.value)],
        "tests": tags,
        "mutual_information": np.array([scores[t].mutual_information for t in range(count)]),
        "accuracy_drop": np.array([scores[t].accuracy_drop for t in range(count)]),
        "accuracy_without": np.array([share(scores[t].right_without, scores[t].wrong_without) for t in range(count)]),
        "log_loss_without": np.array([scores[t].log_loss_without for t in range(count)]),
    }


class Engine:
    """One engine of the library. ``Engine()`` is empty, ready for :meth:`train`; :meth:`from_file`
    and :meth:`from_text` give one holding a network. Close it with :meth:`close` or a ``with``
    block.

    ``messages``, when given, is called with ``(kind, text)`` for the library's warnings and
    summaries (kinds ``"warning"``, ``"summary"``; ``"failure"`` too, though every failure also
    raises)."""

    def __init__(self, *, messages: Optional[Callable[[str, str], Any]] = None) -> None:
        handle = ctypes.c_void_p()
        status = library.veltra_engine_create(ctypes.byref(handle))
        if status == _native.OUT_OF_MEMORY or not handle.value:
            raise MemoryError("no engine could be created")
        self._state = _State(handle.value)
        self._finalizer = weakref.finalize(self, _destroy, self._state)
        self._callbacks = _Callbacks()
        self._states: List[str] = []
        self._tests: List[Test] = []
        self._buffers = ((ctypes.c_char * 1)(), (ctypes.c_double * 1)())
        self._network_file: Optional[bytes] = None
        if messages is not None:
            self._callbacks.messages = messages
            kinds = _native.MESSAGE_FAILURE | _native.MESSAGE_WARNING | _native.MESSAGE_SUMMARY
            library.veltra_engine_set_message_callback(handle.value, self._callbacks.on_message, None, kinds)

    @classmethod
    def from_file(cls, path: FileName, **options: Any) -> "Engine":
        """An engine holding the network described in the file at ``path``."""
        return cls._holding(lambda engine: engine.load_file(path), options)

    @classmethod
    def from_text(cls, text: Text, **options: Any) -> "Engine":
        """An engine holding the network described in ``text``."""
        return cls._holding(lambda engine: engine.load_text(text), options)

    @classmethod
    def _holding(cls, load: Callable[["Engine"], None], options: Any) -> "Engine":
        engine = cls(**options)
        try:
            load(engine)
        except BaseException:
            engine.close()
            raise
        return engine

    def __enter__(self) -> "Engine":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        if self.closed:
            return "<veltra.Engine closed>"
        return f"<veltra.Engine {len(self._states)} states, {len(self._tests)} tests>"

    @property
    def closed(self) -> bool:
        """True once the engine has been closed."""
        return self._state.handle is None

    def close(self) -> None:
        """Destroys the engine, once the call running on it (from another thread) has returned.
        Closing a closed engine does nothing."""
        with self._state.lock:
            if self._state.handle is not None:
                if library.veltra_engine_destroy(self._state.handle) == _native.BUSY:
                    raise RuntimeError("close: the engine is inside a call (a callback may not close it)")
                self._state.handle = None
        self._finalizer.detach()

    @property
    def states(self) -> List[str]:
        """The network's states, in state order."""
        return list(self._states)

    @property
    def tests(self) -> List[Test]:
        """The network's tests, in the order of the results."""
        return list(self._tests)

    def load_file(self, path: FileName) -> None:
        """Loads the network described in the file at ``path``. Nothing classified before is
        remembered."""
        encoded = _path(path, "the network file name")
        self._network_file = None
        self._run("load_file", library.veltra_engine_load_file, encoded)
        self._network_file = encoded
        self._refresh()

    def load_text(self, text: Text) -> None:
        """Loads the network described in ``text``."""
        encoded = _bytes(text, "the network description")
        self._network_file = None
        self._run("load_text", library.veltra_engine_load_text, encoded)
        self._refresh()

    def classify(self, results: Text) -> List[Tuple[str, float]]:
        """Every state with its probability for one field's test results (a character per test,
        ``-`` for no result, ``.`` ignored), most probable first."""
        encoded = _bytes(results, "the test results")
        states, probabilities = self._buffers
        count = ctypes.c_int32(len(states))
        self._run("classify", library.veltra_engine_classify, encoded, states, probabilities, ctypes.byref(count),
                  failure=FieldError)
        raw = states.raw
        return [(chr(raw[i]), probabilities[i]) for i in range(count.value)]

    def classify_many(self, fields: Union[Iterable[Text], Any], *, strict: bool = False) -> Batch:
        """Classifies many fields in one call: any iterable of ``str`` or ``bytes``, or a NumPy
        array of byte strings. Returns NumPy arrays (see :class:`Batch`). With ``strict``, the
        first field that does not fit raises :class:`FieldError` instead."""
        try:
            import numpy as np
        except ImportError:
            raise ImportError("classify_many needs NumPy: pip install numpy (Debian: python3-numpy)") from None

        if isinstance(fields, np.ndarray) and fields.dtype.kind == "S":
            array = np.ascontiguousarray(fields.reshape(-1))
            width = array.dtype.itemsize
            buffer = np.zeros((len(array), width + 1), dtype=np.uint8)
            buffer[:, :width] = array.view(np.uint8).reshape(len(array), width)
            starts = np.arange(len(array), dtype=np.uintp) * np.uintp(width + 1)
        else:
            if isinstance(fields, (str, bytes)):
                raise TypeError("classify_many takes many fields: an iterable of str or bytes")
            items = list(fields)
            data = _joined(items)
            if data is None:  # not all str, or some field refused: each field on its own says which
                data = b"\0".join([_bytes(field, "the test results") for field in items]) + b"\0"
            buffer = np.frombuffer(data, dtype=np.uint8)
            lengths = np.fromiter(map(len, items), dtype=np.uintp, count=len(items)) + np.uintp(1)
            starts = np.cumsum(lengths, dtype=np.uintp) - lengths
        count = len(starts)
        if count >= 2 ** 31:
            raise ValueError("classify_many takes fewer than 2**31 fields a call")
        stride = max(len(self._states), 1)
        pointers = starts + np.uintp(buffer.ctypes.data)
        states = np.zeros((count, stride), dtype="S1")
        probabilities = np.zeros((count, stride), dtype=np.float64)
        statuses = np.zeros(count, dtype=np.int32)
        self._run("classify_many", library.veltra_engine_classify_many, count, pointers.ctypes.data, stride,
                  states.ctypes.data, probabilities.ctypes.data, statuses.ctypes.data, failure=FieldError,
                  accept=(_native.OK,) if strict else (_native.OK, _native.FAILED))
        return Batch(states, probabilities, statuses == _native.OK)

    def train(self, network: FileName, samples: FileName, output: FileName, *,
              progress: Optional[Progress] = None) -> int:
        """Trains ``network`` on ``samples``, writes the trained description to ``output`` (replaced
        whole at the end) and loads it. Returns the number of samples counted. ``progress`` is a
        function of ``(lines read, lines in all)``, or a tqdm-like bar."""
        paths = [_path(network, "the network file name"), _path(samples, "the sample file name"),
                 _path(output, "the output file name")]
        counted = ctypes.c_int64()
        self._run("train", library.veltra_engine_train, *paths, ctypes.byref(counted), failure=LineError,
                  progress=progress)
        self._refresh()
        return counted.value

    def evaluate(self, input: FileName, output: Optional[FileName] = None, *,
                 progress: Optional[Progress] = None,
                 judged: Optional[Callable[[int, str, str, List[Tuple[str, float]]], Any]] = None) -> Accuracy:
        """Judges every test line of ``input`` and writes the judged copy to ``output`` (none when
        ``None``). Returns the accuracy, with the lines judged right and wrong. ``judged`` is
        called for every judged line with its line number, expected states, results and ranking
        (every state with its full-precision probability, most probable first)."""
        paths = [_path(input, "the input file name"), None if output is None else _path(output, "the output file name")]
        right, wrong = ctypes.c_int64(), ctypes.c_int64()
        callback = self._callbacks.on_judged if judged is not None else _native.JudgedCallback()
        self._callbacks.judged = judged
        try:
            self._run("evaluate", library.veltra_engine_evaluate, *paths, callback, None, ctypes.byref(right),
                      ctypes.byref(wrong), failure=LineError, progress=progress)
        finally:
            self._callbacks.judged = None
        return Accuracy(right.value, wrong.value)

    def cross_validate(self, samples: FileName, *, network: Optional[FileName] = None, folds: int = 10,
                       seed: int = 0, stratified: bool = False, progress: Optional[Progress] = None,
                       verdict: Optional[Callable[[int, int, str, str, List[Tuple[str, float]]], Any]] = None
                       ) -> dict:
        """Cross-validates ``network`` (by default the description file this engine loaded last) on
        the test lines of ``samples``: ``folds`` times trained on all folds but one and judged on
        that one, each fold's model exactly what :meth:`train` writes for the other folds' lines.
        The folds follow from ``seed`` alone (``stratified``: within each expected-states text).
        ``verdict`` is called for every out-of-fold line with its fold, line number, expected
        states, results and ranking. Returns a dictionary: ``right`` and ``wrong`` (NumPy arrays,
        per fold), ``accuracy`` (per fold, fractions; NaN for a fold without lines), ``mean`` and
        ``std`` (their mean and sample standard deviation over the folds with lines) and ``overall`` (the right lines of all folds over all lines).
        Afterwards the engine holds ``network`` as :meth:`load_file` loads it."""
        import numpy as np

        if isinstance(folds, bool) or not isinstance(folds, int) or folds < 2:
            raise ValueError("folds must be a whole number, at least 2")
        description = self._description(network)
        right, wrong = np.zeros(folds, dtype=np.int64), np.zeros(folds, dtype=np.int64)
        callback = _native.VerdictCallback()
        if verdict is not None:
            def told(context: Any, fold: int, line: int, expected: bytes, results: bytes, count: int,
                     states: Any, probabilities: Any) -> None:
                ranking = [(chr(states[i][0] if isinstance(states[i], bytes) else states[i]), probabilities[i])
                           for i in range(count)]
                self._callbacks._guarded(lambda: verdict(fold, line, _text(expected), _text(results), ranking))
            callback = _native.VerdictCallback(told)
        self._run("cross_validate", library.veltra_engine_cross_validate, description,
                  _path(samples, "the sample file name"), folds, _seed(seed),
                  _native.CV_STRATIFIED if stratified else 0, callback, None, right.ctypes.data, wrong.ctypes.data,
                  failure=LineError, progress=progress)
        self._network_file = description
        self._refresh()
        return _fold_figures(right, wrong)

    def _description(self, network: Optional[FileName]) -> bytes:
        if network is not None:
            return _path(network, "the network file name")
        if self._network_file is None:
            raise ValueError("no network file: give network=, or load the network from a file")
        return self._network_file

    def count_size(self) -> int:
        """The number of counts of the loaded network (see :meth:`count`)."""
        size = ctypes.c_int32()
        self._run("count_size", library.veltra_engine_count_size, ctypes.byref(size))
        return size.value

    def count(self, lines: bytes, counts: Any, *, file: FileName = "samples", first_line: int = 1) -> None:
        """Training in parts: counts the sample lines in ``lines`` (the lines of a sample file
        from its line ``first_line`` on) and adds them to ``counts``, a writable buffer of
        :meth:`count_size` int64 values (a NumPy array, say). A refused line raises
        :class:`LineError` naming ``file`` and the line."""
        data = bytes(lines)
        size = self.count_size()
        try:
            target = (ctypes.c_int64 * size).from_buffer(counts)
        except (TypeError, ValueError):
            raise TypeError(f"counts must be a writable buffer of {size} int64 values") from None
        if memoryview(counts).nbytes != ctypes.sizeof(target):
            raise ValueError(f"counts must hold exactly {size} int64 values")
        self._run("count", library.veltra_engine_count, data, len(data), _path(file, "the file name"), first_line,
                  ctypes.addressof(target), failure=LineError)

    def train_counts(self, network: FileName, counts: Any, output: FileName) -> None:
        """Writes to ``output`` the description of ``network`` trained on what :meth:`count`
        counted into ``counts``, exactly as :meth:`train` on those lines would, and loads it."""
        values = (ctypes.c_int64 * self.count_size())(*[int(value) for value in counts])
        self._run("train_counts", library.veltra_engine_train_counts, _path(network, "the network file name"),
                  values, _path(output, "the output file name"), failure=LineError)
        self._refresh()

    # The library's side.

    def _run(self, call: str, function: Callable[..., int], *args: Any, failure: type = VeltraError,
             accept: Sequence[int] = (_native.OK,), progress: Optional[Progress] = None) -> int:
        with self._state.lock:
            handle = self._state.handle
            if handle is None:
                raise ValueError("the engine is closed")
            self._callbacks.error = None
            # The progress callback is set for the calls that report to one only (each report takes
            # the interpreter's lock), and taken away once the call's reason has been read.
            if progress is not None:
                self._callbacks.progress, self._callbacks.reported = progress, 0
                library.veltra_engine_set_progress_callback(handle, self._callbacks.on_progress, None)
            try:
                status = function(handle, *args)
                raised, self._callbacks.error = self._callbacks.error, None
                if raised is not None:
                    raise raised
                if status in accept:
                    return status
                if status == _native.OUT_OF_MEMORY:
                    raise MemoryError(f"{call}: the library ran out of memory")
                if status == _native.BUSY:
                    raise RuntimeError(f"{call}: the engine is inside another call (a callback may not call it)")
                reason = _text(library.veltra_engine_error(handle))
                file = _text(library.veltra_engine_error_file(handle))
                line = library.veltra_engine_error_line(handle)
            finally:
                if progress is not None:
                    library.veltra_engine_set_progress_callback(handle, _native.ProgressCallback(), None)
                    self._callbacks.progress = None
        if status == _native.INVALID_ARGUMENT:
            raise ValueError(f"{call}: {reason}")
        kind = failure
        if reason.startswith("Network has not been initialized"):
            kind = VeltraError  # the engine's state, not the field or file at fault
        elif reason.startswith(_FILE_REASONS):
            kind = FileError
        elif failure is LineError and (line <= 0 or not file):
            kind = VeltraError
        raise kind(call, reason.rstrip("\n"), file, line)

    def _refresh(self) -> None:
        """Reads what the loaded network holds."""
        with self._state.lock:
            handle = self._state.handle
            info = _native.NetworkInfo()
            if handle is None or library.veltra_network_get_info(handle, ctypes.byref(info)) != _native.OK:
                self._states, self._tests = [], []
                return

            def text(get: Callable[..., int], *args: Any) -> str:
                size = ctypes.c_int32(0)
                get(handle, *args, None, ctypes.byref(size))
                buffer = ctypes.create_string_buffer(max(size.value, 1))
                get(handle, *args, buffer, ctypes.byref(size))
                return _text(buffer.value)

            self._states = [text(lambda h, *a: library.veltra_network_get_state(h, s, None, *a))
                            for s in range(info.states)]
            tests = []
            for t in range(info.tests):
                values = ctypes.c_int32()
                library.veltra_network_get_value_count(handle, t, ctypes.byref(values))
                tests.append(Test(text(library.veltra_network_get_test, t, 0),
                                  text(library.veltra_network_get_test, t, 1).strip(),
                                  tuple(text(library.veltra_network_get_value, t, v) for v in range(values.value))))
            self._tests = tests
            capacity = max(info.states, 1)
            self._buffers = ((ctypes.c_char * capacity)(), (ctypes.c_double * capacity)())
