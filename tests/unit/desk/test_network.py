# SPDX-License-Identifier: MIT
"""Ports on loopback."""

import socket
import unittest
from unittest import mock

from rig import network
from rig.failure import Failure


class Ports(unittest.TestCase):
    def test_a_free_port_is_none_of_the_agents(self) -> None:
        taken = iter([*network.AGENT_PORTS][:3])

        class Candidate(socket.socket):
            """Is given the agent's ports first."""

            def getsockname(self) -> tuple[str, int]:
                return ("", next(taken, 40000))

        with mock.patch("socket.socket", Candidate):
            self.assertEqual(network.free_port(), 40000)
            with mock.patch.object(Candidate, "getsockname", return_value=("", 47800)):
                with self.assertRaisesRegex(Failure, "^no free port on 127.0.0.1"):
                    network.free_port()

    def test_who_listens_is_found(self) -> None:
        with socket.create_server((network.LOOPBACK, 0)) as server:
            port = server.getsockname()[1]
            self.assertTrue(network.is_listening(port))
        self.assertFalse(network.is_listening(port))

    def test_the_agents_ports_are_counted_that_could_be_taken(self) -> None:
        held = socket.socket()
        self.addCleanup(held.close)
        held.bind((network.LOOPBACK, 0))
        free = network.free_port()
        ports = (held.getsockname()[1], free, free)
        with mock.patch.object(network, "AGENT_PORTS", ports):
            self.assertEqual(network.free_agent_ports(), 2)


if __name__ == "__main__":
    unittest.main()
