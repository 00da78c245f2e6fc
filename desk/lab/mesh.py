# SPDX-License-Identifier: MIT
"""A mesh of real nodes with its servers: started, looked after, ended."""

import asyncio
import concurrent.futures
import contextlib
import json
import os
import pathlib
import shutil
import time
from collections.abc import Awaitable, Callable
from typing import Any

from lab.clock import ClockedNode
from lab.board import Board, Fields
from lab.image_shelf import BANK, ImageShelf
from lab.lab_node import LabNode
from lab.node_view import NodeView
from lab.place import FACTORY, FLOOR, MODEL, Kept, Setup
from lab.timeline import Timeline
from lab.wire import Disturbance, Wire
from rig.broker import Broker
from rig.bus import Bus
from rig.certificates import Certificates
from rig.clock import Clock
from rig.failure import Failure
from rig.file_server import FileServer
from rig.network import LOOPBACK
from rig.node_folder import NodePlan, RootAccess
from rig.otactl import words_for_a_shell
from rig.processes import own_environment, run, this_thread_lasts
from rig.programs import Programs
from rig.waiting import PATIENCE

PARTS = (
    "otad",
    "otactl",
    "ota-desk-host",
    "ota-desk-clock.so",
    "ota-power",
    "ota-image",
    "ota-boot-state",
)
_THREADS = 8
_TURN = 0.1  # seconds from one look at every node to the next
_MEASURE_EVERY = 20  # turns
# Long enough to watch the download.
USUAL_RATE = 2 * 1024 * 1024
FILE_SERVER, BROKER = "file-server", "broker"


class Mesh:
    """Whatever it starts is ended by end()."""

    def __init__(
        self,
        programs: Programs,
        folder: pathlib.Path,
        kept: Kept,
        setups: list[Setup],
        shelf: ImageShelf | None = None,
    ) -> None:
        """`shelf`: of images that it shares with other meshes; none: one of its own."""
        self._shared_shelf = shelf
        self.programs, self.folder, self.kept, self.setups = programs, folder, kept, setups
        self.timeline = Timeline(folder / "timeline.jsonl")
        self.board = Board(self.timeline)
        self.nodes: dict[str, LabNode] = {}
        self.answer = 200  # of the file server
        self.strange_certificate = False
        self._pool = concurrent.futures.ThreadPoolExecutor(
            _THREADS, "lab", initializer=this_thread_lasts
        )
        self._tasks: set[asyncio.Future[None]] = set()
        self._sentences: dict[str, str] = {}
        self._addresses = {setup.address: setup.name for setup in setups}
        self._broker_wires: dict[str, Wire] = {}
        self._views: dict[str, NodeView] = {}
        self._begun = False
        self._rate = USUAL_RATE
        self.director: Any = None  # of the scenarios, in a lab that somebody looks at

    async def in_thread(self, job: Callable[..., Any], *words: Any) -> Any:
        return await asyncio.get_running_loop().run_in_executor(self._pool, job, *words)

    # The beginning.

    async def begin(self, rate: int = USUAL_RATE) -> None:
        """Servers first, then all nodes, a few at a time. `rate`: of each download."""
        self._rate = rate
        self._show_servers()
        for setup in self.setups:
            self._show_node(setup)
        await self.in_thread(self._make_servers)
        self.file_wire = Wire(self._file_port, lambda address: self._addresses.get(address, ""))
        await self.file_wire.disturb(Disturbance(rate=self._rate))
        await self._listen(FILE_SERVER, self.file_wire)
        self._begun = True
        await asyncio.gather(*(self._bring_up(setup) for setup in self.setups))
        # Whoever was up first, they are shown in the order of the mesh.
        self.nodes = {setup.name: self.nodes[setup.name] for setup in self.setups}
        self.kept.write()

    async def renew(self) -> None:
        """As at the very beginning: what the nodes held is gone, and nothing is broken."""
        await asyncio.gather(*(node.end() for node in self.nodes.values()))
        for name in self.nodes:
            await self.in_thread(shutil.rmtree, self.folder / "nodes" / name)
            self.unplug_cable(name, False)
            self.kept.values["boots"].pop(name, None)
        await self.switch_broker(False)
        await self.switch_broker(True)
        self.file_server.answer(200)
        self.strange_certificate = False
        await self.file_wire.disturb(Disturbance(rate=self._rate))
        self._show_servers()
        for setup in self.setups:
            self._show_node(setup)
        await asyncio.gather(*(self._bring_up(setup) for setup in self.setups))

    async def wait_until_ready(self, names: list[str]) -> None:
        """These are up, idle, and at their root."""
        deadline = time.monotonic() + PATIENCE
        while not all(self.nodes[name].is_ready for name in names):
            if time.monotonic() > deadline:
                late = [name for name in names if not self.nodes[name].is_ready]
                raise Failure(f"{', '.join(late)}: not ready within {PATIENCE:.0f} s")
            await asyncio.sleep(_TURN)

    async def _listen(self, name: str, wire: Wire) -> None:
        """Where it did the last time, if it can: what the nodes keep names the port."""
        await wire.listen(self.kept.values["ports"].get(name, 0))
        self.kept.values["ports"][name] = wire.port

    def _make_servers(self) -> None:
        # They are good for some days only: each start makes new ones, and lets the nodes in anew.
        for name in ("certificates", "strange-certificates"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
        self.certificates = Certificates(self.folder / "certificates", "Lab CA")
        self.shelf = self._shared_shelf or ImageShelf(self.programs, self.folder / "images", MODEL)
        self.file_server = self._file_server("server", self.certificates)
        strange = Certificates(self.folder / "strange-certificates", "Strange CA")
        self.strange_server = self._file_server("strange-server", strange)
        self.broker = Broker(self.folder / "broker", self.certificates)

    def _file_server(self, name: str, certificates: Certificates) -> FileServer:
        shutil.rmtree(self.folder / name, ignore_errors=True)
        return FileServer(self.folder / name, certificates)

    def _file_port(self) -> int:
        return (self.strange_server if self.strange_certificate else self.file_server).port

    def _show_servers(self) -> None:
        self.board.servers[FILE_SERVER] = Fields(self.board, state="good", rate=self._rate, after=0,
                                                 connections=0, brought=0)  # fmt: skip
        self.board.servers[BROKER] = Fields(self.board, state="running", connections=0)

    def _show_node(self, setup: Setup) -> None:
        self._views[setup.name] = NodeView(
            self.board,
            setup.name,
            self._sentence,
            self.folder / "nodes" / f"{setup.name}.log",
            mac=setup.mac,
            serial=setup.serial,
            model=MODEL,
            gateway=setup.gateway,
            otactl="",
            link="plugged",
        )

    async def _bring_up(self, setup: Setup) -> None:
        wire = self._broker_wires.get(setup.name)
        if not wire:
            wire = Wire(lambda: self.broker.port, lambda _address: setup.name)
            self._broker_wires[setup.name] = wire
            await self._listen(setup.name, wire)
        node = await self.in_thread(self._make_node, setup, wire.port)
        view = self._views[setup.name]
        lab_node = LabNode(node, view, self.in_thread)
        self.nodes[setup.name] = lab_node
        view.fields.set(otactl=" ".join(words_for_a_shell(node.otactl.program, node.bus)))
        lab_node.spoil_health((node.folder / "health-fails").exists())
        await lab_node.begin()
        # One that does not boot is shown as it is; the others go on.
        with contextlib.suppress(Failure):
            await lab_node.plug()

    def _make_node(self, setup: Setup, broker_port: int) -> ClockedNode:
        folder = self.folder / "nodes" / setup.name
        client = self.certificates.client("gateway" if setup.gateway else setup.mac, setup.name)
        authority = self.certificates.authority
        plan = NodePlan(
            setup.mac, setup.serial, MODEL, setup.mode, setup.role, BANK,
            self.shelf.image(FACTORY), authority=authority,
            signer_authority=self.shelf.signer.authority,
            root=RootAccess(f"{LOOPBACK}:{broker_port}", authority, client),
            trial="health_command = test ! -e health-fails",
            service=f"lowest_version = {FLOOR}", address=setup.address,
        )  # fmt: skip
        # What was broken off before it was whole is made anew.
        whole = folder / ".whole"
        if not whole.exists():
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
        clock = Clock(folder.with_name(f"{setup.name}.clock"))
        node = ClockedNode(self.programs, folder, plan, Bus(folder), own_environment(), clock)
        if whole.exists():
            node.let_in()
            node.write_config()
        else:
            node.make()
            whole.touch()
        node.boots = self.kept.values["boots"].get(setup.name, 0)
        return node

    def _sentence(self, word: str) -> str:
        """What a status word means, as otactl explains it."""
        if word not in self._sentences:
            self._sentences[word] = ""
            self.start(self._ask_for_sentence(word))
        return self._sentences[word]

    async def _ask_for_sentence(self, word: str) -> None:
        otactl = self.programs.program("otactl")
        finished = await self.in_thread(lambda: run([otactl, "--json", "explain", word]))
        with contextlib.suppress(ValueError, KeyError):
            self._sentences[word] = str(json.loads(finished.stdout)["meaning"])
        for node in self.nodes.values():
            if node.view.fields["status_word"] == word:
                node.view.fields.set(status_sentence=self._sentences[word])

    # While it runs.

    def start(self, job: Awaitable[None]) -> None:
        task = asyncio.ensure_future(job)
        self._tasks.add(task)
        task.add_done_callback(self._done)

    def _done(self, task: "asyncio.Future[None]") -> None:
        self._tasks.discard(task)
        if not task.cancelled() and (error := task.exception()) is not None:
            self.board.mark("", "failure", "the lab itself", str(error) or repr(error))

    async def look_after(self) -> None:
        """For as long as the lab runs."""
        turn = 0
        while True:
            await asyncio.sleep(_TURN)
            turn += 1
            for node in list(self.nodes.values()):
                if job := node.supervise():
                    self.start(job)
            # A few a turn: all at once they would hold up what the nodes say meanwhile.
            for node in list(self.nodes.values())[turn % _MEASURE_EVERY :: _MEASURE_EVERY]:
                node.measure()
                self.kept.values["boots"][node.name] = node.node.boots
            if turn % _MEASURE_EVERY == 0:
                self.kept.write()
            self._count_connections()
            self.timeline.write()

    def _count_connections(self) -> None:
        if self._begun:
            self.board.servers[FILE_SERVER].set(
                connections=self.file_wire.connections, brought=self.file_wire.brought
            )
            count = sum(wire.connections for wire in self._broker_wires.values())
            self.board.servers[BROKER].set(connections=count)

    # What is done to the mesh.

    def node(self, name: str) -> LabNode:
        if name not in self.nodes:
            raise Failure(f"{name} is not there yet: wait until it has come up")
        return self.nodes[name]

    def publish(self, path: pathlib.Path) -> str:
        """Where every node finds this image, whatever becomes of the server."""
        for server in (self.file_server, self.strange_server):
            server.publish(path, path.name)
        return f"https://{LOOPBACK}:{self.file_wire.port}/{path.name}"

    def unplug_cable(self, name: str, out: bool) -> None:
        """Of one node, from the mesh."""
        for wire in (self.file_wire, self._broker_wires[name]):
            (wire.unplug if out else wire.plug)(name)
        self.board.nodes[name].set(link="cut" if out else "plugged")

    async def switch_broker(self, on: bool) -> None:
        await self.in_thread(self.broker.start if on else self.broker.stop)

    # The end.

    async def end(self) -> None:
        for task in list(self._tasks):
            task.cancel()
        await asyncio.gather(*self._tasks, return_exceptions=True)
        for node in self.nodes.values():
            self.kept.values["boots"][node.name] = node.node.boots
        await asyncio.gather(*(node.end() for node in self.nodes.values()), return_exceptions=True)
        if self._begun:
            for wire in (self.file_wire, *self._broker_wires.values()):
                await wire.close()
        for name in ("file_server", "strange_server", "broker"):
            if server := getattr(self, name, None):
                await self.in_thread(server.stop)
        self.kept.values["url"] = ""
        with contextlib.suppress(Failure):
            self.kept.write()
        self.timeline.close()
        self._pool.shutdown()


def environment_is_fit() -> None:
    """A node that others may write to does not start."""
    os.umask(0o022)
