# SPDX-License-Identifier: MIT
"""Resident memory of both processes: at rest and in the middle of a download."""

import pathlib
import sys

import node_case
from node import Node
from node_servers import FileServer
from rig.waiting import wait_for

MOST_KB = {"otad": 32 * 1024, "ota-desk-host": 13 * 1024}


def resident(pid):
    """VmRSS and VmHWM, in kB."""
    status = pathlib.Path(f"/proc/{pid}/status").read_text().splitlines()
    values = dict(line.split(":", 1) for line in status if ":" in line)
    return tuple(int(values[key].split()[0]) for key in ("VmRSS", "VmHWM"))


class Memory(node_case.Case):
    """A node with nothing preloaded."""

    def test_both_processes(self):
        server = FileServer(self.place)
        node = Node(self.place, "n1", server).start().wait_until_ready()
        self.measure(node, "idle")
        server.crawl(node.name)
        ticket = node.offer(policy=2)
        wait_for("the first bytes", lambda: node.status()["downloaded_bytes"] > 100_000)
        self.measure(node, "downloading")
        server.crawl(node.name, False)
        node.told("cancel", str(ticket))
        node.live_until_end_of(node.offer(policy=2))
        self.measure(node, "image written")

    def measure(self, node, when):
        processes = {node.daemon.pid: "otad", node.hosts()[0]: "ota-desk-host"}
        for pid, name in processes.items():
            rss, highest = resident(pid)
            print(f"memory, {when}: {name} VmRSS {rss} kB, VmHWM {highest} kB", flush=True)
            self.assertLessEqual(highest, MOST_KB[name])


if __name__ == "__main__":
    sys.exit(node_case.run(Memory))
