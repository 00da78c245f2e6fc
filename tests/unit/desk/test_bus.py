# SPDX-License-Identifier: MIT
"""A node's message bus, wherever its folder lies, and who speaks to it."""

import pathlib
import unittest

from folder_case import FolderCase
from rig.bus import LOCAL_ADDRESS, Bus
from rig.otactl import words_for_a_shell
from rig.processes import run_program

ODD = """a 'b' "c" <d>; $e, %41"""


class Buses(FolderCase):
    def bus(self, folder: pathlib.Path) -> Bus:
        folder.mkdir(parents=True)
        bus = Bus(folder)
        self.addCleanup(bus.stop)
        bus.start()
        return bus

    def ask(self, folder: pathlib.Path) -> None:
        """Lists the names on the bus, from its folder."""
        run_program(
            ["dbus-send", f"--bus={LOCAL_ADDRESS}", "--print-reply", "--dest=org.freedesktop.DBus",
             "/org/freedesktop/DBus", "org.freedesktop.DBus.ListNames"],
            folder, self.folder / "ask.log",
        )  # fmt: skip

    def test_it_comes_up_in_a_folder_of_any_length_and_name_and_again(self) -> None:
        bus = self.bus(self.folder / ("x" * 150) / ODD)
        self.ask(bus.folder)
        assert bus.process
        bus.process.kill()  # its socket is left behind
        bus.start()
        self.ask(bus.folder)
        bus.stop()
        with self.fails("dbus-send ended with"):
            self.ask(bus.folder)

    def test_what_a_person_pastes_reaches_it_from_anywhere(self) -> None:
        program = self.folder / "the client's"
        program.write_text(
            '#!/bin/sh\nexec dbus-send "--bus=$2" --print-reply --dest=org.freedesktop.DBus / '
            "org.freedesktop.DBus.ListNames\n"
        )
        program.chmod(0o700)
        for name in (ODD, "x" * 150):
            line = " ".join(words_for_a_shell(program, self.bus(self.folder / name)))
            run_program(["sh", "-c", line], pathlib.Path("/"), self.folder / "ask.log")

    def test_one_that_does_not_come_up_names_its_log(self) -> None:
        bus = Bus(self.folder)
        (self.folder / "bus.conf").write_text("no configuration")
        with self.fails(f"dbus-daemon.* ended with exit code 1.*{bus.log}"):
            bus.start()
        self.assertTrue(bus.log.read_text())


if __name__ == "__main__":
    unittest.main()
