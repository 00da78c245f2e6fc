# SPDX-License-Identifier: MIT
"""A gateway and two extenders: reports reach the root, forged ones do not, a lost root is borne."""

import concurrent.futures
import json
import os
import signal
import sys
import time

import node_case
from node import Node
from node_servers import Broker, FileServer
from node_watch import Watch
from rig.waiting import GLANCE, PATIENCE, wait_for

COMMITTED, HANDED_OVER, FAILED, ROOT_UNREACHABLE = 0, 56, 1, 64
WORDS = ["OTA_SW_ACTIVATION_COMPLETE", "OTA_SW_COMMIT_COMPLETE"]
# Seconds at most that a report waits for the root, and what a busy machine may add: less than any
# other wait of a node.
ROOT_COSTS, SLACK = 5, 25
STOPS = 6  # of a gateway


class Mesh(node_case.Case):
    """Every node has its own bus; they share the broker and the file server."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)
        self.broker = Broker(self.place)
        self.gateway = Node(self.place, "gateway", self.server, number=1, root=self.broker)
        self.watch = Watch(self.gateway)
        self.gateway.start()
        self.wait_for_root(self.gateway)

    def extender(self, number):
        return Node(
            self.place,
            f"ext-{number}",
            self.server,
            number=number + 1,
            mode="AP_Bridge",
            role="Agent",
            root=self.broker,
        ).start()

    @staticmethod
    def wait_for_root(node):
        wait_for(f"{node.name} is connected to the root", lambda: node.status()["root_connected"])

    def words_at_root(self, node):
        return [line["record"]["status"] for line in self.watch.of("extender", mac=node.mac)]

    def test_all_three_at_once(self):
        extenders = [self.extender(1), self.extender(2)]
        for node in extenders:
            self.wait_for_root(node)
        nodes = [self.gateway, *extenders]
        tickets = [node.offer() for node in nodes]
        with concurrent.futures.ThreadPoolExecutor(len(nodes)) as pool:
            ends = list(
                pool.map(lambda node, ticket: node.live_until_end_of(ticket), nodes, tickets)
            )
        self.assertEqual([end["code"] for end in ends], [COMMITTED] * 3)
        for node in nodes:
            self.assertTrue(node.bank_holds("b", "4QZ2.0.0"))
        # The gateway itself rebooted in between: what came meanwhile is delivered then.
        for node in extenders:
            wait_for(
                f"both reports of {node.name} are at the root",
                lambda node=node: len(self.words_at_root(node)) >= len(WORDS),
            )
            self.assertEqual(self.words_at_root(node), WORDS)
            self.assertEqual(node.events("root-failed"), [])
            self.assertEqual(len(node.events("root-notified")), len(WORDS))
            record = self.watch.of("extender", mac=node.mac)[0]["record"]
            self.assertEqual((record["mac"], record["sn"]), (node.mac, node.serial))
        self.assertEqual(self.words_at_root(self.gateway), [])

    def test_a_download_that_is_handed_over(self):
        node = self.extender(1)
        self.wait_for_root(node)
        end = node.live_until_end_of(node.offer(words=["--offload"]))
        self.assertEqual(end["code"], HANDED_OVER)
        info = self.watch.wait_for("extender-file-server", mac=node.mac)["info"]
        self.assertEqual(info["fileServerURL"], node.descriptor()["fileServerURL"])
        self.assertEqual(info["checksum"], node.descriptor()["checksum"])
        self.assertEqual(self.server.fetched(node.name), [])

    def forged(self, mac):
        """Topics and texts of somebody who reached the broker, each wrong in one way."""
        reports, file_servers = self.forged_reports(mac), self.forged_file_servers()
        return [(f"otaSwAgent/{mac}/report", text) for text in reports] + [
            (f"otaSwAgent/{mac}/file-server", text) for text in file_servers
        ]

    def forged_reports(self, mac):
        record = {
            "model": "GW-1000",
            "curswversion": "4QZ1.0.0",
            "prevswversion": "4QZ0.9.0",
            "mac": mac,
            "sn": "SN0000000002",
            "status": WORDS[1],
        }

        def record_with(**fields):
            return {
                "signalname": "updateUpgradeStatus",
                "signaldata": json.dumps({**record, **fields}),
            }

        def changed(**fields):
            envelope = {"type": "swmgnt_info", "version": "1.0.0", "sequence": 1, "mac": mac}
            return json.dumps({**envelope, "data": record_with(), **fields})

        return [
            "hello",
            "",
            b"\xff\xfe",
            "[]",
            changed(type="other"),
            changed(version="2.0.0"),
            changed(sequence=2),
            changed(mac="02:00:5E:10:00:77"),
            changed(data="text"),
            "[" * 60_000,
            changed(data=record_with(mac="02:00:5E:10:00:77")),
            changed(data=record_with(status="OWNED")),
            changed(data=record_with(model="x" * 5000)),
            changed(data=record_with(sn=["list"])),
            changed() + changed(),
        ]

    def test_what_comes_as_the_gateway_goes_down_is_raised(self):
        """The broker has it confirmed: it must be on the bus before the end, or after the start."""
        mac = "02:00:5E:10:00:02"
        record = {"model": "GW-1000", "curswversion": "4QZ1.0.0", "prevswversion": "4QZ0.9.0",
                  "mac": mac, "sn": "SN0000000002", "status": WORDS[1]}  # fmt: skip
        signal_of_it = {"signalname": "updateUpgradeStatus", "signaldata": json.dumps(record)}
        envelope = {"type": "swmgnt_info", "version": "1.0.0", "sequence": 1, "mac": mac}
        message = json.dumps({**envelope, "data": signal_of_it})
        for count in range(1, STOPS + 1):
            daemon = self.gateway.daemon.pid
            # It finds the message and the request to end in the same moment.
            os.kill(daemon, signal.SIGSTOP)
            self.broker.publish(f"otaSwAgent/{mac}/report", message)
            os.kill(daemon, signal.SIGTERM)
            os.kill(daemon, signal.SIGCONT)
            self.gateway.stop()
            self.gateway.start()
            self.wait_for_root(self.gateway)
            wait_for(
                f"report {count} is raised",
                lambda count=count: len(self.watch.of("extender", mac=mac)) >= count,
            )
        self.assertEqual(len(self.watch.of("extender", mac=mac)), STOPS)

    def forged_file_servers(self):
        good = {
            "fileServerURL": "https://127.0.0.1/i",
            "activationTime": "",
            "checksum": "0" * 32,
            "swVersion": "4QZ2.0.0",
        }
        wrong = [
            {"fileServerURL": "x" * 20_000, "checksum": "", "swVersion": ""},
            {"fileServerURL": "http://127.0.0.1/i"},
            {"fileServerURL": "file:///etc/shadow"},
            {"swVersion": "4QZ$(reboot)"},
            {"swVersion": "1.0"},
            {"checksum": "0"},
            {"activationTime": "25:00"},
        ]
        return ["{}", *(json.dumps({**good, **fields}) for fields in wrong)]

    def test_forged_reports(self):
        mac = "02:00:5E:10:00:02"
        forged = self.forged(mac)
        for topic, text in forged:
            self.broker.publish(topic, text)
        # This one is no forgery, and comes behind them all.
        node = self.extender(1)
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)
        wait_for("a true report arrives", lambda: self.words_at_root(node))
        self.assertLessEqual(set(self.words_at_root(node)), set(WORDS))
        self.assertEqual(self.watch.of("extender-file-server"), [])
        refused = self.gateway.events("extender-report", code=FAILED)
        reasons = "\n".join(line["reason"] for line in refused)
        self.assertEqual(len(refused), len(forged), reasons)
        self.assertTrue(all(line["reason"].startswith(f"{mac}: ") for line in refused), reasons)
        self.assertNotRegex(reasons, "[^ -~\n]")
        print(f"mesh: {len(forged)} forged reports refused", flush=True)

    def upgrade_without_root(self, node):
        """Returns how long each report kept the agent waiting."""
        watch = Watch(node)
        ticket = node.offer()
        raised, waits = None, []
        deadline = time.monotonic() + PATIENCE
        seen = 0
        while not (end := node.end_of(ticket)) or len(waits) < len(WORDS):
            self.assertLess(time.monotonic(), deadline, f"{node.history()[-3:]}")
            if node.reboot_file.exists() and not raised:
                node.reboot()
            lines = watch.read()
            for line in lines[seen:]:
                if line["event"] == "status":
                    raised = time.monotonic()
                elif line["event"] == "history" and line["line"]["event"] == "root-failed":
                    self.assertEqual(line["line"]["code"], ROOT_UNREACHABLE)
                    waits.append(time.monotonic() - raised)
                    raised = None
            seen = len(lines)
            time.sleep(GLANCE)
        self.assertEqual(end["code"], COMMITTED)
        self.assertTrue(node.bank_holds("b", "4QZ2.0.0"))
        return waits

    def check_waits(self, how, waits):
        print(
            f"root {how}: each report cost {', '.join(f'{wait:.1f} s' for wait in waits)}",
            flush=True,
        )
        self.assertEqual(len(waits), len(WORDS))
        self.assertLess(max(waits), ROOT_COSTS + SLACK)

    def test_the_root_is_gone(self):
        node = self.extender(1)
        self.wait_for_root(node)
        self.broker.stop()
        self.check_waits("gone", self.upgrade_without_root(node))

    def test_the_root_hangs(self):
        node = self.extender(1)
        self.wait_for_root(node)
        os.kill(self.broker.process.pid, signal.SIGSTOP)
        try:
            waits = self.upgrade_without_root(node)
        finally:
            os.kill(self.broker.process.pid, signal.SIGCONT)
        self.check_waits("hangs", waits)


if __name__ == "__main__":
    sys.exit(node_case.run(Mesh))
