# SPDX-License-Identifier: MIT
"""What a node's own history says: read as it grows, a few bytes at a time."""

import dataclasses
import json
import os
import pathlib

# What a node that is upgraded without a mishap never says.
_TROUBLE = frozenset(
    ("refused", "trial-failed", "host-crashed", "not-committed", "reboot-overdue", "not-kept",
     "state-damaged", "history-gap", "bus-missing", "unsafe-path", "series-ended", "cancelled")
)  # fmt: skip


@dataclasses.dataclass
class Told:
    """A status word that the agent told, and what became of it on its way to the root."""

    word: str
    fate: str = ""  # root-notified, root-failed, or nothing yet
    reason: str = ""


class History:
    def __init__(self, path: pathlib.Path) -> None:
        self._path = path
        self._read = 0
        self._part = b""
        self.told: list[Told] = []
        self.boots: list[str] = []  # the version of each
        self.troubles: list[str] = []
        self.failed_downloads = 0
        self.committed = False
        self.end: str | None = None  # of the request: empty for a good one

    def look(self) -> bool:
        """Takes what is new; whether there was something."""
        try:
            with open(self._path, "rb") as file:
                size = os.fstat(file.fileno()).st_size
                if size < self._read:
                    self.troubles.append("the history was begun anew, so its first part is unknown")
                    self._read = 0
                if size == self._read:
                    return False
                file.seek(self._read)
                text = file.read(size - self._read)
        except FileNotFoundError:
            return False
        self._read += len(text)
        *lines, self._part = (self._part + text).split(b"\n")
        for line in lines:
            try:
                self._take(json.loads(line))
            except ValueError:
                self.troubles.append(f"a line of the history is damaged: {line[:80]!r}")
        return bool(lines)

    @property
    def told_well(self) -> int:
        """Words of which it does not know that they did not reach the root."""
        return sum(told.fate != "root-failed" for told in self.told)

    def _take(self, line: dict[str, object]) -> None:
        event, reason = str(line.get("event")), str(line.get("reason"))
        if event == "status":
            self.told.append(Told(reason))
        elif event in ("root-notified", "root-failed"):
            self._take_fate(event, reason)
        elif event == "boot":
            self.boots.append(str(line.get("version")))
        elif event == "attempt-failed":
            self.failed_downloads += 1
        elif event == "committed":
            self.committed = True
        elif event == "finished":
            self.end = "" if line.get("code") == 0 else f"{line.get('code')}: {reason}"
        if event in _TROUBLE:
            self.troubles.append(f"{event}: {reason}")

    def _take_fate(self, event: str, reason: str) -> None:
        """Words go to the root one after the other."""
        for told in self.told:
            if not told.fate:
                told.fate, told.reason = event, reason
                return
        self.troubles.append(f"{event} of a word that was not told")
