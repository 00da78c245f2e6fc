# SPDX-License-Identifier: MIT
"""What is wrong on the disk: every mistake of the configuration named, damaged state told."""

import functools
import json
import os
import re
import sys

import node_case
import unit_sandbox
from node import Node
from node_servers import FileServer
from rig.processes import Process
from rig.waiting import PATIENCE, wait_for
from stranger import tries

CONFIG_WRONG, DONE = 9, 0
VERSION_MALFORMED, PLAIN_HTTP_FORBIDDEN = 26, 34

# One mistake each: what is changed (a line that begins so, and what stands there instead), the key
# that the first complaint must name, and what it must say of it.
MISTAKES = [
    ("model = ", "model = " + "x" * 32, "[node] model", "at most 31"),
    ("model = ", "model =", "[node] model", "expected"),
    ("model = ", None, "[node] model", "is missing"),
    ("serial = ", "serial = " + "s" * 40, "[node] serial", "at most 31"),
    ("work_mode = ", "work_mode = " + "m" * 32, "[node] work_mode", "at most 31"),
    ("onboarding = ", "onboarding = 2", "[node] onboarding", "0 or 1"),
    ("onboarding = ", "onboarding = yes", "[node] onboarding", "0 or 1"),
    ("preferred_activation_time = ", "preferred_activation_time = 24:00",
     "[node] preferred_activation_time", "hh[:mm[:ss]]"),
    ("preferred_activation_time = ", "preferred_activation_time = soon",
     "[node] preferred_activation_time", "hh[:mm[:ss]]"),
    ("tmp = ", "tmp = /tmp/an/other", "[paths] tmp", "at most 6"),
    ("tmp = ", "tmp = none", "[paths] tmp", "make it or name another"),
    ("tmp = ", "tmp = $(x)", "[paths] tmp", "expected"),
    ("configs = ", "configs = configs-of-this-node", "[paths] configs", "at most 13"),
    ("configs = ", "configs = con;figs", "[paths] configs", "expected"),
    ("logs = ", "logs = logs/of/this/node", "[paths] logs", "at most 14"),
    ("logs = ", "logs = node-logs/", "[paths] logs", "expected"),
    ("ca_certificate = ", "ca_certificate = " + "c" * 31, "[paths] ca_certificate", "at most 30"),
    ("a = ", "a = banks/none", "[banks] a", ""),
    ("b = ", "b = banks/a", "[banks] b", "another"),
    ("size = ", "size = 3X", "[banks] size", "expected"),
    ("size = ", "size = 0", "[banks] size", "expected"),
    ("size = ", None, "[banks]", ""),
    ("boot_state = ", None, "[banks] boot_state", "is missing"),
    ("boot_state = ", "kernel_command_line = node.conf\nfw_env_config = node.conf\n"
     "boot_state = boot_state.ini",
     "[banks] boot_state", "one of the two"),
    ("boot_state = ", "kernel_command_line = node.conf\nfw_env_config = none",
     "[banks] fw_env_config", "cannot be read"),
    ("boot_state = ", "boot_state = boot_state.ini\nkernel_command_line = none",
     "[banks] kernel_command_line", "cannot be read"),
    ("attempts = ", "attempts = 0", "[trial] attempts", "1 to 9"),
    ("attempts = ", "attempts = 10", "[trial] attempts", "1 to 9"),
    ("health_command = ", "health_command =", "[trial] health_command", "a command"),
    ("health_limit = ", "health_limit = 0", "[trial] health_limit", "1 to 3600"),
    ("health_limit = ", "health_limit = 1 h", "[trial] health_limit", "1 to 3600"),
    ("refuse_after = ", "refuse_after = 10", "[trial] refuse_after", "0 to 9"),
    ("signature = ", "signature = perhaps", "[images] signature", "required or optional"),
    ("signature = ", None, "[images] signer_ca", "is missing"),
    ("signature = ", "signature = required\nsigner_ca = none.pem", "[images] signer_ca",
     "cannot be read"),
    ("allow_plain_http = ", "allow_plain_http = perhaps", "[service] allow_plain_http",
     "yes or no"),
    ("lowest_version = ", "lowest_version = a b", "[service] lowest_version", "expected"),
    ("lowest_version = ", "lowest_version = " + "4" * 64, "[service] lowest_version",
     "at most 30"),
    ("history_size = ", "history_size = much", "[service] history_size", "expected"),
    ("history_files = ", "history_files = 0", "[service] history_files", "1 to 20"),
    ("history_files = ", "history_files = 21", "[service] history_files", "1 to 20"),
    ("broker = ", "broker = localhost:0", "[root] broker", "1 to 65535"),
    ("broker = ", "broker = local host", "[root] broker", "expected"),
    ("broker = ", None, "[root]", "broker"),
    ("certificate = ", None, "[root] key", "certificate"),
    ("key = ", "key = none.key", "[root] key", "cannot be read"),
    ("topic = ", "topic = a//b", "[root] topic", "expected"),
    ("topic = ", "topic = #", "[root] topic", "expected"),
    ("serial = ", "serial SN", "", "expected"),
    ("serial = ", "serial = SN\nserial = SN", "[node] serial", "second time"),
]  # fmt: skip
# One line each but these, where one change leaves several keys wrong.
LINES = {
    ("size = ", None): 2,
    ("broker = ", None): 4,
    ("serial = ", "serial SN"): 2,
    ("signature = ", "signature = perhaps"): 2,
}
GOOD = """[trial]
attempts = 2
health_command = true
health_limit = 5
refuse_after = 0
[service]
allow_plain_http = no
lowest_version = 4QZ1
history_size = 64K
history_files = 2
[root]
broker = localhost:8883
ca_certificate = root.pem
certificate = root.pem
key = root.pem
topic = a/b
"""


class Configuration(node_case.Case):
    """One node that nothing is downloaded to."""

    def setUp(self):
        super().setUp()
        self.node = Node(self.place, "n1")
        (self.node.folder / "root.pem").touch(mode=0o600)
        self.good = self.node.config.read_text()

    def check(self, *words):
        """Exit code and lines on standard error of otad."""
        log = self.place.folder / "check.log"
        log.unlink(missing_ok=True)
        code = Process(
            [*self.node.arguments(), *words], self.node.folder, log, self.node.environment()
        ).child.wait(PATIENCE)
        return code, log.read_text().splitlines()

    def with_lines(self, begin, text):
        """The configuration with one line changed, and that line's number."""
        lines = (self.good + GOOD).splitlines()
        # The last one: [root] has keys of the same names as [paths].
        number = max(i for i, line in enumerate(lines) if line.startswith(begin))
        if begin == "ca_certificate = ":
            number = min(i for i, line in enumerate(lines) if line.startswith(begin))
        lines[number : number + 1] = [] if text is None else text.split("\n")
        self.node.config.write_text("\n".join(lines) + "\n")
        return number + 1 + (text or "").count("\n")

    def test_the_good_one(self):
        self.node.config.write_text(self.good + GOOD)
        code, lines = self.check("--check")
        self.assertEqual((code, lines), (DONE, ["node.conf: correct"]))

    def test_every_mistake(self):
        for begin, text, key, says in MISTAKES:
            with self.subTest(f"{begin} -> {text}"):
                line = self.with_lines(begin, text)
                code, lines = self.check()
                self.assertEqual(code, CONFIG_WRONG, lines)
                self.assertEqual(len(lines), LINES.get((begin, text), 1), lines)
                # A key that is not there has no line.
                place = r"(:\d+)?" if text is None else f":{line}"
                self.assertRegex(lines[0], rf"^error: otad: node\.conf{place}: ")
                self.assertIn(key, lines[0])
                self.assertIn(says, lines[0])
                same = self.node.control("config", "check", "node.conf", cwd=self.node.folder)
                self.assertEqual(same.code, CONFIG_WRONG)
        self.assertEqual(self.node.history(), [], "it started all the same")
        print(f"configuration: {len(MISTAKES)} mistakes, each named", flush=True)

    # A configuration outlives releases of the service, in both directions.
    def test_unknown_keys(self):
        for begin, text, told in [
            (
                "serial = ",
                "serial = SN\nserail = SN",
                ["[node] serail is not known and has no effect; did you mean [node] serial?"],
            ),
            (
                "topic = ",
                "topic = a/b\nqqqqqqqqqqqq = 1",
                ["[root] qqqqqqqqqqqq is not known and has no effect"],
            ),
            (
                "[service]",
                "[servce]",
                [
                    f"[servce] {key} is not known and has no effect; did you mean [service] {key}?"
                    for key in (
                        "allow_plain_http",
                        "lowest_version",
                        "history_size",
                        "history_files",
                    )
                ],
            ),
        ]:
            with self.subTest(text):
                line = self.with_lines(begin, text) + (begin == "[service]")
                expected = [f"node.conf:{line + i}: {one}" for i, one in enumerate(told)]
                code, lines = self.check("--check")
                self.assertEqual(code, DONE)
                self.assertEqual(
                    lines, [f"warning: otad: {one}" for one in expected] + ["node.conf: correct"]
                )
                same = self.node.control("config", "check", "node.conf", cwd=self.node.folder)
                self.assertEqual(same.code, DONE)
                self.assertEqual((same.first["mistakes"], same.first["warnings"]), ([], expected))
        self.node.start().wait_until_ready().stop()
        self.assertIn(f"warning: otad: {expected[0]}", self.node.log.read_text())

    def test_all_mistakes_at_once(self):
        text = re.sub(r"(?m)^(onboarding|tmp|size) = .*$", r"\1 = wrong!", self.good)
        self.node.config.write_text(text)
        code, lines = self.check()
        self.assertEqual(code, CONFIG_WRONG)
        for key in ("onboarding", "tmp", "size"):
            self.assertTrue(any(f"] {key} is " in line for line in lines), lines)

    def test_no_configuration(self):
        self.node.config.unlink()
        code, lines = self.check()
        self.assertEqual((code, len(lines)), (CONFIG_WRONG, 1), lines)
        self.assertIn("node.conf", lines[0])

    # What the service keeps.

    def kept(self, name):
        return self.node.folder / "configs/otad" / name

    def run_until_requests_are_kept(self):
        """A node is ready before its first ledger is on the disk."""
        self.node.start().wait_until_ready()
        wait_for("the requests are kept", self.node.kept_requests)
        self.node.stop()

    def test_damaged_requests(self):
        self.run_until_requests_are_kept()
        whole = self.kept("requests.json").read_text()
        ledger = json.loads(whole)
        for number, text in enumerate(
            [
                "",
                "{",
                "[]",
                "null",
                "garbage\0\1",
                whole[: len(whole) // 2],
                whole + whole,
                json.dumps({**ledger, "nextTicket": -1}),
                json.dumps({**ledger, "queue": "none"}),
                json.dumps({**ledger, "running": {"request": {}}}),
            ],
            1,
        ):
            with self.subTest(text[:40]):
                self.kept("requests.json").write_text(text)
                self.node.start().wait_until_ready()
                line = self.node.wait_for_event("state-damaged", number)
                self.assertIn("requests.json", line["reason"])
                self.assertEqual(self.kept("requests.json.damaged").read_text(), text)
                status = self.node.status()
                self.assertEqual((status["stage"], status["ticket"]), ("idle", 0))
                self.assertEqual(self.node.stop(), 0)
        self.node.start()
        ticket = self.node.told("trigger", "--flag", "0")["ticket"]
        wait_for("it is done", lambda: self.node.end_of(ticket))

    def test_requests_that_somebody_changed(self):
        """They are judged like offers of now: nobody knows who wrote them."""
        if os.geteuid() != 0:
            self.skipTest("needs root: only root can act as somebody else")
        server = FileServer(self.place)
        for number, (old, new, code) in enumerate(
            (
                ("4QZ2.0.0", "4QZ;>owned", VERSION_MALFORMED),
                ("https://127.0.0.1", "http://127.0.0.1", PLAIN_HTTP_FORBIDDEN),
            ),
            2,
        ):
            with self.subTest(new):
                self.node = unit_sandbox.node(
                    self.place, f"n{number}", server, number=number, fast=False
                )
                server.refuse(self.node.name)
                self.node.start()
                ticket = self.node.offer()
                wait_for(
                    "the next attempt is waited for, and kept",
                    lambda: (self.node.kept_requests() or {}).get("standing"),
                )
                self.node.stop()
                server.refuse(self.node.name, False)
                fetched = len(server.fetched(self.node.name))
                ledger = self.kept("requests.json")
                text = ledger.read_text()
                self.assertGreater(text.count(old), 1)
                # Not of this user's, who can neither change it nor put another in its place: an
                # older release, or a backup.
                other = ledger.with_name("other")
                for attempt in (
                    lambda path=ledger: path.open("a"),
                    ledger.unlink,
                    other.touch,
                    lambda path=ledger: other.replace(path),
                ):
                    self.assertEqual(tries(attempt), "PermissionError")
                ledger.write_text(text.replace(old, new).replace('"seconds":1800', '"seconds":1'))
                self.node.start()
                end = wait_for("it ends", functools.partial(self.node.end_of, ticket))
                self.assertEqual(end["code"], code, end)
                status = self.node.wait_until_ready().status()
                self.assertEqual((status["stage"], status["timers"]), ("idle", []))
                self.assertFalse((self.node.folder / "owned").exists())
                self.assertEqual(len(server.fetched(self.node.name)), fetched)

    def test_requests_of_a_newer_release(self):
        self.run_until_requests_are_kept()
        text = json.dumps({**json.loads(self.kept("requests.json").read_text()), "more": 1})
        self.kept("requests.json").write_text(text)
        self.node.start().wait_until_ready()
        line = self.node.wait_for_event("state-damaged")
        self.assertIn("are of a newer release", line["reason"])
        self.assertEqual(self.kept("requests.json.newer").read_text(), text)

    def test_damaged_settings_and_history(self):
        self.node.start()
        self.node.told("set", "onboarding", "1")
        self.node.stop()
        self.kept("settings.ini").write_text("[node]\nonboarding = \xff\n[[[")
        with open(self.kept("history.jsonl"), "ab") as history:
            history.write(b'\xff\0garbage\n{"time": 1}\n[]\n')
        lines = len(self.kept("history.jsonl").read_bytes().splitlines())
        self.node.start()
        # The file of the node counts again, and one line says so.
        self.assertEqual(self.node.told("status")["onboarding"], 0)
        said = [
            line
            for line in self.node.log.read_text().splitlines()
            if line.startswith("error: otad: ") and "settings.ini" in line
        ]
        self.assertEqual(len(said), 1, said)
        shown = self.node.control("history", "-n", "500")
        self.assertEqual(shown.code, DONE)
        self.assertTrue(all("event" in line for line in shown.lines))
        self.assertGreater(len(shown.lines), 3)
        self.assertGreater(len(self.kept("history.jsonl").read_bytes().splitlines()), lines)

    def test_no_place_for_the_state(self):
        self.node.config.write_text(self.good + "[service]\nstate = none/below/here\n")
        code, lines = self.check()
        self.assertEqual((code, len(lines)), (CONFIG_WRONG, 1), lines)
        self.assertIn("[service] state cannot be made: there is no directory none/below;", lines[0])


if __name__ == "__main__":
    unit_sandbox.enter_namespaces()
    sys.exit(node_case.run(Configuration))
