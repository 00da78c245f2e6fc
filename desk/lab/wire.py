# SPDX-License-Identifier: MIT
"""The wires of the mesh: what flows between the nodes and a server, and how it is disturbed.

A wire carries bytes and understands none of them; its ends speak TLS with each other.
"""

import asyncio
import contextlib
import dataclasses
from collections.abc import Callable

from lab.strangers import is_stranger
from rig.failure import Failure
from rig.network import LOOPBACK

_CHUNK = 64 * 1024
_STEPS = 10  # a second, of a wire that is slow


@dataclasses.dataclass
class Disturbance:
    """Of everything that a wire brings to the nodes."""

    rate: int = 0  # bytes a second of each connection; 0: as fast as it can
    cut_after: int = 0  # bytes, then the connection breaks; 0: never
    stalled: bool = False
    refused: bool = False  # nobody answers at the server's end

    def allowed(self) -> int:
        """Bytes at once."""
        return max(1, min(_CHUNK, self.rate // _STEPS)) if self.rate else _CHUNK


class _Connection:
    """Of one node to the server."""

    def __init__(self, wire: "Wire", node: str, near: asyncio.StreamWriter) -> None:
        self.wire, self.node = wire, node
        self.near = near
        self.far: asyncio.StreamWriter | None = None
        self.brought = 0
        self.was_held = False

    def abort(self) -> None:
        for end in (self.near, self.far):
            if end:
                end.transport.abort()

    async def carry(self, reader: asyncio.StreamReader) -> None:
        await self._pass()
        far_reader, self.far = await asyncio.open_connection(LOOPBACK, self.wire.target())
        upward = asyncio.create_task(self._upward(reader, self.far))
        try:
            await self._downward(far_reader)
        finally:
            upward.cancel()

    async def _pass(self) -> None:
        """Waits while nothing goes through."""
        while self.wire.disturbance.stalled or self.node in self.wire.unplugged:
            self.was_held = True
            self.wire.moved.clear()
            await self.wire.moved.wait()

    async def _upward(self, reader: asyncio.StreamReader, far: asyncio.StreamWriter) -> None:
        while chunk := await reader.read(_CHUNK):
            await self._pass()
            far.write(chunk)
            await far.drain()
        # The node went away: so does the server's end.
        self.abort()

    async def _downward(self, far: asyncio.StreamReader) -> None:
        disturbance = self.wire.disturbance
        while chunk := await far.read(self.wire.disturbance.allowed()):
            await self._pass()
            disturbance = self.wire.disturbance
            if disturbance.cut_after and self.brought + len(chunk) >= disturbance.cut_after:
                chunk = chunk[: max(0, disturbance.cut_after - self.brought)]
                self.near.write(chunk)
                await self.near.drain()
                self.abort()
                return
            self.near.write(chunk)
            await self.near.drain()
            self.brought += len(chunk)
            self.wire.brought += len(chunk)
            if disturbance.rate:
                await asyncio.sleep(len(chunk) / disturbance.rate)


class Wire:
    """Listens on a port and carries what comes to the server's."""

    def __init__(self, target: Callable[[], int], owner: Callable[[str], str]) -> None:
        """`owner`: the node at this address."""
        self.target, self._owner = target, owner
        self.disturbance = Disturbance()
        self.unplugged: set[str] = set()  # nodes whose cable is out
        self.moved = asyncio.Event()  # something may go through again
        self.brought = 0  # bytes to the nodes
        self.port = 0
        self._server: asyncio.Server | None = None
        self._connections: set[_Connection] = set()

    async def listen(self, port: int) -> None:
        """On this port, if nobody else does; else, or with 0, on a free one."""
        try:
            await self._listen(port)
        except OSError:
            await self._listen(0)

    async def _listen(self, port: int) -> None:
        self._server = await asyncio.start_server(self._take, LOOPBACK, port)
        self.port = self._server.sockets[0].getsockname()[1]

    async def close(self) -> None:
        if self._server:
            self._server.close()
            self._server = None
        self.break_all()

    @property
    def connections(self) -> int:
        return len(self._connections)

    async def disturb(self, disturbance: Disturbance) -> None:
        """From now on; what was held by the last one breaks, or goes on."""
        self.disturbance = disturbance
        if disturbance.refused:
            await self.close()
        elif self._server is None and self.port:
            try:
                await self._listen(self.port)
            except OSError as error:
                raise Failure(
                    f"port {self.port} is taken by another program: {error.strerror}"
                ) from error
        self.moved.set()

    def unplug(self, node: str) -> None:
        """Nothing of this node goes through, and nobody is told: a cable that is out."""
        self.unplugged.add(node)

    def plug(self, node: str) -> None:
        """What was held meanwhile breaks: both ends gave up on it."""
        self.unplugged.discard(node)
        for connection in list(self._connections):
            if connection.node == node and connection.was_held:
                connection.abort()
        self.moved.set()

    def break_all(self) -> None:
        for connection in list(self._connections):
            connection.abort()

    async def _take(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter) -> None:
        if is_stranger(writer.transport):
            writer.transport.abort()
            return
        connection = _Connection(self, self._owner(writer.get_extra_info("peername")[0]), writer)
        self._connections.add(connection)
        try:
            # A server that does not run, or an end that breaks, breaks both.
            with contextlib.suppress(OSError):
                await connection.carry(reader)
            # This side closes first: the wait of a closed connection stays here, and the node has
            # sixteen ports only.
            if connection.far:
                connection.far.close()
            writer.close()
        finally:
            self._connections.discard(connection)
