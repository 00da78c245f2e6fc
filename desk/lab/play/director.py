# SPDX-License-Identifier: MIT
"""Scenarios in a lab that runs: one is played at a time, what is done by hand is recorded."""

import asyncio
import contextlib
from collections.abc import Callable
from typing import Any

from lab.mesh import Mesh
from lab.operation import Answer, Operation
from lab.play.player import BY_SOMEBODY, FAILED, STOPPED, Play
from lab.play.recorder import Moment, Recorder
from lab.play.script import Scenario
from rig.failure import Failure


class Director:
    """Of one lab."""

    def __init__(self, mesh: Mesh) -> None:
        self._mesh = mesh
        self.play: Play | None = None  # the last one
        self.recorder: Recorder | None = None
        self._task: asyncio.Task[None] | None = None

    @property
    def _plays(self) -> bool:
        return self._task is not None and not self._task.done()

    def begin(self, scenario: Scenario, then: Callable[[Play], None] | None = None) -> None:
        """`then`: is told how it ended."""
        if self._plays:
            raise Failure("a scenario is played: wait for its end, or stop it")
        if self.recorder:
            raise Failure("the lab is recording: end that first")
        there = len(self._mesh.setups) - 1
        if scenario.extenders > there:
            raise Failure(
                f"{scenario.name} needs {scenario.extenders} extenders, this lab has {there}: "
                f"start ./dev lab --extenders {scenario.extenders}"
            )
        self.play = Play(self._mesh, scenario)
        self._task = asyncio.create_task(self._run(self.play, then))

    async def _run(self, play: Play, then: Callable[[Play], None] | None) -> None:
        # It is stopped between its steps, never while the nodes are made.
        renewal = asyncio.ensure_future(self.renew(play.scenario.nodes))
        try:
            await asyncio.shield(renewal)
            await play.play()
        except Failure as failure:
            play.decide(FAILED, str(failure))
        except asyncio.CancelledError:
            await asyncio.gather(renewal, return_exceptions=True)
            if not play.is_over:
                play.decide(STOPPED, BY_SOMEBODY)
            raise
        finally:
            if then:
                then(play)

    async def renew(self, names: list[str]) -> None:
        await self._mesh.renew()
        await self._mesh.wait_until_ready(names)

    async def stop(self) -> None:
        """Whatever it is at; the nodes stay as they are."""
        if self._plays and self._task:
            self._task.cancel()
            with contextlib.suppress(asyncio.CancelledError):
                await self._task

    def shown(self) -> dict[str, Any]:
        return {
            "playing": self.play.shown() if self.play else None,
            "recording": self.recorder.text() if self.recorder else None,
        }

    # Recording.

    async def begin_recording(self) -> None:
        if self._plays:
            raise Failure("a scenario is played: wait for its end, or stop it")
        if self.recorder:
            raise Failure("the lab is recording already")
        await self.renew([setup.name for setup in self._mesh.setups])
        self.recorder = Recorder(self._mesh)
        self._mesh.board.mark("", "scenario", "recording begins")

    def end_recording(self) -> str:
        if not self.recorder:
            raise Failure("the lab does not record: begin with ./dev lab record begin")
        text = self.recorder.end()
        self.recorder = None
        self._mesh.board.mark("", "scenario", "recording ended")
        return text

    def before(self) -> Moment | None:
        """Something is done by hand, from the page or the command line."""
        return self.recorder.moment() if self.recorder and not self._plays else None

    def was_done(self, operation: Operation, given: Answer, answer: Answer, at: Moment) -> None:
        if self.recorder:
            self.recorder.take(operation, given, answer, at)
