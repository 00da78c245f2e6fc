# SPDX-License-Identifier: MIT
"""Scenarios as tests: those that pass, and that each verdict can be lost."""

import argparse
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

import lab_case
from rig.waiting import PATIENCE, wait_for

# Of those that ship: quick ones, for every kind of step and of end.
QUICK = (
    "upgrade", "refused-unsigned", "refused-bit-flipped", "refused-checksum", "refused-older",
    "window-trigger", "policy-0-at-three", "policy-0-summer-time", "swap-policy-3", "disk-full-refuses",
    "trial-unhealthy-then-forgotten", "trial-never-boots", "commit-by-hand", "cancel-download",
    "power-lost-download", "power-lost-trial", "gives-up-extender-cut", "broker-restarts",
    "offload-gateway",
)  # fmt: skip

# What is wrong in each, and what is said of it.
WRONG = {
    "other-end": (
        "offer gateway --version 4QZ2.0.0\nwait gateway word OTA_SW_COMMIT_COMPLETE\n"
        "expect gateway version 4QZ1.0.0 within 1s",
        "line 4: not within 1s: gateway: version is 4QZ2.0.0, expected 4QZ1.0.0",
    ),
    "other-words": (
        "offer gateway --version 4QZ2.0.0 --policy 2\n"
        "wait gateway word OTA_SW_ACTIVATION_COMPLETE\n"
        "expect gateway words OTA_SW_COMMIT_COMPLETE within 1s",
        "words is OTA_SW_ACTIVATION_COMPLETE, expected OTA_SW_COMMIT_COMPLETE",
    ),
    "other-reason": (
        "offer gateway --version 4QZ2.0.0 --image unsigned\n"
        "wait gateway word OTA_SW_FLASH_WRITE_FAILED\nexpect gateway end flashWriteFailed\n"
        "expect gateway reason wrong-signer within 1s",
        "line 5: not within 1s: gateway: reason is not-signed, expected wrong-signer",
    ),
    "never-comes": (
        "unplug gateway\nwait gateway word OTA_SW_COMMIT_COMPLETE within 1s\n"
        "expect gateway power off",
        "line 3: not within 1s: gateway: word is not told since; last: none",
    ),
    "never-comes-on-its-clock": (
        "speed gateway --times 600\nwait gateway passed 1d within 1m on its clock\n"
        "expect gateway power on",
        "line 3: not within 1m on its clock: gateway: passed is ",
    ),
    "came-before": (
        "offer gateway --version 4QZ2.0.0\nwait gateway word OTA_SW_COMMIT_COMPLETE\n"
        "wait gateway word OTA_SW_COMMIT_COMPLETE within 1s\nexpect gateway power on",
        "line 4: not within 1s: gateway: word is not told since; last: OTA_SW_COMMIT_COMPLETE",
    ),
    "answered-otherwise": (
        "offer gateway --version 4QZ0.9.0\nexpect gateway version 4QZ1.0.0",
        "line 2: offer: gateway answers 36 (nxtMSVersion: ",
    ),
    "done-though-it-should-not": (
        "offer gateway --version 4QZ2.0.0 -> 36\nexpect gateway power on",
        "line 2: offer: gateway answers 0 (done), expected 36",
    ),
    "no-end": (
        "limit 2s\noffer gateway --version 4QZ2.0.0 --policy 0\n"
        "wait gateway word OTA_SW_ACTIVATION_COMPLETE\nexpect gateway power on",
        "not over within 2s",
    ),
}


class Play(unittest.TestCase):
    """Without a lab."""

    build = pathlib.Path()

    def setUp(self):
        os.umask(0o022)
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="ota-play-"))
        self.addCleanup(shutil.rmtree, self.place)
        self.folder = self.place / "played"

    def command(self, *words):
        return lab_case.command(self.build, "play", "--folder", self.folder, *words)

    def play(self, *words):
        return subprocess.run(
            self.command(*words), capture_output=True, text=True, check=False, timeout=PATIENCE * 4
        )

    def file(self, name, text):
        path = self.place / f"{name}.scenario"
        path.write_text(text)
        return path

    def test_those_that_pass(self):
        done = self.play("--headless", *QUICK)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        for name in QUICK:
            self.assertRegex(done.stdout, rf"(?m)^{name} +passed +[0-9.]+ s$")
            played = json.loads((self.folder / name / "timeline.json").read_text())
            self.assertEqual(played["scenario"]["verdict"], "passed")
            self.assertEqual({one["state"] for one in played["scenario"]["steps"]}, {"done"})
            page = (self.folder / name / "timeline.html").read_text()
            self.assertIn('<rect class="bar idle"', page)
            # It needs nothing else.
            self.assertEqual(re.findall(r"<(?:script|link|img)|url\(|src=|href=", page), [])
            # The banks are gone, what happened is kept.
            self.assertFalse((self.folder / name / "nodes").exists())
        suites = xml.parse(self.folder / "junit.xml").getroot()
        self.assertEqual((suites.get("tests"), suites.get("failures")), (str(len(QUICK)), "0"))

    def test_each_verdict_can_be_lost(self):
        files = [self.file(name, f"title {name}\n{text}\n") for name, (text, _) in WRONG.items()]
        report = self.place / "report.xml"
        done = self.play("--headless", "--junit", report, *files)
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        cases = {case.get("name"): case for case in xml.parse(report).iter("testcase")}
        self.assertEqual(list(cases), list(WRONG))
        for name, (_, said) in WRONG.items():
            with self.subTest(name=name):
                failure = cases[name].find("failure")
                self.assertIsNotNone(failure)
                self.assertIn(said, failure.get("message"))
                self.assertIn(" failed   ", failure.text)
                self.assertTrue((self.folder / name / "nodes/gateway.log").exists())

    def test_a_node_that_is_not_there(self):
        wrong = self.file("wrong", "title t\nextenders 1\nunplug ext-2\nexpect all power on\n")
        done = self.play("--headless", "upgrade", wrong)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertEqual(
            done.stderr, "lab: wrong:3: nodes: there is no ext-2; there are gateway, ext-1\n"
        )
        self.assertFalse(self.folder.exists())

    def test_words_of_the_command_line(self):
        for words, said in (
            ((), "name a scenario, or say --all"),
            (("--headless",), "name a scenario, or say --all"),
            (("--headless", "upgrade", "upgrade"), "upgrade is there twice"),
            (("--headless", "../upgrade.scenario"), "cannot read"),
            (("--headless", "no-such"), "there is no scenario no-such"),
            (("--headless", "--nodes", "0", "upgrade"), "--nodes: expected a number"),
        ):
            done = self.play(*words)
            self.assertEqual((done.returncode, done.stdout), (1, ""), words)
            self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
            self.assertIn(said, done.stderr)

    def test_it_is_interrupted(self):
        endless = self.file("endless", "title t\nwait gateway power off\nexpect all power off\n")
        # pylint: disable=consider-using-with
        played = subprocess.Popen(
            self.command("--headless", endless), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True,
        )  # fmt: skip
        self.addCleanup(played.communicate)
        self.addCleanup(played.kill)
        wait_for("its node runs", lambda: "otad" in lab_case.processes_below(self.place))
        played.send_signal(signal.SIGINT)
        _, error = played.communicate(timeout=PATIENCE)
        self.assertEqual(
            (played.returncode, error),
            (1, "lab: interrupted by a signal; everything that was started is stopped\n"),
        )
        self.assertEqual(lab_case.processes_below(self.place), [])


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    options, words = parser.parse_known_args()
    Play.build = options.build_dir.absolute()
    return not unittest.main(argv=[sys.argv[0], *words], exit=False).result.wasSuccessful()


if __name__ == "__main__":
    sys.exit(main())
