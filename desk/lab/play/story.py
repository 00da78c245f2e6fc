# SPDX-License-Identifier: MIT
"""What a node did since a scenario began, as its own events and the lab's marks told it."""

import dataclasses
import json
from collections.abc import Iterator
from typing import Any

from lab.lab_node import PLUG_PULLED, POWER_LOST, LabNode
from lab.mesh import Mesh
from lab.timeline import KEPT, Mark

_BOOTS = "boots "


@dataclasses.dataclass(frozen=True)
class End:
    """Of a ticket."""

    result: str
    reason: str  # its code


class Story:
    """Of one node."""

    def __init__(self, node: LabNode) -> None:
        self.node = node
        self.happened: list[tuple[str, str]] = []  # what it was and its name, in their order
        self.waited_from = 0  # earlier ones were waited for, or came before the last step
        self.ticket = 0  # the last one that the scenario was given
        self.at_root: list[str] = []  # words of this node that the gateway raised
        self.lost_power_in = ""  # the stage in which its power went last
        self._ends: dict[int, End] = {}
        self._began = node.node.clock.passed()
        self._stage = ""
        self._pulled = False  # and its power is not gone yet

    @property
    def fields(self) -> Any:
        return self.node.view.fields

    def all_of(self, what: str) -> list[str]:
        return [name for kind, name in self.happened if kind == what]

    def behind(self, what: str, name: str) -> int | None:
        """The place behind the first such that is still to be waited for."""
        for number in range(self.waited_from, len(self.happened)):
            if self.happened[number] == (what, name):
                return number + 1
        return None

    def end(self) -> End | None:
        """Of the last ticket."""
        return self._ends.get(self.ticket)

    def passed(self) -> float:
        """Seconds of the node's own time."""
        return self.node.node.clock.passed() - self._began

    # What is told.

    def take_event(self, event: dict[str, Any]) -> None:
        kind = event.get("event")
        if kind == "status":
            self._add("word", _word_of(event))
        elif kind == "history" and isinstance(event.get("line"), dict):
            self._add("event", str(event["line"].get("event")))
        elif kind == "finished":
            end = End(str(event.get("result")), str(event.get("reason_code")))
            self._ends[int(event.get("ticket", 0))] = end

    def take_mark(self, mark: Mark) -> None:
        """Of what the lab itself saw."""
        text = str(mark["text"])
        if mark["kind"] == "stage":
            self._stage = text
            self._add("stage", text)
        elif mark["kind"] == "boot" and text.startswith(_BOOTS):
            self._add("boot", text.removeprefix(_BOOTS).split()[0])
        elif mark["kind"] == "fault" and text in (PLUG_PULLED, POWER_LOST):
            # What was told while it went down does not count.
            if not self._pulled:
                self.lost_power_in = self._stage
            self._pulled = text == PLUG_PULLED

    def take_word_at_root(self, event: dict[str, Any]) -> None:
        self.at_root.append(_word_of(event))

    def _add(self, what: str, name: str) -> None:
        self.happened.append((what, name))


def _word_of(event: dict[str, Any]) -> str:
    record = event.get("record")
    return str(record.get("status", "")) if isinstance(record, dict) else json.dumps(record)


class Stories:
    """Of these nodes, from now on until end()."""

    def __init__(self, mesh: Mesh, names: list[str]) -> None:
        self._mesh = mesh
        self._macs = {setup.mac: setup.name for setup in mesh.setups}
        self._seen = mesh.timeline.number
        self._of = {name: Story(mesh.node(name)) for name in names}
        for name, story in self._of.items():
            story.node.view.told = self._teller(name)

    def __getitem__(self, name: str) -> Story:
        return self._of[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._of)

    def end(self) -> None:
        for story in self._of.values():
            story.node.view.told = None

    def catch_up(self) -> None:
        """With the marks of the lab."""
        for mark in self._mesh.timeline.after(self._seen, KEPT) or ():
            self._seen = mark["number"]
            if mark["node"] in self._of:
                self._of[mark["node"]].take_mark(mark)

    def _teller(self, name: str) -> Any:
        def told(event: dict[str, Any]) -> None:
            of_whom = self._macs.get(str(event.get("mac")), "")
            if event.get("event") == "extender" and of_whom in self._of:
                self._of[of_whom].take_word_at_root(event)
            self.catch_up()
            self._of[name].take_event(event)

        return told
