#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""check_sizes.py STRIP (KIB FILE)...: no file is larger without its symbols than said."""

import os
import pathlib
import subprocess
import sys
import tempfile

KIB = 1024


def stripped_size(strip, path):
    with tempfile.TemporaryDirectory() as folder:
        copy = os.path.join(folder, "stripped")
        subprocess.run([strip, "-o", copy, path], check=True)
        return os.path.getsize(copy)


def main(strip, *limits):
    too_large = False
    for most, path in zip(map(int, limits[::2]), limits[1::2]):
        size = stripped_size(strip, path)
        verdict = "" if size <= most * KIB else ": too large"
        print(f"{pathlib.Path(path).name}: {size} bytes, at most {most * KIB}{verdict}")
        too_large = too_large or bool(verdict)
    return 1 if too_large else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
