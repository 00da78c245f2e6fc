# SPDX-License-Identifier: MIT
"""What a node is made of, and how it boots."""

import os
import pathlib
import unittest

from folder_case import FolderCase
from rig import boot_environment
from rig.certificates import Pair
from rig.folder_lock import FolderLock
from rig.images import Image, make_image
from rig.node_folder import NodeFolder, NodePlan, RootAccess
from rig.programs import Programs

MODEL = "GW-1"


class Folders(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.programs = Programs(pathlib.Path(os.environ["OTA_BUILD"]))
        self.old = self.image("4QZ1.0.0")
        self.plan = NodePlan(
            "02:00:5E:00:53:03", "DESK00000003", MODEL, "AP_Bridge", "Agent", 8192, self.old
        )
        self.certificate = self.folder / "signers.pem"
        self.certificate.write_text("a certificate")

    def image(self, version: str) -> Image:
        payload = self.folder / "payload"
        payload.write_bytes(version.encode() * 100)
        return make_image(self.programs, payload, version, MODEL, self.folder / f"{version}.img")

    def made(self) -> NodeFolder:
        node = NodeFolder(self.programs, self.folder / "node", self.plan)
        node.make()
        return node

    def test_a_node_without_a_signer_takes_what_is_not_signed_and_has_no_root(self) -> None:
        text = self.made().config.read_text()
        self.assertIn("\nserial = DESK00000003\n", text)
        self.assertIn("[images]\nsignature = optional\n", text)
        self.assertNotIn("[root]", text)
        self.assertNotIn("[service]", text)

    def test_a_node_with_signers_takes_signed_images_only(self) -> None:
        self.plan.signer_authority = self.certificate
        node = self.made()
        self.assertIn(
            "[images]\nsignature = required\nsigner_ca = signer-ca.pem\n", node.config.read_text()
        )
        self.assertEqual((node.folder / "signer-ca.pem").read_text(), "a certificate")

    def test_a_node_of_a_mesh_knows_its_root(self) -> None:
        own = Pair(self.folder / "own.pem", self.folder / "own.key")
        for path in own:
            path.write_text(f"its {path.name}")
        self.plan.root = RootAccess("127.0.0.1:1", self.certificate, own)
        node = self.made()
        self.assertIn(
            "[root]\nbroker = 127.0.0.1:1\nca_certificate = root-ca.pem\n"
            "certificate = root-node.pem\nkey = root-node.key\n",
            node.config.read_text(),
        )
        self.assertEqual((node.folder / "root-node.pem").read_text(), "its own.pem")
        key = node.folder / "root-node.key"
        self.assertEqual((key.read_text(), key.stat().st_mode & 0o777), ("its own.key", 0o600))

    def test_both_banks_are_recorded_and_the_loader_takes_the_one_that_is_good(self) -> None:
        self.plan.passive = self.image("4QZ2.0.0")
        node = self.made()
        state = node.boot_state()
        self.assertEqual((state["active"], state["next"], state["trial"]), ("a", "a", "none"))
        for bank, version in {"a": "4QZ1.0.0", "b": "4QZ2.0.0"}.items():
            self.assertEqual((state[bank]["whole"], state[bank]["version"]), ("1", version))
        booted = node.run_boot_loader()
        self.assertEqual((booted.bank, booted.version), ("a", "4QZ1.0.0"))
        self.assertEqual(booted.passed_over, [])
        boot_environment.set_variables(node.boot_state_file, BOOT_ORDER="B A")
        self.assertEqual(node.run_boot_loader().version, "4QZ2.0.0")
        # What runs is b now, and a is damaged; then nothing is left to boot.
        node.damage_bank()
        boot_environment.set_variables(node.boot_state_file, BOOT_ORDER="A B")
        booted = node.run_boot_loader()
        self.assertEqual((booted.bank, len(booted.passed_over)), ("b", 1))
        node.bank("b").write_bytes(b"")
        with self.fails("the node cannot boot: "):
            node.run_boot_loader()

    def test_a_boot_forgets_what_was_in_memory_and_nothing_else(self) -> None:
        node = self.made()
        outside = self.folder / "outside"
        outside.mkdir()
        (outside / "kept").touch()
        (node.folder / "4QZ2.0.0").write_text("half")
        (node.folder / "software_download").mkdir()
        (node.folder / "tmpImage").symlink_to(outside)
        node.reboot_file.touch()
        self.assertEqual(node.downloaded_bytes(), 4)
        node.lose_memory()
        self.assertEqual(
            sorted(os.listdir(node.folder)),
            ["banks", "boot_state", "cfgmgr_socket", "configs", "logs", "node.conf"],
        )
        self.assertTrue((outside / "kept").exists())
        self.assertEqual(node.downloaded_bytes(), 0)

    def test_a_node_is_off_once_no_process_holds_its_lock(self) -> None:
        node = self.made()
        self.assertTrue(node.is_off())
        host = FolderLock(node.folder / "boot_state.lock")
        self.assertTrue(host.try_lock())
        self.assertFalse(node.is_off())
        host.close()
        self.assertTrue(node.is_off())


if __name__ == "__main__":
    unittest.main()
