# SPDX-License-Identifier: MIT
"""Ports on the loopback interface."""

import socket

from rig.failure import Failure

LOOPBACK = "127.0.0.1"
# The local ports that the agent's downloads come from.
AGENT_PORTS = range(47791, 47807)
_TRIES = 32


def free_port() -> int:
    """A port that nobody listens on, outside the agent's own."""
    reason: object = "all that were given are the agent's"
    for _ in range(_TRIES):
        with socket.socket() as candidate:
            try:
                candidate.bind((LOOPBACK, 0))
            except OSError as error:
                reason = error.strerror
                break
            port: int = candidate.getsockname()[1]
        if port not in AGENT_PORTS:
            return port
    raise Failure(f"no free port on {LOOPBACK} for the file server: {reason}")


def is_listening(port: int) -> bool:
    with socket.socket() as probe:
        probe.settimeout(1)
        return probe.connect_ex((LOOPBACK, port)) == 0


def free_agent_ports() -> int:
    """How many of the agent's ports could be taken now; a closed connection holds one a while."""
    return sum(_can_be_taken(port) for port in AGENT_PORTS)


def _can_be_taken(port: int) -> bool:
    with socket.socket() as candidate:
        try:
            candidate.bind((LOOPBACK, port))
        except OSError:
            return False
        return True
