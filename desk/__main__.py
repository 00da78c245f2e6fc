# SPDX-License-Identifier: MIT
"""The program ota-desk: a node on this desk."""

import os
import pathlib
import signal
import sys


def _begin() -> int:
    # Until there is something to end in order, the signals end this process without a word.
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    # How children end must be told, whatever this process was started with.
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)
    # Whatever is closed would be given to the next file that is opened.
    while (file := os.open(os.devnull, os.O_RDWR)) <= 2:
        pass
    os.close(file)
    from demo.main import main

    return main(pathlib.Path(sys.argv[0]).resolve().parents[1])


sys.exit(_begin())
