# SPDX-License-Identifier: MIT
"""One node in its scenario, from the first boot to its end, shown step by step."""

import json
import time
from typing import Any

from demo.display import Display
from demo.node_events import NodeEvents, RaisedAtTheRoot
from demo.observed import Context, NodeSetup, Observed
from demo.powered_node import PoweredNode
from demo.scenarios import MODEL, NEW_VERSION, Step
from demo.terminal import time_of_day
from rig import interrupt
from rig.failure import Failure
from rig.files import digest_of, read_text, readable_size, write_file
from rig.node import Node
from rig.node_folder import other_bank

# Seconds from now to the activation time that is set.
_ACTIVATION_DELAY = 5
_FAST_ACTIVATION_DELAY = 3

_LOOK_EVERY = 0.06  # seconds
# The handler goes on behind its reboot command until the system goes down.
_QUIET_AT_REBOOT = 0.5
_REBOOT_TAKES = 3.0
_DRAIN_LIMIT = 3.0
_ROOT_LIMIT = 10.0
_WINDOW_LIMIT = 10.0
_OFFERS_AFTER_A_CUT = 2


class Look:
    """How the node stood when it was asked last."""

    def __init__(self) -> None:
        self.forget()

    def forget(self) -> None:
        self.ready = False  # it has started and knows its root, where there is one
        self.settled = False  # no call runs, none is queued
        self.idle = False  # and nothing is awaited
        self._next = 0.0

    @property
    def is_due(self) -> bool:
        return time.monotonic() >= self._next

    def wait(self) -> None:
        """Until the node may be asked again."""
        self._next = time.monotonic() + _LOOK_EVERY

    def take(self, status: dict[str, Any], has_root: bool) -> None:
        self.wait()
        timers, queued = status.get("timers"), status.get("queued", 0)
        self.ready = bool(status.get("mac")) and (
            not has_root or bool(status.get("root_connected"))
        )
        stage = status.get("stage") if self.ready and not queued else ""
        self.idle = stage == "idle" and not timers
        # An agent that waits for something else than a timer has not started yet.
        self.settled = self.idle or (stage == "waiting" and bool(timers))


class NodeRun:
    """Of one node."""

    def __init__(
        self,
        context: Context,
        setup: NodeSetup,
        node: PoweredNode,
        display: Display,
        at_the_root: RaisedAtTheRoot,
    ) -> None:
        self.setup, self.display = setup, display
        self.observed = Observed()
        self.over = False  # idle, all steps taken, every ticket ended, every word at the root
        self._context, self._power = context, node
        self.events = NodeEvents(context, display, self.observed, node.node.log, at_the_root)
        self._look = Look()
        self._steps = list(context.scenario.steps) if setup.runs_scenario else []
        self._cut_pending = False
        self._offers_left = 0  # after a power cut that took the first one away
        self._last_event = 0.0
        self._reboot_asked: float | None = None
        self._ended_at: float | None = None
        self._window_due: float | None = None  # when the mobile app's file must be there
        if Step.ACTIVATION_TIME in self._steps:
            self.events.active_from = float("inf")

    @property
    def _node(self) -> Node:
        return self._power.node

    def fileno(self) -> int:
        return self._power.watch.fileno()

    def boot(self) -> None:
        booted = self._power.boot()
        for line in booted.passed_over:
            self.display.step("boot loader", line)
        self.observed.boots.append(booted.version)
        self.display.step("boot", f"{booted.version} from bank {booted.bank.upper()}")
        self._look.forget()

    def turn(self) -> None:
        """Takes what the node told, and reboots it where it asked for that. Never waits long."""
        self._take_events()
        if self._power.power_is_cut():
            self._after_the_cut()
            return
        if self._reboot_asked is None and self._node.reboot_file.exists():
            self._reboot_asked = time.monotonic()
        if self._reboot_asked is not None:
            self._reboot_once_quiet(self._reboot_asked)
        elif self._cut_pending and self._node.downloaded_bytes() > 0:
            self._cut_power()

    def _take_events(self) -> None:
        while (event := self._power.next_event()) is not None:
            self._last_event = time.monotonic()
            self.events.take(event)

    def ready(self) -> bool:
        """It has started and knows its root, where there is one."""
        self._ask()
        return self._look.ready

    def _ask(self) -> bool:
        """Asks the node how it stands, unless that was just done; whether the answer is new."""
        if self._reboot_asked is not None or not self._look.is_due:
            return False
        answer = self._node.otactl.ask("status")
        well = answer.code == 0 and answer.lines
        self._look.take(answer.first if well else {}, self._context.has_root)
        return True

    def go_on(self) -> None:
        """Takes the next step of the scenario where the node is ready for it."""
        if self.over or not self._ask() or not self._look.settled:
            return
        if self._steps:
            if self._may_take(self._steps[0]):
                self._take(self._steps.pop(0))
                self._look.wait()
            return
        self.over = (
            self._look.idle
            and not self.events.open_tickets
            and self._is_proven()
            and not self._offers_again()
            and self._words_arrived()
            and not self._is_cut_at_the_end()
        )

    def _is_proven(self) -> bool:
        """A power cut takes the tickets away that would tell when a trial is over."""
        if not self.observed.power_cut:
            return True
        return self._node.boot_state()["trial"] == "none" and not self._node.mark.exists()

    def _may_take(self, step: Step) -> bool:
        """The agent arms its timer first; its file for the mobile app is there a moment later."""
        if step is not Step.MOBILE_TRIGGER or read_text(self._node.agent_data):
            return True
        if self._window_due is None:
            self._window_due = time.monotonic() + _WINDOW_LIMIT
        return time.monotonic() > self._window_due

    def _words_arrived(self) -> bool:
        """A word that the gateway does not raise in time is for the verdict to tell."""
        if self._ended_at is None:
            self._ended_at = time.monotonic()
        return (
            not self._context.has_root
            or self.setup.gateway
            or len(self.observed.at_the_root) >= len(self.observed.words)
            or time.monotonic() > self._ended_at + _ROOT_LIMIT
        )

    def _is_cut_at_the_end(self) -> bool:
        """The change at which the power is to go may be one of the last, when the node goes down."""
        wanted = self._context.scenario.cuts_at_a_change and not self.observed.power_cut
        if not wanted or not self._power.shut_down():
            return False
        self._after_the_cut()
        return True

    def end(self) -> None:
        """Ends the node in order."""
        self._power.shut_down()
        self._drain()
        self.observed.changes = self._power.changes

    # Steps.

    def _take(self, step: Step) -> None:
        match step:
            case Step.OFFER:
                self._offer(self._context.image_url)
            case Step.OFFER_THEN_CUT:
                self._cut_pending = True
                self._offer(self._context.slow_image_url)
            case Step.MOBILE_TRIGGER:
                self._trigger()
            case Step.ACTIVATION_TIME:
                self._move_activation_time()
            case Step.DAMAGE_BANK:
                self._damage_bank()

    def _damage_bank(self) -> None:
        self._node.damage_bank()
        self.display.step("damage", "a byte of the passive bank changes, nobody is told")

    def _offer(self, url: str) -> None:
        scenario, mac = self._context.scenario, self.setup.mac
        policy = self._context.policy
        self.display.step("offer", f"{NEW_VERSION} for {mac}, policy {policy}")
        self.display.more(url)
        checksum = digest_of(self._context.offered.path, "md5")
        if scenario.wrong_checksum:
            checksum = ("1" if checksum[0] == "0" else "0") + checksum[1:]
        descriptor = {
            "model": MODEL, "nxtMSVersion": NEW_VERSION, "fileServerURL": url,
            "checksum": checksum, "mac": mac, "policy": int(policy),
        }  # fmt: skip
        file = self._node.folder / "descriptor.json"
        write_file(file, json.dumps(descriptor) + "\n")
        words = ["offer", file.name]
        words += ["--offload"] if scenario.offload else []
        words += ["--first-poll"] if scenario.first_poll else []
        try:
            self._hand(*words)
        except Failure:
            if not self._power.power_is_cut():
                raise
            self._after_the_cut()

    def _hand(self, *words: str) -> None:
        self.events.open_tickets.add(self._node.otactl.hand(*words))

    def _trigger(self) -> None:
        data = read_text(self._node.agent_data)
        if not data:
            raise Failure(f"no window opened: {self._node.agent_data} is not there")
        shown = data.replace("\n", " | ")
        self.display.step(
            "agent data", f"{shown}  (waiting | running | offered, for the mobile app)"
        )
        self.display.step("mobile app", "the user says: now")
        self._hand("trigger")

    def _move_activation_time(self) -> None:
        delay = _FAST_ACTIVATION_DELAY if self._context.fast else _ACTIVATION_DELAY
        at = int(time.time()) + delay
        self.display.step("activation", f"moved to {time_of_day(at)}, {delay} s from now")
        self._hand("activate-at", time_of_day(at))
        self.events.active_from = at - 1  # the agent counts in whole seconds

    # Reboots and power cuts.

    def _reboot_once_quiet(self, asked: float) -> None:
        now = time.monotonic()
        if now <= max(asked, self._last_event) + _QUIET_AT_REBOOT and now < asked + _REBOOT_TAKES:
            return
        if self._context.scenario.damage_at_reboot:
            self._damage_bank()
        self.display.step("reboot", "the node goes down")
        if self._power.shut_down():
            self._after_the_cut()
            return
        self._drain()
        self._reboot_asked = None
        self.boot()

    def _cut_power(self) -> None:
        self._cut_pending = False
        size = self._node.downloaded_bytes()
        self._power.cut_power()
        self._drain()
        text = f"in the middle of the download, after {readable_size(size)}"
        self.display.step("power cut", text)
        state = self._node.boot_state()
        if state[other_bank(state["active"])]["whole"] == "1":
            raise Failure(
                "the power was cut in a download, yet the passive bank is marked as whole"
            )
        self._context.crawl_mark.unlink()
        self.observed.power_cut = True
        self.boot()

    def _after_the_cut(self) -> None:
        """The node finds out by itself how far it came; what it had not kept is gone."""
        self._drain()
        self._reboot_asked = None
        where = f"at change {self._context.cut_power_at}, {self._power.cut_where()}"
        self.display.step("power cut", where)
        self.display.more("what was not synced by then is gone")
        self.events.open_tickets.clear()
        self._offers_left = _OFFERS_AFTER_A_CUT
        self.observed.power_cut = True
        self.boot()

    def _offers_again(self) -> bool:
        """As the server does that polls on: where the node is idle and the new version does not
        run."""
        if not self._offers_left:
            return False
        state = self._node.boot_state()
        if state[state["active"]]["version"] == NEW_VERSION:
            return False
        self._offers_left -= 1
        self._take(Step.OFFER)
        self._look.wait()
        return True

    def _drain(self) -> None:
        """Until the end of the daemon shows: what it said before came before."""
        deadline = time.monotonic() + _DRAIN_LIMIT
        while self.events.running and time.monotonic() < deadline:
            self._take_events()
            interrupt.check()
            time.sleep(0.005)
