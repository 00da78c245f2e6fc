# SPDX-License-Identifier: MIT
"""What a scenario plays on: the factory, nodes of its own, and a way to say what is expected."""

import contextlib
import pathlib
import re
import time
from collections.abc import Callable, Iterator, Sequence

from machine.factory import Factory
from machine.image_shelf import GOOD
from machine.node import Node
from rig.failure import Failure
from rig.files import begins_with
from rig.images import Image

OLD, NEW = "4QZ2.0.0", "4QZ2.1.0"
ACTIVATED, COMMITTED = "OTA_SW_ACTIVATION_COMPLETE", "OTA_SW_COMMIT_COMPLETE"
NOT_COMMITTED = "OTA_SW_COMMIT_FAILED"


def expect(what: str, expected: object, found: object) -> None:
    if expected != found:
        raise Failure(f"{what}: expected {expected}, found {found}")


def expect_text(what: str, pattern: str, text: str) -> None:
    if not re.search(pattern, text):
        raise Failure(f"{what}: <{pattern}> is not in: {text[-400:]}")


def expect_times(what: str, count: int, pattern: str, text: str) -> None:
    expect(f"{what}, <{pattern}>", count, len(re.findall(pattern, text)))


class Stage:
    """Of one scenario."""

    def __init__(
        self, factory: Factory, folder: pathlib.Path, tell: Callable[[str, str], None], seed: int
    ) -> None:
        self.factory, self.say, self.seed = factory, tell, seed
        self._folder = folder
        self._nodes = 0
        folder.mkdir(parents=True)

    def image(self, version: str, flaw: str = GOOD) -> Image:
        return self.factory.shelf.image(version, flaw)

    @contextlib.contextmanager
    def node(self, state: dict[str, str] | None = None) -> Iterator[Node]:
        """A new one with the old version, switched on; it ends with the scenario."""
        self._nodes += 1
        folder = self._folder / f"node-{self._nodes}"
        node = Node(self.factory, folder, self.image(OLD), self.say, state)
        try:
            node.on()
            node.wait_ready(OLD)
            yield node
        finally:
            node.close()

    # Verdicts, of what the node tells and of what its card holds.

    def expect_words(self, node: Node, words: Sequence[str]) -> None:
        expect("status words", list(words), node.words())
        self.say("words", ", ".join(words) or "none")

    def expect_boots(self, node: Node, versions: Sequence[str]) -> None:
        expect("versions that came up", list(versions), node.boots())

    def expect_banks(self, node: Node, runs: str, other: Image | None) -> None:
        """Bank a holds the old image as ever; `other`: what bank b holds whole, if anything."""
        state = node.banks()
        expect("banks", (runs, "none"), (state["active"], state["trial"]))
        expect(
            "bank that boots next", runs, state["next"] if _whole(state, state["next"]) else runs
        )
        expect("bank a is whole", True, _whole(state, "a"))
        expect("bank b is whole", other is not None, _whole(state, "b"))
        self._expect_content(node, "a", self.image(OLD))
        if other:
            expect_text("bank b", f"version={re.escape(other.version)} ", state["b"])
            self._expect_content(node, "b", other)
        self.say("banks", f"{runs} runs; bank b: {other.version if other else 'not whole'}")

    def _expect_content(self, node: Node, bank: str, image: Image) -> None:
        if not begins_with(node.bank_on_card(bank), image.path, image.size):
            raise Failure(f"bank {bank} does not equal {image.path.name} byte for byte")

    def expect_no_failed_unit(self, node: Node) -> None:
        expect("units that failed", "", node.run("systemctl --failed --plain --no-legend"))


def _whole(state: dict[str, str], bank: str) -> bool:
    return "whole=1" in state[bank]


class Clock:
    """Seconds since it was made."""

    def __init__(self) -> None:
        self._began = time.monotonic()

    def seconds(self) -> float:
        return time.monotonic() - self._began
