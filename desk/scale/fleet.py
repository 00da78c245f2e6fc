# SPDX-License-Identifier: MIT
"""All nodes together: made and brought up, upgraded a few at a time, ended, judged."""

import asyncio
import concurrent.futures
import contextlib
import dataclasses
import os
import pathlib
import shutil
import time
from collections.abc import Awaitable, Callable, Sequence
from typing import Any

from rig.bus import Bus
from rig.failure import Failure
from rig.files import KIB
from rig.node_folder import NodePlan, RootAccess
from rig.processes import own_environment, this_thread_lasts
from rig.programs import Programs
from rig.usage import children_of, memory_of
from scale import machine
from scale.broker_log import Carried, read_log
from scale.children import Children
from scale.root_watch import RootWatch
from scale.scale_node import RetryingNode, ScaleNode
from scale.seats import FACTORY, MODEL, Seat, seats_of
from scale.servers import Servers
from scale.verdict import Words, compare_words, flaws_of_disk, flaws_of_history

PARTS = ("otad", "otactl", "ota-desk-host", "ota-image", "ota-boot-state")
_THREADS = 2
_TURN = 0.1  # seconds from one look at the nodes that do something to the next
_MEASURES_APART, _WORDS_APART = 1.0, 10.0
_SAMPLES = 10  # nodes whose memory is measured at a time
_ROOT_LOOKS_APART = 0.5
_SETTLES_WITHIN = 15.0  # until the last words are at their roots
_MIDDLE = 0.5  # of the nodes were offered the image when the disturbance begins
SERVER_GONE = 20.0  # seconds


@dataclasses.dataclass(frozen=True)
class Wishes:
    nodes: int
    in_a_mesh: int
    at_once: int
    image_bytes: int
    limit: float  # seconds of one node's upgrade
    retry_wait: int
    disturbed: bool


@dataclasses.dataclass
class Outcome:
    """What came of it."""

    phases: dict[str, machine.Stretch]
    nodes: list[ScaleNode]
    flaws: dict[str, list[str]]  # by node
    words: Words
    carried: Carried
    leftovers: list[str]
    troubles: list[str]  # of the whole
    memory_sum: int  # KiB, of all nodes at one moment
    memory_taken: int  # bytes, of the machine
    begun: float
    ended: float


class Fleet:
    def __init__(
        self, programs: Programs, folder: pathlib.Path, wishes: Wishes, say: Callable[[str], None]
    ) -> None:
        self.programs, self.folder, self.wishes = programs, folder, wishes
        self.children = Children()
        self.servers: Servers | None = None
        self.nodes: list[ScaleNode] = []
        self._say = say
        self._environment = own_environment()
        self._watches: dict[int, RootWatch] = {}
        self._at_work: dict[str, ScaleNode] = {}  # by their names
        self._troubles: list[str] = []
        self._phases: dict[str, machine.Stretch] = {}
        self._tasks: set["asyncio.Task[None]"] = set()
        self._slots = asyncio.Semaphore(wishes.at_once)
        self._through = self._measured = 0
        self._pool = concurrent.futures.ThreadPoolExecutor(
            _THREADS, "scale", initializer=this_thread_lasts
        )
        self._reboots = folder / "reboots"

    async def run(self) -> Outcome:
        begun, free = time.monotonic(), machine.memory_free()
        seats = seats_of(self.wishes.nodes, self.wishes.in_a_mesh)
        try:
            await self._phase("servers", self._make_servers(seats))
            looks = self._keep(self._look_after())
            await self._phase("bring up", self._bring_up(seats))
            await self._phase("upgrade", self._upgrade())
            await self._phase("settle", self._settle())
            taken = free - machine.memory_free()
            sum_of_all = sum(self._measure(node) for node in self.nodes)
            looks.cancel()
            await self._phase("end", self._end())
        finally:
            for task in self._tasks:
                task.cancel()
            await asyncio.gather(*self._tasks, return_exceptions=True)
            await self._stop_rest()
        ended = time.monotonic()
        return self._judge(begun, ended, sum_of_all, taken)

    async def _phase(self, name: str, job: Awaitable[None]) -> None:
        begin = machine.now()
        await job
        self._phases[name] = machine.between(begin, machine.now())
        self._say(f"{name}: {self._phases[name].seconds:.1f} s")

    def _keep(self, job: Any) -> "asyncio.Task[None]":
        task = asyncio.ensure_future(job)
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)
        return task

    async def _in_thread(self, job: Callable[..., Any], *words: Any) -> Any:
        return await asyncio.get_running_loop().run_in_executor(self._pool, job, *words)

    # The beginning.

    async def _make_servers(self, seats: Sequence[Seat]) -> None:
        self._reboots.mkdir()
        self.servers = await self._in_thread(
            Servers, self.programs, self.folder, seats, self.wishes.image_bytes
        )

    async def _bring_up(self, seats: Sequence[Seat]) -> None:
        """Gateways first: nobody would listen to the others."""
        for group in (True, False):
            await self._each([seat for seat in seats if seat.is_gateway == group], self._begin)
        self.nodes.sort(key=lambda node: node.seat.number)

    async def _each(self, jobs: Sequence[Any], deed: Callable[[Any], Awaitable[None]]) -> None:
        async def one(job: Any) -> None:
            async with self._slots:
                await deed(job)

        await asyncio.gather(*(one(job) for job in jobs))

    async def _begin(self, seat: Seat) -> None:
        node = ScaleNode(
            seat, await self._in_thread(self._make_node, seat), self.children, self._environment
        )
        self.nodes.append(node)
        with self._working(node):
            await node.start_bus()
            if seat.is_gateway:
                self._watches[seat.mesh] = RootWatch(node.node)
            await node.boot()
            while seat.is_gateway and not node.lost and not await node.is_at_the_root():
                await asyncio.sleep(_ROOT_LOOKS_APART)

    @contextlib.contextmanager
    def _working(self, node: ScaleNode) -> Any:
        """A node that is lost is one of the verdict's; the others go on."""
        self._at_work[node.seat.name] = node
        try:
            yield
        except Failure as failure:
            node.lost = node.lost or str(failure)
            self._say(f"{node.seat.name} is lost: {node.lost}")
        finally:
            del self._at_work[node.seat.name]

    def _make_node(self, seat: Seat) -> RetryingNode:
        assert self.servers
        servers, folder = self.servers, self.folder / "nodes" / seat.name
        folder.mkdir(parents=True)
        authority = servers.certificates.authority
        client = servers.certificates.client(seat.client)
        size = max(servers.factory.size, servers.new.size)
        plan = NodePlan(
            seat.mac, seat.serial, MODEL, seat.mode, seat.role, -(-size // (64 * KIB)) * 64 * KIB,
            servers.factory, authority=authority, signer_authority=servers.signer.authority,
            root=RootAccess(servers.broker.address, authority, client, seat.topic),
            service=f"lowest_version = {FACTORY}", address=seat.address,
        )  # fmt: skip
        reboot_file = self._reboots / seat.name.replace("/", ".")
        node = RetryingNode(
            reboot_file, self.wishes.retry_wait, self.programs, folder, plan, Bus(folder),
            self._environment,
        )  # fmt: skip
        node.make()
        return node

    # While it runs.

    async def _look_after(self) -> None:
        """One for all nodes: who asks for a reboot, what those that do something have told."""
        says = measures = time.monotonic()
        while True:
            await asyncio.sleep(_TURN)
            for name in os.listdir(self._reboots):
                self._reboot(name.replace(".", "/"))
            for node in list(self._at_work.values()):
                node.look()
            if time.monotonic() >= measures + _MEASURES_APART:
                measures = time.monotonic()
                self._measure_some()
            if time.monotonic() >= says + _WORDS_APART:
                says = time.monotonic()
                self._say(f"{len(self.nodes)} nodes, {self._through} through")

    def _measure_some(self) -> None:
        busy = list(self._at_work.values())
        for _ in range(min(_SAMPLES, len(busy))):
            self._measured += 1
            self._measure(busy[self._measured % len(busy)])

    def _reboot(self, name: str) -> None:
        node = self._at_work.get(name)
        if node and not node.reboots:
            node.reboots = True
            self._keep(self._do_reboot(node))

    async def _do_reboot(self, node: ScaleNode) -> None:
        try:
            await node.reboot()
        except Failure as failure:
            node.lose(str(failure))
        finally:
            node.reboots = False

    def _measure(self, node: ScaleNode) -> int:
        """KiB of it now."""
        processes = node.processes
        for pid in list(processes):
            processes += children_of(pid)
        taken = sum(map(memory_of, processes))
        node.memory = max(node.memory, taken)
        return taken

    # The upgrade.

    async def _upgrade(self) -> None:
        disturbance = self._keep(self._disturb()) if self.wishes.disturbed else None
        await self._each([node for node in self.nodes if not node.lost], self._upgrade_one)
        if disturbance:
            await self._end_disturbance(disturbance)

    async def _upgrade_one(self, node: ScaleNode) -> None:
        assert self.servers
        with self._working(node):
            await node.upgrade(self.servers.descriptor(node.seat), self.wishes.limit)
        self._through += 1

    async def _end_disturbance(self, disturbance: "asyncio.Task[None]") -> None:
        """One that nobody noticed shows nothing."""
        if not self._is_the_middle():
            disturbance.cancel()
        await asyncio.wait([disturbance])
        if not any(node.history.failed_downloads for node in self.nodes):
            self._troubles.append("no node missed the file server: the disturbance came too late")

    def _is_the_middle(self) -> bool:
        return sum(node.offers > 0 for node in self.nodes) >= _MIDDLE * len(self.nodes)

    async def _disturb(self) -> None:
        assert self.servers
        while not self._is_the_middle():
            await asyncio.sleep(_TURN)
        self._say(f"the broker is restarted; {self._through} nodes are through")
        await self._in_thread(self.servers.restart_broker)
        self._say(f"the file server is gone; {self._through} nodes are through")
        await self._in_thread(self.servers.stop_file_server)
        await asyncio.sleep(SERVER_GONE)
        await self._in_thread(self.servers.file_server.start)
        self._say(f"the file server is back; {self._through} nodes are through")

    async def _settle(self) -> None:
        """Until as many words are at the roots as were told, but those of which the nodes know that
        they are not."""
        deadline = time.monotonic() + _SETTLES_WITHIN
        while time.monotonic() < deadline:
            for node in self.nodes:
                node.look()
            told = sum(node.history.told_well for node in self.nodes)
            if sum(sum(watch.words.values()) for watch in self._watches.values()) >= told:
                return
            await asyncio.sleep(_TURN)

    # The end.

    async def _end(self) -> None:
        await self._each(self.nodes, self._end_one)

    async def _end_one(self, node: ScaleNode) -> None:
        with self._working(node):
            await node.end()

    async def _stop_rest(self) -> None:
        for watch in self._watches.values():
            if watch.trouble:
                self._troubles.append(watch.trouble)
            watch.close()
        await self.children.kill_all()
        if self.servers:
            await self._in_thread(self.servers.stop)
        self._pool.shutdown()

    def _judge(self, begun: float, ended: float, memory_sum: int, taken: int) -> Outcome:
        assert self.servers
        flaws: dict[str, list[str]] = {}
        for node in self.nodes:
            node.look()
            found = [node.lost] if node.lost else []
            found += flaws_of_history(node.history)
            found += flaws_of_disk(node.node, self.servers.factory, self.servers.new)
            if found:
                flaws[node.seat.name] = found
        carried = read_log(self.servers.broker.folder / "mosquitto.log")
        words = compare_words(
            ((node.seat, node.history.told) for node in self.nodes),
            {mesh: watch.words for mesh, watch in self._watches.items()},
            carried,
        )
        return Outcome(
            self._phases, self.nodes, flaws, words, carried, leftovers(self.folder),
            self._troubles, memory_sum, taken, begun, ended,
        )  # fmt: skip


def leftovers(folder: pathlib.Path) -> list[str]:
    """Processes that work below the folder, sockets and mounts there."""
    found = []
    begin = f"{folder}/"
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if os.readlink(entry / "cwd").startswith(begin):
                found.append(f"process {entry.name} ({(entry / 'comm').read_text().strip()})")
    for line in pathlib.Path("/proc/net/unix").read_text().splitlines():
        if begin in line:
            found.append(f"socket {line.split()[-1]}")
    for line in pathlib.Path("/proc/self/mountinfo").read_text().splitlines():
        if line.split()[4].startswith(begin):
            found.append(f"mount {line.split()[4]}")
    return found


def empty(outcome: Outcome) -> None:
    """Removes what nobody wants to look at any more: nodes that are as they must be, in a mesh whose
    words are."""
    for node in outcome.nodes:
        unheard = any(flaw.startswith(node.seat.topic) for flaw in outcome.words.flaws)
        if not unheard and node.seat.name not in outcome.flaws:
            shutil.rmtree(node.node.folder, ignore_errors=True)
