# SPDX-License-Identifier: MIT
"""The verdicts over power cuts and faults can be lost: with nodes that only say what they would."""

import argparse
import contextlib
import io
import pathlib
import types
import unittest

import banks_faults
import sweep
import sweep_roads

CALLS = 100


class SayingRunner:
    """Its nodes come to the end that is wanted, or fail."""

    def __init__(self, ends):
        self.ends = ends
        self.place = types.SimpleNamespace(folder="nowhere")

    def count(self, _road):
        return ["otad write boot_state.ini"] * CALLS

    def cut(self, point):
        end = self.ends(point)
        if isinstance(end, Exception):
            raise end
        return end, "" if end == sweep_roads.NOT_MET else "the call"


def options(**given):
    return argparse.Namespace(
        **{
            "build": pathlib.Path("build"),
            "quick": False,
            "road": "commit",
            "mode": "drop",
            "point": None,
            "seed": 0,
        }
        | given
    )


class Sweep(unittest.TestCase):
    def verdict(self, ends, **given):
        """Exit code and what was said."""
        with contextlib.redirect_stdout(io.StringIO()) as said:
            given = options(**given)
            take = sweep.single if given.point else sweep.sweep_all
            code = take(SayingRunner(ends), given)
        return code, said.getvalue()

    def test_all_cuts_met(self):
        self.assertEqual(self.verdict(lambda point: sweep_roads.BY_ITSELF)[0], 0)

    def test_a_life_may_be_a_little_shorter(self):
        code, said = self.verdict(
            lambda point: sweep_roads.BY_ITSELF
            if point.number <= CALLS - 5
            else sweep_roads.NOT_MET
        )
        self.assertEqual(code, 0, said)
        self.assertIn("9 not met", said)

    def test_a_cut_that_did_not_happen(self):
        code, said = self.verdict(
            lambda point: sweep_roads.NOT_MET if point.number == 50 else sweep_roads.BY_ITSELF
        )
        self.assertEqual(code, 1)
        self.assertIn("--point 50 --seed 0\n  AssertionError: the power was not cut", said)

    def test_no_cut_at_all(self):
        code, said = self.verdict(lambda point: sweep_roads.NOT_MET)
        self.assertEqual(code, 1)
        self.assertIn("no cut was met", said)

    def test_a_node_that_fails(self):
        code, said = self.verdict(
            lambda point: AssertionError("it is not committed")
            if point.number == 7
            else sweep_roads.AGAIN
        )
        self.assertEqual(code, 1)
        self.assertIn("1 failed", said)

    def test_a_single_cut_that_did_not_happen(self):
        code, said = self.verdict(lambda point: sweep_roads.NOT_MET, point=99999)
        self.assertEqual((code, "cut at nothing: not met" in said), (1, True))
        self.assertEqual(self.verdict(lambda point: sweep_roads.AGAIN, point=9)[0], 0)


class Faults(unittest.TestCase):
    def at_once(self, jobs):
        with contextlib.redirect_stdout(io.StringIO()):
            return list(banks_faults.at_once("jobs", jobs))

    def test_a_node_that_fails_and_none_at_all(self):
        def fail():
            raise AssertionError("untrue")

        self.assertEqual(self.at_once({"good": lambda: None}), [])
        self.assertEqual(self.at_once({"good": lambda: None, "bad": fail}), ["bad"])
        self.assertEqual(self.at_once({}), ["no node"])

    def test_a_fault_that_was_not_met(self):
        faults = banks_faults.Faults.__new__(banks_faults.Faults)
        faults.calls = CALLS
        faults.check_met(50, True)
        faults.check_met(CALLS - 5, False)
        with self.assertRaisesRegex(AssertionError, "the fault was not met"):
            faults.check_met(50, False)


if __name__ == "__main__":
    unittest.main()
