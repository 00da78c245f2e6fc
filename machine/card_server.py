# SPDX-License-Identifier: MIT
"""A card that loses, when its power goes, what it was not told to keep.

A network block device on a Unix socket: a write is answered at once and stays in memory until the
machine flushes (or asks for that write alone to be kept); then it is in the file. cut() loses the
rest: each write is lost, was taken, or was torn at a sector, as the seed decides.
"""

import contextlib
import os
import pathlib
import random
import socket
import struct
import threading
from collections.abc import Callable

SECTOR = 512
_OFFER = 0x49484156454F5054  # "IHAVEOPT"
_SERVER_MAGIC = 0x4E42444D41474943  # "NBDMAGIC"
_OPTION_REPLY = 0x3E889045565A9
_REQUEST, _REPLY = 0x25609513, 0x67446698
_FIXED_NEWSTYLE, _NO_ZEROES = 1, 2
_EXPORT_NAME, _ABORT, _INFO, _GO = 1, 2, 6, 7
_ACKNOWLEDGED, _INFO_REPLY, _UNSUPPORTED = 1, 3, 0x80000001
_HAS_FLAGS, _SEND_FLUSH, _SEND_FUA = 1, 4, 8
_READ, _WRITE, _DISCONNECT, _FLUSH = 0, 1, 2, 3
_FUA = 1
_INVALID = 22
# A card takes what it has by itself when its memory is full; the oldest first.
_MOST_HELD = 64 << 20


class HeldWrites:
    """Over the file that is the card: the writes that are not in it yet, in their order."""

    def __init__(self, file: int, size: int) -> None:
        self._file, self.size = file, size
        self._writes: list[tuple[int, bytes]] = []
        self._held = 0

    def read(self, offset: int, length: int) -> bytes:
        data = bytearray(os.pread(self._file, length, offset))
        data.extend(bytes(length - len(data)))
        for start, written in self._writes:
            first, last = max(start, offset), min(start + len(written), offset + length)
            if first < last:
                data[first - offset : last - offset] = written[first - start : last - start]
        return bytes(data)

    def write(self, offset: int, data: bytes) -> None:
        self._writes.append((offset, data))
        self._held += len(data)
        while self._held > _MOST_HELD:
            self._keep(*self._writes.pop(0))

    def _keep(self, offset: int, data: bytes) -> None:
        os.pwrite(self._file, data, offset)
        self._held -= len(data)

    def flush(self) -> None:
        while self._writes:
            self._keep(*self._writes.pop(0))

    def lose(self, chance: random.Random) -> dict[str, int]:
        """How many writes were lost, torn and taken. A card writes in an order of its own, so what
        becomes of a write says nothing about the ones before it."""
        told = {"lost": 0, "torn": 0, "taken": 0}
        for offset, data in self._writes:
            sectors = len(data) // SECTOR
            fate = chance.choice(("lost", "lost", "torn", "taken"))
            if fate == "torn" and sectors > 1:
                os.pwrite(self._file, data[: chance.randrange(1, sectors) * SECTOR], offset)
            elif fate == "taken":
                os.pwrite(self._file, data, offset)
            else:
                fate = "lost"
            told[fate] += 1
        self._writes.clear()
        self._held = 0
        return told


def _take(connection: socket.socket, length: int) -> bytes:
    parts = []
    while length:
        part = connection.recv(min(length, 1 << 20))
        if not part:
            raise ConnectionError
        parts.append(part)
        length -= len(part)
    return b"".join(parts)


class CardServer:
    """Serves one client at a time until close(); a lock guards the writes, so that a cut falls
    between two of them."""

    def __init__(self, card: pathlib.Path, place: pathlib.Path) -> None:
        self._file = os.open(card, os.O_RDWR)
        self.size = os.fstat(self._file).st_size
        self.held = HeldWrites(self._file, self.size)
        self._lock = threading.Lock()
        self._off = False
        self.flushes = 0
        self.written = 0
        # Called with each write and each flush, under the lock: who wants to pull the plug there.
        self.on_change: Callable[[str, int, int], None] | None = None
        place.unlink(missing_ok=True)
        self._listening = socket.socket(socket.AF_UNIX)
        self._listening.bind(str(place))
        self._listening.listen()
        self._client: socket.socket | None = None
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def cut(self, seed: int) -> dict[str, int]:
        """The power goes: nothing after this gets to the card."""
        with self._lock:
            self._off = True
            return self.held.lose(random.Random(seed))

    def restore_power(self) -> None:
        with self._lock:
            self._off = False

    def look(self, offset: int, length: int) -> bytes:
        """What the machine would read there."""
        with self._lock:
            return self.held.read(offset, length)

    def close(self) -> None:
        """Of a machine that was switched off in order: what is held is kept."""
        with contextlib.suppress(OSError):
            self._listening.shutdown(socket.SHUT_RDWR)
        self._listening.close()
        if self._client:
            with contextlib.suppress(OSError):
                self._client.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self.held.flush()
        os.close(self._file)

    def _serve(self) -> None:
        while True:
            try:
                self._client, _ = self._listening.accept()
            except OSError:
                return
            with self._client, contextlib.suppress(OSError, struct.error):
                if self._negotiate(self._client):
                    self._answer(self._client)

    # The beginning of a connection.

    def _negotiate(self, client: socket.socket) -> bool:
        client.sendall(struct.pack(">QQH", _SERVER_MAGIC, _OFFER, _FIXED_NEWSTYLE | _NO_ZEROES))
        flags = struct.unpack(">I", _take(client, 4))[0]
        while True:
            magic, option, length = struct.unpack(">QII", _take(client, 16))
            _take(client, length)
            if magic != _OFFER or option == _ABORT:
                return False
            if option == _EXPORT_NAME:
                zeroes = b"" if flags & _NO_ZEROES else bytes(124)
                client.sendall(self._described() + zeroes)
                return True
            if option in (_INFO, _GO):
                self._reply(client, option, _INFO_REPLY, struct.pack(">H", 0) + self._described())
                self._reply(client, option, _ACKNOWLEDGED, b"")
                if option == _GO:
                    return True
            else:
                self._reply(client, option, _UNSUPPORTED, b"")

    def _described(self) -> bytes:
        return struct.pack(">QH", self.size, _HAS_FLAGS | _SEND_FLUSH | _SEND_FUA)

    def _reply(self, client: socket.socket, option: int, kind: int, data: bytes) -> None:
        client.sendall(struct.pack(">QIII", _OPTION_REPLY, option, kind, len(data)) + data)

    # What the machine asks for.

    def _answer(self, client: socket.socket) -> None:
        while True:
            head = _take(client, 28)
            magic, flags, kind, handle, offset, length = struct.unpack(">IHHQQI", head)
            if magic != _REQUEST or kind == _DISCONNECT:
                return
            data = _take(client, length) if kind == _WRITE else b""
            beyond = kind in (_READ, _WRITE) and offset + length > self.size
            known = kind in (_READ, _WRITE, _FLUSH)
            if beyond or not known:
                client.sendall(struct.pack(">IIQ", _REPLY, _INVALID, handle))
                continue
            with self._lock:
                answer = self._change(kind, flags, offset, length, data)
            if answer is None:
                return
            client.sendall(struct.pack(">IIQ", _REPLY, 0, handle) + answer)

    def _change(self, kind: int, flags: int, offset: int, length: int, data: bytes) -> bytes | None:
        """Nothing where the power is off."""
        if self._off:
            return None
        if kind == _READ:
            return self.held.read(offset, length)
        if kind == _WRITE:
            self.held.write(offset, data)
            self.written += length
            self._tell("write", offset, length)
        if not self._off and (kind == _FLUSH or flags & _FUA):
            self.held.flush()
            self.flushes += 1
            self._tell("flush", offset, length)
        return None if self._off else b""

    def _tell(self, what: str, offset: int, length: int) -> None:
        if self.on_change:
            self.on_change(what, offset, length)

    def go_off(self, seed: int) -> dict[str, int]:
        """As cut(), for on_change, which is called under the lock."""
        self._off = True
        return self.held.lose(random.Random(seed))
