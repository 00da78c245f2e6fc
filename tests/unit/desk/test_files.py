# SPDX-License-Identifier: MIT
"""Whole files."""

import os
import unittest

from folder_case import FolderCase
from rig import files


class Files(FolderCase):
    def test_sizes_are_readable(self) -> None:
        shown = [files.readable_size(size) for size in (512, 1536, 19_188_941)]
        self.assertEqual(shown, ["512 bytes", "1.5 KiB", "18.3 MiB"])

    def test_more_space_than_there_is_is_one_clear_failure(self) -> None:
        files.require_space(self.folder, 0)
        with self.fails(f"too little space for {self.folder}: .* free; make room there"):
            files.require_space(self.folder, 2**64)

    def test_a_bank_is_compared_byte_for_byte(self) -> None:
        bank, image = self.folder / "bank", self.folder / "image"
        image.write_bytes(b"0123456789")
        bank.write_bytes(b"0123456789" + bytes(6))
        self.assertTrue(files.begins_with(bank, image, 10))
        for held in (b"0123456780", b"01234"):
            bank.write_bytes(held)
            self.assertFalse(files.begins_with(bank, image, 10))
        self.assertEqual(files.digest_of(image, "md5"), "781e5e245d69b566979b86e28d23f2c7")

    def test_a_copy_is_this_users_alone_to_write_and_replaces_nothing(self) -> None:
        old, new = self.folder / "old", self.folder / "new"
        old.write_bytes(b"held")
        old.chmod(0o666)
        self.addCleanup(os.umask, os.umask(0))
        files.copy_file(old, new, 6)
        self.assertEqual((new.read_bytes(), new.stat().st_mode & 0o777), (b"held\0\0", 0o644))
        with self.fails("cannot copy .*: File exists"):
            files.copy_file(old, new)

    def test_the_last_line_that_says_something_is_found(self) -> None:
        said = "error: one\nnotice: an error: no\nerror: two \r\nnotice: last\n\n"
        self.assertEqual(files.last_line(said), "notice: last")
        self.assertEqual(files.last_line(said, "error: "), "error: two")
        self.assertEqual(files.last_line(""), "")
        self.assertEqual(len(files.last_line("x" * 1000)), 240)

    def test_where_the_current_directory_is_gone_that_is_said(self) -> None:
        here = os.getcwd()
        gone = self.folder / "gone"
        gone.mkdir()
        os.chdir(gone)
        self.addCleanup(os.chdir, here)
        gone.rmdir()
        with self.fails("the current directory is gone"):
            files.absolute_path("build")
        self.assertEqual(str(files.absolute_path("/a/../b/")), "/b")


if __name__ == "__main__":
    unittest.main()
