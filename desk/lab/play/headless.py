# SPDX-License-Identifier: MIT
"""Scenarios as tests: each in a mesh of its own, as many beside one another as the machine holds."""

import asyncio
import dataclasses
import os
import pathlib
import shutil
import time
from collections.abc import Callable

from lab.image_shelf import ImageShelf
from lab.mesh import Mesh
from lab.place import MODEL, Kept, setups
from lab.play.player import FAILED, PASSED, Play
from lab.play.report import write_artefacts
from lab.play.script import Scenario
from rig.failure import Failure
from rig.files import read_text
from rig.programs import Programs

_NODES_A_CORE = 5
_MIB_A_NODE = 64  # with its share of servers and files
_MOST_MESHES = 200  # addresses


@dataclasses.dataclass
class Result:
    """Of one scenario."""

    scenario: Scenario
    verdict: str
    reason: str
    seconds: float  # from the first process to the last
    play: Play | None = None

    @property
    def name(self) -> str:
        return self.scenario.name

    @property
    def title(self) -> str:
        return self.scenario.title

    @property
    def passed(self) -> bool:
        return self.verdict == PASSED


def nodes_at_once() -> int:
    """That this machine holds beside one another."""
    cores = len(os.sched_getaffinity(0))
    found = [line for line in read_text(pathlib.Path("/proc/meminfo")).splitlines()
             if line.startswith("MemAvailable:")]  # fmt: skip
    available = int(found[0].split()[1]) // 1024 if found else 1024
    return max(1, min(cores * _NODES_A_CORE, available // _MIB_A_NODE))


class Room:
    """For so many nodes; whoever needs more than there are has all of it for itself."""

    def __init__(self, nodes: int) -> None:
        self._all = self._free = nodes
        self._freed = asyncio.Condition()

    async def take(self, nodes: int) -> int:
        nodes = min(nodes, self._all)
        async with self._freed:
            await self._freed.wait_for(lambda: self._free >= nodes)
            self._free -= nodes
        return nodes

    async def give_back(self, nodes: int) -> None:
        async with self._freed:
            self._free += nodes
            self._freed.notify_all()


class Runner:
    """Plays each scenario in a folder of its own below the one that it is given."""

    def __init__(
        self, programs: Programs, folder: pathlib.Path, told: Callable[[Result], None]
    ) -> None:
        self._programs, self._folder, self._told = programs, folder, told
        self._shelf = ImageShelf(programs, folder / "images", MODEL)
        self._free_meshes = list(range(1, _MOST_MESHES))

    async def run(self, scenarios: list[Scenario], nodes: int) -> list[Result]:
        """In the order that they were given, with at most so many nodes at once."""
        room = Room(nodes)
        # The long ones first, so that none of them is alone in the end.
        by_length = sorted(scenarios, key=lambda one: -one.limit)
        tasks = {one.name: asyncio.create_task(self._in_turn(one, room)) for one in by_length}
        try:
            return [await tasks[one.name] for one in scenarios]
        finally:
            for task in tasks.values():
                task.cancel()
            await asyncio.gather(*tasks.values(), return_exceptions=True)

    async def _in_turn(self, scenario: Scenario, room: Room) -> Result:
        taken = await room.take(scenario.extenders + 1)
        number = self._free_meshes.pop()
        try:
            result = await self._play(scenario, number)
        finally:
            self._free_meshes.append(number)
            await room.give_back(taken)
        self._told(result)
        return result

    async def _play(self, scenario: Scenario, number: int) -> Result:
        began = time.monotonic()
        folder = self._folder / scenario.name
        folder.mkdir()
        mesh = Mesh(
            self._programs, folder, Kept(folder), setups(scenario.extenders, number), self._shelf
        )
        play = Play(mesh, scenario)
        looks = asyncio.create_task(mesh.look_after())
        try:
            await mesh.begin(rate=0)
            await mesh.wait_until_ready(scenario.nodes)
            await play.play()
            result = Result(scenario, play.verdict, play.reason, 0, play)
        except Failure as failure:
            result = Result(scenario, FAILED, str(failure), 0, play)
        finally:
            looks.cancel()
            await asyncio.gather(looks, return_exceptions=True)
            await mesh.end()
        result.seconds = time.monotonic() - began
        write_artefacts(folder, mesh, play)
        if result.passed:
            shutil.rmtree(folder / "nodes")
        return result
