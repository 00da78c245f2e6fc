# SPDX-License-Identifier: MIT
"""Scenarios in a lab that runs: played beside whoever looks on, and recorded from what is done."""

import json
import pathlib
import subprocess
import sys
import tempfile

import lab_case
from rig.waiting import wait_for

JSON = {"Content-Type": "application/json"}


class Record(lab_case.Case):
    """One gateway and two extenders."""

    def play(self, name, text=""):
        self.lab.tell("play", scenario=name, text=text)
        return wait_for("it is over", self.over)

    def over(self):
        playing = self.lab.ask("scenario")["playing"]
        return playing["verdict"] not in ("to come", "playing") and playing

    def refused(self, name, body, status, part):
        found, text = self.lab.request("POST", f"/api/{name}", json.dumps(body), JSON)
        self.assertEqual(found, status, text)
        self.assertIn(part, json.loads(text)["reason"])

    def run_verb(self, *words):
        return subprocess.run(
            lab_case.command(self.build, *words, "--folder", self.lab.folder),
            capture_output=True, text=True, check=False,
        )  # fmt: skip

    def test_1_one_that_ships(self):
        names = [one["name"] for one in self.lab.ask("scenarios")["scenarios"]]
        self.assertIn("upgrade", names)
        for _ in range(2):  # each begins with new nodes
            done = self.run_verb("play", "upgrade")
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            self.assertIn("done    wait all word OTA_SW_COMMIT_COMPLETE", done.stdout)
            self.assertIn("upgrade: passed in ", done.stdout)

    def test_2_its_steps_while_it_is_played(self):
        text = "title t\nunplug gateway\nwait gateway power on\nexpect gateway power on within 1s\n"
        self.lab.tell("play", scenario="mine", text=text)
        waits = ["done", "running", "to come"]
        wait_for(
            "it waits",
            lambda: [step["state"] for step in self.lab.ask("scenario")["playing"]["steps"]]
            == waits,
        )
        self.refused("play", {"scenario": "upgrade"}, 409, "a scenario is played")
        self.refused("record", {"state": "begin"}, 409, "a scenario is played")
        # Whoever looks on may help.
        self.lab.tell("plug", nodes=["gateway"])
        self.assertEqual(wait_for("it is over", self.over)["verdict"], "passed")

    def test_3_one_that_is_stopped(self):
        self.lab.tell("play", scenario="mine", text="title t\nwait gateway power off\n"
                      "expect all power off\n")  # fmt: skip
        self.lab.tell("stop-playing")
        playing = wait_for("it is over", self.over)
        self.assertEqual(playing["verdict"], "stopped")
        self.assertEqual(self.play("upgrade")["verdict"], "passed")

    def test_4_what_is_refused(self):
        self.refused("play", {"scenario": "../../etc/passwd"}, 400, "scenario: ")
        self.refused("play", {"scenario": "no-such"}, 409, "there is no scenario no-such")
        self.refused(
            "play", {"scenario": "x", "text": "ofer all\n"}, 400, "x:1: there is no step ofer"
        )
        self.refused("play", {"scenario": "x", "text": "x" * 60_000}, 400, "text: ")
        self.refused(
            "play", {"scenario": "x", "text": "title t\nextenders 5\nunplug all\nexpect all power off"},
            409, "x needs 5 extenders, this lab has 2: start ./dev lab --extenders 5",
        )  # fmt: skip
        self.refused("record", {"state": "end"}, 409, "does not record: begin with")
        wrong = self.run_verb("play", "no-such")
        self.assertEqual((wrong.returncode, wrong.stdout), (1, ""))
        self.assertIn("there is no scenario", wrong.stderr)

    def test_5_what_is_done_is_played_again(self):
        self.assertEqual(self.run_verb("record", "begin").returncode, 0)
        self.lab.tell("file-server", rate=2_000_000)
        self.offer(["all"], "4QZ2.0.0")
        self.lab.wait_for_nodes(
            "a download", ["ext-2"], lambda node: (node["percentage"] or 0) > 10
        )
        self.lab.tell("unplug", nodes=["ext-2"])
        self.lab.tell("file-server", rate=0)
        self.wait_for_commit(["gateway", "ext-1"], "4QZ2.0.0")
        self.lab.tell("plug", nodes=["ext-2"])
        refused = self.lab.tell("offer", nodes=["all"], version="4QZ0.9.0")["nodes"]
        self.assertEqual({one["code"] for one in refused.values()}, {36})
        self.wait_for_commit(["ext-2"], "4QZ2.0.0")
        with tempfile.TemporaryDirectory() as place:
            file = pathlib.Path(place) / "mine.scenario"
            ended = self.run_verb("record", "end", file)
            self.assertEqual(ended.returncode, 0, ended.stderr)
            self.check_text(file.read_text())
            done = self.run_verb("play", file)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def check_text(self, text):
        lines = text.splitlines()
        self.assertIn("extenders  2", lines)
        order = [
            "offer all --version 4QZ2.0.0", "unplug ext-2", "file-server --rate 0",
            "wait gateway ext-1 word OTA_SW_COMMIT_COMPLETE", "plug ext-2",
            "offer all --version 4QZ0.9.0 -> 36", "wait ext-2 word OTA_SW_COMMIT_COMPLETE",
        ]  # fmt: skip
        places = [lines.index(line) for line in order]
        self.assertEqual(places, sorted(places), text)
        self.assertRegex(text, r"wait (all|.*ext-2) stage downloading, percent [0-9]+\n")
        self.assertRegex(text, r"expect ext-2 version 4QZ2.0.0, bank 4QZ1.0.0, end done.*"
                         r"boots 4QZ1.0.0 4QZ2.0.0\n")  # fmt: skip

    def test_6_a_page_that_is_reloaded_knows(self):
        self.lab.tell("record", state="begin")
        before = self.lab.ask("scenario")["recording"]
        self.assertIn("title      Recorded on", before)
        self.lab.tell("health", nodes=["ext-1"], state="fails")
        self.assertIn("health ext-1 --state fails", self.lab.ask("scenario")["recording"])
        text = self.lab.tell("record", state="end")["text"]
        self.assertIn("expect ", text)
        self.assertIsNone(self.lab.ask("scenario")["recording"])


if __name__ == "__main__":
    sys.exit(lab_case.run(Record))
