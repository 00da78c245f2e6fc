# SPDX-License-Identifier: MIT
"""A test with a folder of its own."""

import pathlib
import shutil
import tempfile
import unittest

from rig.failure import Failure


class FolderCase(unittest.TestCase):
    def setUp(self) -> None:
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="desk-test."))
        self.addCleanup(shutil.rmtree, self.folder)

    def fails(self, part: str) -> "unittest.case._AssertRaisesContext[Failure]":
        """What is done in it must fail with these words in its one line."""
        return self.assertRaisesRegex(Failure, f"^[^\n]*{part}[^\n]*$")
