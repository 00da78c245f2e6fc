# SPDX-License-Identifier: MIT
"""The one folder that a run writes in, and the folders that it leaves alone."""

import os
import pathlib
import unittest

from folder_case import FolderCase
from rig.failure import Failure
from rig.run_folder import MARK, RunFolder

NOBODY = 65534


class RunFolders(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.path = self.folder / "run"

    def run_in(self, path: pathlib.Path) -> RunFolder:
        run = RunFolder(path)
        self.addCleanup(run.close)
        return run

    def earlier_run(self) -> pathlib.Path:
        """What it left behind."""
        RunFolder(self.path).close()
        left = self.path / "left"
        left.write_text("mine")
        return left

    def test_one_of_an_earlier_run_is_emptied(self) -> None:
        left = self.earlier_run()
        (self.path / "tree/deep").mkdir(parents=True)
        (self.path / "tree/deep/file").write_text("x")
        outside = self.folder / "outside"
        outside.mkdir()
        (outside / "precious").write_text("mine")
        (self.path / "link").symlink_to(outside)
        (self.path / "tree/link").symlink_to(outside)
        self.assertEqual(self.run_in(self.path).path, self.path)
        self.assertEqual(os.listdir(self.path), [MARK])
        self.assertFalse(left.exists())
        self.assertEqual((outside / "precious").read_text(), "mine")

    def test_one_of_somebody_else_is_left_alone(self) -> None:
        (self.folder / "precious").write_text("mine")
        with self.fails("holds files that are not of an earlier run: .*--run-dir"):
            RunFolder(self.folder)
        self.assertEqual((self.folder / "precious").read_text(), "mine")

    def test_one_in_use_is_left_alone(self) -> None:
        self.run_in(self.path)
        (self.path / "in-use").write_text("now")
        with self.fails("another run is using .*--run-dir"):
            RunFolder(self.path)
        self.assertEqual((self.path / "in-use").read_text(), "now")

    def test_where_others_decide_it_is_judged_before_anything_is_removed_or_made(self) -> None:
        shared = self.folder / "shared"
        self.path = shared / "run"
        left = self.earlier_run()
        shared.chmod(0o777)
        self.addCleanup(shared.chmod, 0o700)
        with self.fails(rf"{shared} \(owner {os.geteuid()}, mode 0777\) may be written by"):
            RunFolder(self.path)
        self.assertEqual(left.read_text(), "mine")
        with self.fails("may be written by"):
            RunFolder(shared / "new/deeper")
        self.assertFalse((shared / "new").exists())

    def test_one_that_others_may_write_is_taken_from_them(self) -> None:
        self.path.mkdir()
        self.path.chmod(0o777)
        self.run_in(self.path)
        self.assertEqual(self.path.stat().st_mode & 0o777, 0o755)

    def test_a_mark_that_is_a_link_is_not_followed(self) -> None:
        self.path.mkdir()
        target = self.folder / "target"
        (self.path / MARK).symlink_to(target)
        with self.fails("cannot open .*name a folder of your own with --run-dir"):
            RunFolder(self.path)
        self.assertFalse(target.exists())

    @unittest.skipUnless(os.geteuid() == 0, "only root can give a folder away")
    def test_one_that_another_user_made_or_linked_is_left_alone(self) -> None:
        left = self.earlier_run()
        link = self.folder / "link"
        link.symlink_to(self.path)
        os.lchown(link, NOBODY, NOBODY)
        with self.assertRaises(Failure):
            RunFolder(link)
        self.assertEqual(left.read_text(), "mine")
        os.chown(self.path, NOBODY, NOBODY)
        with self.fails("belongs to neither root nor"):
            RunFolder(self.path)
        self.assertEqual(left.read_text(), "mine")
        os.chown(self.path, 0, 0)
        os.lchown(link, 0, 0)
        self.assertEqual(self.run_in(link).path, self.path)
        self.assertFalse(left.exists())

    def test_a_file_in_its_place_is_one_clear_failure(self) -> None:
        self.path.write_text("a file")
        with self.fails("cannot make the folder .*: a file is in its place; .*--run-dir"):
            RunFolder(self.path)
        self.assertEqual(self.path.read_text(), "a file")


if __name__ == "__main__":
    unittest.main()
