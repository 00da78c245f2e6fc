# SPDX-License-Identifier: MIT
"""Who is at the other end of a connection over loopback: this user, root, or a stranger.

Strangers who connect and say nothing would take up files that the nodes need.
"""

import asyncio
import os
import socket
import struct
from collections.abc import Callable

_CONNECTIONS = "/proc/net/tcp"
_LOCAL, _REMOTE, _USER = 1, 2, 7  # columns of it
FEW = 32  # connections at once, whosever they are


def _as_the_kernel_writes(address: tuple[str, int]) -> str:
    host = struct.unpack("=I", socket.inet_aton(address[0]))[0]
    return f"{host:08X}:{address[1]:04X}"


def user_of(peer: tuple[str, int], own: tuple[str, int]) -> int | None:
    """The owner of the other end; none where it is gone by now."""
    wanted = (_as_the_kernel_writes(peer), _as_the_kernel_writes(own))
    with open(_CONNECTIONS, encoding="ascii") as file:
        for line in file:
            if wanted[0] in line:
                fields = line.split()
                if (fields[_LOCAL], fields[_REMOTE]) == wanted:
                    return int(fields[_USER])
    return None


def is_stranger(transport: asyncio.BaseTransport) -> bool:
    peer, own = transport.get_extra_info("peername"), transport.get_extra_info("sockname")
    try:
        return user_of(peer[:2], own[:2]) not in (os.geteuid(), 0)
    except (OSError, TypeError, ValueError):
        return True


class Door:
    """Before a server: lets connections in to its protocol, and strangers' only while there are few.
    They may know the token, as the browser of the user does who let root start the lab."""

    def __init__(self, behind: Callable[[], asyncio.Protocol]) -> None:
        self._behind = behind
        self._held: set[asyncio.BaseTransport] = set()

    def __call__(self) -> asyncio.Protocol:
        return _Doorkeeper(self)

    def protocol_for(self, transport: asyncio.BaseTransport) -> asyncio.Protocol | None:
        """None: it stays outside."""
        self._held = {one for one in self._held if not one.is_closing()}
        if len(self._held) >= FEW and is_stranger(transport):
            return None
        self._held.add(transport)
        return self._behind()


class _Doorkeeper(asyncio.Protocol):
    def __init__(self, door: Door) -> None:
        self._door = door

    def connection_made(self, transport: asyncio.BaseTransport) -> None:
        assert isinstance(transport, asyncio.Transport)
        protocol = self._door.protocol_for(transport)
        if protocol is None:
            transport.abort()
            return
        transport.set_protocol(protocol)
        protocol.connection_made(transport)
