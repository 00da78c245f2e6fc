# SPDX-License-Identifier: MIT
"""What the events of a node's watch make of the picture of it."""

import pathlib
import time
from collections.abc import Callable
from typing import Any

from lab.board import Board, Fields

Event = dict[str, Any]

# As they are called in the picture.
_TAKEN_OVER = (
    "stage", "percentage", "downloaded_bytes", "banks", "bank_trials", "failed_versions",
    "status_word", "wait_reason", "wait_reason_code", "queued", "ticket", "offered_version",
    "work_mode", "work_role", "onboarding", "preferred_activation_time", "activation_time",
    "running_version", "next_version", "root_connected", "deferred", "last_end",
)  # fmt: skip
# Of the history, what is shown by other marks already.
_SHOWN_OTHERWISE = ("stage", "status", "accepted", "started", "finished")
_FAILURES = ("trial-failed", "host-crashed", "root-failed", "attempt-failed", "not-committed",
             "refused", "unsafe-path", "state-damaged", "reboot-overdue", "not-kept")  # fmt: skip
_NOTHING_RUNS: Event = {
    "service": False, "timers": [], "rate": None, "seconds_left": None, "percentage": 0,
    "downloaded_bytes": 0,
}  # fmt: skip


class NodeView:
    """Of one node."""

    def __init__(
        self,
        board: Board,
        name: str,
        explain: Callable[[str], str],
        log: pathlib.Path,
        **fixed: Any,
    ) -> None:
        """`explain`: the sentence of a status word; `fixed`: what the lab itself knows."""
        self._board, self._name, self._explain, self._log = board, name, explain, log
        self.wants_a_look = False  # something changed that no event tells
        self.told: Callable[[Event], None] | None = None  # who hears every event besides
        self.fields = Fields(
            board,
            name=name,
            power="off",
            service=False,
            root_connected=False,
            running_version="",
            stage="off",
            since=time.time(),
            percentage=0,
            downloaded_bytes=0,
            rate=None,
            seconds_left=None,
            timers=[],
            banks=[],
            bank_trials=[],
            failed_versions=[],
            status_word="",
            status_sentence="",
            last_end={},
            faults=[],
            frozen=[],
            memory=0,
            clock={"ahead": 0.0, "since": 0.0, "speed": 1},
            boots=0,
            descriptor=None,
            printed="",
            watched=False,
            **fixed,
        )
        board.nodes[name] = self.fields

    def take(self, event: Event) -> None:
        kind = str(event.get("event"))
        take = getattr(self, "_take_" + kind.replace("-", "_"), None)
        if take:
            take(event)
        if self.told:
            self.told(event)

    def mark(self, kind: str, text: str, detail: str = "") -> None:
        self._board.mark(self._name, kind, text, detail, self._log_size())

    def _log_size(self) -> int:
        try:
            return self._log.stat().st_size
        except OSError:
            return 0

    def stage_is(self, stage: str) -> None:
        """Also "off" and "starting", which no agent tells."""
        if self.fields["stage"] != stage:
            self.fields.set(stage=stage, since=round(time.time(), 3))
            self.mark("stage", stage)

    def power_is(self, power: str) -> None:
        """off, booting or on."""
        self.fields.set(power=power)
        if power != "on":
            self.stage_is("off" if power == "off" else "booting")
            self.fields.set(root_connected=False, **_NOTHING_RUNS)

    def starts_again(self) -> None:
        """The daemon, in the same boot."""
        self.fields.set(root_connected=False, **_NOTHING_RUNS)
        self.stage_is("starting")

    def look(self, status: Event) -> None:
        """As the node answers when it is asked how it is."""
        taken = {name: status[name] for name in _TAKEN_OVER if name in status}
        stage = str(taken.pop("stage", ""))
        if self.fields["power"] != "on":
            return
        if not taken.get("banks"):
            # The agent's host has not told of them yet.
            taken = {name: value for name, value in taken.items() if not name.startswith("bank")}
        self.fields.set(**taken)
        if stage:
            self.stage_is(stage)
        self._take_timers(status)
        self._say_word()

    # Events.

    def _take_service(self, event: Event) -> None:
        self.fields.set(service=bool(event.get("running")))
        self.wants_a_look = True

    def _take_snapshot(self, event: Event) -> None:
        self.look(event)
        self.wants_a_look = True

    def _take_stage(self, event: Event) -> None:
        if self.fields["power"] == "on":
            self.stage_is(str(event.get("stage")))
        self.wants_a_look = True

    def _take_software(self, event: Event) -> None:
        self.fields.set(
            running_version=str(event.get("running_version", "")),
            next_version=str(event.get("next_version", "")),
        )
        self.wants_a_look = True

    def _take_progress(self, event: Event) -> None:
        self.fields.set(
            percentage=event.get("percent"),
            downloaded_bytes=event.get("bytes"),
            rate=event.get("rate"),
            seconds_left=event.get("seconds_left"),
        )

    def _take_timers(self, event: Event) -> None:
        """With the time at which each rings: whoever looks on counts down by himself."""
        now = time.time()
        known = {timer["name"]: timer["rings"] for timer in self.fields["timers"]}
        timers = []
        for timer in event.get("timers", []):
            rings = now + timer["seconds"] / self.fields["clock"]["speed"]
            # Asked twice, the same timer rings at the same time.
            if abs(known.get(timer["name"], 0) - rings) < 2:
                rings = known[timer["name"]]
            timers.append({"name": timer["name"], "rings": round(rings, 1)})
        self.fields.set(timers=timers)

    def _take_status(self, event: Event) -> None:
        record = event.get("record")
        word = str(record.get("status", "")) if isinstance(record, dict) else ""
        self.fields.set(status_word=word)
        self._say_word()
        self.mark("word", word, self.fields["status_sentence"])
        self.wants_a_look = True

    def _say_word(self) -> None:
        word = self.fields["status_word"]
        self.fields.set(status_sentence=self._explain(word) if word else "")

    def _take_finished(self, event: Event) -> None:
        reason = str(event.get("reason", ""))
        text = f"{event.get('result')} ({event.get('code')})"
        self.mark("end", f"ticket {event.get('ticket')}: {text}", reason)
        self.wants_a_look = True

    def _take_history(self, event: Event) -> None:
        line = event.get("line")
        if not isinstance(line, dict):
            return
        name, reason = str(line.get("event")), str(line.get("reason", ""))
        if name not in _SHOWN_OTHERWISE:
            kind = "failure" if name in _FAILURES else "history"
            then = str(line.get("next", ""))
            self.mark(kind, name, f"{reason}; {then}" if reason and then else reason or then)
        self.wants_a_look = True

    def _take_extender(self, event: Event) -> None:
        record = event.get("record")
        word = record.get("status") if isinstance(record, dict) else record
        self.mark("root", f"{event.get('mac')}: {word}", "raised on this node's bus as the root")

    def _take_extender_file_server(self, event: Event) -> None:
        self.mark("root", f"{event.get('mac')}: a download was handed over")
