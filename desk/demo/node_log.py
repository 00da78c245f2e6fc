# SPDX-License-Identifier: MIT
"""What the log of a node's service tells beside the events on its bus."""

import enum
import pathlib
from typing import NamedTuple

ERROR = "error: "


class News(enum.Enum):
    """What a line of the log tells."""

    FAILED_DOWNLOAD = enum.auto()  # an attempt, and why
    GAVE_UP = enum.auto()  # no attempt follows
    CALCULATED = enum.auto()  # the MD5 sum of what came
    REFUSAL = enum.auto()  # why the passive bank was not written or not activated
    PASSED_TIMER = enum.auto()  # that the desk lets pass at once, and how long it is


class _Row(NamedTuple):
    line: str
    news: News
    text: str
    quote: bool = False  # the rest of the line follows the text


_ROWS = (
    _Row("curl_easy_perform() failed: ", News.FAILED_DOWNLOAD, "failed: ", True),
    _Row("receiving response code 503", News.FAILED_DOWNLOAD, "failed: the server answers 503"),
    _Row("Invalid Response Code(", News.GAVE_UP, "no further attempt"),
    _Row("Download Rety Exceeded", News.GAVE_UP, "no further attempt"),
    _Row("Calculated md5 CRC value is = ", News.CALCULATED, "", True),
    _Row("error: nal: the passive bank was not written: ", News.REFUSAL, "", True),
    _Row("error: nal: the passive bank was not activated: ", News.REFUSAL, "", True),
    _Row("desk: timer ", News.PASSED_TIMER, "", True),
)


class NodeLog:
    """Read on from where it was left, in whole lines."""

    def __init__(self, path: pathlib.Path) -> None:
        self._path = path
        self._taken = 0

    def news(self) -> list[tuple[News, str]]:
        """By the lines that were written since the last call."""
        try:
            with open(self._path, "rb") as file:
                file.seek(self._taken)
                whole = file.read().rpartition(b"\n")[0:2]
        except FileNotFoundError:
            return []
        lines = b"".join(whole)
        self._taken += len(lines)
        found = []
        for line in lines.decode(errors="replace").split("\n"):
            found += [(row.news, row.text + _rest(line, row)) for row in _ROWS if row.line in line]
        return found


def _rest(line: str, row: _Row) -> str:
    return line.partition(row.line)[2].partition("\\x0A")[0] if row.quote else ""
