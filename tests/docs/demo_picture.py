#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the demo in a terminal: it still shows what docs/pictures/demo.txt does, but for times,
places and speeds.

    demo_picture.py SOURCE-FOLDER BUILD-FOLDER
"""
import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile
import termios

source, build = map(pathlib.Path, sys.argv[1:])
sys.path.insert(0, str(source / "docs/pictures"))
import draw  # noqa: E402

ROWS_AND_COLUMNS = (40, 100)
LONGEST = 280  # seconds


def sent_to_a_terminal(command):
    """Exit code, and every byte that the command sent."""
    ours, theirs = pty.openpty()
    termios.tcsetwinsize(theirs, ROWS_AND_COLUMNS)
    environment = {**os.environ, "TERM": "xterm", "LC_ALL": "C.UTF-8"}
    sent = b""
    with subprocess.Popen(
        command, stdin=subprocess.DEVNULL, stdout=theirs, stderr=theirs, env=environment
    ) as process:
        os.close(theirs)
        try:
            while piece := os.read(ours, 65536):
                sent += piece
        except OSError:
            pass  # nobody has the terminal open any more
        return process.wait(), sent.decode()


def compared(lines):
    """Without what differs from run to run: times, numbers, places, and who made the image when."""
    kept = []
    for line in lines:
        line = re.sub(r" \(kept from an earlier run\)$", "", line)
        if line.startswith("    ") and "otactl" in line or "--bus" in line:
            continue  # broken as the length of the folder's name has it
        if not line or re.search(r"image +building a root file system", line):
            continue
        line = re.sub(r"\] .*", "]", line)
        line = re.sub(r"/\S*", "/", line)
        kept.append(re.sub(r"\d+(\.\d+)?", "0", line))
    return kept


def main():
    with tempfile.TemporaryDirectory(dir=build, prefix="demo-picture.") as folder:
        run = ["--run-dir", f"{folder}/run", "--limit", str(LONGEST)]
        code, sent = sent_to_a_terminal([str(build / "desk/ota-desk"), "demo", *run])
    shown = compared(draw.shown_by(sent))
    picture = (source / "docs/pictures/demo.txt").read_text(encoding="utf-8").splitlines()
    drawn = compared(picture[picture.index("$ ./dev demo") + 1 :])
    if code != 0 or shown != drawn:
        print(f"exit code {code}; the demo shows\n\n{sent}\n")
        print(
            "docs/pictures/demo.txt has, and it does not show:", *set(drawn) - set(shown), sep="\n"
        )
        print("it shows, and demo.txt does not have:", *set(shown) - set(drawn), sep="\n")
        return 1
    print("the demo shows what its picture does")
    return 0


if __name__ == "__main__":
    sys.exit(main())
