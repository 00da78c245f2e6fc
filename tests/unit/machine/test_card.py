# SPDX-License-Identifier: MIT
"""The docs' boot script with this board's own lines."""

import pathlib
import unittest

from machine.architecture import ARCHITECTURES
from machine.card import boot_script
from rig.failure import Failure

SCRIPT = pathlib.Path(__file__).parents[3] / "docs/boot.cmd"
OWN = ("arguments=", "load_kernel=", "start_kernel=")


class BootScript(unittest.TestCase):
    def test_only_the_boards_own_lines_differ(self):
        text = SCRIPT.read_text()
        for board in ARCHITECTURES.values():
            before, after = text.splitlines(), boot_script(text, board).splitlines()
            self.assertEqual(len(before), len(after))
            changed = [new for old, new in zip(before, after) if old != new]
            self.assertEqual([one.split("=")[0] + "=" for one in changed], list(OWN))

    def test_a_script_without_such_a_line_is_refused(self):
        board = next(iter(ARCHITECTURES.values()))
        for name in OWN:
            with self.assertRaisesRegex(Failure, name):
                boot_script(SCRIPT.read_text().replace(f"\n{name}", "\nother="), board)


if __name__ == "__main__":
    unittest.main()
