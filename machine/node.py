# SPDX-License-Identifier: MIT
"""A node on an emulated machine: what a scenario does to it, asks it, and finds on its card."""

import json
import pathlib
import re
import time
from collections.abc import Callable
from typing import Any

from machine.card import BANK_LENGTH, bank_begins_at
from machine.card_server import SECTOR
from machine.factory import Factory
from machine.image_shelf import MODEL
from machine.virtual_machine import Machine, NoAnswer
from rig import interrupt
from rig.failure import Failure
from rig.files import digest_of
from rig.images import Image

MAC = "02:00:5E:00:53:01"
_STATE = "/var/lib/ota/otad"
_READY = re.compile(r"machine: ready, (\S+)")
# Emulated on a busy machine; a hang is longer.
LONG = 600.0
_BREATH = 0.5
_GLANCE = 20.0  # for an answer, where the machine may be booting


class Node:
    """Under power from on() to off(); its card outlives it."""

    def __init__(
        self,
        factory: Factory,
        folder: pathlib.Path,
        image: Image,
        say: Callable[[str, str], None],
        state: dict[str, str] | None = None,
    ) -> None:
        folder.mkdir(parents=True)
        self.factory, self.folder, self._say = factory, folder, say
        self._card = folder / "card"
        factory.cards.make(self._card, image, state or {})
        self.machine = Machine(
            factory.architecture, factory.loader, self._card, folder, factory.files.port
        )
        self._told: dict[str, int] = {}  # what became of writes at the last cut
        self._seen = 0  # of the console, by those who wait for its next words

    # Power.

    def on(self) -> None:
        self._seen = self.machine.mark()
        self.machine.switch_on()

    def cut(self, seed: int) -> None:
        self._told = self.machine.cut(seed)
        self.tell_cut()

    def arm(self, condition: Callable[[str, int, int], bool], seed: int) -> None:
        """The power goes at the write or flush of the card for which the condition is true."""
        self._told = {}
        self.machine.arm(condition, seed, self._told)

    def disarm(self) -> None:
        self.machine.disarm()

    def tell_cut(self) -> None:
        """Of a power that went by itself, too; what is left of the machine is taken away."""
        self.machine.disarm()
        self.machine.pull()
        if not self._told:
            raise Failure(f"the machine went off by itself; see {self.folder / 'qemu.log'}")
        fates = ", ".join(f"{count} {fate}" for fate, count in self._told.items())
        self._say("power", f"cut; writes that the card had not taken: {fates}")

    def close(self) -> None:
        self.machine.close()

    # What the console says.

    def wait_ready(self, version: str = "", patience: float = LONG) -> str:
        """Until the service of the next boot answers; the version that runs."""
        began = time.monotonic()
        line = self.machine.wait_for_console(_READY.pattern + r"\r?\n", self._seen, patience)
        self._seen = self._after(line)
        runs = _READY.search(line)
        assert runs
        self._say("ready", f"{runs[1]} runs, {time.monotonic() - began:.1f} s later")
        if version and runs[1] != version:
            raise Failure(f"{version} should run; {runs[1]} does")
        return runs[1]

    def _after(self, line: str) -> int:
        text = self.machine.said(self._seen)
        end = text.index(line) + len(line)
        return self._seen + end

    def boots(self) -> list[str]:
        """The versions whose service came up, in order."""
        return _READY.findall(self.machine.said())

    # What it is asked and told.

    def run(self, command: str) -> str:
        """Of a command that must end well."""
        code, output = self.machine.ask(command)
        if code != 0:
            raise Failure(f"in the machine <{command}> ended with {code}: {output[-300:]}")
        return output

    def asked(self, command: str) -> tuple[int, str]:
        return self.machine.ask(command)

    def _offering(self, image: Image, policy: int) -> str:
        descriptor = {
            "model": MODEL,
            "nxtMSVersion": image.version,
            "fileServerURL": self.factory.publish(image),
            "checksum": digest_of(image.path, "md5"),
            "mac": MAC,
            "policy": policy,
        }
        return f"printf '%s' '{json.dumps(descriptor)}' | otactl --json offer -"

    def offer(self, image: Image, policy: int) -> int:
        """The ticket."""
        self._say("offer", f"{image.path.name}, policy {policy}")
        answer = self.run(self._offering(image, policy))
        ticket: int = json.loads(answer.splitlines()[-1])["ticket"]
        return ticket

    def refused_offer(self, image: Image, policy: int) -> int:
        """The exit code of otactl."""
        self._say("offer", f"{image.path.name}, policy {policy}")
        return self.asked(self._offering(image, policy))[0]

    def history(self, patience: float = LONG) -> list[dict[str, Any]]:
        """Every line, the oldest first; of a line that a cut tore nothing."""
        _, text = self.machine.ask(f"cat $(ls -r {_STATE}/history.jsonl*)", patience)
        found = []
        for line in text.splitlines():
            try:
                found.append(json.loads(line))
            except ValueError:
                continue
        return found

    def words(self) -> list[str]:
        """The status words that it reported."""
        return [str(line["reason"]) for line in self.history() if line["event"] == "status"]

    def _history_now(self) -> list[dict[str, Any]]:
        """Empty where it is booting, and nobody answers."""
        interrupt.check()
        time.sleep(_BREATH)
        try:
            return self.history(_GLANCE)
        except NoAnswer:
            return []

    def wait_for_event(self, what: str, found: Callable[[dict[str, Any]], bool]) -> dict[str, Any]:
        """The line of the history; over reboots too."""
        deadline = time.monotonic() + LONG
        while time.monotonic() < deadline:
            for line in self._history_now():
                if found(line):
                    return line
        raise Failure(f"the history did not tell within {LONG:.0f} s: {what}")

    def wait_for_word(self, word: str) -> None:
        self.wait_for_event(word, lambda line: line["event"] == "status" and line["reason"] == word)

    def wait_finished(self, ticket: int) -> dict[str, Any]:
        return self.wait_for_event(f"the end of ticket {ticket}", _end_of(ticket))

    def finished(self, ticket: int) -> bool:
        return any(map(_end_of(ticket), self._history_now()))

    def banks(self) -> dict[str, str]:
        """Its boot state, as its own tool reads it on the node."""
        return _read_state(self.run("ota-boot-state show fw_env.config:/etc/fw_env.config"))

    def bank_on_card(self, bank: str) -> pathlib.Path:
        """A copy of it; what the card has not taken yet counts too."""
        copy = self.folder / f"bank-{bank}"
        copy.write_bytes(self.machine.card.look(bank_begins_at(bank), BANK_LENGTH * SECTOR))
        return copy


def _end_of(ticket: int) -> Callable[[dict[str, Any]], bool]:
    return lambda line: line["event"] in ("finished", "cancelled") and line["ticket"] == ticket


def _read_state(text: str) -> dict[str, str]:
    """{"active": ..., "next": ..., "trial": ..., "a": the rest of its line, "b": ..., "failed": ...}"""
    state = {}
    for line in text.splitlines():
        key, _, value = line.partition(":" if ":" in line.split("=")[0] else "=")
        state[key.strip()] = value.strip()
    return state
