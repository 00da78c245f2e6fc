# SPDX-License-Identifier: MIT
"""The verdict over a scenario: that it is given where all is well, and each way to lose it."""

import pathlib
import re
from collections.abc import Callable
from typing import Any

from demo.observed import NodeSetup, Observed
from demo.options import read_options

from demo.scenarios import (
    ACTIVATION_COMPLETE, COMMIT_COMPLETE, COMMIT_FAILED, FLASH_WRITE_FAILED, MODEL, NEW_VERSION,
    OLD_VERSION, RECONNECT, choose_scenario,
)  # fmt: skip
from demo.verdict import check_ending
from folder_case import FolderCase
from rig.failure import Failure
from rig.images import Image
from rig.node_folder import NodeFolder, NodePlan
from rig.programs import Programs

OLD_BYTES = b"the old version's bytes"
NEW_BYTES = b"other bytes, of the new version"
STATE: dict[str, Any] = {"active": "a", "next": "a", "trial": "none", "failed": {}}
EMPTY = {"whole": "0", "size": "0", "version": ""}


class Disk(NodeFolder):
    """Its boot state is what the test says."""

    state: dict[str, Any]

    def boot_state(self) -> dict[str, Any]:
        return self.state


class Verdict(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.factory = self.image("old.img", OLD_VERSION, OLD_BYTES)
        self.offered = self.image("new.img", NEW_VERSION, NEW_BYTES)
        plan = NodePlan("02:00:5E:00:53:01", "S1", MODEL, "RGW", "Controller", 4096, self.factory)
        self.disk = Disk(Programs(self.folder), self.folder / "node", plan)
        (self.folder / "node/banks").mkdir(parents=True)
        (self.folder / "node/logs").mkdir()
        self.reset()

    def image(self, name: str, version: str, held: bytes) -> Image:
        path = pathlib.Path(self.folder, name)
        path.write_bytes(held)
        return Image(path, version)

    def reset(self) -> None:
        self.observed = Observed(boots=[OLD_VERSION])
        self.disk.state = {**STATE, "failed": {}, "b": dict(EMPTY)}
        self.hold("a", self.factory, OLD_BYTES)

    def hold(self, bank: str, image: Image, held: bytes) -> None:
        self.disk.bank(bank).write_bytes(held + bytes(100))
        self.disk.state[bank] = {"whole": "1", "size": str(image.size), "version": image.version}

    def commit(self) -> None:
        """As the scenario leaves a node where all went as it should."""
        self.hold("b", self.offered, NEW_BYTES)
        self.disk.state |= {"active": "b", "next": "b"}
        self.observed.boots = [OLD_VERSION, NEW_VERSION]
        self.observed.words = [ACTIVATION_COMPLETE, COMMIT_COMPLETE]

    def fail_trial(self, how: str) -> None:
        self.disk.state["failed"][NEW_VERSION] = {"trials": "1", "last": how}

    def verdict(self, *words: str) -> str:
        """Over these options; empty: as expected."""
        options = read_options(words)
        setup = NodeSetup("node", 1, options.mode, options.role, True)
        scenario = choose_scenario(options)
        try:
            check_ending(scenario, setup, self.observed, self.disk, self.factory, self.offered)
        except Failure as failure:
            return str(failure)
        return ""

    def test_a_commit_is_as_expected(self) -> None:
        self.commit()
        self.assertEqual(self.verdict(), "")

    def test_each_thing_that_is_not_so_spoils_a_commit(self) -> None:
        def set_(**values: Any) -> Callable[[], None]:
            return lambda: self.observed.__dict__.update(values)

        def state(**values: Any) -> Callable[[], None]:
            return lambda: self.disk.state.update(values)

        complete = [ACTIVATION_COMPLETE, COMMIT_COMPLETE]
        for spoil, said in (
            (set_(words=complete[:1]), "status words expected"),
            (set_(words=[*complete, COMMIT_COMPLETE]), "status words"),
            (set_(at_the_root=complete), "words on the gateway's bus"),
            (set_(boots=[OLD_VERSION]), "boots expected: 4QZ2.0.0, 4QZ2.1.0; came: 4QZ2.0.0"),
            (set_(failed_downloads=["failed: x"]), "downloads that fail expected: 0"),
            (set_(refusal="no"), "the node's reason should say"),
            (set_(early=True), "activated before the time"),
            (set_(power_cut=True), "the power should not have been cut"),
            (set_(handed_over=True), "should not have been handed over"),
            (state(active="a"), "bank b should run and boot next"),
            (state(next="a"), "bank b should run and boot next"),
            (state(trial="b"), "bank b is still on trial"),
            (lambda: self.fail_trial("boot"), "failed trial expected: none; came: boot"),
            (lambda: self.hold("b", self.offered, b"yet other bytes"), "bank b should equal"),
            (lambda: self.hold("a", self.factory, b"changed"), "bank a should equal"),
            (lambda: self.disk.state["a"].update(whole="0"), "bank a should equal"),
            (lambda: self.disk.state["b"].update(version="4QZ9"), "bank b should equal"),
            (lambda: self.disk.mark.write_text(NEW_VERSION), "mark"),
        ):
            with self.subTest(said):
                self.reset()
                self.commit()
                spoil()
                self.assertIn(said, self.verdict())
                self.disk.mark.unlink(missing_ok=True)

    def test_an_extenders_words_must_arrive_at_the_root(self) -> None:
        self.commit()
        extender = ("--mode", "AP_Bridge")
        self.assertIn("words on the gateway's bus expected: OTA_SW", self.verdict(*extender))
        self.observed.at_the_root = list(self.observed.words)
        self.assertEqual(self.verdict(*extender), "")

    def test_a_cut_that_did_not_happen_fails(self) -> None:
        self.commit()
        self.observed.changes = 5197
        self.assertEqual(
            self.verdict("--cut-power", "99999"),
            "the power was not cut: the node changed its storage only 5197 times; name one of these",
        )
        self.observed.power_cut = True
        self.assertEqual(self.verdict("--cut-power", "300"), "")
        self.observed.words.pop()
        self.assertEqual(
            self.verdict("--cut-power", "300"),
            "no commit was reported; came: OTA_SW_ACTIVATION_COMPLETE",
        )
        self.observed.words.append(COMMIT_FAILED)
        said = self.verdict("--cut-power", "300")
        self.assertTrue(said.startswith("no failure was expected"), said)

    def test_a_download_that_was_not_cut_or_not_resumed_fails(self) -> None:
        self.commit()
        self.observed.boots = [OLD_VERSION, OLD_VERSION, NEW_VERSION]
        self.assertIn("did not lose it", self.verdict("--power-cut"))
        self.observed.power_cut = True
        self.assertIn("took nothing up", self.verdict("--power-cut"))
        self.observed.resumed = True
        self.assertEqual(self.verdict("--power-cut"), "")

    def test_an_image_must_be_refused_for_the_reason_that_was_made(self) -> None:
        self.hold("b", self.factory, OLD_BYTES)
        self.observed.words = [FLASH_WRITE_FAILED]
        reason = "its signer is not of an authority in signer-ca.pem"
        self.observed.refusal = reason
        self.assertEqual(self.verdict("--fail", "signature"), "")
        self.assertEqual(
            self.verdict("--fail", "version"),
            f'the node\'s reason should say "is not the one that was offered", not "{reason}"',
        )
        self.observed.refusal = ""
        self.assertNotEqual(self.verdict("--fail", "signature"), "")
        self.observed.refusal = reason
        self.hold("b", self.offered, NEW_BYTES)
        self.assertIn("bank b should equal", self.verdict("--fail", "signature"))

    def test_giving_up_takes_seven_attempts_that_fail_for_the_reason_that_was_made(self) -> None:
        self.observed.words = [RECONNECT]
        busy = "failed: the server answers 503"
        self.observed.failed_downloads = [busy] * 6
        said = self.verdict("--fail", "server")
        self.assertTrue(re.match("downloads that fail expected: 7", said), said)
        self.observed.failed_downloads.append(busy)
        self.assertEqual(self.verdict("--fail", "server"), "")
        self.observed.failed_downloads[-1] = "failed: Timeout was reached"
        self.assertIn("Timeout", self.verdict("--fail", "server"))

    def test_a_trial_must_fail_in_the_way_that_was_made(self) -> None:
        self.hold("b", self.offered, NEW_BYTES)
        self.observed.boots = [OLD_VERSION, NEW_VERSION, OLD_VERSION]
        self.observed.words = [ACTIVATION_COMPLETE, COMMIT_FAILED]
        health = ("--fail", "health")
        self.assertEqual(self.verdict(*health), "failed trial expected: health; came: none")
        self.fail_trial("health")
        self.assertEqual(self.verdict(*health), "")
        self.fail_trial("boot")
        self.assertEqual(self.verdict(*health), "failed trial expected: health; came: boot")

    def test_an_offload_must_hand_the_image_over_and_download_nothing(self) -> None:
        self.assertIn("should have been handed over", self.verdict("--offload"))
        self.observed.handed_over = True
        self.assertEqual(self.verdict("--offload"), "")
        self.hold("b", self.offered, NEW_BYTES)
        self.assertIn("should not be marked as whole", self.verdict("--offload"))


if __name__ == "__main__":
    import unittest

    unittest.main()
