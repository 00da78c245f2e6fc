# SPDX-License-Identifier: MIT
"""The table of scenarios, and the options that choose from it."""

import pathlib
import unittest

from demo import scenarios
from demo.command_line import OptionError
from demo.options import read_options
from demo.scenarios import SCENARIOS, End, Scenario, Step, choose_scenario, combinations

ROOT = pathlib.Path(__file__).resolve().parents[3]


def chosen(*words: str) -> Scenario:
    return choose_scenario(read_options(words))


class Scenarios(unittest.TestCase):
    def test_each_set_of_options_names_one(self) -> None:
        for words, name in {
            (): "policy-1",
            ("--policy", "0"): "policy-0",
            ("--policy", "3", "--fast"): "policy-3",
            ("--offload", "--policy", "2"): "offload",
            ("--first-poll",): "first-poll",
            ("--fail", "flash", "--mode", "AP_Bridge"): "fail-flash",
            ("--fail", "health"): "fail-health",
            ("--cut-power", "7"): "cut-power",
            ("--mesh", "--plain-http"): "mesh",
        }.items():
            self.assertEqual(chosen(*words).name, name)

    def test_an_image_that_is_refused_leaves_the_bank_as_it_was(self) -> None:
        for failure in ("signature", "version"):
            scenario = chosen("--fail", failure)
            self.assertEqual(scenario.words, ("OTA_SW_FLASH_WRITE_FAILED",))
            self.assertIs(scenario.end, End.UNTOUCHED)
            self.assertTrue(scenario.passive_holds_old)  # or nothing would show a change

    def test_what_does_not_go_together_is_refused(self) -> None:
        for words in (
            ["--offload", "--power-cut"], ["--cut-power", "1", "--mode", "AP_Bridge"],
            ["--cut-power", "1", "--policy", "0"], ["--offload", "--policy", "3"],
            ["--fail", "activate", "--policy", "2"], ["--first-poll", "--mode", "AP_Bridge"],
            ["--fail", "certificate", "--plain-http"], ["--mesh", "--power-cut"],
            ["--mesh", "--policy", "2"],
        ):  # fmt: skip
            with self.subTest(words), self.assertRaises(OptionError):
                chosen(*words)

    def test_a_selector_may_name_one_for_each_policy(self) -> None:
        self.assertEqual(chosen("--first-poll", "--policy", "0").policies, "0")
        self.assertEqual(chosen("--first-poll", "--policy", "2").policies, "2")
        self.assertEqual(chosen("--fail", "activate", "--policy", "0").policies, "0")
        self.assertEqual(len(chosen("--mesh", "--policy", "0").steps), 2)
        with self.assertRaisesRegex(
            OptionError,
            "^--first-poll does not go with --policy 3, only with 0, 1, 2; see ota-desk demo --help$",
        ):
            chosen("--first-poll", "--policy", "3")

    def test_waits_of_minutes_always_pass_at_once(self) -> None:
        for failure in ("server", "certificate", "disk"):
            self.assertTrue(chosen("--fail", failure).always_fast)
        self.assertFalse(chosen().always_fast)

    def test_the_help_tells_what_is_refused(self) -> None:
        lines = combinations().splitlines()
        self.assertIn("  --fail health and --policy 0, 2, 3", lines)
        self.assertIn("  --fail certificate and --policy 3, or --plain-http", lines)
        self.assertIn("  --first-poll and --policy 3, or an extender", lines)

    def test_status_words_are_the_agents(self) -> None:
        header = (ROOT / "include/otaSwAgent/status_words.h").read_text()
        words = {value for value in vars(scenarios).values()
                 if isinstance(value, str) and value.startswith("OTA_")}  # fmt: skip
        self.assertGreater(len(words), 8)
        for word in words:
            self.assertIn(f'"{word}"', header)

    def test_every_row_says_what_it_promises(self) -> None:
        for row in SCENARIOS:
            self.assertTrue(row.steps and row.ending and row.policies, row.name)
            crawls = Step.OFFER_THEN_CUT in row.steps
            self.assertEqual(crawls, row.selector == "--power-cut")


if __name__ == "__main__":
    unittest.main()
