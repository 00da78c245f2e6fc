# SPDX-License-Identifier: MIT
"""Locks that are held, free, or cannot be had."""

import errno
import os
import unittest
from unittest import mock

from folder_case import FolderCase
from rig.folder_lock import FolderLock


class Locks(FolderCase):
    def test_one_holds_it_until_it_goes(self) -> None:
        path = self.folder / "lock"
        first, second = FolderLock(path), FolderLock(path)
        self.addCleanup(second.close)
        self.assertTrue(first.try_lock())
        self.assertFalse(second.try_lock())
        first.close()
        self.assertTrue(second.try_lock())

    def test_a_file_system_without_locks_is_no_other_holder(self) -> None:
        lock = FolderLock(self.folder / "lock")
        self.addCleanup(lock.close)
        none = OSError(errno.ENOLCK, os.strerror(errno.ENOLCK))
        with mock.patch("fcntl.flock", side_effect=none), self.fails(
            f"cannot lock {self.folder}/lock: No locks available; name a folder on a file system "
            "with locks with --run-dir"
        ):
            lock.try_lock()

    def test_a_file_that_cannot_be_opened_says_what_to_do(self) -> None:
        with self.fails(
            f"cannot open {self.folder}/missing/lock: No such file or directory; name a folder of "
            "your own with --run-dir"
        ):
            FolderLock(self.folder / "missing/lock")


if __name__ == "__main__":
    unittest.main()
