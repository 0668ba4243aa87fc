# The pages of veltra report, cv and select (--html) against the JSON of the same run, the
# report's on kinds.txt (whose figures cli_test.sh holds worked by hand): each page must be
# well-formed XML and hold everything it shows; every element marked data-json shows the figure at
# that path of the JSON as the page prints it; and every figure of the JSON is shown.
# Usage: report_test.py VELTRA SOURCE_DIR
import json
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# The JSON's names and labels, which the page shows as headings, not as figures.
LABELS = (r"network|input|network_states|states\.\d+|per_state\.\d+\.(state|name)"
          r"|calibration\.\d+\.(from|to|right)|tests\.\d+\.(tag|description)"
          r"|misclassified\.\d+\.(expected|results|most_probable|runner_up)"
          r"|cross_validation\.stratified|direction|stratified|keep|steps\.\d+\.(test|tag)|kept_tags\.\d+")
# What would make the page fetch or run anything.
FOREIGN = r"<(script|link|img|iframe|object|embed)\b|\s(src|href|on\w+)=|url\(|@import"


# Every figure of the JSON by its path: keys and list indexes joined by full stops.
def flat(value, path=""):
    if not isinstance(value, (dict, list)):
        return {path: value}
    items = value.items() if isinstance(value, dict) else enumerate(value)
    return {p: v for key, item in items for p, v in flat(item, f"{path}.{key}".lstrip(".")).items()}


# The page's text for a figure: a dash when there is none, a percentage, or with as many decimals
# as the page gives it.
def page_text(value, shown):
    if value is None:
        return "\u2013"
    if shown.endswith(" %"):
        return "%.2f %%" % (value * 100)
    return "%.*f" % (len(shown.partition(".")[2]), value)


def veltra(work, *args):
    subprocess.run([VELTRA, *args], cwd=work, check=True, capture_output=True)


def check_page(work, *command):
    veltra(work, *command[:1], "--json", "f.json", "--html", "p.html", *command[1:])
    figures, page = flat(json.loads((work / "f.json").read_text())), (work / "p.html").read_text("utf-8")
    assert page.startswith("<!DOCTYPE html>\n") and not re.search(FOREIGN, page), f"{command}: the page"
    elements = ElementTree.fromstring(page).iterfind(".//*[@data-json]")  # well-formed XML
    shown = {element.get("data-json"): "".join(element.itertext()) for element in elements}
    wrong = {path: text for path, text in shown.items() if text != page_text(figures.get(path), text)}
    assert not wrong, f"{command}: shown otherwise than the JSON says: {wrong}"
    missing = {path for path in figures if not re.fullmatch(LABELS, path)} - shown.keys()
    assert not missing, f"{command}: not on the page: {sorted(missing)}"


if __name__ == "__main__":
    VELTRA, source = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    data, fields = source / "tests/cli/data", source / "examples/fields"
    with tempfile.TemporaryDirectory() as name:
        check_page(Path(name), "report", data / "kinds.txt", data / "labelled.txt")
        check_page(Path(name), "cv", "--names", "d=date", fields / "network.txt", fields / "train.txt")
        check_page(Path(name), "select", "--keep", "3", fields / "network.txt", fields / "train.txt")
