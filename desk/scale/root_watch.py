# SPDX-License-Identifier: MIT
"""The words that are raised on the bus of a gateway, its extenders' and its own: what otactl sees."""

import asyncio
import collections
import json

from rig.node import Node
from rig.processes import LineStream


class RootWatch:
    """Of one gateway, whatever becomes of its power."""

    def __init__(self, node: Node) -> None:
        self.words: collections.Counter[tuple[str, str]] = collections.Counter()  # MAC, word
        self.trouble = ""
        self._own = node.plan.mac
        self._stream: LineStream = node.otactl.watch()
        asyncio.get_running_loop().add_reader(self._stream.fileno(), self._take)

    def _take(self) -> None:
        while (line := self._stream.next()) is not None:
            try:
                self._take_event(json.loads(line))
            except ValueError:
                self.trouble = f"otactl watch said what is no JSON: {line[:80]}"
        if self._stream.closed:
            asyncio.get_running_loop().remove_reader(self._stream.fileno())
            self.trouble = "otactl watch ended by itself"

    def _take_event(self, event: dict[str, object]) -> None:
        record = event.get("record")
        if not isinstance(record, dict):
            return
        if event.get("event") == "status":
            self.words[self._own, str(record.get("status"))] += 1
        elif event.get("event") == "extender":
            self.words[str(event.get("mac")), str(record.get("status"))] += 1

    def close(self) -> None:
        if not self._stream.closed:
            asyncio.get_running_loop().remove_reader(self._stream.fileno())
        self._stream.close()
