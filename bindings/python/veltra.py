"""Veltra from Python: the seven functions of ``api/Veltra.h`` through ctypes, and an engine object.

    import veltra

    with veltra.Engine.from_file("trained.txt") as engine:
        for state, probability in engine.classify("msld-32n"):
            print(state, probability)

The shared library is found, in this order, at the path in the ``VELTRA_LIBRARY`` environment
variable, beside this module, or by the platform's usual name (``libVeltra.so``, ``Veltra.dll``)
through the system's library search. A call that returns -1 raises :class:`VeltraError` naming
the call; the library has already explained the failure on standard error, and that message is
left there. An engine is used by one thread at a time; separate engines share nothing.

Texts (descriptions, results, file names) may be given as ``str`` or ``bytes``; ``str`` texts are
encoded as UTF-8, file names as the file system encodes them. States come back as one-character
``str`` holding the state's byte (``chr`` of its value).
"""

from __future__ import annotations

import ctypes
import math
import os
import sys
import weakref
from typing import List, NamedTuple, Optional, Tuple, Union

__all__ = ["Engine", "VeltraError", "Verdicts", "verdicts", "library"]

Text = Union[str, bytes]
FileName = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

_NAME = "Veltra.dll" if sys.platform == "win32" else "libVeltra.so"


class VeltraError(Exception):
    """A call into the library failed (or was made on a closed engine).

    ``call`` names the library function, for example ``"Analyze"``. The reason for a -1 is on
    standard error, where the library wrote it.
    """

    def __init__(self, call: str, detail: str) -> None:
        super().__init__(f"{call}: {detail}")
        self.call = call


def _load() -> ctypes.CDLL:
    path = os.environ.get("VELTRA_LIBRARY")
    if not path:
        beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), _NAME)
        path = beside if os.path.exists(beside) else _NAME
    # The header declares __stdcall on Windows (WinDLL) and the default convention elsewhere.
    loader = ctypes.WinDLL if sys.platform == "win32" else ctypes.CDLL
    lib = loader(path)

    handle = ctypes.c_void_p  # BayesianEngineHandle: a full pointer, never cut to an int
    status = ctypes.c_int32
    text = ctypes.c_char_p  # const char*, in only
    signatures = {
        "CreateBayesianEngine": [ctypes.POINTER(handle)],
        "DestroyBayesianEngine": [ctypes.POINTER(handle)],
        "InitializeThruFile": [handle, text],
        "InitializeThruParam": [handle, text],
        "Train": [handle, text, text, text],
        "Analyze": [handle, text, ctypes.POINTER(ctypes.c_char), ctypes.POINTER(ctypes.c_double),
                    ctypes.POINTER(ctypes.c_int32)],
        "AnalyzeFile": [handle, text, text],
    }
    for name, argtypes in signatures.items():
        function = getattr(lib, name)
        function.argtypes = argtypes
        function.restype = status
    return lib


library = _load()
"""The loaded shared library, its seven functions declared."""


def _text(value: Text, what: str) -> bytes:
    data = value.encode("utf-8") if isinstance(value, str) else bytes(value)
    if b"\0" in data:
        # The library would silently read only up to the first NUL.
        raise ValueError(f"{what} holds a NUL character")
    return data


def _path(value: FileName, what: str) -> bytes:
    return _text(os.fsencode(value), what)


def _longest_line(data: bytes) -> int:
    return max((len(piece) for piece in data.replace(b"\r", b"\n").split(b"\n")), default=0)


def _longest_line_of_file(path: bytes) -> int:
    try:
        with open(path, "rb") as file:
            return _longest_line(file.read())
    except OSError:
        return 0


class Verdicts(NamedTuple):
    """The verdicts of an evaluated file: test lines judged right and judged wrong."""

    right: int
    wrong: int

    @property
    def accuracy(self) -> float:
        """The share judged right, in per cent, computed as the library computes it; NaN for none."""
        judged = self.right + self.wrong
        return self.right * 100.0 / judged if judged else math.nan


def verdicts(path: FileName) -> Verdicts:
    """Counts the verdicts in a file written by ``AnalyzeFile`` (:meth:`Engine.evaluate`).

    The library copies every input line and writes its verdict on the line right after each test
    line (one beginning ``";TESTS\\t"``), so the verdicts are found by position, not by their text
    alone: a copied input line that happens to begin with ``";OK"`` is not counted.
    """
    with open(path, "rb") as file:
        lines = file.read().split(b"\n")
    right = wrong = 0
    i = 0
    while i < len(lines):
        if lines[i].startswith(b";TESTS\t") and i + 1 < len(lines):
            if lines[i + 1].startswith(b";OK\t"):
                right += 1
            elif lines[i + 1].startswith(b";ERROR\t"):
                wrong += 1
            i += 1
        i += 1
    return Verdicts(right, wrong)


def _destroy(handle: int) -> int:
    return library.DestroyBayesianEngine(ctypes.byref(ctypes.c_void_p(handle)))


class Engine:
    """One engine of the library, destroyed by :meth:`close` or at the end of a ``with`` block.

    ``Engine()`` is an empty engine, ready for :meth:`train`; :meth:`from_file` and
    :meth:`from_text` give one holding a network. An engine keeps its result caches across loads,
    so load a different network into a fresh engine.
    """

    def __init__(self) -> None:
        handle = ctypes.c_void_p()
        if library.CreateBayesianEngine(ctypes.byref(handle)) != 0 or not handle.value:
            raise VeltraError("CreateBayesianEngine", "no engine was created")
        self._handle: Optional[int] = handle.value
        self._finalizer = weakref.finalize(self, _destroy, handle.value)
        # Analyze writes nothing unless the capacity covers every state, and the library does not
        # tell how many states a network has. The states are the comma-separated items of the
        # hypothesis line, each at least one byte, so no network read from a description has more
        # states than the description's longest line has bytes. The engine keeps the largest such
        # length of every description it was handed: an exact bound, and a small one.
        self._capacity = 1
        self._categories = (ctypes.c_char * 1)()
        self._probabilities = (ctypes.c_double * 1)()

    @classmethod
    def from_file(cls, path: FileName) -> "Engine":
        """An engine holding the network described in the file at ``path`` (InitializeThruFile)."""
        engine = cls()
        try:
            encoded = _path(path, "the network file name")
            engine._call("InitializeThruFile", f"cannot load {os.fsdecode(encoded)}", encoded)
            engine._cover(_longest_line_of_file(encoded))
        except BaseException:
            engine.close()
            raise
        return engine

    @classmethod
    def from_text(cls, text: Text) -> "Engine":
        """An engine holding the network described in ``text`` (InitializeThruParam)."""
        engine = cls()
        try:
            encoded = _text(text, "the network description")
            engine._call("InitializeThruParam", "cannot load the description", encoded)
            engine._cover(_longest_line(encoded))
        except BaseException:
            engine.close()
            raise
        return engine

    def __enter__(self) -> "Engine":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    @property
    def closed(self) -> bool:
        """True once the engine has been destroyed."""
        return self._handle is None

    def close(self) -> None:
        """Destroys the engine (DestroyBayesianEngine). Closing a closed engine does nothing."""
        if self._handle is None:
            return
        self._handle = None
        if self._finalizer() == -1:
            raise VeltraError("DestroyBayesianEngine", "the engine was not destroyed cleanly")

    def classify(self, results: Text) -> List[Tuple[str, float]]:
        """Every state with its probability for one field's test results, most probable first.

        ``results`` holds one character per test, ``-`` for no result; full stops are ignored.
        """
        encoded = _text(results, "the test results")
        count = ctypes.c_int32(self._capacity)
        detail = 'cannot classify "%s"' % encoded.decode(errors="replace")
        self._call("Analyze", detail, encoded, self._categories, self._probabilities, ctypes.byref(count))
        states = self._categories.raw
        return [(chr(states[i]), self._probabilities[i]) for i in range(count.value)]

    def train(self, network: FileName, samples: FileName, output: FileName) -> None:
        """Trains ``network`` on ``samples``, writes the trained description to ``output`` and
        reloads the engine from it (Train). Progress and the summary go to standard output."""
        paths = [_path(network, "the network file name"), _path(samples, "the sample file name"),
                 _path(output, "the output file name")]
        try:
            self._call("Train", f"cannot train {os.fsdecode(paths[0])} on {os.fsdecode(paths[1])}",
                       *paths)
        finally:
            # Whether it succeeded or stopped, the engine holds (part of) one of these two.
            if self._handle is not None:
                self._cover(max(_longest_line_of_file(paths[0]), _longest_line_of_file(paths[2])))

    def evaluate(self, input: FileName, output: FileName) -> float:
        """Classifies every test line of ``input``, writes the judged copy to ``output``
        (AnalyzeFile) and returns the accuracy in per cent, NaN for a file without test lines.

        The figure is the one the library prints rounded to two decimals, to the bit: it is
        computed in the same way from the verdicts counted in ``output``.
        """
        encoded = _path(output, "the output file name")
        self._call("AnalyzeFile", f"cannot evaluate {os.fsdecode(input)}",
                   _path(input, "the input file name"), encoded)
        return verdicts(encoded).accuracy

    def _cover(self, states: int) -> None:
        if states > self._capacity:
            self._capacity = states
            self._categories = (ctypes.c_char * states)()
            self._probabilities = (ctypes.c_double * states)()

    def _call(self, name: str, detail: str, *args: object) -> None:
        if self._handle is None:
            raise VeltraError(name, "the engine is closed")
        if getattr(library, name)(self._handle, *args) != 0:
            raise VeltraError(name, detail)
