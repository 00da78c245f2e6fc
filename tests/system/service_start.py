# SPDX-License-Identifier: MIT
"""How long otad takes from its exec to READY=1, beside what it takes to be loaded at all."""

import os
import socket
import statistics
import subprocess
import sys
import time

import node_case
from node import Node
from rig.processes import Process
from rig.waiting import PATIENCE

ROUNDS = 15
MOST = 12  # times an otad that only prints its help


class Start(node_case.Case):
    """A node that is started again and again."""

    def setUp(self):
        super().setUp()
        self.node = Node(self.place, "n1")

    def ms_to_help(self):
        begin = time.monotonic()
        words = [self.node.arguments()[0], "--help"]
        subprocess.run(words, stdout=subprocess.DEVNULL, check=True, timeout=PATIENCE)
        return (time.monotonic() - begin) * 1000

    def ms_to_ready(self):
        path = self.place.folder / "notify"
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as told:
            told.bind(str(path))
            told.settimeout(PATIENCE)
            environment = {**self.node.environment(), "NOTIFY_SOCKET": str(path)}
            begin = time.monotonic()
            self.node.daemon = Process(
                self.node.arguments(), self.node.folder, self.node.log, environment
            )
            while b"READY=1" not in told.recv(4096):
                pass
            taken = (time.monotonic() - begin) * 1000
            self.node.stop()
        os.unlink(path)
        return taken

    def test_it_is_ready_soon(self):
        self.ms_to_ready()  # makes its state
        rounds = [(self.ms_to_ready(), self.ms_to_help()) for _ in range(ROUNDS)]
        ready, shown = (statistics.median(times) for times in zip(*rounds))
        print(
            f"start: READY=1 after {ready:.0f} ms, --help after {shown:.1f} ms, medians", flush=True
        )
        self.assertLess(ready, MOST * shown)


if __name__ == "__main__":
    sys.exit(node_case.run(Start))
