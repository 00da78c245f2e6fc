# SPDX-License-Identifier: MIT
"""The power goes, and with it what the card had not taken; the node comes back and finishes."""

import random

from machine.card import ENVIRONMENT_AT, ENVIRONMENT_LENGTH, bank_begins_at
from machine.node import Node
from machine.stage import ACTIVATED, COMMITTED, NEW, OLD, Stage, expect
from machine.virtual_machine import PowerIsOff
from rig.files import MIB
from rig.images import Image

_CUTS = 3
_MOST_CHANGES = 400


class EnvironmentSaves:
    """True at the write that begins the so-manieth save of a copy of the environment."""

    def __init__(self, number: int) -> None:
        self._left = number
        self._at = -1

    def __call__(self, what: str, offset: int, _length: int) -> bool:
        copy = next((at for at in ENVIRONMENT_AT if at <= offset < at + ENVIRONMENT_LENGTH), -1)
        if what == "flush":
            self._at = -1
        if what != "write" or copy < 0 or copy == self._at:
            return False
        self._at = copy
        self._left -= 1
        return self._left == 0


class BankWritten:
    """True once so many bytes went to bank b."""

    def __init__(self, size: int) -> None:
        self._left = size

    def __call__(self, what: str, offset: int, length: int) -> bool:
        if what == "write" and offset >= bank_begins_at("b"):
            self._left -= length
        return self._left <= 0


class Changes:
    """True at the so-manieth write or flush."""

    def __init__(self, number: int) -> None:
        self._left = number

    def __call__(self, _what: str, _offset: int, _length: int) -> bool:
        self._left -= 1
        return self._left == 0


def wait_for_cut(node: Node) -> None:
    """The machine must go off at the change that it was armed for."""
    try:
        node.machine.wait_for_console("never said at all", node.machine.mark(), 600)
    except PowerIsOff:
        node.tell_cut()


def expect_finished(stage: Stage, node: Node, ticket: int, image: Image) -> None:
    """However often its power went: the truth is told, and the new version committed."""
    expect("end of the ticket", 0, node.wait_finished(ticket)["code"])
    words = node.words()
    expect("failures among the status words", [], [word for word in words if "FAILED" in word])
    expect("a commit among the status words", True, COMMITTED in words)
    stage.expect_banks(node, "b", image)
    stage.expect_no_failed_unit(node)


def _offer_and_cut(stage: Stage, node: Node, at: EnvironmentSaves | BankWritten) -> int:
    ticket = node.offer(stage.image(NEW), 1)
    node.arm(at, seed=1)
    wait_for_cut(node)
    node.on()
    return ticket


def cut_writing(stage: Stage) -> None:
    """In the middle of the write: the bank is not whole, and is written anew."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = _offer_and_cut(stage, node, BankWritten(8 * MIB))
        node.wait_ready(OLD)
        expect("bank b behind the cut", True, "whole=0" in node.banks()["b"])
        node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)
        stage.expect_boots(node, [OLD, OLD, NEW])
        stage.expect_words(node, [ACTIVATED, COMMITTED])


# Each change of the state is two copies: given up, written, activated.
_FIRST_COPY_OF_ACTIVATION = 5


def cut_activating(stage: Stage) -> None:
    """While the activation is stored: the old bank, or the new one on trial, and then the end."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = _offer_and_cut(stage, node, EnvironmentSaves(_FIRST_COPY_OF_ACTIVATION))
        if node.wait_ready() == OLD:
            node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)


def _offer_and_cut_behind_reboot(stage: Stage, node: Node, save: int) -> int:
    """At a save of the environment behind the activation; the boot loader's is the first."""
    ticket = node.offer(stage.image(NEW), 1)
    node.wait_for_word(ACTIVATED)
    node.arm(EnvironmentSaves(save), seed=2)
    wait_for_cut(node)
    node.on()
    return ticket


def cut_boot_loader(stage: Stage) -> None:
    """While the boot loader counts the attempt: one copy is whole, and the new bank boots."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = _offer_and_cut_behind_reboot(stage, node, 1)
        node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)
        stage.expect_boots(node, [OLD, NEW])


_BOOT_LOADER_AND_PASSED = 3  # copies


def cut_committing(stage: Stage) -> None:
    """It passed, the commit is reported, and is being stored: at the next start it is committed."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = _offer_and_cut_behind_reboot(stage, node, _BOOT_LOADER_AND_PASSED + 1)
        node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)


def cut_at_random(stage: Stage) -> None:
    """Three times anywhere, in boots too."""
    chance = random.Random(stage.seed)
    stage.say("seed", f"{stage.seed} (--seed {stage.seed} cuts at the same changes)")
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 1)
        cuts = 0
        for _ in range(_CUTS):
            node.arm(Changes(chance.randrange(1, _MOST_CHANGES)), seed=chance.getrandbits(32))
            if not _is_cut(node, ticket):
                break
            cuts += 1
            node.on()
        node.disarm()
        expect("a cut before the upgrade was over", True, cuts > 0)
        expect_finished(stage, node, ticket, new)


def _is_cut(node: Node, ticket: int) -> bool:
    """False where the ticket came to its end before."""
    try:
        while not node.finished(ticket):
            pass
    except PowerIsOff:
        node.tell_cut()
        return True
    return False
