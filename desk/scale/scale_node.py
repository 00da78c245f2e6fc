# SPDX-License-Identifier: MIT
"""The life of one node: its power, its boots, its request. It has no supervisor: a daemon that ends
by itself is a node that is lost."""

import asyncio
import json
import pathlib
import signal
import time
from collections.abc import Callable

from rig.bus import LOCAL_ADDRESS
from rig.failure import Failure
from rig.files import last_line, read_text
from rig.node import Node
from rig.node_folder import BOOTED
from rig.processes import describe_end
from scale.children import Child, Children
from scale.history import History
from scale.seats import Seat

_BUS = ["dbus-daemon", "--config-file=bus.conf", "--nofork", "--nopidfile", "--nosyslog"]
_QUIET_AT_REBOOT = 0.5  # seconds; the handler goes on behind its reboot command
_OFF_WITHIN, _ENDS_WITHIN, _UP_WITHIN = 20.0, 60.0, 120.0
_GLANCE = 0.02
_OFFERS, _BETWEEN_OFFERS = 20, 0.5


class RetryingNode(Node):
    """One whose sleeps pass at once, and its waits for another download in seconds. What asks for
    its reboot lies where those of all nodes lie."""

    def __init__(self, reboot_file: pathlib.Path, retry_wait: int, *words: object) -> None:
        super().__init__(*words)  # type: ignore[arg-type]
        self.reboot_file = reboot_file
        self._retry_wait = retry_wait

    def environment(self) -> dict[str, str]:
        return {**super().environment(), "OTA_DESK_RETRY_WAIT": str(self._retry_wait)}


class ScaleNode:
    """Off at first."""

    def __init__(
        self, seat: Seat, node: Node, children: Children, environment: dict[str, str]
    ) -> None:
        self.seat, self.node = seat, node
        self._environment = environment
        self.history = History(node.folder / "configs/otad/history.jsonl")
        self.lost = ""  # why
        self.offered = self.finished = 0.0
        self.offers = 0
        self.memory = 0  # KiB, the most that was seen
        self._children = children
        self._bus: Child | None = None
        self._daemon: Child | None = None
        self.reboots = False
        self._goes_down = False
        self._changed = asyncio.Event()

    @property
    def processes(self) -> list[int]:
        return [
            child.pid for child in (self._bus, self._daemon) if child and not child.ended.done()
        ]

    def look(self) -> None:
        """Whether there is something new; asked now and then, for all nodes by one."""
        if self.history.look():
            self._changed.set()

    async def _until(self, condition: Callable[[], bool], patience: float, what: str) -> None:
        try:
            await asyncio.wait_for(self._reach(condition), patience)
        except TimeoutError:
            self.lose(f"waited {patience:.0f} s in vain: {what}")
        if self.lost:
            raise Failure(self.lost)

    async def _reach(self, condition: Callable[[], bool]) -> None:
        while not self.lost and not condition():
            self._changed.clear()
            await self._changed.wait()

    def lose(self, why: str) -> None:
        self.lost = self.lost or why
        self._changed.set()

    # Power.

    async def start_bus(self) -> None:
        bus = self._children.start(
            "bus", [*_BUS, "--print-address"], self.node.folder, self.node.bus.log, self._environment,
            output=True,
        )  # fmt: skip
        self._bus = bus
        if not await bus.first_line():
            raise Failure(
                f"{self.seat.name}: the message bus does not come up; see {self.node.bus.log}"
            )
        bus.ended.add_done_callback(lambda _: self._part_ended("the message bus", bus))

    async def boot(self) -> None:
        self.node.lose_memory()
        words, node = self.node.boot_loader(), self.node
        finished = await self._children.run(
            "boot loader", words, node.folder, node.log, self._environment
        )
        if finished.code not in BOOTED:
            raise Failure(
                f"the boot loader ended with {describe_end(finished.code)}; see {node.log}"
            )
        boots = len(self.history.boots)
        self._start_daemon()
        up = lambda: len(self.history.boots) > boots  # noqa: E731
        await self._until(up, _UP_WITHIN, "the agent starts")

    def _start_daemon(self) -> None:
        node = self.node
        node.boots += 1
        self._goes_down = False
        daemon = self._children.start(
            "node", node.arguments(), node.folder, node.log, node.environment()
        )
        self._daemon = daemon
        daemon.ended.add_done_callback(lambda _: self._part_ended("the daemon", daemon))

    def _part_ended(self, what: str, child: Child) -> None:
        code = child.ended.result()
        if not self._goes_down:
            self.lose(f"{what} ended by itself with {describe_end(code)}; see {self.node.log}")
        elif code != 0:
            self.lose(f"{what} was asked to end, and did with {describe_end(code)}")

    async def _go_down(self) -> None:
        self._goes_down = True
        if self._daemon:
            self._daemon.signal(signal.SIGTERM)
            await _end_of(self._daemon, f"{self.seat.name}: the daemon does not end")
        deadline = time.monotonic() + _OFF_WITHIN
        while not self.node.is_off():
            if time.monotonic() > deadline:
                raise Failure(
                    f"{self.seat.name}: the host outlives its daemon; see {self.node.log}"
                )
            await asyncio.sleep(_GLANCE)

    async def reboot(self) -> None:
        """The agent asked for it."""
        await asyncio.sleep(_QUIET_AT_REBOOT)
        await self._go_down()
        await self.boot()

    async def end(self) -> None:
        await self._go_down()
        if self._bus:
            self._bus.signal(signal.SIGTERM)
            await _end_of(self._bus, f"{self.seat.name}: the message bus does not end")

    # What it is asked.

    async def _ask(self, *words: str) -> tuple[int, str]:
        otactl = [self.node.otactl.program, "--bus", LOCAL_ADDRESS, "--json", *words]
        asked = await self._children.run(
            "otactl", otactl, self.node.folder, self.node.otactl.log, self._environment
        )
        return asked.code, asked.output

    async def is_at_the_root(self) -> bool:
        code, answer = await self._ask("status")
        return code == 0 and json.loads(answer).get("root_connected") is True

    async def upgrade(self, descriptor: str, limit: float) -> None:
        """Offers the image, and waits for the end of the request."""
        (self.node.folder / "descriptor.json").write_text(descriptor)
        self.offered = time.monotonic()
        for _ in range(_OFFERS):
            self.offers += 1
            code, _answer = await self._ask("offer", "descriptor.json")
            if code == 0:
                break
            await asyncio.sleep(_BETWEEN_OFFERS)
        else:
            said = last_line(read_text(self.node.otactl.log))
            self.lose(f"no offer was accepted: {said}")
        await self._until(self._is_over, limit, "the request ends")
        self.finished = time.monotonic()

    def _is_over(self) -> bool:
        return self.history.end is not None and (self.history.end != "" or self.history.committed)


async def _end_of(child: Child, late: str) -> None:
    try:
        await asyncio.wait_for(asyncio.shield(child.ended), _ENDS_WITHIN)
    except TimeoutError:
        raise Failure(late) from None
