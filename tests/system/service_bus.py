# SPDX-License-Identifier: MIT
"""The bus daemon dies and comes back: the upgrade does not notice, the service answers again."""

import os
import sys

import node_case
from node import Node
from node_place import Place
from node_servers import FileServer
from node_watch import Watch
from rig.processes import Process
from rig.waiting import PATIENCE, wait_for

COMMITTED, FAILED, NO_SERVICE, WRITTEN_ONLY = 0, 1, 3, 57


class LostBus(node_case.Case):
    """One node and its bus."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)

    def node(self):
        return Node(self.place, "n1", self.server, preload=self.modules["hold"])

    def answers(self, node):
        return node.control("status").code == 0

    def test_at_rest(self):
        node = self.node().start().wait_until_ready()
        watch = Watch(node)
        daemon = node.daemon.pid
        for losses in (1, 2):
            node.bus.process.kill()
            self.assertEqual(node.control("status").code, NO_SERVICE)
            node.bus.start()
            wait_for("the service answers again", lambda: self.answers(node))
            watch.wait_for("snapshot", 1 + losses)
        self.assertTrue(node.daemon.is_running())
        self.assertEqual(node.daemon.pid, daemon)
        self.assertEqual(len(watch.of("service", running=False)), 2)
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)
        self.assertEqual(watch.wait_for("finished")["code"], COMMITTED)

    def test_in_the_middle_of_an_upgrade(self):
        node = self.node().start().wait_until_ready()
        node.hold("ota-desk-host fopen 4QZ 1 after")
        ticket = node.offer(policy=0)
        node.wait_until_held()
        node.bus.process.kill()
        node.let_go()
        node.wait_for_event("timer-started")
        node.bus.start()
        wait_for("the service answers again", lambda: self.answers(node))
        self.assertEqual(node.status()["ticket"], ticket)
        node.told("activate-at", "now+3")
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)
        self.assertTrue(node.bank_holds("b", Place.NEW))

    def test_no_bus_at_start(self):
        node = self.node()
        node.bus.stop()
        node.start()
        node.wait_for_event("bus-missing", reason_code="bus-missing")
        # Kept once the agent has started.
        wait_for(
            "the agent starts all the same",
            lambda: (node.kept_requests() or {}).get("bootId") == f"boot-{node.boots}",
        )
        node.bus.start()
        node.wait_until_ready()
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)

    def test_a_second_daemon(self):
        node = self.node().start().wait_until_ready()
        second = Process(
            node.arguments(), node.folder, self.place.folder / "second.log", node.environment()
        )
        self.assertEqual(second.child.wait(PATIENCE), FAILED)
        lines = [line for line in second.log.read_text().splitlines() if line.startswith("error")]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("velmo.otaSwAgent", lines[0])
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)

    def test_standard_error_that_nobody_reads(self):
        node = self.node()
        reading, writing = os.pipe()
        node.start(stderr=writing)
        os.close(writing)
        node.wait_until_ready()
        os.close(reading)
        self.assertEqual(node.live_until_end_of(node.offer(policy=2))["code"], WRITTEN_ONLY)
        self.assertEqual(len(node.events("host-started")), 1)
        self.assertEqual(node.stop(), 0)


if __name__ == "__main__":
    sys.exit(node_case.run(LostBus))
