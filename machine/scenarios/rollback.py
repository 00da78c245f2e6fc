# SPDX-License-Identifier: MIT
"""Images that do not prove themselves: the old version runs again."""

from machine.image_shelf import NO_KERNEL, PANICS, UNHEALTHY
from machine.node import Node

from machine.stage import (
    ACTIVATED, NEW, NOT_COMMITTED, OLD, Stage, expect, expect_text, expect_times,
)  # fmt: skip
from rig.images import Image

_COMMIT_FAILED, _FAILED_BEFORE = 55, 41
_ATTEMPTS = 2  # of the overlay's node.conf


def _offer_and_fall_back(stage: Stage, node: Node, flaw: str, boots: list[str]) -> Image:
    image = stage.image(NEW, flaw)
    ticket = node.offer(image, 1)
    for version in boots:
        node.wait_ready(version)
    end = node.wait_finished(ticket)
    expect("end of the ticket", _COMMIT_FAILED, end["code"])
    stage.say("end", f"{end['reason_code']}: {end['reason']}")
    stage.expect_words(node, [ACTIVATED, NOT_COMMITTED])
    stage.expect_boots(node, [OLD, *boots])
    code, said = node.asked("otactl forget 4QZ9.9.9 ; otactl banks")
    expect_text("otactl banks", rf"{NEW} failed its trial", said)
    expect("otactl banks", 0, code)
    return image


def _expect_refused(stage: Stage, node: Node, image: Image) -> None:
    """A version that failed is not taken again."""
    answer = node.refused_offer(image, 1)
    expect("a second offer", _FAILED_BEFORE, answer)
    stage.say("offer", "of the version that failed: refused")


def unhealthy(stage: Stage) -> None:
    """It boots, and says itself that it is not healthy."""
    with stage.node() as node:
        image = _offer_and_fall_back(stage, node, UNHEALTHY, [NEW, OLD])
        stage.expect_banks(node, "a", image)
        last = [line for line in node.history() if line["event"] == "trial-failed"]
        expect("trials that failed", 1, len(last))
        expect("their reason", "health-failed", last[0]["reason_code"])
        _expect_refused(stage, node, image)


def _never_comes_up(stage: Stage, flaw: str) -> str:
    """What the console said."""
    with stage.node() as node:
        image = _offer_and_fall_back(stage, node, flaw, [OLD])
        stage.expect_banks(node, "a", image)
        said = node.machine.said()
        expect_times("the boot loader", 1, r"bank b is on trial and may not be tried again", said)
        for left in range(_ATTEMPTS, 0, -1):
            words = f"bank b is on trial: {left} boot attempts left"
            expect_times("the boot loader", 1, words, said)
        _expect_refused(stage, node, image)
    return said


def panics(stage: Stage) -> None:
    """Its kernel panics: the machine resets itself until the attempts are used up."""
    said = _never_comes_up(stage, PANICS)
    expect_times("the console", _ATTEMPTS, "Kernel panic - not syncing", said)


def no_kernel(stage: Stage) -> None:
    """There is nothing to load: the boot loader goes back to the old bank by itself."""
    said = _never_comes_up(stage, NO_KERNEL)
    expect_times("the console", _ATTEMPTS, "bank b did not boot", said)
    expect_times("the console", 0, "Kernel panic", said)
