# SPDX-License-Identifier: MIT
"""What the rounds of one image size come to."""

import dataclasses
import statistics


@dataclasses.dataclass(frozen=True)
class Figures:
    """Of one command: medians, ratios to another command of the same round."""

    name: str
    seconds: float
    ratio: float
    lowest: float
    highest: float
    to_summed: float  # to the work by hand that reads the bank back
    processor: float  # ratio of processor time


def ratios(own, others):
    """Round by round."""
    return [one / other for one, other in zip(own, others, strict=True)]


def figures(rows, by_hand, summed):
    """Of every row, which has `seconds` and `processor`, a figure for each round."""
    hand = rows[by_hand]
    result = []
    for name, row in rows.items():
        to_hand = ratios(row.seconds, hand.seconds)
        result.append(
            Figures(
                name,
                statistics.median(row.seconds),
                statistics.median(to_hand),
                min(to_hand),
                max(to_hand),
                statistics.median(ratios(row.seconds, rows[summed].seconds)),
                statistics.median(ratios(row.processor, hand.processor)),
            )
        )
    return result
