# SPDX-License-Identifier: MIT
"""Who may call: root and the named group, with the bus policy that is installed; nobody else."""

import os
import sys

import node_case
import unit_sandbox
from node_servers import FileServer, installed_policy
from stranger import AS_MEMBER, AS_NOBODY, GROUP, must_run, runs

DONE, ACCESS_DENIED = 0, 4
VERBS = [
    ["status"],
    ["offer", "-"],
    ["offer", "-", "--wait"],
    ["trigger"],
    ["activate-at", "02:00"],
    ["cancel"],
    ["cancel", "1"],
    ["set", "onboarding", "0"],
    ["history"],
    ["explain"],
    ["banks"],
    ["watch", "--until-idle"],
]


class Access(node_case.Case):
    """One node on a bus with the rules of a system bus."""

    def setUp(self):
        if os.geteuid() != 0:
            self.skipTest("needs root: only root can call as somebody else")
        super().setUp()
        must_run(self, self.place.program("otactl"))
        self.server = FileServer(self.place)
        self.node = unit_sandbox.node(self.place, "n1", self.server, policy=installed_policy(GROUP))
        self.node.start().wait_until_ready()

    def as_user(self, *words, user=None, text=""):
        return self.node.control(*words, text=text, **(user or AS_NOBODY))

    def test_nobody_may_do_nothing(self):
        before = (self.node.status(), len(self.node.history()))
        for verb in VERBS:
            with self.subTest(verb):
                answer = self.as_user(*verb, text="{}")
                self.assertEqual(answer.code, ACCESS_DENIED, answer.error)
                self.assertEqual(len(answer.error.splitlines()), 1, answer.error)
        after = (self.node.status(), len(self.node.history()))
        for status, _ in (before, after):
            status.pop("uptime")
        self.assertEqual(after, before)

    def test_nobody_reaches_it_past_otactl(self):
        name, path = "velmo.otaSwAgent", "/velmo/otaSwAgent"
        properties = "org.freedesktop.DBus.Properties"
        ways = [
            [name, path, properties, "GetAll", "s", name],
            [name, path, "org.freedesktop.DBus.Introspectable", "Introspect"],
            [name, path, "org.freedesktop.DBus.Peer", "Ping"],
            [name, path, name, "Cancel", "t", "0"],
        ]
        for way in ways:
            with self.subTest(way):
                self.assertIn("denied", self.busctl("call", *way).lower())
        taken = self.busctl(
            "call",
            "org.freedesktop.DBus",
            "/org/freedesktop/DBus",
            "org.freedesktop.DBus",
            "RequestName",
            "su",
            name,
            "0",
        )
        self.assertIn("denied", taken.lower())

    def busctl(self, *words):
        """What it says of a failure, as the user nobody."""
        finished = runs("busctl", f"--address={self.node.bus.address}", *words)
        self.assertNotEqual(finished.returncode, 0, words)
        return finished.stderr

    def test_the_group_may(self):
        self.assertEqual(self.as_user("status", user=AS_MEMBER).code, DONE)
        answer = self.as_user("set", "onboarding", "0", user=AS_MEMBER)
        self.assertEqual(answer.code, DONE, answer.error)
        answer = self.as_user("trigger", "--flag", "0", user=AS_MEMBER)
        self.assertEqual(answer.code, DONE, answer.error)
        self.node.live_until_end_of(answer.first["ticket"])
        # It hears the service too.
        watched = self.as_user("watch", "--until-idle", user=AS_MEMBER)
        self.assertEqual(watched.code, DONE, watched.error)
        self.assertEqual(watched.lines[0], {"event": "service", "running": True})


if __name__ == "__main__":
    unit_sandbox.enter_namespaces()
    sys.exit(node_case.run(Access))
