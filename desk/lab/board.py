# SPDX-License-Identifier: MIT
"""What is known of every node and server, as those who look on see it.

Every field bears the number of its last change. Who looks on keeps one number, of what was seen last,
and takes what changed since: there is no queue, so that a slow page costs nothing but larger steps.
"""

import asyncio
from typing import Any

from lab.timeline import Timeline

MOST_MARKS = 3000  # at once; whoever is further behind starts over with a snapshot


class Fields:
    """Of one node or server."""

    def __init__(self, board: "Board", **values: Any) -> None:
        self._board = board
        self._values: dict[str, Any] = {}
        self._changed: dict[str, int] = {}
        self.set(**values)

    def __getitem__(self, name: str) -> Any:
        return self._values[name]

    def set(self, **values: Any) -> None:
        for name, value in values.items():
            if name not in self._values or self._values[name] != value:
                self._values[name] = value
                self._changed[name] = self._board.next_change()

    def all(self) -> dict[str, Any]:
        return dict(self._values)

    def since(self, change: int) -> dict[str, Any]:
        return {name: value for name, value in self._values.items() if self._changed[name] > change}


class Board:
    """The nodes and servers by name."""

    def __init__(self, timeline: Timeline) -> None:
        self.timeline = timeline
        self.nodes: dict[str, Fields] = {}
        self.servers: dict[str, Fields] = {}
        self._change = 0
        self._onlookers: set[Onlooker] = set()

    def next_change(self) -> int:
        self._change += 1
        self.wake()
        return self._change

    @property
    def change(self) -> int:
        return self._change

    def mark(self, node: str, kind: str, text: str, detail: str = "", log: int = -1) -> None:
        self.timeline.add(node, kind, text, detail, log)
        self.wake()

    def wake(self) -> None:
        for onlooker in self._onlookers:
            onlooker.news.set()

    def add(self, onlooker: "Onlooker") -> None:
        self._onlookers.add(onlooker)

    def remove(self, onlooker: "Onlooker") -> None:
        self._onlookers.discard(onlooker)

    @property
    def onlookers(self) -> int:
        return len(self._onlookers)

    def snapshot(self) -> dict[str, Any]:
        return {
            "kind": "snapshot",
            "nodes": {name: fields.all() for name, fields in self.nodes.items()},
            "servers": {name: fields.all() for name, fields in self.servers.items()},
            "marks": self.timeline.newest(MOST_MARKS),
        }


class Onlooker:
    """One who looks on."""

    def __init__(self, board: Board) -> None:
        self._board = board
        self._seen = -1
        self._mark = 0
        self.news = asyncio.Event()
        self.news.set()

    def step(self) -> dict[str, Any] | None:
        """What is new since the last step; none: nothing. The first one is a snapshot."""
        self.news.clear()
        board = self._board
        seen, self._seen = self._seen, board.change
        marks = board.timeline.after(self._mark, MOST_MARKS) if seen >= 0 else None
        self._mark = board.timeline.number
        if marks is None:
            return board.snapshot()
        step = {
            "kind": "step",
            "nodes": _since(board.nodes, seen),
            "servers": _since(board.servers, seen),
            "marks": marks,
        }
        return step if step["nodes"] or step["servers"] or marks else None


def _since(group: dict[str, Fields], change: int) -> dict[str, Any]:
    changed = ((name, fields.since(change)) for name, fields in group.items())
    return {name: fields for name, fields in changed if fields}
