# SPDX-License-Identifier: MIT
"""Many requests at once: tickets, order, a later offer; and status while a download crawls."""

import concurrent.futures
import json
import subprocess
import sys
import time

import node_case
from node import Node, seconds_left
from node_place import Place
from node_servers import DribblingServer, FileServer
from rig.processes import own_environment
from rig.waiting import wait_for

COMMITTED, WRITTEN_ONLY, SUPERSEDED, QUEUE_FULL = 0, 57, 59, 6
MOST_WAIT = 16
CALLS = 2000
IMAGE_OF_DRIBBLE = 1_000_000


class Queue(node_case.Case):
    """One node."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)

    def node(self, **options):
        return Node(self.place, "n1", self.server, **options).start().wait_until_ready()

    def test_many_at_once(self):
        node = self.node()
        self.server.crawl(node.name)
        first = node.offer(policy=2)
        wait_for("the first bytes", lambda: node.status()["downloaded_bytes"] > 0)
        offer = json.dumps(node.descriptor(Place.NEWER, 2))
        calls = [(["offer", "-"], offer)] * 4 + [
            (["trigger", "--flag", "0"], None),
            (["activate-at", "now+3600"], None),
        ]
        began = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(len(calls)) as pool:
            answers = list(pool.map(lambda call: node.told(*call[0], text=call[1]), calls))
        took = time.monotonic() - began
        # The download goes on for as long as the server crawls; they do not wait for it.
        self.assertEqual(node.status()["stage"], "downloading")
        tickets = [answer["ticket"] for answer in answers]
        self.assertEqual(sorted(tickets), list(range(first + 1, first + 1 + len(calls))))
        self.assertEqual(node.status()["queued"], len(calls))
        accepted = [line["ticket"] for line in node.events("accepted")]
        self.assertEqual(accepted, sorted(accepted), "a ticket was passed by another")
        self.server.crawl(node.name, False)
        node.told("cancel", str(first))
        for ticket in tickets:
            node.live_until_end_of(ticket)
        started = [line["ticket"] for line in node.events("started") if line["ticket"] in tickets]
        self.assertEqual(started, sorted(tickets))
        self.assertTrue(node.bank_holds("b", Place.NEWER))
        print(f"queue: {len(calls)} calls at once answered in {took * 1000:.0f} ms", flush=True)

    def test_more_than_may_wait(self):
        node = self.node()
        self.server.crawl(node.name)
        node.offer()
        wait_for("it runs", lambda: node.status()["stage"] == "downloading")
        for _ in range(MOST_WAIT):
            node.told("trigger", "--flag", "0")
        refused = node.control("trigger", "--flag", "0")
        self.assertEqual(refused.code, QUEUE_FULL, refused.error)
        self.assertEqual(node.status()["queued"], MOST_WAIT)
        node.told("cancel")
        wait_for("the rest has its turn", lambda: node.status()["queued"] == 0)

    def test_a_later_offer_takes_the_place(self):
        node = self.node()
        first = node.offer(policy=0)
        wait_for("the first waits", lambda: seconds_left(node, "rebootTimer"))
        second = node.offer(Place.NEWER, policy=1)
        end = wait_for("the first ends", lambda: node.end_of(first))
        self.assertEqual(
            (end["code"], end["reason"]), (SUPERSEDED, f"ticket {second} took its place")
        )
        self.assertEqual(node.live_until_end_of(second)["code"], COMMITTED)
        self.assertTrue(node.bank_holds("b", Place.NEWER))
        wait_for("the node is idle", lambda: node.status()["stage"] == "idle")
        self.assertEqual(node.status()["timers"], [])

    def test_offered_once_more(self):
        node = self.node()
        self.assertEqual(node.live_until_end_of(node.offer(policy=2))["code"], WRITTEN_ONLY)
        again = node.live_until_end_of(node.offer(policy=2))
        self.assertEqual(again["code"], WRITTEN_ONLY, again)
        self.assertEqual(len(self.server.fetched(node.name)), 1)

    def test_status_while_a_download_crawls(self):
        dribbling = DribblingServer(self.place, IMAGE_OF_DRIBBLE)
        node = self.node(service="allow_plain_http = yes")
        node.offer(fileServerURL=f"http://127.0.0.1:{dribbling.port}/image")
        wait_for("the first byte", lambda: dribbling.sent > 0)
        before = dribbling.sent
        began = time.monotonic()
        finished = subprocess.run(
            [self.modules["latency"], node.bus.address, str(CALLS)],
            capture_output=True,
            text=True,
            check=False,
            timeout=600,
            env=own_environment(),
        )
        self.assertEqual(finished.returncode, 0, finished.stderr)
        took = json.loads(finished.stdout)
        self.assertEqual(node.status()["stage"], "downloading")
        rate = (dribbling.sent - before) / (time.monotonic() - began)
        wait_for("the download goes on", lambda: dribbling.sent > before)
        print(
            f"status: {took['calls']} calls at {rate:.1f} bytes/s: p50 {took['p50']} ms, "
            f"p99 {took['p99']} ms, max {took['max']} ms",
            flush=True,
        )
        node.told("cancel")


if __name__ == "__main__":
    sys.exit(node_case.run(Queue))
