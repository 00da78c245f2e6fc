# SPDX-License-Identifier: MIT
"""Ctrl-C and its kin: they only leave a note, so that whatever was started is ended in order."""

import asyncio
import signal
import types
from collections.abc import Coroutine
from typing import Any, TypeVar

from rig.failure import Failure

_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
_SAID = "interrupted by a signal; everything that was started is stopped"
_T = TypeVar("_T")
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
        raise Failure(_SAID)


async def cancelling(work: Coroutine[Any, Any, _T]) -> _T:
    """In a loop: these signals cancel the work, which ends what it started."""
    task = asyncio.ensure_future(work)
    for number in _SIGNALS:
        asyncio.get_running_loop().add_signal_handler(number, task.cancel)
    try:
        return await task
    except asyncio.CancelledError:
        raise Failure(_SAID) from None
