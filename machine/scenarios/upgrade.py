# SPDX-License-Identifier: MIT
"""An upgrade by each policy, to its commit."""

from machine.node import Node
from machine.stage import ACTIVATED, COMMITTED, NEW, OLD, Stage, expect
from rig.images import Image

_WRITTEN_ONLY, _ACTIVATED_ONLY = 57, 58
_AHEAD = 45  # seconds until the activation time


def expect_committed(stage: Stage, node: Node, ticket: int, image: Image) -> None:
    """The end of an upgrade without a cut."""
    expect("end of the ticket", 0, node.wait_finished(ticket)["code"])
    stage.expect_words(node, [ACTIVATED, COMMITTED])
    stage.expect_boots(node, [OLD, NEW])
    stage.expect_banks(node, "b", image)
    stage.expect_no_failed_unit(node)


def at_once(stage: Stage) -> None:
    """Policy 1: downloaded over HTTPS, checked, written, activated, booted, committed."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 1)
        node.wait_ready(NEW)
        expect_committed(stage, node, ticket, new)


def at_its_time(stage: Stage) -> None:
    """Policy 0: activates when its time has come."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 0)
        node.wait_for_event(
            "the timer of the activation",
            lambda line: line["event"] == "timer-started" and "rebootTimer" in str(line),
        )
        stage.expect_words(node, [])
        node.run(f"otactl activate-at $(date -d '+{_AHEAD} seconds' +%H:%M:%S)")
        stage.say("node", f"activates in {_AHEAD} s")
        node.wait_ready(NEW)
        expect_committed(stage, node, ticket, new)


def written_then_activated(stage: Stage) -> None:
    """Policy 2 writes the other bank and stops; policy 3 activates what it holds, on arrival."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 2)
        expect("end of policy 2", _WRITTEN_ONLY, node.wait_finished(ticket)["code"])
        stage.expect_words(node, [ACTIVATED])
        stage.expect_banks(node, "a", new)
        ticket = node.offer(new, 3)
        node.wait_ready(NEW)
        expect("end of policy 3", _ACTIVATED_ONLY, node.wait_finished(ticket)["code"])
        words = [ACTIVATED, "OTA_SW_ACTIVATION_REBOOT_COMPLETE", "OTA_SW_SWAP_PASSIVE"]
        # The last one comes behind the reboot command, if the machine still lives.
        expect("status words", True, node.words() in (words, words[:2]))
        stage.expect_boots(node, [OLD, NEW])
        stage.expect_banks(node, "b", new)
