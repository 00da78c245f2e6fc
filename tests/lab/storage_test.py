# SPDX-License-Identifier: MIT
"""Storage that is not what it seems: read-only, storing wrong bytes, rotting, lying about syncs; and
what a power cut took. Each shows what the node does then."""

import sys

import lab_case
from rig.waiting import wait_for

NODE = "ext-1"
FLASH_WRITE_FAILED = "OTA_SW_FLASH_WRITE_FAILED"


class Storage(lab_case.Case):
    """Names decide the order: what a test leaves is an idle node with good storage."""

    extenders = 1

    def settle(self):
        return self.lab.wait_for_nodes(
            "it is idle", [NODE],
            lambda node: node["stage"] == "idle" and node["service"] and node["root_connected"],
        )[NODE]  # fmt: skip

    def tell(self, name, **body):
        answer = self.lab.tell(name, nodes=[NODE], **body)["nodes"][NODE]
        self.assertEqual(answer["code"], 0, answer)

    def spoil(self, name, state):
        self.tell(name, state=state)
        self.addCleanup(self.tell, name, state="good")
        return self.settle()

    def wait_for_end(self, code):
        return self.lab.wait_for_nodes(
            f"it ends with {code}", [NODE],
            lambda node: node["last_end"]["code"] == code and node["stage"] == "idle",
        )[NODE]  # fmt: skip

    def history(self):
        return [mark["text"] for mark in self.lab.marks(node=NODE, kind="failure")]

    def inside(self):
        return self.lab.ask("inside", node=NODE)

    def test_1_banks_that_store_wrong_bytes_are_read_back(self):
        before = self.spoil("bank", "wrong-bytes")
        self.assertEqual(before["faults"], ["bank-wrong-bytes"])
        self.offer([NODE], "4QZ2.0.0")
        after = self.wait_for_end(52)
        self.assertEqual(after["status_word"], FLASH_WRITE_FAILED)
        self.assertEqual(after["running_version"], before["running_version"])
        self.assertFalse([bank for bank in after["banks"] if bank["whole"] and not bank["running"]])
        self.assertEqual(after["boots"], before["boots"], "it booted what it could not trust")

    def test_2_a_disk_that_is_read_only(self):
        before = self.spoil("disk", "read-only")
        refused = self.lab.tell("offer", nodes=[NODE], version="4QZ3.0.0")["nodes"][NODE]
        self.assertEqual(refused["code"], 8, refused)
        self.assertIn("Read-only file system", refused["reason"])
        self.assertIn("Read-only file system", self.inside()["printed"])
        self.assertEqual(self.settle()["running_version"], before["running_version"])
        self.tell("disk", state="good")
        # The same boot, the same daemon: it takes offers again by itself.
        self.offer([NODE], "4QZ3.0.0")
        self.wait_for_commit([NODE], "4QZ3.0.0")

    def test_3_banks_that_lie_about_syncs(self):
        """The node believes that it is written; after the power cut its bytes are the old ones, which
        nothing runs: the boot goes on from the other bank, and the activation writes it again."""
        running = self.settle()["running_version"]
        self.spoil("bank", "lies-about-sync")
        self.offer([NODE], "4QZ4.0.0", policy=2)
        self.wait_for_end(57)
        self.tell("unplug")
        lost = self.lab.marks(node=NODE, kind="fault", text="power lost")[-1]
        self.assertIn("bytes of", lost["detail"])
        inside = self.inside()
        files = {loss["name"]: loss for loss in inside["power_cut"] if loss["kind"] == "file"}
        bank = next(files[name] for name in files if name.startswith("banks/"))
        self.assertGreater(sum(row["end"] - row["from"] for row in bank["taken"]), 8_000_000)
        self.assertIn("are as before", inside["power_cut_in_words"])
        self.tell("plug")
        self.assertEqual(self.settle()["running_version"], running)
        self.tell("bank", state="good")
        self.offer([NODE], "4QZ4.0.0", policy=3)
        wait_for("it is fetched again", lambda: self.log_has("answered 200", after=lost["log"]))
        self.settle()
        self.offer([NODE], "4QZ4.0.0")
        self.wait_for_commit([NODE], "4QZ4.0.0")

    def log_has(self, text, after):
        log = self.lab.ask("log", node=NODE, offset=after)["text"]
        return text in log

    def test_4_rot_after_the_commit(self):
        """A running bank that rots is found by the next boot, which takes the other one."""
        self.tell("watch-storage", state="plain")
        before = self.settle()
        other = next(bank for bank in before["banks"] if not bank["running"])
        self.tell("damage-bank", bank="running")
        self.tell("reboot")
        after = self.settle()
        self.assertEqual(after["running_version"], other["version"])
        passed_over = self.lab.marks(node=NODE, kind="failure", text="boot loader")
        self.assertTrue(passed_over)
        print(f"rot: {passed_over[-1]['detail']}", flush=True)
        self.offer([NODE], "4QZ5.0.0")
        self.wait_for_commit([NODE], "4QZ5.0.0")

    def test_5_a_plug_pulled_where_everything_is_synced_takes_nothing_of_it(self):
        self.tell("watch-storage", state="watched")
        self.settle()
        self.tell("unplug")
        lost = self.lab.marks(node=NODE, kind="fault", text="power lost")[-1]
        names = [loss["name"] for loss in self.inside()["power_cut"]]
        self.assertFalse([name for name in names if name.startswith("configs/")], lost)
        self.tell("plug")
        self.settle()
        # Planned while it is watched, it is counted from now on, and nothing starts again.
        starts = len(self.lab.marks(node=NODE, text="host-started"))
        self.tell("cut-power-at", change=30, mode="tear")
        self.assertEqual(len(self.lab.marks(node=NODE, text="host-started")), starts)
        self.offer([NODE], "4QZ6.0.0")
        self.lab.wait_for_nodes("it is off", [NODE], lambda node: node["power"] == "off")
        self.tell("plug")
        self.wait_for_commit([NODE], "4QZ6.0.0")
        self.tell("watch-storage", state="plain")
        self.settle()

    def test_6_the_descriptor_as_it_was_offered_and_as_it_goes_on(self):
        self.lab.tell("file-server", rate=1_000_000)
        self.addCleanup(self.lab.tell, "file-server", rate=0)
        self.offer([NODE], "4QZ7.0.0")
        inside = self.inside()
        self.assertEqual(inside["descriptor"]["nxtMSVersion"], "4QZ7.0.0")
        self.assertTrue(inside["printed"].startswith('{"model":"LabNode-1"'), inside["printed"])
        self.tell("cancel")
        self.settle()
        self.lab.tell("offer", nodes=[NODE], version="4QZ0.1.0")
        self.assertTrue(self.inside()["printed"].startswith("refused (36): "))


if __name__ == "__main__":
    sys.exit(lab_case.run(Storage))
