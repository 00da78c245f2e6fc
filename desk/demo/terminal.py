# SPDX-License-Identifier: MIT
"""What standard output can show, as the environment and the person want it; and writing there."""

import dataclasses
import os
import time
from collections.abc import Callable

_OUTPUT = 1
_USUAL_COLUMNS = 80


def time_of_day(at: float | None = None) -> str:
    return time.strftime("%H:%M:%S", time.localtime(at))


def write(text: str) -> None:
    """Whoever reads it may be gone, or its disk full: what the run does is not changed by that."""
    rest = text.encode(errors="surrogateescape")
    try:
        while rest:
            rest = rest[os.write(_OUTPUT, rest) :]
    except OSError:
        pass


@dataclasses.dataclass(frozen=True)
class Surface:
    """What can be shown."""

    colour: bool
    redraws: bool
    columns: Callable[[], int]  # 0: a line is as long as it needs to be
    now: Callable[[], str]  # the time of day
    write: Callable[[str], None] = write


def _is_terminal() -> bool:
    try:
        return os.isatty(_OUTPUT)
    except OSError:
        return False


def _columns() -> int:
    try:
        if shown := os.get_terminal_size(_OUTPUT).columns:
            return shown
    except OSError:
        pass
    given = os.environ.get("COLUMNS", "")
    columns = int(given) if given.isascii() and given.isdigit() else 0
    return columns or (_USUAL_COLUMNS if _is_terminal() else 0)


def standard_output() -> Surface:
    redraws = _is_terminal() and os.environ.get("TERM", "") != "dumb"
    colour = redraws and not os.environ.get("NO_COLOR", "")
    return Surface(colour, redraws, _columns, time_of_day)
