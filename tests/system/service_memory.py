# SPDX-License-Identifier: MIT
"""Resident memory of both processes: at rest and in the middle of a download."""

import pathlib
import sys

import node_case
from node import Node
from node_servers import FileServer
from rig.waiting import wait_for

# kB: resident at rest, its share of that, and the most it ever had.
MOST = {"otad": (9 * 1024, 6 * 1024, 32 * 1024), "ota-desk-host": (8 * 1024, 6 * 1024, 11 * 1024)}


def resident(pid):
    """Rss, Pss and VmHWM, in kB."""
    folder = pathlib.Path(f"/proc/{pid}")
    lines = [*(folder / "smaps_rollup").open(), *(folder / "status").open()]
    values = dict(line.split(":", 1) for line in lines if ":" in line)
    return tuple(int(values[key].split()[0]) for key in ("Rss", "Pss", "VmHWM"))


class Memory(node_case.Case):
    """A node with nothing preloaded."""

    def test_both_processes(self):
        server = FileServer(self.place)
        node = Node(self.place, "n1", server).start().wait_until_ready()
        self.measure(node, "idle", at_rest=True)
        server.crawl(node.name)
        ticket = node.offer(policy=2)
        wait_for("the first bytes", lambda: node.status()["downloaded_bytes"] > 100_000)
        self.measure(node, "downloading")
        server.crawl(node.name, False)
        node.told("cancel", str(ticket))
        node.live_until_end_of(node.offer(policy=2))
        self.measure(node, "image written")

    def measure(self, node, when, at_rest=False):
        processes = {node.daemon.pid: "otad", node.hosts()[0]: "ota-desk-host"}
        for pid, name in processes.items():
            rss, pss, highest = resident(pid)
            print(
                f"memory, {when}: {name} Rss {rss} kB, Pss {pss} kB, VmHWM {highest} kB", flush=True
            )
            most_rss, most_pss, most_ever = MOST[name]
            self.assertLessEqual(highest, most_ever, name)
            if at_rest:
                self.assertLessEqual(rss, most_rss, name)
                self.assertLessEqual(pss, most_pss, name)


if __name__ == "__main__":
    sys.exit(node_case.run(Memory))
