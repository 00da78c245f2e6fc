# SPDX-License-Identifier: MIT
"""The life of a node in the lab: its power, its supervisor, and what is done to it."""

import asyncio
import contextlib
import functools
import json
import os
import signal
import time
from collections.abc import Awaitable, Callable
from typing import Any

from lab import processes, storage
from lab.clock import ClockedNode
from lab.node_view import NodeView
from rig.clock import Clock
from rig.failure import Failure
from rig.files import read_text
from rig.otactl import Answer
from rig.power import POWER_CUT, PowerSupply
from rig.processes import LineStream, describe_end
from rig.usage import memory_of
from rig.waiting import wait_until

STARTING = "starting"
PLUG_PULLED, POWER_LOST = "plug pulled", "power lost"
_OFF_WITHIN = 20.0  # seconds
_QUIET_AT_REBOOT = 0.5  # the handler goes on behind its reboot command until the system goes down
_SUPERVISOR_WAITS = 1.0  # before it starts a daemon again that ended by itself
_LOOKS_APART = 0.3
# That the root came or went is no event.
_LOOKS_ANYHOW, _LOOKS_FOR_THE_ROOT = 5.0, 1.0
# Of its log, before and behind a moment.
_AROUND, _LINES_AROUND = 2000, 5  # bytes, lines
# Many busy nodes leave the processor to the lab and to whoever looks at its page.
_GIVES_WAY = ("nice", "-n", "10")
_CUT = describe_end(POWER_CUT)

# Runs what waits in a thread of its own.
InThread = Callable[..., Awaitable[Any]]


class LabNode:
    """Off at first."""

    def __init__(self, node: ClockedNode, view: NodeView, in_thread: InThread) -> None:
        self.node, self.view = node, view
        self.name = node.name
        self.descriptor: dict[str, Any] | None = None
        self.power = asyncio.Lock()  # held while it goes up or down
        self._in_thread = in_thread
        self._watch: LineStream | None = None
        self.storage = storage.Storage(PowerSupply(node.programs, node.folder, node.log))
        self._reboot_seen: float | None = None
        self._died: float | None = None
        self._looked = 0.0
        self._looks = False
        self._unplug_when = ""  # it tells this stage or status word

    @property
    def is_on(self) -> bool:
        return bool(self.view.fields["power"] == "on")

    @property
    def is_ready(self) -> bool:
        """Nothing runs, nothing waits, and the root knows it."""
        fields = self.view.fields
        return bool(
            self.is_on and fields["stage"] == "idle" and fields["root_connected"]
            and fields["banks"]
        )  # fmt: skip

    def has_fault(self, name: str) -> bool:
        return name in self.view.fields["faults"]

    def set_fault(self, name: str, wanted: bool) -> None:
        faults = set(self.view.fields["faults"])
        (faults.add if wanted else faults.discard)(name)
        self.view.fields.set(faults=sorted(faults))

    # The bus, and what the node says on it.

    async def begin(self) -> None:
        """The bus and the watch run as long as the lab does, whatever the node's power."""
        await self._in_thread(self.node.bus.start)
        self._watch = await self._in_thread(self.node.otactl.watch)
        asyncio.get_running_loop().add_reader(self._watch.fileno(), self._take_events)

    def _take_events(self) -> None:
        assert self._watch
        while (line := self._watch.next()) is not None:
            with contextlib.suppress(ValueError):
                event = json.loads(line)
                self.view.take(event)
                self._unplug_if_told(event)
        if self._watch.closed:
            asyncio.get_running_loop().remove_reader(self._watch.fileno())
            self.view.mark("failure", "otactl watch ended", f"see {self.node.otactl.log}")

    async def ask(self, *words: str | int) -> Answer:
        answer: Answer = await self._in_thread(
            functools.partial(self.node.otactl.ask, *words, brief=True)
        )
        return answer

    async def end(self) -> None:
        async with self.power:
            await self._go_down()
        if self._watch:
            asyncio.get_running_loop().remove_reader(self._watch.fileno())
            await self._in_thread(self._watch.close)
        await self._in_thread(self.node.bus.stop)

    # Power.

    async def plug(self) -> None:
        """The power is there; the node boots."""
        async with self.power:
            if not self.is_on:
                # Of a plug that was pulled the moment before, something may still end.
                await self._in_thread(self._wait_until_off)
                await self._boot()

    async def unplug(self) -> None:
        """In the middle of whatever it does."""
        async with self.power:
            if self.is_on and self.storage.watched:
                await self._in_thread(self._pull_the_plug)
                await self._without_power("the plug was pulled")
            elif self.is_on:
                self.storage.forget_losses()
                self._lose_power("the plug was pulled")
                await self._in_thread(self._wait_until_off)

    def unplug_when(self, moment: str) -> None:
        """As soon as it comes to this stage, or says this status word."""
        self._unplug_when = moment
        self.view.mark("fault", f"the plug will be pulled when it tells {moment}")

    def _unplug_if_told(self, event: dict[str, Any]) -> None:
        record = event.get("record") if event.get("event") == "status" else None
        word = record.get("status") if isinstance(record, dict) else None
        if (
            self._unplug_when
            and self._unplug_when in (self.view.fields["stage"], word)
            and self.is_on
        ):
            self._drop(self._unplug_when)

    def _drop(self, told: str) -> None:
        """At once, before anything else is heard of it."""
        self._unplug_when = ""
        self.view.mark("fault", PLUG_PULLED, f"it told {told}")
        daemon = self.node.daemon
        if self.storage.watched and told != STARTING and daemon and daemon.is_running():
            # The supply goes, and whoever looks after the node sees it.
            os.kill(daemon.pid, signal.SIGPWR)
        else:
            self.storage.forget_losses()
            self._lose_power("the plug was pulled")

    async def reboot(self) -> None:
        """In order."""
        async with self.power:
            if self.is_on:
                self.view.mark("boot", "goes down to boot")
                await self._go_down()
                await self._boot()

    async def cut_power_at(self, change: int, mode: str) -> None:
        """Counted from now on, or where nobody watched the storage, from the daemon's start."""
        if not self.is_on:
            raise Failure("the node is off")
        self.storage.plan_cut(change, mode)
        await self.watch_storage(True)

    async def watch_storage(self, wanted: bool) -> None:
        """By a power supply that knows what is synced; where that is news, the daemon starts again
        in the same boot."""
        async with self.power:
            if self.storage.watched == wanted:
                return
            self.storage.watched = wanted
            self.view.fields.set(watched=wanted)
            if self.is_on:
                self.signal_all("thaw")
                await self._in_thread(self._stop_daemon)
                self.view.starts_again()
                await self._in_thread(self._start)

    async def spoil_storage(self, fault: str, wanted: bool) -> None:
        """One of those that the power supply plays."""
        self.storage.set_fault(fault, wanted)
        self.set_fault(fault, wanted)
        if wanted:
            await self.watch_storage(True)

    async def _boot(self) -> None:
        try:
            await self._go_up()
        except Failure as failure:
            self.view.mark("failure", "does not come up", str(failure))
            self.view.power_is("off")
            raise

    async def _go_up(self) -> None:
        self.view.power_is("booting")
        if self.has_fault("never-boots") and await self._in_thread(self._spoil_new_image):
            self.view.mark("fault", "the new image does not boot", "a byte of its bank was changed")
        booted = await self._in_thread(self.node.run_boot_loader)
        for line in booted.passed_over:
            self.view.mark("failure", "boot loader", line)
        self.node.boots += 1
        self.view.fields.set(boots=self.node.boots)
        self.storage.forget_cut()
        await self._in_thread(self._start)
        self.view.mark("boot", f"boots {booted.version} from bank {booted.bank.upper()}")
        self.view.power_is("on")
        self.view.stage_is(STARTING)
        if self._unplug_when == STARTING:
            self._drop(STARTING)

    def _spoil_new_image(self) -> bool:
        state = self.node.boot_state()
        if state["next"] == state["active"]:
            return False
        self.node.damage_bank()
        return True

    def _start(self) -> None:
        self._reboot_seen = self._died = None
        words = self.storage.around(self.node.arguments()) or self.node.arguments()
        # So that a limit that comes later is an error to them, not their end.
        self.node.start([*_GIVES_WAY, *words], file_limit=processes.ENDLESS)
        if self.has_fault("disk-full"):
            self._limit_files(0)

    async def _go_down(self) -> None:
        self.signal_all("thaw")
        await self._in_thread(self._stop_daemon)
        self.view.power_is("off")

    def _stop_daemon(self) -> None:
        if self.node.daemon:
            self.node.daemon.stop()
        self._wait_until_off()

    def _wait_until_off(self) -> None:
        late = f"the node's host process outlives its daemon; see {self.node.log}"
        wait_until(self.node.is_off, _OFF_WITHIN, late)

    def _pull_the_plug(self) -> None:
        """As the power supply does it: what was not synced is gone."""
        daemon = self.node.daemon
        if daemon and daemon.is_running():
            os.kill(daemon.pid, signal.SIGPWR)
            late = f"the power supply does not go; see {self.node.log}"
            wait_until(lambda: daemon.ending() is not None, _OFF_WITHIN, late)

    def _lose_power(self, why: str) -> None:
        found = self.processes()
        if self.node.daemon:
            self.node.daemon.kill_all()
        # One that stands still does not notice that the others are gone.
        for pid in found.values():
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, processes.SIGNALS["kill"])
        self.view.fields.set(frozen=[])
        self.view.mark("fault", POWER_LOST, why)
        self.view.power_is("off")

    # Processes.

    def processes(self) -> dict[str, int]:
        daemon = self.node.daemon
        return processes.processes_of(daemon.pid) if daemon and daemon.is_running() else {}

    def signal(self, deed: str, what: str) -> bool:
        """Whether there is such a process."""
        pid = self.processes().get(what)
        if pid is None:
            return False
        with contextlib.suppress(ProcessLookupError):
            os.kill(pid, processes.SIGNALS[deed])
        frozen = set(self.view.fields["frozen"])
        (frozen.add if deed == "freeze" else frozen.discard)(what)
        self.view.fields.set(frozen=sorted(frozen))
        return True

    def signal_all(self, deed: str) -> None:
        for what in processes.PROGRAMS:
            self.signal(deed, what)

    def fill_disk(self, full: bool) -> None:
        self.set_fault("disk-full", full)
        self._limit_files(0 if full else processes.ENDLESS)

    def _limit_files(self, size: int) -> None:
        for pid in self.processes().values():
            processes.limit_files(pid, size)

    def spoil_health(self, fails: bool) -> None:
        self.set_fault("health-fails", fails)
        mark = self.node.folder / "health-fails"
        if fails:
            mark.touch()
        else:
            mark.unlink(missing_ok=True)

    # Time.

    def move_clock(self, move: Callable[[Clock], None]) -> None:
        move(self.node.clock)
        self.view.fields.set(clock=self.node.clock.shown())
        self.view.wants_a_look = True

    async def set_zone(self, zone: str) -> None:
        """Processes know it from their start on: a node that runs boots."""
        self.node.zone = zone
        await self.reboot()

    def seconds_to_next_timer(self) -> float | None:
        """Of the node's time; none where none is armed."""
        rings = [timer["rings"] for timer in self.view.fields["timers"]]
        return (min(rings) - time.time()) * self.node.clock.speed if rings else None

    # What somebody does who stands beside it all the time.

    def supervise(self) -> Awaitable[None] | None:
        """What is to be done now; called again and again, and never waits."""
        if self.power.locked() or not self.is_on or not self.node.daemon:
            return None
        now = time.monotonic()
        if self._died is None and (end := self.node.daemon.ending()) is not None:
            self._died = now
            if end == _CUT and self.storage.watched:
                return self._after_the_cut()
            self.view.mark(
                "fault", f"the daemon ended with {end}", "its supervisor starts it again"
            )
            self.view.fields.set(frozen=[])
        if self._died is not None:
            return self._start_again() if now > self._died + _SUPERVISOR_WAITS else None
        if self._reboot_seen is None and self.node.reboot_file.exists():
            self._reboot_seen = now
        if self._reboot_seen is not None and now > self._reboot_seen + _QUIET_AT_REBOOT:
            self._reboot_seen = None
            return self.reboot()
        return self.look() if not self._looks and now > self._looked + self._patience() else None

    def _patience(self) -> float:
        if self.view.wants_a_look:
            return _LOOKS_APART
        return _LOOKS_ANYHOW if self.view.fields["root_connected"] else _LOOKS_FOR_THE_ROOT

    async def _after_the_cut(self) -> None:
        async with self.power:
            await self._without_power("the power supply went")

    async def _without_power(self, why: str) -> None:
        """The supply has ended, and took what was not synced."""
        losses = await self._in_thread(self.storage.losses)
        where = await self._in_thread(self.storage.last_change)
        self._lose_power(f"{why} at: {where}; {storage.summary(losses)}")
        await self._in_thread(self._wait_until_off)

    async def _start_again(self) -> None:
        """In the same boot."""
        async with self.power:
            if self.is_on:
                await self._in_thread(self._wait_until_off)
                await self._in_thread(self._start)

    async def look(self) -> None:
        """Asks it how it is."""
        self._looks, self.view.wants_a_look = True, False
        self._looked = time.monotonic()
        try:
            answer = await self.ask("status")
            if answer.code == 0 and answer.lines:
                self.view.look(answer.first)
        finally:
            self._looks = False

    def measure(self) -> None:
        """Its memory, and which of its processes stand still."""
        found = self.processes()
        # Under a power supply every process stands still now and then, for a moment.
        told = self.view.fields["frozen"]
        frozen = sorted(
            what
            for what, pid in found.items()
            if processes.is_frozen(pid, what in told and self.storage.watched)
        )
        memory = sum(map(memory_of, found.values()))
        self.view.fields.set(memory=memory, frozen=frozen)

    # What it holds, for who wants to read it.

    def log_text(self, offset: int, most: int) -> tuple[str, int]:
        """Of its log from this byte on, or the last bytes where that is less or negative; and where
        it ends."""
        with contextlib.suppress(OSError), open(self.node.log, "rb") as file:
            end = file.seek(0, os.SEEK_END)
            begin = max(offset if 0 <= offset <= end else 0, end - most)
            file.seek(begin)
            text = file.read(end - begin)
            return text.decode(errors="replace"), begin + len(text)
        return "", 0

    def log_around(self, place: int) -> tuple[str, int]:
        """The few lines before and behind this byte of its log, and where they end."""
        try:
            with open(self.node.log, "rb") as file:
                begin = max(0, place - _AROUND)
                file.seek(begin)
                text = file.read(place - begin + _AROUND)
        except OSError:
            return "", 0
        before, behind = text[: place - begin], text[place - begin :]
        lines = before.splitlines(keepends=True)
        if begin:
            lines = lines[1:]  # the rest of one
        chosen = b"".join(lines[-_LINES_AROUND:]) + b"".join(
            behind.splitlines(keepends=True)[:_LINES_AROUND]
        )
        return chosen.decode(errors="replace"), place

    def kept_requests(self) -> str:
        return read_text(self.node.folder / "configs/otad/requests.json")

    def printed_by_the_guard(self, told: dict[str, Any]) -> str:
        """The descriptor as it goes on to the agent, or why it does not; empty where what came of
        the offer was over before anybody could look."""
        if told["code"]:
            return f"refused ({told['code']}): {told['reason']}"
        with contextlib.suppress(ValueError, KeyError, TypeError):
            kept = json.loads(self.kept_requests())
            standing = [kept["running"]["request"] if kept["running"] else {}, *kept["queue"]]
            for request in standing:
                if request.get("ticket") == told.get("ticket"):
                    return str(json.loads(request["event"])["descriptor"])
        return ""
