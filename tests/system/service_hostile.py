# SPDX-License-Identifier: MIT
"""Hostile texts to the running service: each refused by name, no process or file comes of it."""

import hashlib
import json
import os
import subprocess
import sys

import node_case
import unit_sandbox
from node_servers import FileServer, installed_policy
from rig.processes import own_environment
from rig.waiting import PATIENCE
from stranger import AS_MEMBER, GROUP, must_run

COMMITTED = 0
TEXTS = [
    "$(touch here)",
    "`touch here`",
    "x; touch here",
    "x\ntouch here",
    "'",
    '"',
    "../../etc",
    "%s%n",
    "\u202e",
    "x" * 100_000,
    "-rf /",
    "{}",
    "[" * 5000,
]
SETTINGS = ["work_mode", "work_role", "onboarding", "preferred_activation_time", "model", "../x"]


class Hostile(node_case.Case):
    """One node whose processes tell what they start, and a member of the group that may call it."""

    def setUp(self):
        if os.geteuid() != 0:
            self.skipTest("needs root: only root can call as somebody else")
        super().setUp()
        must_run(self, self.modules["hostile"])
        self.server = FileServer(self.place)
        self.node = unit_sandbox.node(
            self.place,
            "n1",
            self.server,
            preload=self.modules["exec"],
            policy=installed_policy(GROUP),
        )
        self.journal = self.node.exec_journal
        self.journal.touch()
        self.node.start().wait_until_ready()

    def files(self):
        """What the folder holds, but for what the service keeps of its own."""
        kept = self.node.folder / "configs/otad"
        found = {}
        for path in self.node.folder.rglob("*"):
            if kept not in path.parents and path != kept:
                mode = path.lstat()
                text = hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else ""
                found[str(path)] = (text, mode.st_mode, mode.st_mtime_ns if text else 0)
        return found

    def check_untouched(self, before):
        """before: files, started processes, live processes."""
        self.assertEqual(self.journal.read_text(), before[1], "a process was started")
        self.assertEqual(self.node.processes(), before[2])
        self.assertEqual(self.files(), before[0], "a file was touched")
        self.assertEqual(
            {path.name for path in (self.node.folder / "configs/otad").iterdir()}
            - {"history.jsonl", "requests.json", "settings.ini"}
            - {f"history.jsonl.{number}" for number in range(1, 21)},
            set(),
        )

    def state(self):
        return self.files(), self.journal.read_text(), self.node.processes()

    def check_still_works(self):
        end = self.node.live_until_end_of(self.node.offer())
        self.assertEqual(end["code"], COMMITTED)
        self.assertIn("md5sum", self.journal.read_text())  # the journal does tell

    def test_offers(self):
        before = self.state()
        finished = subprocess.run(
            [self.modules["hostile"], self.node.bus.address],
            capture_output=True,
            text=True,
            check=False,
            timeout=600,
            env=own_environment(),
            **AS_MEMBER,
        )
        self.assertEqual(finished.returncode, 0, finished.stdout + finished.stderr)
        self.check_untouched(before)
        status = self.node.status()
        self.assertEqual((status["stage"], status["ticket"], status["queued"]), ("idle", 0, 0))
        self.assertEqual(self.node.events("accepted"), [])
        print(finished.stdout.strip().splitlines()[-1], flush=True)
        self.check_still_works()

    def test_other_texts(self):
        before = self.state()
        count = 0
        for text in TEXTS:
            records = [
                text,
                json.dumps({"actTime": text}),
                json.dumps({"actTime": "02:00:00", "sn": text}),
            ]
            calls = [("SetActivationTime", "s", record) for record in records]
            calls += [("ChangeSetting", "ss", name, text) for name in SETTINGS]
            for call in calls:
                error = self.call(*call)
                self.assertRegex(error, r"^velmo\.otaSwAgent\.Error\.\w+: \S+: ", call)
                self.assertNotRegex(error, r"[^ -~]", "the message is one printable line")
                count += 1
        self.check_untouched(before)
        print(f"hostile times and settings: {count} refused", flush=True)

    def call(self, member, *arguments):
        """Name and message of the error, by a client that checks nothing itself."""
        name = "velmo.otaSwAgent"
        finished = subprocess.run(
            ["gdbus", "call", "--address", self.node.bus.address, "--dest", name, "--object-path",
             "/velmo/otaSwAgent", "--method", f"{name}.{member}",
             *(json.dumps(text, ensure_ascii=False) for text in arguments[1:])],
            capture_output=True, text=True, check=False, timeout=PATIENCE, env=own_environment(),
            **AS_MEMBER)  # fmt: skip
        self.assertNotEqual(finished.returncode, 0, (member, arguments))
        return finished.stderr.strip().removeprefix("Error: GDBus.Error:")


if __name__ == "__main__":
    unit_sandbox.enter_namespaces()
    sys.exit(node_case.run(Hostile))
