# SPDX-License-Identifier: MIT
"""What was measured, as a person reads it."""

import os
import re
import statistics
import sys

from contest import BY_HAND, MIB

# What the platform tells of a bank that it wrote; the last two ran beside the others.
WRITTEN = re.compile(
    r"was written and read back, \d+ bytes in ([\d.]+) s \(write ([\d.]+) s, "
    r"sync ([\d.]+) s; beside it read-back ([\d.]+) s, digest ([\d.]+) s\)"
)
PARTS = ("all", "write", "sync", "read-back", "digest")


def progress(size, number, rounds):
    """Where the bench is, on a terminal only."""
    if sys.stderr.isatty():
        end = "\n" if number == rounds else ""
        print(f"\r{size} MiB: round {number} of {rounds}", end=end, file=sys.stderr, flush=True)


def load():
    """Others that work on this machine spoil the figures: say so."""
    one_minute = os.getloadavg()[0]
    note = (
        ""
        if one_minute < 0.5 * os.cpu_count()
        else ": others work here, so the figures are no good; measure again when it is idle"
    )
    print(f"{os.cpu_count()} processors, load {one_minute:.1f} at the beginning{note}", flush=True)


def table(size, contest):
    """Medians, and the ratios to the work by hand of the same round."""
    hand = contest.seconds[BY_HAND]
    print(f"\n{size} MiB over https, {len(hand)} rounds")
    print(f"  {'':12}{'median':>9}{'ratio':>8}   of the rounds    most memory")
    for name, seconds in contest.seconds.items():
        ratios = [own / other for own, other in zip(seconds, hand)]
        print(
            f"  {name:12}{statistics.median(seconds):8.3f}s{statistics.median(ratios):8.3f}"
            f"   {min(ratios):.3f} to {max(ratios):.3f}{memory(contest.stages(name))}"
        )
    print("  where the time goes, medians in seconds:")
    for name in contest.seconds:
        print(f"    {name}: {medians(contest.stages(name))}")
        if name != BY_HAND:
            print(f"    {name}, writing: {medians(written(contest.logs[name]))}")
    sys.stdout.flush()


def memory(runs):
    """Of the host process, over all runs; nothing by hand."""
    peaks = [run["peak_kb"] for run in runs if "peak_kb" in run]
    return f"   {max(peaks) * 1024 / MIB:6.2f} MiB" if peaks else ""


def medians(runs):
    """Of every part that takes any time."""
    parts = {
        key: statistics.median(run[key] for run in runs) for key in runs[0] if key != "peak_kb"
    }
    return ", ".join(f"{key} {value:.3f}" for key, value in parts.items() if value >= 0.0005)


def written(log):
    """Where the time of each writing went."""
    return [dict(zip(PARTS, map(float, found))) for found in WRITTEN.findall(log.read_text())]
