# SPDX-License-Identifier: MIT
"""All nodes of a demonstration, side by side until each has come to its end."""

import select
import time

from demo.display import Display
from demo.node_events import Event
from demo.node_run import NodeRun
from demo.observed import Context, NodeSetup, Observed
from demo.powered_node import PoweredNode
from rig import interrupt
from rig.failure import Failure

_TURN = 20  # milliseconds


class Demonstration:
    """Lines of a lone node, or of the one that runs the scenario, go to the display as they are;
    others are marked with the node's name."""

    def __init__(
        self, context: Context, nodes: list[tuple[NodeSetup, PoweredNode]], display: Display
    ) -> None:
        self._limit = context.limit
        lone = sum(setup.runs_scenario for setup, _ in nodes) == 1
        self._runs = [
            NodeRun(
                context,
                setup,
                node,
                display if lone and setup.runs_scenario else display.marked(setup.name),
                self._raise_at_the_root,
            )
            for setup, node in nodes
        ]

    def run(self) -> list[Observed]:
        """What each of the nodes has shown, in their order."""
        deadline = time.monotonic() + self._limit
        for run in self._runs:
            run.boot()
        started = False
        while not all(run.over for run in self._runs):
            self._wait_for_news()
            for run in self._runs:
                run.turn()
            # Nobody upgrades before the root listens: what it never heard of, it would not ask for.
            started = started or all([run.ready() for run in self._runs])
            for run in self._runs if started else ():
                run.go_on()
            if time.monotonic() > deadline:
                self._give_up()
        for run in self._runs:
            run.end()
        return [run.observed for run in self._runs]

    def _raise_at_the_root(self, kind: str, mac: str, held: Event) -> None:
        """The root's own run hears of all others, and of itself."""
        for run in self._runs:
            if run.setup.mac == mac:
                run.events.raised_at_the_root(kind, held)

    def _wait_for_news(self) -> None:
        waiting = select.poll()
        for run in self._runs:
            waiting.register(run.fileno(), select.POLLIN)
        waiting.poll(_TURN)
        interrupt.check()

    def _give_up(self) -> None:
        late = [run for run in self._runs if run.setup.runs_scenario and not run.over]
        run = (late or self._runs)[0]
        raise Failure(
            f"{run.setup.name} did not come to an end within {self._limit} s; its last step was "
            f'"{run.display.last_step}"'
        )
