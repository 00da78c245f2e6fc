# SPDX-License-Identifier: MIT
"""Who is where: meshes of a gateway and its extenders, with names, addresses and topics."""

import dataclasses
from collections.abc import Sequence

MODEL = "ScaleNode-1"
FACTORY, NEW = "4QZ1.0.0", "4QZ2.0.0"
IN_A_MESH = 20
MOST_NODES = 5000
_FIRST_OCTET = 0x60  # of the last two of a MAC address
_NET = 48
MOST_IN_A_MESH = 65  # a gateway hears so many senders, each by a budget of its own


@dataclasses.dataclass(frozen=True)
class Seat:
    """One of the nodes."""

    number: int  # from 1
    mesh: int  # from 1
    position: int  # in its mesh; the gateway's is 0

    @property
    def is_gateway(self) -> bool:
        return self.position == 0

    @property
    def topic(self) -> str:
        """Below which its mesh speaks."""
        return f"mesh-{self.mesh:03}"

    @property
    def name(self) -> str:
        own = "gateway" if self.is_gateway else f"ext-{self.position:02}"
        return f"{self.topic}/{own}"

    @property
    def mac(self) -> str:
        return f"02:00:5E:00:{_FIRST_OCTET + self.number // 256:02X}:{self.number % 256:02X}"

    @property
    def address(self) -> str:
        """That its downloads come from: the agent's ports there are its own."""
        return f"127.{_NET}.{self.number // 256}.{self.number % 256}"

    @property
    def client(self) -> str:
        """Who it is to the broker: the common name of its certificate."""
        return f"gateway-{self.mesh:03}" if self.is_gateway else self.mac

    @property
    def serial(self) -> str:
        return f"SCALE{self.number:07}"

    @property
    def mode(self) -> str:
        return "RGW" if self.is_gateway else "AP_Bridge"

    @property
    def role(self) -> str:
        return "Controller" if self.is_gateway else "Agent"


def seats_of(nodes: int, in_a_mesh: int) -> list[Seat]:
    """Mesh by mesh, each gateway before its extenders."""
    return [Seat(one + 1, one // in_a_mesh + 1, one % in_a_mesh) for one in range(nodes)]


def access_list(seats: Sequence[Seat]) -> str:
    """Of the broker that all meshes share: none of them hears or speaks in another one."""
    lines = []
    for seat in seats:
        lines.append(f"user {seat.client}")
        if seat.is_gateway:
            lines.append(f"topic read {seat.topic}/#")
        else:
            own = f"{seat.topic}/{seat.mac}"
            lines += [f"topic write {own}/report", f"topic write {own}/file-server"]
    return "\n".join(lines) + "\n"
