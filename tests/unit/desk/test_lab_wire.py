# SPDX-License-Identifier: MIT
"""A wire between a node and a server: what it brings, how it is disturbed, how it breaks."""

import asyncio
import time
import unittest

from lab.wire import Disturbance, Wire

_SIZE = 300_000
_PATIENCE = 60


class Wires(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self):
        self.server = await asyncio.start_server(self.serve, "127.0.0.1", 0)
        port = self.server.sockets[0].getsockname()[1]
        self.wire = Wire(lambda: port, lambda address: address)
        await self.wire.listen(0)

    async def asyncTearDown(self):
        await self.wire.close()
        self.server.close()

    async def serve(self, reader, writer):
        await reader.read(1)
        writer.write(bytes(_SIZE))
        await writer.drain()
        writer.close()

    async def fetch(self, node="127.0.0.1"):
        """How many bytes came."""
        reader, writer = await asyncio.open_connection(
            "127.0.0.1", self.wire.port, local_addr=(node, 0)
        )
        try:
            writer.write(b"x")
            count = 0
            while chunk := await reader.read(65536):
                count += len(chunk)
            return count
        except ConnectionError:
            return count
        finally:
            writer.transport.abort()

    async def test_it_brings_everything(self):
        self.assertEqual(await self.fetch(), _SIZE)

    async def test_it_breaks_after_so_many_bytes(self):
        await self.wire.disturb(Disturbance(cut_after=100_000))
        self.assertLessEqual(await self.fetch(), 100_000)
        await self.wire.disturb(Disturbance())
        self.assertEqual(await self.fetch(), _SIZE)

    async def test_it_is_slow(self):
        await self.wire.disturb(Disturbance(rate=_SIZE))
        began = time.monotonic()
        self.assertEqual(await self.fetch(), _SIZE)
        self.assertGreater(time.monotonic() - began, 0.7)

    async def test_it_refuses(self):
        await self.wire.disturb(Disturbance(refused=True))
        with self.assertRaises(ConnectionRefusedError):
            await self.fetch()
        await self.wire.disturb(Disturbance())
        self.assertEqual(await self.fetch(), _SIZE)

    async def test_it_stalls_and_goes_on(self):
        await self.wire.disturb(Disturbance(stalled=True))
        fetching = asyncio.create_task(self.fetch())
        with self.assertRaises(asyncio.TimeoutError):
            await asyncio.wait_for(asyncio.shield(fetching), 0.3)
        await self.wire.disturb(Disturbance())
        self.assertEqual(await asyncio.wait_for(fetching, _PATIENCE), _SIZE)

    async def test_one_cable_is_out_and_the_others_are_not(self):
        self.wire.unplug("127.47.0.2")
        fetching = asyncio.create_task(self.fetch("127.47.0.2"))
        self.assertEqual(await self.fetch("127.47.0.3"), _SIZE)
        self.assertFalse(fetching.done())
        # Both ends gave up on what was held meanwhile.
        self.wire.plug("127.47.0.2")
        self.assertLess(await asyncio.wait_for(fetching, _PATIENCE), _SIZE)
        self.assertEqual(await self.fetch("127.47.0.2"), _SIZE)

    async def test_nothing_is_left_of_connections_that_ended(self):
        for _ in range(5):
            await self.fetch()
        deadline = time.monotonic() + _PATIENCE
        while self.wire.connections and time.monotonic() < deadline:
            await asyncio.sleep(0.01)
        self.assertEqual(self.wire.connections, 0)


if __name__ == "__main__":
    unittest.main()
