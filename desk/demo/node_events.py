# SPDX-License-Identifier: MIT
"""What the events of a node's watch mean: they are shown, and kept for the verdict."""

import json
import pathlib
import time
from collections.abc import Callable
from typing import Any

from demo.display import Display, Progress
from demo.node_log import ERROR, News, NodeLog
from demo.observed import Context, Observed

from demo.scenarios import (
    ACTIVATION_COMPLETE, ACTIVATION_FAILED, NEW_VERSION, REBOOT_COMPLETE, SWAP_PASSIVE,
)  # fmt: skip
from demo.step_text import ImageProgress, StepText
from rig.failure import Failure
from rig.processes import last_said

_CRASHES_IN_A_ROW = 3
# The agent sleeps behind some of its words; a person who watches should know.
_PAUSES = {ACTIVATION_COMPLETE: 10, REBOOT_COMPLETE: 20, SWAP_PASSIVE: 5}
_TIMER_ENDS = {"timer-stopped": "stopped"}
# Of the history, as they are.
_PLAIN_STEPS = {
    "trial": ("trial", ""),
    "agent-waits": ("agent", ""),
    "root-failed": ("root", "NOT reached: "),
    "state-damaged": ("state", ""),
}

Event = dict[str, Any]
# What a gateway raises for the node of a hardware address: the kind of event, the address, and what
# it holds.
RaisedAtTheRoot = Callable[[str, str, Event], None]


# What is missing, null or of another kind is nothing.


def _text(event: Event, key: str) -> str:
    value = event.get(key)
    return value if isinstance(value, str) else ""


def _number(event: Event, key: str) -> int:
    value = event.get(key)
    return int(value) if isinstance(value, int | float) else 0


def _object(event: Event, key: str) -> Event:
    value = event.get(key)
    return value if isinstance(value, dict) else {}


def _describe(record: Event) -> str:
    current, previous = _text(record, "curswversion"), _text(record, "prevswversion")
    # This word names the new version as current before anything runs it.
    if _text(record, "status") == ACTIVATION_COMPLETE:
        versions = f"new {current}, running {previous}"
    else:
        versions = f"running {current}, previous {previous or 'none'}"
    who = f"{_text(record, 'model')} {_text(record, 'sn')}"
    return f"{versions}, {who}, {_text(record, 'mac')}"


class NodeEvents:
    """Of one node."""

    def __init__(
        self,
        context: Context,
        display: Display,
        observed: Observed,
        log: pathlib.Path,
        at_the_root: RaisedAtTheRoot,
    ) -> None:
        self._context, self._display, self._observed = context, display, observed
        self._at_the_root = at_the_root
        self._log = log
        self._node_log = NodeLog(log)
        self._image = ImageProgress()
        self._why = ""  # the last thing that went wrong, in the node's own words
        self._passed_timer = ""  # that the desk let pass
        self._last_percent = 0  # of the download
        self._crashes = 0  # of the host, since it last did something
        self._last_report = ""  # that the gateway raised
        self.running = False  # the daemon has its name on the bus
        self.open_tickets: set[int] = set()  # without an end
        self.active_from: float | None = None  # no activation is to come before; none: any time

    def take(self, event: Event) -> None:
        match event.get("event"):
            case "service":
                self.running = bool(event.get("running"))
            case "status":
                self._take_status(_object(event, "record"))
            case "progress":
                self._take_progress(event)
            case "finished":
                self._take_end(event)
            case "history":
                self._take_history(_object(event, "line"))
            case "extender":
                self._at_the_root("report", _text(event, "mac"), _object(event, "record"))
            case "extender-file-server":
                self._at_the_root("file-server", _text(event, "mac"), _object(event, "info"))

    def _take_status(self, record: Event) -> None:
        word = _text(record, "status")
        self._show_news()
        self._show(self._image.word_came(word))
        self._observed.words.append(word)
        # The agent counts in whole seconds.
        activates = word in (ACTIVATION_COMPLETE, ACTIVATION_FAILED)
        if activates and self.active_from is not None and time.time() < self.active_from:
            self._observed.early = True
        self._display.step("status", word)
        self._display.more(_describe(record))
        if word in _PAUSES:
            passes = ", which pass at once" if self._context.fast else ""
            self._display.more(f"(the agent pauses for {_PAUSES[word]} s{passes})")

    def _take_progress(self, event: Event) -> None:
        percent = _number(event, "percent")
        # Between downloads it is 0; where only the bytes rose, there is nothing to draw.
        if 0 < percent != self._last_percent:
            rate, left = _number(event, "rate"), _number(event, "seconds_left")
            self._display.progress(Progress(percent, rate, left))
        self._last_percent = percent

    def _take_end(self, event: Event) -> None:
        self.open_tickets.discard(_number(event, "ticket"))
        if code := _number(event, "code"):
            why = _text(event, "reason_code")
            why = f", {why}" if why not in ("", "none") else ""
            self._display.step("outcome", f"{_text(event, 'result')} ({code}{why})")
            self._display.more(_text(event, "reason"))

    def _take_history(self, line: Event) -> None:
        event, reason = _text(line, "event"), _text(line, "reason")
        if event == "stage":
            self._crashes = 0
            self._show(self._image.stage_began(reason))
        elif event.startswith("timer-"):
            self._show_timer(event, reason)
        elif event == "host-crashed":
            self._take_crash(reason, _text(line, "next"))
        elif event == "taken-up":
            self._observed.resumed = True
            self._display.step("taken up", f"ticket {_number(line, 'ticket')}: {reason}")
        elif event == "trial-failed":
            self._why = reason
            self._display.step("trial", f"FAILED: {reason}")
        elif event in _PLAIN_STEPS:
            step, before = _PLAIN_STEPS[event]
            self._display.step(step, before + reason)

    def _show_timer(self, event: str, reason: str) -> None:
        name = reason.split(" ", 1)[0]
        self._show_news()
        if event != "timer-started":
            self._display.step("timer", f"{name} {_TIMER_ENDS.get(event, 'ran out')}")
            return
        self._show(self._image.timer_started(name))
        passed, self._passed_timer = self._passed_timer, ""
        self._display.step("timer", passed if passed.startswith(name) else reason)

    def _take_crash(self, reason: str, next_: str) -> None:
        self._display.step("host process", reason + (f"; {next_}" if next_ else ""))
        self._crashes += 1
        if self._crashes >= _CRASHES_IN_A_ROW:
            last = last_said(self._log, ERROR)
            said = f", having said: {last}" if last else ""
            raise Failure(f"the node's host process does not start{said}; its log is {self._log}")

    def _show(self, known: StepText | None) -> None:
        if known is None:
            return
        why = ""
        if known.failed:
            why, self._why = self._why, ""
        self._display.step(known.step, f"NOT: {why}" if why else known.text)

    def _show_news(self) -> None:
        for news, text in self._node_log.news():
            match news:
                case News.FAILED_DOWNLOAD:
                    self._observed.failed_downloads.append(text)
                    self._display.step("download", text)
                case News.GAVE_UP:
                    self._display.step("download", text)
                case News.CALCULATED:
                    self._why = f"the image's MD5 sum is {text}, another one was offered"
                case News.REFUSAL:
                    self._why = self._observed.refusal = text
                case News.PASSED_TIMER:
                    self._passed_timer = text

    def raised_at_the_root(self, kind: str, held: Event) -> None:
        """The gateway raised this of the node."""
        if kind == "file-server":
            version, url = _text(held, "swVersion"), _text(held, "fileServerURL")
            expected = (NEW_VERSION, self._context.image_url)
            self._observed.handed_over = (version, url) == expected
            self._display.step("hand-off", f"{version} from {url}")
            return
        # The broker may bring a message twice where the gateway was down in between.
        text = json.dumps(held)
        if text != self._last_report:
            self._last_report = text
            word = _text(held, "status")
            self._observed.at_the_root.append(word)
            self._display.step("at the root", f"{word}, raised on the gateway's bus")
            self._display.more(_describe(held))
