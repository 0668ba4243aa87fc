# A network cut to chosen tests against the full one, on the bundled example: the description is
# cut by the host interface (veltra_engine_write_tests, through ctypes), the sample and evaluation
# files by veltra cut; veltra train and veltra evaluate on the cut files must judge every field as
# the full network trained on the full samples judges it with the other tests' results "-", to
# the last digit of every verdict line. A trained description cut the same way judges alike
# without training again. Failures of the description function are rows of their own. The network
# veltra select keeps (--write) cross-validates on the cut samples to the figures of its step.
# Usage: cut_test.py VELTRA LIBRARY SOURCE_DIR
import ctypes
import json
import re
import subprocess
import sys
import tempfile
from pathlib import Path

# Positions in the results order of examples/fields/network.txt (8 tests).
CHOSEN = [[0, 1, 2, 3, 4, 5, 6, 7], [1], [0, 2, 5], [7, 4, 3, 1]]
# Positions the function refuses, and the reason it keeps.
REFUSED = [([8], "No test 8: there are 8"), ([-1], "No test -1: there are 8"),
           ([2, 2], "Test 2 is chosen twice"), ([], "No test is chosen")]


def veltra(*args):
    return subprocess.run([VELTRA, *args], cwd=WORK, check=True, capture_output=True, text=True).stdout


def write_tests(network, positions, output):
    engine = ctypes.c_void_p()
    assert LIB.veltra_engine_create(ctypes.byref(engine)) == 0
    try:
        array = (ctypes.c_int32 * max(len(positions), 1))(*positions)
        status = LIB.veltra_engine_write_tests(engine, str(network).encode(), array, len(positions),
                                               str(output).encode())
        return status, LIB.veltra_engine_error(engine).decode()
    finally:
        LIB.veltra_engine_destroy(engine)


def verdicts(judged):
    return [line for line in (WORK / judged).read_text().splitlines() if line.startswith((";OK", ";ERROR"))]


def dashed(source, target, positions):
    # The labelled file with the results of the tests not chosen replaced by "-".
    def dash(match):
        results = match.group(2)
        return match.group(1) + "".join(c if i in positions else "-" for i, c in enumerate(results))
    (WORK / target).write_text(re.sub(r"^(;TESTS\t[^\t]+\t)(\S+)$", dash, source.read_text(), flags=re.M))


if __name__ == "__main__":
    VELTRA, library, source = (Path(arg).resolve() for arg in sys.argv[1:4])
    LIB = ctypes.CDLL(str(library))
    LIB.veltra_engine_error.restype = ctypes.c_char_p
    LIB.veltra_engine_create.argtypes = [ctypes.POINTER(ctypes.c_void_p)]
    LIB.veltra_engine_destroy.argtypes = [ctypes.c_void_p]
    LIB.veltra_engine_error.argtypes = [ctypes.c_void_p]
    LIB.veltra_engine_write_tests.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.POINTER(ctypes.c_int32),
                                              ctypes.c_int32, ctypes.c_char_p]
    fields = source / "examples/fields"
    with tempfile.TemporaryDirectory() as name:
        WORK = Path(name)
        veltra("train", "--quiet", fields / "network.txt", fields / "train.txt", "trained.txt")
        for positions in CHOSEN:
            chosen = sorted(positions)
            assert write_tests(fields / "network.txt", positions, WORK / "chosen.txt") == (0, ""), positions
            assert write_tests(WORK / "trained.txt", positions, WORK / "trained-chosen.txt") == (0, ""), positions
            veltra("cut", "--quiet", fields / "network.txt", "chosen.txt", fields / "train.txt", "train-cut.txt")
            veltra("cut", "--quiet", fields / "network.txt", "chosen.txt", fields / "eval.txt", "eval-cut.txt")
            veltra("train", "--quiet", "chosen.txt", "train-cut.txt", "trained-cut.txt")
            cut = veltra("evaluate", "trained-cut.txt", "eval-cut.txt", "judged-cut.txt")
            dashed(fields / "eval.txt", "eval-dashed.txt", chosen)
            full = veltra("evaluate", "trained.txt", "eval-dashed.txt", "judged.txt")
            veltra("evaluate", "trained-chosen.txt", "eval-cut.txt", "judged-chosen.txt")
            assert cut == full, f"{positions}: accuracy {cut!r}, with dashes {full!r}"
            assert verdicts("judged-cut.txt") == verdicts("judged.txt") == verdicts("judged-chosen.txt"), positions
            if len(chosen) == 8:
                assert (WORK / "chosen.txt").read_bytes() == (fields / "network.txt").read_bytes()
                assert (WORK / "train-cut.txt").read_bytes() == (fields / "train.txt").read_bytes()
        # The selection's kept network, written by select --write, cross-validates on the cut
        # samples to the figures the selection printed for its step.
        for keep in (["--keep", "3"], ["--keep", "6"], []):
            veltra("select", "--quiet", "--json", "selection.json", "--write", "kept.txt", *keep,
                   fields / "network.txt", fields / "train.txt")
            selection = json.loads((WORK / "selection.json").read_text())
            step = selection["steps"][selection["chosen_step"]]
            veltra("cut", "--quiet", fields / "network.txt", "kept.txt", fields / "train.txt", "train-kept.txt")
            veltra("cv", "--quiet", "--json", "cv.json", "kept.txt", "train-kept.txt")
            cv = json.loads((WORK / "cv.json").read_text())
            assert (cv["right"], cv["lines"] - cv["right"]) == (step["right"], step["wrong"]), (keep, cv, step)
            assert abs(cv["log_loss"] - step["log_loss"]) < 1e-12, (keep, cv["log_loss"], step["log_loss"])
            tags = re.findall(r"^(\w+)\s*=", (WORK / "kept.txt").read_text(), flags=re.M)[1:]
            assert tags == selection["kept_tags"], (keep, tags)
        for positions, reason in REFUSED:
            assert write_tests(fields / "network.txt", positions, WORK / "refused.txt") == (1, reason), positions
            assert not (WORK / "refused.txt").exists(), positions
