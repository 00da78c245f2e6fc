# SPDX-License-Identifier: MIT
"""A new version proves itself or the old one comes back: and at each step the node says so."""

import json
import sys

import node_case
from node import Node
from node_place import Place
from node_servers import FileServer
from rig.waiting import wait_for

COMMITTED, COMMIT_FAILED = 0, 55
NOTHING_TO_COMMIT, NOTHING_TO_FORGET, REFUSED = 12, 13, 41
FAILED_WORD = "OTA_SW_COMMIT_FAILED"
ATTEMPTS = 3
# The last of the writes that choose the new bank, counted from the offer.
ACTIVATED = "ota-desk-host write boot_state.ini 6 after"
BEFORE_COMMIT = "ota-desk-host write boot_state.ini 1 before"


class Trial(node_case.Case):
    """One node a test."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)

    def node(self, trial=""):
        node = Node(self.place, "n1", self.server, trial=trial, preload=self.modules["hold"])
        return node.start().wait_until_ready()

    @staticmethod
    def sentences(node):
        return "\n".join(
            one["sentence"] for one in node.told("explain")["sentences"] if one["topic"] == "trial"
        )

    @staticmethod
    def bank(node, name):
        return next(bank for bank in node.told("banks")["banks"] if bank["bank"] == name)

    @staticmethod
    def wait_for_reboot(node):
        wait_for("a reboot is asked for", node.reboot_file.exists)

    def check_old_bank(self, node, reason):
        """The node runs the old version again, and says why."""
        self.assertEqual(node.boot_state()["active"], "a")
        self.assertTrue(node.bank_holds("a", Place.OLD))
        self.assertEqual(node.words()[-1], FAILED_WORD)
        self.assertIn(Place.NEW, node.boot_state()["failed"])
        bank = self.bank(node, "b")
        self.assertEqual((bank["trial"], bank["last_failure"]), (False, reason))
        said = self.sentences(node)
        self.assertIn(f"Bank a ({Place.OLD}) runs, since bank b ({Place.NEW}) failed", said)
        self.assertIn(f"otactl forget {Place.NEW}", said)
        commit = node.control("commit")
        self.assertEqual(commit.code, NOTHING_TO_COMMIT)
        self.assertIn(
            f"bank a ({Place.OLD}) runs; bank b ({Place.NEW}) failed its trial: {reason}",
            commit.error,
        )

    def check_refused(self, node):
        offer = node.folder / "again.json"
        offer.write_text(json.dumps(node.descriptor()))
        answer = node.control("offer", offer)
        self.assertEqual(answer.code, REFUSED, answer.error)
        self.assertIn(Place.NEW, answer.error)

    def test_health_passes(self):
        node = self.node("health_command = echo checked >> health")
        ticket = node.offer()
        self.wait_for_reboot(node)
        self.assertIn(
            f"Bank b ({Place.NEW}) is activated and has not booted yet", self.sentences(node)
        )
        self.assertEqual(node.control("commit").code, NOTHING_TO_COMMIT)
        self.assertFalse((node.folder / "health").exists())
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)
        self.assertEqual((node.folder / "health").read_text(), "checked\n")
        steps = [
            line["event"]
            for line in node.history()
            if line["event"] in ("trial", "committed") or line["reason"] == "OTA_SW_COMMIT_COMPLETE"
        ]
        self.assertEqual(steps, ["trial", "status", "committed"])
        wait_for("the node is idle", lambda: node.status()["stage"] == "idle")
        state = node.boot_state()
        self.assertEqual((state["active"], state["next"], state["trial"]), ("b", "b", "none"))
        self.assertEqual(self.sentences(node), "")
        self.assertIn("is committed already", node.control("commit").error)
        node.reboot().wait_until_ready()
        self.assertEqual(len(node.events("trial")), 1, "a good bank is on no trial")
        self.assertEqual((node.folder / "health").read_text(), "checked\n")

    def test_health_fails(self):
        node = self.node("health_command = test ! -e sick")
        (node.folder / "sick").touch()
        ticket = node.offer()
        self.wait_for_reboot(node)
        node.reboot()
        self.wait_for_reboot(node)
        wait_for("it is explained", lambda: "reboots into bank a" in self.sentences(node))
        self.assertEqual(node.words()[-1], "OTA_SW_ACTIVATION_COMPLETE", "no commit is reported")
        # The host dies before the reboot comes: the next one reports no commit either.
        node.reboot_file.unlink()
        node.kill_host()
        self.wait_for_reboot(node)
        self.assertEqual(node.words()[-1], "OTA_SW_ACTIVATION_COMPLETE", "no commit is reported")
        node.reboot().wait_until_ready()
        end = node.live_until_end_of(ticket)
        self.assertEqual(end["code"], COMMIT_FAILED)
        self.assertIn("failed its trial (health)", end["reason"])
        self.check_old_bank(node, "health")
        self.check_refused(node)
        node.reboot().wait_until_ready()
        self.check_refused(node)
        self.assertEqual(node.control("forget", Place.NEWER).code, NOTHING_TO_FORGET)
        self.assertEqual(node.told("forget", Place.NEW)["version"], Place.NEW)
        self.assertEqual(node.control("forget", Place.NEW).code, NOTHING_TO_FORGET)
        (node.folder / "sick").unlink()
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)
        self.assertEqual(node.boot_state()["active"], "b")
        self.assertEqual(len(self.server.fetched(node.name)), 1, "the bank held the image already")

    def test_health_hangs(self):
        node = self.node("health_command = sleep 600\nhealth_limit = 1")
        ticket = node.offer()
        self.wait_for_reboot(node)
        node.reboot()
        wait_for(
            "the health command is explained",
            lambda: "its health command runs, at most 1 s" in self.sentences(node),
        )
        self.wait_for_reboot(node)
        self.assertNotIn("sleep", node.processes().values())
        self.assertIn("1 s", node.events("trial-failed")[-1]["reason"])
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMIT_FAILED)
        self.check_old_bank(node, "health")

    def test_attempts_are_used_up(self):
        node = self.node()
        ticket = node.offer()
        self.wait_for_reboot(node)
        node.stop()
        for left in reversed(range(ATTEMPTS)):
            node.hold(BEFORE_COMMIT)
            node.boot().wait_until_held()
            self.assertEqual(node.boot_state()["active"], "b")
            self.assertEqual(
                node.events("trial")[-1]["reason"], f"bank b, boot attempts left: {left}"
            )
            self.assertIn(f"{left} boot attempt", self.sentences(node))
            self.assertEqual(self.bank(node, "b")["attempts"], left)
            node.kill_daemon()
            node.let_go()
        node.boot().wait_until_ready()
        end = node.live_until_end_of(ticket)
        self.assertEqual(end["code"], COMMIT_FAILED)
        self.assertIn("failed its trial (boot)", end["reason"])
        self.check_old_bank(node, "boot")
        self.check_refused(node)

    def test_power_goes_before_the_activation_is_noted(self):
        node = self.node("health_command = test ! -e sick")
        (node.folder / "sick").touch()
        node.hold(ACTIVATED)
        ticket = node.offer()
        node.wait_until_held()
        node.kill_daemon()
        node.let_go()
        self.assertFalse(node.kept_requests()["running"]["activated"])
        node.boot()
        self.wait_for_reboot(node)
        node.reboot().wait_until_ready()
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMIT_FAILED)
        self.assertEqual(len(self.server.fetched(node.name)), 1, "it is not done again")
        self.assertEqual(node.boot_state()["active"], "a")
        self.assertEqual(node.control("commit").code, NOTHING_TO_COMMIT)

    def test_a_version_may_fail_as_often_as_configured(self):
        node = self.node("health_command = false\nrefuse_after = 2")
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMIT_FAILED)
        self.assertIn("is refused after 2 failed trials", self.sentences(node))
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMIT_FAILED)
        self.assertEqual(node.boot_state()["failed"][Place.NEW], {"trials": "2", "last": "health"})
        self.check_refused(node)


if __name__ == "__main__":
    sys.exit(node_case.run(Trial))
