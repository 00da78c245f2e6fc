# SPDX-License-Identifier: MIT
"""The command line of a node's service, as the rig's one way to speak to a node."""

import json
import os
import pathlib
import re
import shlex
from typing import Any

from rig.bus import LOCAL_ADDRESS, Bus
from rig.failure import Failure
from rig.files import last_line
from rig.processes import LineStream, Words, describe_end, run

_LONGEST_ADDRESS = 107  # bytes of a socket's path


def words_for_a_shell(program: pathlib.Path, bus: Bus) -> list[str]:
    """How a person says otactl to the node of this bus, from wherever they are."""
    path = os.fsencode(bus.socket)
    if len(path) <= _LONGEST_ADDRESS:
        escaped = re.sub(rb"[^A-Za-z0-9_/.-]", lambda byte: b"%%%02x" % byte[0][0], path)
        return [shlex.quote(str(program)), f"--bus {shlex.quote(f'unix:path={escaped.decode()}')}"]
    return ["cd", shlex.quote(str(bus.folder)), "&&", shlex.quote(str(program)),
            f"--bus {LOCAL_ADDRESS}"]  # fmt: skip


class Answer:
    """Exit code, the lines on standard output as JSON, standard error."""

    def __init__(self, code: int, output: str, error: str) -> None:
        self.code, self.error = code, error
        self.lines: list[dict[str, Any]] = [json.loads(line) for line in output.splitlines()]

    @property
    def first(self) -> dict[str, Any]:
        return self.lines[0]


class Otactl:
    """otactl as a client of one bus."""

    def __init__(self, program: pathlib.Path, bus: Bus, environment: dict[str, str]) -> None:
        self.program, self.bus, self.environment = program, bus, environment
        self.log = bus.folder / "otactl.log"

    def _words(self, address: str, words: Words) -> Words:
        return [self.program, "--bus", address, "--json", *words]

    def ask(self, *words: str | int, text: str | None = None, **options: Any) -> Answer:
        """One call; what it says beside its answer goes to the log too."""
        options = {"cwd": self.bus.folder, "env": self.environment, **options}
        address = LOCAL_ADDRESS if options["cwd"] == self.bus.folder else self.bus.address
        finished = run(self._words(address, words), text=text, **options)
        if finished.stderr:
            with open(self.log, "a", encoding="utf-8", errors="surrogateescape") as log:
                log.write(finished.stderr)
        return Answer(finished.returncode, finished.stdout, finished.stderr)

    def hand(self, *words: str | int) -> int:
        """Hands the node something; its ticket."""
        answer = self.ask(*words)
        if answer.code != 0:
            reason = last_line(answer.error)
            raise Failure(
                f"otactl {words[0]} ended with {describe_end(answer.code)}"
                + (f": {reason}" if reason else "")
            )
        if not answer.lines or not isinstance(answer.lines[-1].get("ticket"), int):
            raise Failure(f"otactl {words[0]} gave no ticket but: {answer.lines}")
        ticket: int = answer.lines[-1]["ticket"]
        return ticket

    def watch(self) -> LineStream:
        """The node's events, a JSON object a line, for as long as the stream lives."""
        return LineStream(
            self._words(LOCAL_ADDRESS, ["watch"]), self.bus.folder, self.log, self.environment
        )
