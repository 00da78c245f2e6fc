# SPDX-License-Identifier: MIT
"""Ctrl-C and its kin: they only leave a note, so that whatever was started is ended in order."""

import signal
import types

from rig.failure import Failure

_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
_came = False


def _note(_number: int, _frame: types.FrameType | None) -> None:
    global _came
    _came = True


def install() -> None:
    """From now on these signals end this process where it calls check() only."""
    for number in _SIGNALS:
        signal.signal(number, _note)


def check() -> None:
    """Whoever waits on the rig calls this again and again."""
    if _came:
        raise Failure("interrupted by a signal; everything that was started is stopped")
