# SPDX-License-Identifier: MIT
"""What happened in the mesh, in its order: kept in a file, the newest in memory."""

import collections
import json
import pathlib
import time
from typing import Any

Mark = dict[str, Any]

KEPT = 20_000  # marks in memory; the file has them all


class Timeline:
    """A mark is one moment of one node: a stage that began, a word, a boot, a fault, an event."""

    def __init__(self, path: pathlib.Path) -> None:
        self._path = path
        self.marks: collections.deque[Mark] = collections.deque(maxlen=KEPT)
        self._number = 0
        self._take_up()
        # pylint: disable=consider-using-with
        self._file = open(path, "a", encoding="utf-8")

    def _take_up(self) -> None:
        """What an earlier run wrote; a line that was cut off is left out."""
        if not self._path.exists():
            return
        with open(self._path, encoding="utf-8", errors="replace") as file:
            for line in file:
                try:
                    self.marks.append(json.loads(line))
                except ValueError:
                    continue
        self._number = self.marks[-1]["number"] if self.marks else 0

    def add(self, node: str, kind: str, text: str, detail: str = "", log: int = -1) -> Mark:
        """`log`: how long the node's log was then."""
        self._number += 1
        mark = {
            "number": self._number, "at": round(time.time(), 3), "node": node, "kind": kind,
            "text": text, "detail": detail, "log": log,
        }  # fmt: skip
        self.marks.append(mark)
        self._file.write(json.dumps(mark) + "\n")
        return mark

    @property
    def number(self) -> int:
        """Of the newest mark."""
        return self._number

    def after(self, number: int, most: int) -> list[Mark] | None:
        """The marks behind this one; none where they are more than that."""
        count = self._number - number
        if count <= 0:
            return []
        if count > min(most, len(self.marks)):
            return None
        return list(self.marks)[-count:]

    def newest(self, most: int) -> list[Mark]:
        return list(self.marks)[-most:]

    def write(self) -> None:
        """To the file, which whoever reads it beside us wants to see grow."""
        self._file.flush()

    def close(self) -> None:
        self._file.close()
