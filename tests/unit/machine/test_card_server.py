# SPDX-License-Identifier: MIT
"""The card over its socket: what is answered, what a cut loses, what it never loses."""

import pathlib
import socket
import struct
import tempfile
import unittest

from machine.card_server import SECTOR, CardServer

_SIZE = 64 * SECTOR
_READ, _WRITE, _DISCONNECT, _FLUSH = 0, 1, 2, 3
_FUA = 1
_OLD, _NEW = b"o", b"n"


class Client:
    """As much of the protocol as an emulated machine uses."""

    def __init__(self, place):
        self.line = socket.socket(socket.AF_UNIX)
        self.line.settimeout(60)
        self.line.connect(str(place))
        assert self._take(18)[:8] == b"NBDMAGIC"
        self.line.sendall(struct.pack(">I", 3))
        self.refused = self._option(99)
        self.size, self.flags = struct.unpack(">QH", self._option(7)[0][1][2:])

    def _take(self, length):
        data = b""
        while len(data) < length:
            part = self.line.recv(length - len(data))
            if not part:
                raise ConnectionError
            data += part
        return data

    def _option(self, number):
        """(kind, data) of each reply."""
        data = struct.pack(">IH", 0, 0) if number == 7 else b""
        self.line.sendall(struct.pack(">QII", 0x49484156454F5054, number, len(data)) + data)
        replies = []
        while True:
            _, _, kind, length = struct.unpack(">QIII", self._take(20))
            replies.append((kind, self._take(length)))
            if kind != 3:
                return replies

    def ask(self, kind, offset=0, length=0, data=b"", flags=0):
        """(error, data)"""
        head = struct.pack(">IHHQQI", 0x25609513, flags, kind, 7, offset, len(data) or length)
        self.line.sendall(head + data)
        magic, error, handle = struct.unpack(">IIQ", self._take(16))
        assert (magic, handle) == (0x67446698, 7)
        return error, self._take(length) if kind == _READ and not error else b""

    def close(self):
        self.line.close()


class Card(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="machine-card-")
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name, "card")
        self.file.write_bytes(_OLD * _SIZE)
        place = pathlib.Path(folder.name, "socket")
        self.server = CardServer(self.file, place)
        self.open = True
        self.addCleanup(self.close)
        self.client = Client(place)
        self.addCleanup(self.client.close)

    def close(self):
        if self.open:
            self.open = False
            self.server.close()

    def write(self, sector, count=1, flags=0):
        data = _NEW * SECTOR * count
        self.assertEqual(self.client.ask(_WRITE, sector * SECTOR, data=data, flags=flags)[0], 0)

    def sectors(self):
        """A letter for each sector of the file."""
        data = self.file.read_bytes()
        found = [data[at : at + SECTOR] for at in range(0, len(data), SECTOR)]
        self.assertTrue(all(len(set(one)) == 1 for one in found), "a sector is half written")
        return "".join(chr(one[0]) for one in found)

    def test_says_its_size_and_that_it_must_be_flushed(self):
        self.assertEqual(self.client.size, _SIZE)
        self.assertEqual(self.client.flags, 1 | 4 | 8)
        self.assertEqual(self.client.refused[0][0], 0x80000001)

    def test_what_was_written_is_read_before_it_is_kept(self):
        self.write(3, 2)
        error, data = self.client.ask(_READ, 2 * SECTOR, 4 * SECTOR)
        self.assertEqual((error, data), (0, _OLD * SECTOR + _NEW * 2 * SECTOR + _OLD * SECTOR))
        self.assertEqual(self.sectors(), "o" * 64)

    def test_of_two_writes_to_a_sector_the_later_one_counts(self):
        self.write(3)
        self.client.ask(_WRITE, 3 * SECTOR, data=b"x" * SECTOR)
        self.assertEqual(self.client.ask(_READ, 3 * SECTOR, SECTOR)[1], b"x" * SECTOR)
        self.client.ask(_FLUSH)
        self.assertEqual(self.sectors()[3], "x")

    def test_a_cut_takes_nothing_that_was_flushed(self):
        self.write(1, 8)
        self.assertEqual(self.client.ask(_FLUSH)[0], 0)
        told = self.server.cut(1)
        self.assertEqual(sum(told.values()), 0)
        self.assertEqual(self.sectors()[1:9], "n" * 8)

    def test_a_write_that_is_to_be_kept_at_once_is(self):
        self.write(5, flags=_FUA)
        self.server.cut(1)
        self.assertEqual(self.sectors()[5], "n")

    def test_a_cut_loses_tears_and_takes_what_was_not_flushed(self):
        for sector in range(0, 64, 4):
            self.write(sector, 4)
        told = self.server.cut(12)
        self.assertEqual(sum(told.values()), 16)
        self.assertTrue(all(told.values()), told)
        groups = [self.sectors()[at : at + 4] for at in range(0, 64, 4)]
        self.assertEqual(groups.count("oooo"), told["lost"])
        self.assertEqual(groups.count("nnnn"), told["taken"])
        torn = [one for one in groups if one not in ("oooo", "nnnn")]
        self.assertEqual(len(torn), told["torn"])
        for one in torn:
            self.assertRegex(one, "^n+o+$")

    def test_the_same_seed_loses_the_same(self):
        seen = []
        for _ in range(2):
            self.file.write_bytes(_OLD * _SIZE)
            for sector in range(0, 64, 4):
                self.server.held.write(sector * SECTOR, _NEW * SECTOR * 4)
            self.server.cut(5)
            seen.append(self.sectors())
            self.server.restore_power()
        self.assertEqual(seen[0], seen[1])

    def test_nothing_gets_there_once_the_power_is_off(self):
        self.server.cut(1)
        with self.assertRaises(ConnectionError):
            self.write(1, flags=_FUA)
        self.assertEqual(self.sectors(), "o" * 64)

    def test_the_power_goes_at_a_change_of_its_own(self):
        told = {}

        def at(what, offset, _length):
            if what == "write" and offset == 9 * SECTOR:
                told.update(self.server.go_off(1))

        self.server.on_change = at
        self.write(1)
        self.client.ask(_FLUSH)
        with self.assertRaises(ConnectionError):
            self.write(9, flags=_FUA)
        self.assertEqual(sum(told.values()), 1)
        self.assertEqual(self.sectors()[1], "n")

    def test_a_machine_that_is_switched_off_in_order_loses_nothing(self):
        self.write(7)
        self.close()
        self.assertEqual(self.sectors()[7], "n")

    def test_what_lies_beyond_its_end_is_an_error(self):
        self.assertEqual(self.client.ask(_READ, _SIZE, SECTOR)[0], 22)
        self.assertEqual(self.client.ask(_WRITE, _SIZE - 1, data=b"xx")[0], 22)
        self.assertEqual(self.client.ask(17)[0], 22)
        self.assertEqual(self.client.ask(_READ, 0, SECTOR)[0], 0)


if __name__ == "__main__":
    unittest.main()
