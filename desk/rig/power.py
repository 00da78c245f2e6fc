# SPDX-License-Identifier: MIT
"""A power supply that counts the changes of a node's storage, and goes at one of them."""

import pathlib

from rig.files import read_text
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

    def forget(self) -> None:
        """What the last program did."""
        self.forget_count()
        self._journal.unlink(missing_ok=True)

    def forget_count(self) -> None:
        """It was taken."""
        self._count.unlink(missing_ok=True)
