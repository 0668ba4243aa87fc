# The pages on a phone: headless Chromium lays out each page that veltra report, cv and select
# write with --html in a frame 360 px wide, as a phone's browser would, and the page must be no
# wider than the frame (wide tables and diagrams scroll inside their own boxes). The frame stands
# in for the window, which Chromium does not make narrower than 500 px. The example's network is
# trained, reported on and cross-validated with long state names, and its tests selected; a
# screenshot of a frame is checked to be 360 px wide too.
# Skipped (exit 77) without Chromium.
# Usage: page_width_test.py VELTRA SOURCE_DIR
import html
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

WIDTH = 360
NAMES = "d=date,a=amount,p=postcode,n=person name,i=identifier"
# Records, once the frame has loaded, the frame's width and the width of what it laid out.
PROBE = ("<script>window.onload = function () { var d = document.getElementById('page').contentDocument;"
         " document.body.setAttribute('data-widths', d.documentElement.clientWidth + ' '"
         " + d.documentElement.scrollWidth); };</script>")


def chromium(work, *args):
    # As root too (CI), with a profile of its own, in a container's small shared memory.
    command = [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
               f"--user-data-dir={work / 'profile'}", "--hide-scrollbars", f"--window-size={WIDTH},2000", *args]
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=120).stdout


def framed(work, page):
    # The page as the frame's own document (srcdoc), so that the probe may read it.
    frame = (f"<!DOCTYPE html><html><body style=\"margin:0\"><iframe id=\"page\" style=\"border:0;width:{WIDTH}px;"
             f"height:2000px\" srcdoc=\"{html.escape(page.read_text('utf-8'))}\"></iframe>{PROBE}</body></html>")
    path = work / "framed.html"
    path.write_text(frame, "utf-8")
    return path


if __name__ == "__main__":
    VELTRA, source = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    CHROMIUM = shutil.which("chromium")
    if not CHROMIUM:
        print("skipped: no chromium (scripts/install.sh tests installs it)")
        sys.exit(77)
    fields = source / "examples/fields"
    with tempfile.TemporaryDirectory() as name:
        work = Path(name)
        subprocess.run([VELTRA, "train", "--quiet", fields / "network.txt", fields / "train.txt", "trained.txt"],
                       cwd=work, check=True)
        subprocess.run([VELTRA, "report", "--quiet", "--names", NAMES, "--html", "report.html", "trained.txt",
                        fields / "eval.txt"], cwd=work, check=True, capture_output=True)
        subprocess.run([VELTRA, "cv", "--quiet", "--names", NAMES, "--html", "cv.html", fields / "network.txt",
                        fields / "train.txt"], cwd=work, check=True, capture_output=True)
        subprocess.run([VELTRA, "select", "--quiet", "--html", "select.html", fields / "network.txt",
                        fields / "train.txt"], cwd=work, check=True, capture_output=True)
        for page in ("report", "cv", "select"):
            frame = framed(work, work / f"{page}.html")
            widths = re.search(r'data-widths="(\d+) (\d+)"', chromium(work, "--dump-dom", frame.as_uri()))
            assert widths, f"{page}: the probe did not run"
            frame_width, laid_out = map(int, widths.groups())
            assert frame_width == WIDTH, f"{page}: the frame is {frame_width} px wide, not {WIDTH}"
            assert laid_out <= WIDTH, f"{page}: the page is {laid_out} px wide in a {WIDTH} px frame"
        chromium(work, f"--screenshot={work / 'page.png'}", frame.as_uri())
        png = (work / "page.png").read_bytes()
        assert png[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">I", png[16:20])[0] == WIDTH, "the screenshot"
