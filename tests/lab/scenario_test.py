# SPDX-License-Identifier: MIT
"""The text of scenarios: what is read, and what is refused with a line that says where and what to
do. No node runs."""

import os
import pathlib
import re
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "desk"))

from lab.operation import WrongCall  # noqa: E402  pylint: disable=wrong-import-position
from lab.play.conditions import KINDS  # noqa: E402  pylint: disable=wrong-import-position
from lab.play import shelf  # noqa: E402  pylint: disable=wrong-import-position
from lab.play.duration import duration, seconds_of  # noqa: E402  pylint: disable=C0413
from lab.play.script import Do, read_scenario  # noqa: E402  pylint: disable=wrong-import-position
from rig.failure import Failure  # noqa: E402  pylint: disable=wrong-import-position

HEAD = "title t\nextenders 2\n"
END = "expect all version 4QZ1.0.0\n"


class Text(unittest.TestCase):
    """Read, or refused."""

    def refused(self, text, *parts):
        with self.assertRaises(Failure) as caught:
            read_scenario("x", text)
        said = str(caught.exception)
        self.assertNotIn("\n", said)
        for part in parts:
            self.assertIn(part, said)

    def line_refused(self, line, *parts):
        """As the third one."""
        self.refused(f"{HEAD}{line}\nunplug all\n{END}", "x:3: ", *parts)

    def test_what_a_scenario_says(self):
        scenario = read_scenario(
            "x",
            "# nothing\n\ntitle  Two words\nextenders 2\nlimit 2m30s\n"
            "offer ext-2 gateway --version 4QZ2.0.0 --policy 2 --offload -> 36  # refused\n"
            "wait ext-1 stage downloading, percent 30 within 2h on its clock\n"
            "expect ext-1 ext-2 words OTA_A OTA_B, end done within 5s\nexpect others words none\n",
        )
        self.assertEqual(
            (scenario.title, scenario.extenders, scenario.limit), ("Two words", 2, 150)
        )
        offer, wait = scenario.steps
        self.assertIsInstance(offer, Do)
        self.assertEqual((offer.line, offer.code), (6, 36))
        self.assertEqual(
            offer.given,
            {"nodes": ["ext-2", "gateway"], "version": "4QZ2.0.0", "policy": 2, "offload": True},
        )
        self.assertEqual((wait.nodes, wait.within, wait.on_clock), (("ext-1",), 7200, True))
        self.assertEqual([str(one) for one in wait.conditions], ["stage downloading", "percent 30"])
        two, others = scenario.ends
        self.assertEqual((two.nodes, two.within), (("ext-1", "ext-2"), 5))
        self.assertEqual(str(two.conditions[0]), "words OTA_A OTA_B")
        self.assertEqual(others.nodes, ("gateway",))

    def test_what_is_wrong_with_the_whole(self):
        self.refused("", "x: has no title: begin with")
        self.refused(f"unplug gateway\n{END}", "x: has no title")
        self.refused("title t\nexpect all words none\n", "x: does nothing: write a step")
        self.refused(
            "title t\nunplug gateway\n", "nothing is expected of gateway: add a line expect"
        )
        self.refused(f"{HEAD}unplug all\nexpect ext-1 words none\n", "of gateway, ext-2: add")
        self.refused("title t\nextenders 31\n", "x:2: extenders: expected a number from 0 to 30")
        self.refused("title t\nextenders -1\n", "x:2: extenders: expected")
        self.refused("title t\nlimit 20m\n", "x:2: limit: expected from 1s to 15m")

    def test_what_is_wrong_with_a_line(self):
        for line, *parts in (
            ("ofer all --version 4QZ2", "no step ofer: did you mean offer?"),
            ("xyzzy", "no step xyzzy: there are wait, expect"),
            ("include ../../etc/passwd", "no step include: "),
            ("status", "no step status: "),
            ("offer ext-7 --version 4QZ2", "there is no ext-7; there are gateway, ext-1, ext-2"),
            ("offer --version 4QZ2", "nodes is missing"),
            ("offer all", "version is missing"),
            ("offer all --version ../../x", "version: a version that begins with 4QZ"),
            ("offer all --version", "--version: a value is missing"),
            ("offer all --versoin 4QZ2", "offer takes no --versoin here: there are --version"),
            ("offer all --version 4QZ2 --version 4QZ2", "offer takes no --version here"),
            ("offer all --version 4QZ2 --policy 9", "policy: expected one of 0, 1, 2, 3"),
            ("offer all --version 4QZ2 -> no", "->: expected the code"),
            ("broker ext-1 --state stopped", "broker is for no node: leave ext-1 out"),
            ("broker --state stopped -> 3", "broker is answered by no node"),
            ("wait", "expected a node of gateway, ext-1, ext-2, all, extenders or others, not nothing"),
            ("wait ext-9 stage idle", "not ext-9; more of them: extenders N"),
            ("wait all", "a condition is missing"),
            ("wait all stage idle,", "a condition is missing"),
            ("wait all stage asleep", "stage asleep: the node came to this stage; expected off|"),
            ("wait all mood good", "there is no condition mood: there are stage, word"),
            ("wait all percent 30 40", "percent: expected one value behind it"),
            ("wait all stage idle within", 'expected "within DURATION"'),
            ("wait all stage idle within soon", "soon is no duration: write 90s, 40m"),
            ("wait all stage idle within 99999h", "within: expected from 1s to 15m"),
            ("wait all stage idle within 31d on its clock", "within: expected from 1s to 30d"),
            ("wait all stage idle on its clock", 'expected "within DURATION" before it'),
            ("wait all passed forever", "passed forever: so much of the node's own time"),
        ):  # fmt: skip
            with self.subTest(line=line):
                self.line_refused(line, *parts)
        self.refused(
            f"{HEAD}unplug all\n{END}expect others words none", "x:5: others: there are none"
        )

    def test_every_condition_is_told_in_the_docs(self):
        page = (pathlib.Path(__file__).resolve().parents[2] / "docs/scenarios.md").read_text()
        table = page.split("| Condition |")[1].split("\n\n")[0]
        told = set(re.findall(r"`([a-z\-]+) ", table))
        self.assertEqual(told, set(KINDS))

    def test_a_hostile_text(self):
        self.refused("title t\n" * 501, "more than 500 lines: split it")
        self.refused(f"title {'t' * 50_000}", "larger than 48 KiB: split it")
        self.refused(f"title {'t' * 400}", "x:1: longer than 300 characters")
        self.refused("title \x1b[2J\n", "x:1: has characters that cannot be printed")
        self.refused("title \u202etxet\n", "x:1: has characters that cannot be printed")

    def test_durations(self):
        for text, seconds in (("90s", 90), ("40m", 2400), ("2h30m", 9000), ("1d", 86400)):
            self.assertEqual(seconds_of(text), seconds)
            self.assertEqual(seconds_of(duration(seconds)), seconds)
        for text in ("", "5", "m", "-3s", "1.5h", "2m1h", "1h\n"):
            with self.assertRaises(WrongCall):
                seconds_of(text)


class Files(unittest.TestCase):
    """Where they come from."""

    def setUp(self):
        # pylint: disable=consider-using-with
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = pathlib.Path(place.name)

    def refused(self, word, part):
        with self.assertRaises(Failure) as caught:
            shelf.file_or_name(str(word))
        self.assertIn(part, str(caught.exception))

    def test_each_that_ships_can_be_read(self):
        names = shelf.names()
        for name in names:
            with self.subTest(name=name):
                scenario = shelf.shipped(name)
                self.assertTrue(scenario.title[0].isupper() and scenario.title[-1] != ".")

    def test_a_name_is_no_path(self):
        for word in ("", "no-such", "..", ".", "Upgrade", "a" * 60, "upgrade\n"):
            self.refused(word, "there is no scenario")
        for word in ("../upgrade", "../../../etc/passwd", "/etc/passwd\0"):
            with self.assertRaises(Failure):
                shelf.text_of(word)

    def test_files(self):
        good = self.place / "My own; one.scenario"
        good.write_text("title t\n")
        self.assertEqual(shelf.file_or_name(str(good)), ("My-own--one", "title t\n"))
        self.refused(self.place / "none.scenario", "No such file")
        self.refused(self.place / "", "no file")
        os.mkfifo(self.place / "pipe.scenario")
        self.refused(self.place / "pipe.scenario", "is no file")
        self.refused("/dev/zero", "is no file")
        large = self.place / "large.scenario"
        large.write_bytes(b"#" * 100_000)
        self.refused(large, "larger than 48 KiB")
        large.write_bytes(b"title \xff\n")
        self.refused(large, "is no text in UTF-8")


if __name__ == "__main__":
    unittest.main()
