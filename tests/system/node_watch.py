# SPDX-License-Identifier: MIT
"""What a client hears that follows a node."""

import json
from typing import Any

from rig.waiting import wait_for


class Watch:
    """`otactl watch --json` of a node, line by line."""

    def __init__(self, node) -> None:
        self._stream = node.otactl.watch()
        self.child = self._stream.child
        self.lines: list[dict[str, Any]] = []
        node.place.closes(self._stream.close)
        self.wait_for("service")

    def read(self) -> list[dict[str, Any]]:
        while (line := self._stream.next()) is not None:
            self.lines.append(json.loads(line))
        return self.lines

    def of(self, event: str, **fields: object) -> list[dict[str, Any]]:
        return [
            line
            for line in self.read()
            if line["event"] == event
            and all(line.get(key) == value for key, value in fields.items())
        ]

    def wait_for(self, event: str, count: int = 1, **fields: object) -> dict[str, Any]:
        wait_for(f"watch prints {event} {fields}", lambda: len(self.of(event, **fields)) >= count)
        return self.of(event, **fields)[-1]
