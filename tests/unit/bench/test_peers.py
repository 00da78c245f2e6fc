# SPDX-License-Identifier: MIT
"""The archive that is streamed."""

import pathlib
import tempfile
import unittest

from peers import archive_header, write_archive


class TheArchive(unittest.TestCase):
    def test_holds_the_files_in_their_order_and_is_padded(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            files = [folder / "description", folder / "payload"]
            files[0].write_bytes(b"text")
            files[1].write_bytes(b"\1" * 1001)
            write_archive(folder / "archive", files)
            found, end = self.read((folder / "archive").read_bytes())
        self.assertEqual(found, [("description", b"text"), ("payload", b"\1" * 1001)])
        self.assertEqual(end, "TRAILER!!!")

    def read(self, archive: bytes) -> tuple[list[tuple[str, bytes]], str]:
        self.assertEqual(len(archive) % 512, 0)
        found = []
        at = 0
        while True:
            self.assertEqual(archive[at : at + 6], b"070701")
            fields = [int(archive[at + 6 + 8 * i : at + 14 + 8 * i], 16) for i in range(13)]
            name = archive[at + 110 : at + 109 + fields[11]].decode()
            at += -(-(110 + fields[11]) // 4) * 4
            if name == "TRAILER!!!":
                return found, name
            found.append((name, archive[at : at + fields[6]]))
            at += -(-fields[6] // 4) * 4

    def test_a_header_is_of_whole_words(self) -> None:
        for length in range(1, 9):
            self.assertEqual(len(archive_header(1, "x" * length, 5)) % 4, 0)


if __name__ == "__main__":
    unittest.main()
