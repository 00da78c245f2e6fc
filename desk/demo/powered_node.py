# SPDX-License-Identifier: MIT
"""A node of the demonstration: on its bus, watched, and under a power supply where it is to be cut."""

import json
from typing import Any

from rig.failure import Failure
from rig.node import Node
from rig.node_folder import Booted
from rig.power import POWER_CUT, PowerSupply
from rig.processes import LineStream, Words, describe_end, last_said
from rig.waiting import wait_until

_OFF_WITHIN = 10.0  # seconds
_WATCHES_WITHIN = 10.0
_CUT = describe_end(POWER_CUT)
_WELL = describe_end(0)
_DAEMON = "the node's daemon"
_WATCH = "otactl watch"


class PoweredNode:
    """Off at first."""

    def __init__(self, node: Node, cut_at: int = 0) -> None:
        """`cut_at`: the change of its storage at which the power goes; 0: never."""
        self.node = node
        self.changes = 0  # so far, where the power is to be cut at one
        self._cut_at = cut_at
        self._was_cut = False
        self._supply = PowerSupply(node.programs, node.folder, node.log)
        self._watch: LineStream | None = None

    def begin(self) -> None:
        """Starts the bus and the watch; the node itself stays off."""
        self.node.bus.start()
        self._watch = self.node.otactl.watch()
        # From its first line on it misses nothing.
        late = f"otactl watch does not answer; see {self.node.otactl.log}"
        wait_until(lambda: self._next_line() is not None, _WATCHES_WITHIN, late)

    def close(self) -> None:
        if self._watch:
            self._watch.close()
        if self.node.daemon:
            self.node.daemon.stop()
        self.node.bus.stop()

    def boot(self) -> Booted:
        """Starts the node, which is off, on the bank that boots next."""
        node = self.node
        booted = node.run_boot_loader()
        node.boots += 1
        words = node.arguments()
        # The daemon and all that it starts run under a power supply that counts.
        if self._cut_at > self.changes and not self._was_cut:
            cut: Words = ["--cut", self._cut_at - self.changes, "--mode", "drop"]
            words = self._supply.around(words, cut)
        node.start(words)
        return booted

    def shut_down(self) -> bool:
        """In order; whether the power went meanwhile, as planned."""
        end = self.node.daemon.stop() if self.node.daemon else None
        self._wait_until_off()
        self.changes += self._supply.counted() or 0
        self._supply.forget_count()
        self._was_cut = self._was_cut or (end == _CUT and self._cut_at != 0)
        if end and end != _WELL and not self._was_cut:
            raise self._ended(_DAEMON, end)
        return end == _CUT

    def cut_power(self) -> None:
        """In the middle of whatever it does."""
        if self.node.daemon:
            self.node.daemon.kill_all()
        self._wait_until_off()

    def power_is_cut(self) -> bool:
        """Whether the power went by itself just now, as planned; the node is off then."""
        if self._was_cut or not self._cut_at or not self.node.daemon:
            return False
        end = self.node.daemon.ending()
        if end is None:
            return False
        if end != _CUT:
            raise self._ended(_DAEMON, end)
        self._was_cut = True
        self._wait_until_off()
        return True

    def cut_where(self) -> str:
        """The call at which the power was cut."""
        journal = self._supply.journal()
        return journal[-1] if journal else ""

    def next_event(self) -> dict[str, Any] | None:
        """In the order in which they happened; none where there is none yet."""
        line = self._next_line()
        if line is not None:
            try:
                event: dict[str, Any] = json.loads(line)
            except ValueError:
                raise Failure(f"otactl watch printed what is no JSON: {line}") from None
            return event
        if self.node.daemon and (not self._cut_at or self._was_cut):
            if (end := self.node.daemon.ending()) is not None:
                raise self._ended(_DAEMON, end)
        return None

    @property
    def watch(self) -> LineStream:
        assert self._watch is not None, "it has begun"
        return self._watch

    def _next_line(self) -> str | None:
        line = self.watch.next()
        if line is None and (end := self.watch.ending()) is not None:
            raise self._ended(_WATCH, end)
        return line

    def _wait_until_off(self) -> None:
        """The host ends with its daemon, a moment later."""
        late = f"the node's host process outlives its daemon; see {self.node.log}"
        wait_until(self.node.is_off, _OFF_WITHIN, late)

    def _ended(self, who: str, how: str) -> Failure:
        log = self.node.otactl.log if who == _WATCH else self.node.log
        said = last_said(log)
        said = f", having said: {said}" if said else ""
        return Failure(f"{who} ended with {how}{said}; its log is {log}")
