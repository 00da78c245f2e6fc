# SPDX-License-Identifier: MIT
"""Plays a scenario in a mesh that has just begun: step by step, then how every node stands."""

import asyncio
import dataclasses
import time
from collections.abc import Iterable
from typing import Any

from lab.board import Onlooker
from lab.mesh import Mesh
from lab.operation import WrongCall
from lab.play.conditions import Condition
from lab.play.duration import duration
from lab.play.script import USUAL_WAIT, Do, Scenario, Step, Wait
from lab.play.story import Stories
from rig.failure import Failure

_GLANCE = 0.1  # seconds; most of what changes says so
_NOT_READY = (3, 5)  # a node answers so while its service, or its agent, starts
_A_LOOK = 3.0  # seconds, at most
_SURE = 2  # looks at every node, before what is found in the end counts
TO_COME, RUNNING, DONE, FAILED = "to come", "running", "done", "failed"
PLAYING, PASSED, STOPPED = "playing", "passed", "stopped"
BY_SOMEBODY = "somebody stopped it"


class NotAsExpected(Exception):
    """One line: what, and what was found."""


@dataclasses.dataclass
class StepState:
    """For who looks on."""

    line: int
    text: str
    state: str = TO_COME
    found: str = ""
    seconds: float = 0.0


class Play:
    """One playing of one scenario."""

    def __init__(self, mesh: Mesh, scenario: Scenario) -> None:
        self.scenario = scenario
        self.verdict = TO_COME
        self.reason = ""
        self.seconds = 0.0
        self.first_mark = mesh.timeline.number
        self.states = [StepState(one.line, one.text) for one in (*scenario.steps, *scenario.ends)]
        self._mesh = mesh
        self._stories: Stories
        self._onlooker = Onlooker(mesh.board)

    @property
    def is_over(self) -> bool:
        return self.verdict not in (TO_COME, PLAYING)

    def shown(self) -> dict[str, Any]:
        scenario = self.scenario
        return {
            "name": scenario.name, "title": scenario.title, "verdict": self.verdict,
            "reason": self.reason, "seconds": round(self.seconds, 1),
            "steps": [dataclasses.asdict(one) for one in self.states],
        }  # fmt: skip

    async def play(self) -> None:
        """To its verdict."""
        began = time.monotonic()
        self._begin()
        try:
            async with asyncio.timeout(self.scenario.limit):
                for step, state in zip(self.scenario.steps, self.states, strict=False):
                    await self._take(step, state)
                await self._check_ends()
            self.decide(PASSED, "")
        except TimeoutError:
            self.decide(FAILED, f"not over within {duration(self.scenario.limit)}")
        except (NotAsExpected, Failure, WrongCall) as error:
            self.decide(FAILED, str(error))
        except asyncio.CancelledError:
            self.decide(STOPPED, BY_SOMEBODY)
            raise
        finally:
            self.seconds = time.monotonic() - began
            self._end()

    def _begin(self) -> None:
        self.verdict = PLAYING
        board = self._mesh.board
        board.add(self._onlooker)
        self._stories = Stories(self._mesh, self.scenario.nodes)
        board.mark("", "scenario", f"{self.scenario.name}: begins", self.scenario.title)

    def _end(self) -> None:
        self._stories.end()
        self._mesh.board.remove(self._onlooker)

    def decide(self, verdict: str, reason: str) -> None:
        """How it ends."""
        for state in self.states:
            if state.state == RUNNING:
                state.state, state.found = FAILED, state.found or reason
        self.verdict, self.reason = verdict, reason
        self._mesh.board.mark("", "scenario", f"{self.scenario.name}: {verdict}", reason)

    # Steps.

    async def _take(self, step: Step, state: StepState) -> None:
        began = time.monotonic()
        state.state = RUNNING
        self._mesh.board.mark("", "scenario", f"{self.scenario.name}:{step.line}: {step.text}")
        if isinstance(step, Do):
            await self._do(step)
        else:
            await self._wait(step, state)
        state.state, state.found, state.seconds = DONE, "", round(time.monotonic() - began, 1)
        self._mesh.board.wake()

    async def _do(self, step: Do) -> None:
        self._stories.catch_up()
        words = step.operation.checked(step.given, list(self._stories))
        for name in words.get("nodes", ()):
            self._stories[name].waited_from = len(self._stories[name].happened)
        for name, one in (await self._answers(step, words)).items():
            if one["code"] != step.code:
                said = f"{one['code']} ({one.get('reason', 'done')})"
                raise NotAsExpected(
                    f"line {step.line}: {step.operation.name}: {name} answers {said}, "
                    f"expected {step.code}"
                )
            self._stories[name].ticket = one.get("ticket", self._stories[name].ticket)

    async def _answers(self, step: Do, words: dict[str, Any]) -> dict[str, Any]:
        """Of each node; one that is not ready yet is asked again."""
        deadline = time.monotonic() + USUAL_WAIT
        answer = await step.operation.call(self._mesh, **words)
        answers: dict[str, Any] = answer.get("nodes", {})
        while step.code not in _NOT_READY and time.monotonic() < deadline:
            late = [name for name, one in answers.items()
                    if one["code"] in _NOT_READY and self._stories[name].node.is_on]  # fmt: skip
            if not late:
                break
            await asyncio.sleep(_GLANCE)
            answer = await step.operation.call(self._mesh, **(words | {"nodes": late}))
            answers |= answer["nodes"]
        return answers

    async def _wait(self, step: Wait, state: StepState) -> None:
        await self._look_at(step.nodes)
        await self._until([step], [state])
        for name in step.nodes:
            for condition in step.conditions:
                condition.done_with(self._stories[name])

    async def _look_at(self, names: Iterable[str]) -> None:
        """What is known of them is news; of one that stands still it stays as it is."""
        nodes = [self._stories[name].node for name in names]
        looks = [asyncio.ensure_future(node.look()) for node in nodes if node.is_on]
        if looks:
            await asyncio.wait(looks, timeout=_A_LOOK)

    async def _until(self, waits: list[Wait], states: list[StepState]) -> None:
        """All of them hold at once."""
        began = time.monotonic()
        passed = {name: self._stories[name].passed() for name in self._stories}
        while True:
            self._onlooker.news.clear()
            self._stories.catch_up()
            open_ones = [self._instead(wait) for wait in waits]
            for state, found in zip(states, open_ones, strict=True):
                state.found = found
            if not any(open_ones):
                return
            for wait, found in zip(waits, open_ones, strict=True):
                if found and self._is_late(wait, began, passed):
                    clock = " on its clock" if wait.on_clock else ""
                    within = f"within {duration(wait.within)}{clock}"
                    raise NotAsExpected(f"line {wait.line}: not {within}: {found}")
            try:
                await asyncio.wait_for(self._onlooker.news.wait(), _GLANCE)
            except asyncio.TimeoutError:
                continue

    def _is_late(self, wait: Wait, began: float, passed: dict[str, float]) -> bool:
        if not wait.on_clock:
            return time.monotonic() - began > wait.within
        return any(self._stories[name].passed() - passed[name] > wait.within for name in wait.nodes)

    def _instead(self, wait: Wait) -> str:
        """Of the first node and condition that does not hold."""
        for name in wait.nodes:
            for condition in wait.conditions:
                if found := condition.instead(self._stories[name]):
                    return _told(name, condition, found)
        return ""

    async def _check_ends(self) -> None:
        """They hold together, and still do when every node was asked again."""
        ends, states = self.scenario.ends, self.states[len(self.scenario.steps) :]
        for state in states:
            state.state = RUNNING
        await self._until(ends, states)
        for _ in range(_SURE):
            await self._look_at(self._stories)
            self._stories.catch_up()
            for end in ends:
                if found := self._instead(end):
                    raise NotAsExpected(f"line {end.line}: held, and does no more: {found}")
        for state in states:
            state.state = DONE


def _told(name: str, condition: Condition, found: str) -> str:
    return f"{name}: {condition.name} is {found}, expected {' '.join(condition.values)}"
