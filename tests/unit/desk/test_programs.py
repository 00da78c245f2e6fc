# SPDX-License-Identifier: MIT
"""Where runs are kept: with the build, or with the user where the programs are installed."""

import os
import pathlib
import unittest
import unittest.mock

from folder_case import FolderCase
from rig.programs import Programs


class Runs(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.build = self.folder / "build"
        (self.build / "service").mkdir(parents=True)

    def runs(self, **environment: str) -> pathlib.Path:
        with unittest.mock.patch.dict(os.environ, environment):
            return Programs(self.build).runs

    def test_those_of_a_build_are_in_its_folder(self) -> None:
        (self.build / "service/otad").write_text("")
        self.assertEqual(self.runs(HOME="/home/me"), self.build / "demo")

    def test_those_of_what_is_installed_are_the_users_own(self) -> None:
        (self.build / "service/otad").symlink_to("/usr/sbin/otad")
        own = pathlib.Path("/home/me/.cache/ota-desk")
        self.assertEqual(self.runs(HOME="/home/me", XDG_CACHE_HOME=""), own)
        self.assertEqual(self.runs(HOME="/home/me", XDG_CACHE_HOME="relative"), own)
        self.assertEqual(self.runs(XDG_CACHE_HOME="/cache"), pathlib.Path("/cache/ota-desk"))


if __name__ == "__main__":
    unittest.main()
