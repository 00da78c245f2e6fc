# SPDX-License-Identifier: MIT
"""What was measured, as a person reads it."""

import statistics
import sys

from contest import BY_HAND


def progress(size, number, rounds):
    """Where the bench is, on a terminal only."""
    if sys.stderr.isatty():
        end = "\n" if number == rounds else ""
        print(f"\r{size} MiB: round {number} of {rounds}", end=end, file=sys.stderr, flush=True)


def table(size, contest):
    """Medians, and the ratios to the work by hand of the same round."""
    hand = contest.seconds[BY_HAND]
    print(f"\n{size} MiB over https, {len(hand)} rounds")
    print(f"  {'':24}{'median':>9}{'ratio':>8}   of the rounds")
    for name, seconds in contest.seconds.items():
        ratios = [own / other for own, other in zip(seconds, hand)]
        print(f"  {name:24}{statistics.median(seconds):8.3f}s{statistics.median(ratios):8.3f}"
              f"   {min(ratios):.3f} to {max(ratios):.3f}")
    for name in contest.times:
        stages(name, contest.stages(name))


def stages(name, runs):
    """Where the time goes, and the most memory of all runs."""
    medians = {key: statistics.median(run[key] for run in runs) for key in runs[0]}
    peak = medians.pop("peak_kb", None)
    print(f"  {name}: " + ", ".join(f"{key} {value:.3f} s" for key, value in medians.items()))
    if peak:
        print(f"  {name}: peak memory of the host process {max(r['peak_kb'] for r in runs):.0f} kB")
