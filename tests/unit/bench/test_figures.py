# SPDX-License-Identifier: MIT
"""Ratios are those of one round, then their median."""

import types
import unittest

from figures import figures, ratios


def row(*seconds: float, processor: float) -> types.SimpleNamespace:
    return types.SimpleNamespace(seconds=list(seconds), processor=[processor] * len(seconds))


class TheFigures(unittest.TestCase):
    ROWS = {
        "hand": row(1, 2, 4, processor=2),
        "summed": row(2, 2, 5, processor=3),
        "own": row(1.2, 4, 4.4, processor=2.5),
    }

    def test_compare_within_a_round(self) -> None:
        own = figures(self.ROWS, "hand", "summed")[2]
        self.assertEqual((own.name, own.seconds), ("own", 4))
        self.assertAlmostEqual(own.ratio, 1.2)  # of 1.2, 2, 1.1; that of the medians would be 2
        self.assertAlmostEqual(own.lowest, 1.1)
        self.assertAlmostEqual(own.highest, 2)
        self.assertAlmostEqual(own.to_summed, 0.88)
        self.assertAlmostEqual(own.processor, 1.25)

    def test_the_work_by_hand_is_one(self) -> None:
        hand = figures(self.ROWS, "hand", "summed")[0]
        self.assertEqual((hand.ratio, hand.lowest, hand.highest, hand.processor), (1, 1, 1, 1))

    def test_a_round_without_its_counterpart_is_no_round(self) -> None:
        with self.assertRaises(ValueError):
            ratios([1, 2], [1])


if __name__ == "__main__":
    unittest.main()
