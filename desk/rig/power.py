# SPDX-License-Identifier: MIT
"""A power supply that counts the changes of a node's storage, and goes at one of them."""

import json
import pathlib
from collections.abc import Sequence
from typing import Any

from rig.files import read_text, write_file
from rig.processes import Words
from rig.programs import Programs

POWER_CUT = 75  # exit code of ota-power, once it cut the power


class PowerSupply:
    """ota-power around the programs of a node, one after the other."""

    def __init__(self, programs: Programs, disk: pathlib.Path, log: pathlib.Path) -> None:
        """What it writes lies beside the log: not on the node's storage."""
        self._program = programs.program("ota-power")
        self._disk = disk
        self._count = log.with_name(log.name + ".count")
        self._journal = log.with_name(log.name + ".changes")
        self._faults = log.with_name(log.name + ".faults")
        self._losses = log.with_name(log.name + ".losses")
        # For around(): faults that can be changed while the program runs, and what a cut takes.
        self.live: Words = ["--faults", self._faults, "--losses", self._losses]

    def around(self, words: Words, options: Words) -> list[str]:
        """The command line of a program under power."""
        self.forget()
        supply = [self._program, "--disk", self._disk]
        files = ["--count", self._count, "--journal", self._journal]
        return [str(word) for word in (*supply, *files, *options, "--", *words)]

    def counted(self) -> int | None:
        """Changes of the program that ended; none where it never said."""
        try:
            return int(self._count.read_text())
        except (OSError, ValueError):
            return None

    def journal(self) -> list[str]:
        """A line for each of them, of a program that still runs too."""
        lines = read_text(self._journal).split("\n")[:-1]
        return [line.split(" ", 1)[1] for line in lines]

    def say(self, faults: Sequence[str]) -> None:
        """These and no others from now on, to a program that was started with live."""
        new = self._faults.with_suffix(".new")
        write_file(new, "".join(f"{fault}\n" for fault in faults))
        new.rename(self._faults)

    def losses(self) -> list[dict[str, Any]]:
        """What the last cut took."""
        return [json.loads(line) for line in read_text(self._losses).splitlines()]

    def forget_losses(self) -> None:
        """Another one is not told of."""
        self._losses.unlink(missing_ok=True)

    def forget(self) -> None:
        """What the last program did."""
        self.forget_count()
        self._journal.unlink(missing_ok=True)

    def forget_count(self) -> None:
        """It was taken."""
        self._count.unlink(missing_ok=True)
