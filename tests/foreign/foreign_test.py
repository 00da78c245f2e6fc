# SPDX-License-Identifier: MIT
"""A platform of another maker runs under the service: platform.c, its banks and its boot loader."""

import json
import pathlib
import shutil
import struct
import sys

import node_case
from node import LOGS, Node
from node_place import Place
from node_servers import FileServer
from rig.node_folder import Booted
from rig.waiting import wait_for

COMMITTED, COMMIT_FAILED = 0, 55
NOT_READY, NOTHING_TO_COMMIT, REFUSED = 5, 12, 41
NO_BANK = -1
# OtaBankFacts of platform/service.h.
BANK, FAILED = struct.Struct("64sii"), struct.Struct("64sii")
HEAD = struct.Struct("5i")
COUNT = struct.Struct("i")
MOST_FAILED = 16


class State:
    """The file in which the platform keeps its bank facts."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        self.active, self.chosen, self.next, self.trial, self.healthy = 0, 0, 0, NO_BANK, 0
        self.banks = [[b"", 0, 0], [b"", 0, 0]]
        self.rest = bytes(COUNT.size + MOST_FAILED * FAILED.size)

    def load(self):
        held = self.path.read_bytes()
        self.active, self.chosen, self.next, self.trial, self.healthy = HEAD.unpack_from(held)
        places = [HEAD.size + index * BANK.size for index in range(2)]
        self.banks = [list(BANK.unpack_from(held, place)) for place in places]
        self.rest = held[HEAD.size + 2 * BANK.size :]
        return self

    def store(self):
        head = HEAD.pack(self.active, self.chosen, self.next, self.trial, self.healthy)
        self.path.write_bytes(head + b"".join(BANK.pack(*bank) for bank in self.banks) + self.rest)

    def version(self, bank):
        return self.banks[bank][0].rstrip(b"\0").decode()


class ForeignNode(Node):
    """Runs on the other platform: none of the reference one's files and tools belong to it."""

    def __init__(self, place, name, server, platform: str) -> None:
        self.platform = pathlib.Path(platform)
        self.state = State(place.folder / name / "state")
        super().__init__(place, name, server)

    def make(self):
        self.plan.config = self.place.folder / "foreign.conf"
        self.plan.config.write_text(
            f"[node]\nmodel = {self.plan.model}\nserial = {self.plan.serial}\nwork_mode = RGW\n"
            "work_role = Controller\nonboarding = 0\npreferred_activation_time = 03:00\n"
            f"[paths]\ntmp = .\nconfigs = configs\nlogs = {LOGS}\nca_certificate = ca.pem\n"
            "[service]\nplatform = ./platform.so\n"
        )
        super().make()
        shutil.copy(self.platform, self.folder / "platform.so")

    def _make_banks(self):
        shutil.copy(self.plan.factory.path, self.bank("a"))
        self.bank("b").touch()
        self.state.banks[0] = [self.plan.factory.version.encode(), 1, 0]
        self.state.store()

    def run_boot_loader(self):
        """A bank on trial boots as often as it has attempts, then the other one."""
        self.lose_memory()
        state = self.state.load()
        state.active = state.chosen
        if state.trial == state.active:
            if state.banks[state.active][2] == 0:
                state.active = 1 - state.active
            else:
                state.banks[state.active][2] -= 1
        state.store()
        return Booted("ab"[state.active], state.version(state.active), [])


class Foreign(node_case.Case):
    """One node a test."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)

    def node(self, platform="platform"):
        node = ForeignNode(self.place, "n1", self.server, self.modules[platform])
        return node.start().wait_until_ready()

    def offer_that_is_sick(self, node):
        (node.folder / "sick").touch()
        ticket = node.offer()
        end = node.live_until_end_of(ticket)
        self.assertEqual(end["code"], COMMIT_FAILED, end)
        return end

    @staticmethod
    def sentences(node):
        return "\n".join(one["sentence"] for one in node.told("explain")["sentences"])

    def test_from_the_offer_to_the_commit(self):
        node = self.node()
        status = node.status()
        self.assertTrue(status["trial_supported"])
        self.assertEqual(status["running_version"], Place.OLD)
        end = node.live_until_end_of(node.offer())
        self.assertEqual(end["code"], COMMITTED, end)
        self.assertEqual(end["version"], Place.NEW)
        node.wait_for_event("committed")
        steps = [
            line["event"] for line in node.history() if line["event"] in ("trial", "committed")
        ]
        self.assertEqual(steps, ["trial", "committed"])
        self.assertIn("OTA_SW_COMMIT_COMPLETE", node.words())
        state = node.state.load()
        self.assertEqual((state.active, state.chosen, state.trial), (1, 1, NO_BANK))
        self.assertTrue(node.bank_holds("b", Place.NEW))
        self.assertTrue(node.bank_holds("a", Place.OLD))
        self.assertFalse((node.folder / node.plan.boot_state).exists(), "the reference one's")
        # And once more, into the first bank.
        end = node.live_until_end_of(node.offer(Place.NEWER))
        self.assertEqual(end["code"], COMMITTED, end)
        self.assertTrue(node.bank_holds("a", Place.NEWER))

    def test_a_failed_trial(self):
        node = self.node()
        self.offer_that_is_sick(node)
        wait_for("the node answers", lambda: node.status()["running_version"] == Place.OLD)
        state = node.state.load()
        self.assertEqual((state.active, state.chosen, state.trial), (0, 0, NO_BANK))
        failed = node.status()["failed_versions"]
        self.assertEqual(
            [(one["version"], one["reason"]) for one in failed], [(Place.NEW, "health")]
        )
        self.assertIn("the node is sick", str(node.history()))
        self.assertEqual(self.refusal(node), REFUSED)

    def refusal(self, node):
        offer = node.folder / "again.json"
        offer.write_text(json.dumps(node.descriptor()))
        return node.control("offer", offer).code

    def test_a_bank_that_never_comes_up(self):
        node = self.node()
        ticket = node.offer()
        wait_for("a reboot is asked for", node.reboot_file.exists)
        node.stop()
        for _ in range(2):  # its attempts, which end before the service starts
            node.run_boot_loader()
        node.boot()
        end = node.live_until_end_of(ticket)
        self.assertEqual(end["code"], COMMIT_FAILED, end)
        self.assertEqual(node.state.load().active, 0)
        self.assertEqual(node.status()["failed_versions"][0]["reason"], "boot")

    def test_without_its_table(self):
        node = self.node("without_table")
        status = node.status()
        self.assertFalse(status["trial_supported"])
        self.assertEqual(status["running_version"], Place.OLD)
        self.assertIn("The platform of this node has no trials", self.sentences(node))
        end = node.live_until_end_of(node.offer())
        self.assertEqual(end["code"], COMMITTED, end)
        self.assertTrue(node.bank_holds("b", Place.NEW))
        self.assertEqual(node.events("trial"), [])
        commit = node.control("commit")
        self.assertEqual(commit.code, NOTHING_TO_COMMIT, commit.error)
        self.assertIn("has no trials", commit.error)

    def test_without_one_of_its_functions(self):
        self.expect_unusable("without_function", "has no nal_activatePassiveImage")

    def test_with_half_a_trial(self):
        self.expect_unusable("half_table", "has no mayReboot")

    def expect_unusable(self, platform, why):
        node = ForeignNode(self.place, "n1", self.server, self.modules[platform])
        node.start()

        def told():
            answer = node.control("status")
            return answer.first if answer.code == 0 and answer.first["wait_reason_code"] else None

        status = wait_for("the node says why", told)
        self.assertEqual(status["wait_reason_code"], "platform-unusable")
        self.assertIn(why, status["wait_reason"])

    def test_that_others_may_write_to(self):
        node = ForeignNode(self.place, "n1", self.server, self.modules["platform"])
        (node.folder / "platform.so").chmod(0o777)
        node.start()
        wait_for("the service ends", lambda: not node.daemon.is_running())
        self.assertIn("[service] platform cannot be trusted", node.log.read_text())


if __name__ == "__main__":
    sys.exit(node_case.run(Foreign))
