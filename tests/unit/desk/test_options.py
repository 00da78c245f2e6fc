# SPDX-License-Identifier: MIT
"""The command line of the demonstration."""

import unittest

from demo.command_line import OptionError, quoted
from demo.options import demo_help, read_options
from demo.scenarios import combinations


class Options(unittest.TestCase):
    def mistake(self, *words: str) -> str:
        with self.assertRaises(OptionError) as caught:
            read_options(words)
        return str(caught.exception)

    def test_the_role_goes_with_the_mode(self) -> None:
        self.assertEqual(read_options([]).role, "Controller")
        self.assertEqual(read_options(["--mode", "AP_Bridge"]).role, "Agent")
        self.assertFalse(read_options(["--mode", "AP_Bridge"]).gateway)
        self.assertTrue(read_options(["--mode=AP_Bridge", "--role=Controller"]).gateway)

    def test_a_value_goes_where_it_belongs(self) -> None:
        options = read_options(["--cut-power", "7", "--limit=9999", "--fast", "--run-dir", "/x"])
        self.assertEqual((options.cut_power_at, options.limit, options.fast), (7, 9999, True))
        self.assertEqual(str(options.run_folder), "/x")

    def test_a_mistake_names_the_values_allowed_and_the_help(self) -> None:
        help_ = "; see ota-desk demo --help"
        for words, said in {
            ("--mode", "RG"): '--mode is "RG": expected RGW|AP_Bridge',
            ("--limit", "soon"): '--limit is "soon": expected a whole number from 1 to 9999',
            ("--policy",): "--policy needs a value, 0|1|2|3",
            ("--fast=1",): "--fast takes no value",
            ("--limit", "1", "--limit", "2"): "--limit is given twice",
            ("--polcy", "1"): "--polcy: there is no such option; did you mean --policy?",
            ("-x",): "-x: there is no such option",
            ("word",): "word: one argument too many",
            ("--", "--fast"): "--fast: one argument too many",
        }.items():
            with self.subTest(words):
                self.assertEqual(self.mistake(*words), said + help_)

    def test_every_mistake_is_refused(self) -> None:
        for words in (
            ["--policy", ""], ["--policy", "01"], ["--policy", "0|1"], ["--fail", "everything"],
            ["--role", ""], ["--role", "two\nlines"], ["--role", "a;b"], ["--role", "r" * 32],
            ["--limit", "0"], ["--limit", "10000"], ["--limit", "10s"], ["--limit", "٣"],
            ["--cut-power", "0"], ["--cut-power", "1x"], ["--pol", "1"], ["-"],
        ):  # fmt: skip
            with self.subTest(words):
                self.mistake(*words)

    def test_a_mesh_has_modes_roles_and_configurations_of_its_own(self) -> None:
        for name in ("--mode", "--role", "--node-conf"):
            said = f"--mesh and {name} do not go together; see ota-desk demo --help"
            self.assertEqual(self.mistake("--mesh", name, "RGW"), said)

    def test_what_is_hostile_is_quoted_on_one_line(self) -> None:
        self.assertEqual(quoted('a"\n\udcff'), '"a\\x22\\x0A\\xFF"')
        self.assertEqual(quoted("x" * 100), '"' + "x" * 59 + '"...')

    def test_help_is_given_whatever_else_is_wrong(self) -> None:
        self.assertTrue(read_options(["--nonsense", "--help"]).help)
        text = demo_help(combinations())
        self.assertEqual([line for line in text.splitlines() if len(line) > 80], [])
        self.assertIn("  --limit SECONDS             give up after so long", text)


if __name__ == "__main__":
    unittest.main()
