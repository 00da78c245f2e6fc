# SPDX-License-Identifier: MIT
"""What is done by hand in a lab, written down so that it can be played."""

import dataclasses
import time
from typing import Any

from lab.mesh import FILE_SERVER, Mesh
from lab.operation import Answer, Operation
from lab.play.conditions import NONE
from lab.play.duration import duration
from lab.play.script import MOST_LIMIT, MOST_LINES, USUAL_LIMIT, USUAL_WAIT
from lab.play.story import Stories
from rig.failure import Failure

_PATIENCE = 10  # times as long as it took when it was recorded
_ROOM_FOR_ENDS = 100  # lines
_RESTS = ("idle", "off")


@dataclasses.dataclass
class Moment:
    """How it stands before something is done: what came to pass since the last line, a line each."""

    at: float
    events: dict[str, int]  # of each node, so far
    waits: dict[str, list[str]]


class Recorder:
    """From now on until end()."""

    def __init__(self, mesh: Mesh) -> None:
        self._mesh = mesh
        self._names = [setup.name for setup in mesh.setups]
        self._stories = Stories(mesh, self._names)
        self._began = time.monotonic()
        self._last = Moment(self._began, {name: 0 for name in self._names}, {})
        rate = mesh.board.servers[FILE_SERVER]["rate"]
        self._lines = [f"{FILE_SERVER} --rate {rate}"]

    def text(self) -> str:
        """As far as it came."""
        seconds = time.monotonic() - self._began
        limit = min(MOST_LIMIT, max(USUAL_LIMIT, round(seconds * _PATIENCE)))
        date = time.strftime("%Y-%m-%d %H:%M", time.gmtime())
        head = [f"title      Recorded on {date}", f"extenders  {len(self._names) - 1}",
                f"limit      {duration(limit)}", ""]  # fmt: skip
        return "\n".join([*head, *self._lines]) + "\n"

    def moment(self) -> Moment:
        """As it stands now."""
        self._stories.catch_up()
        events = {name: len(self._stories[name].happened) for name in self._names}
        waits = {name: self._waits_of(name) for name in self._names}
        return Moment(time.monotonic(), events, waits)

    def take(self, operation: Operation, given: Answer, answer: Answer, at: Moment) -> None:
        """What was done at that moment."""
        if len(self._lines) > MOST_LINES - _ROOM_FOR_ENDS:
            raise Failure("the recording is as long as a scenario may be: end it")
        self._write_waits(at)
        words = [
            f"--{name}" if value is True else f"--{name} {value}"
            for name, value in given.items()
            if name != "nodes" and value is not False
        ]
        if not operation.takes_nodes:
            self._lines.append(" ".join([operation.name, *words]))
        for code, nodes in _by(answer.get("nodes", {}), lambda one: one["code"]):
            then = [f"-> {code}"] if code else []
            self._lines.append(" ".join([operation.name, self._said(nodes), *words, *then]))
            for name in nodes:
                ticket = answer["nodes"][name].get("ticket")
                self._stories[name].ticket = ticket or self._stories[name].ticket

    def end(self) -> str:
        """The whole of it, with how the nodes stand now."""
        self._write_waits(self.moment())
        self._stories.end()
        ends = {name: self._end_of(name) for name in self._names}
        self._lines.append("")
        for line, nodes in _by(ends, lambda one: one):
            self._lines.append(f"expect {self._said(nodes)} {line}")
        return self.text()

    # What came to pass since the last line.

    def _write_waits(self, moment: Moment) -> None:
        patience = round((moment.at - self._last.at) * _PATIENCE)
        within = ""
        if patience > USUAL_WAIT:
            within = f" within {duration(min(MOST_LIMIT, patience))}"
        self._last = moment
        while any(moment.waits.values()):
            first = {name: lines.pop(0) for name, lines in moment.waits.items() if lines}
            for line, nodes in _by(first, lambda one: one):
                self._lines.append(f"wait {self._said(nodes)} {line}{within}")

    def _waits_of(self, name: str) -> list[str]:
        """Its words in their order, then the stage that it came to behind them."""
        news = self._stories[name].happened[self._last.events[name] :]
        words = [at for at, (what, _) in enumerate(news) if what == "word"]
        waits = [f"word {news[at][1]}" for at in words]
        behind = news[words[-1] + 1 :] if words else news
        stages = [stage for what, stage in behind if what == "stage"]
        if stages and stages[-1] not in _RESTS:
            waits.append(f"stage {stages[-1]}{self._more(name, stages[-1])}")
        return waits

    def _more(self, name: str, stage: str) -> str:
        fields = self._stories[name].fields
        if stage == "downloading" and fields["percentage"]:
            return f", percent {fields['percentage']}"
        if stage == "waiting" and fields["timers"]:
            return f", timer {fields['timers'][0]['name']}"
        return ""

    def _end_of(self, name: str) -> str:
        story = self._stories[name]
        banks = [one for one in story.fields["banks"] if not one["running"] and one["whole"]]
        conditions = [f"version {story.fields['running_version']}",
                      f"bank {banks[0]['version'] if banks else NONE}"]  # fmt: skip
        if end := story.end():
            conditions += [f"end {end.result}", f"reason {end.reason}"]
        for what, found in (("words", story.all_of("word")), ("boots", story.all_of("boot"))):
            conditions.append(f"{what} {' '.join(found) or NONE}")
        return ", ".join(conditions)

    def _said(self, nodes: list[str]) -> str:
        return "all" if nodes == self._names else " ".join(nodes)


def _by(group: dict[str, Any], key: Any) -> list[tuple[Any, list[str]]]:
    """Those that are the same in this, together, in their order."""
    found: dict[Any, list[str]] = {}
    for name, one in group.items():
        found.setdefault(key(one), []).append(name)
    return list(found.items())
