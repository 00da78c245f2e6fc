# SPDX-License-Identifier: MIT
"""What was measured, as a person reads it."""

import os
import re
import statistics
import sys

from contest import BY_HAND, MIB, SIGNED, SUMMED, UNSIGNED
from disturbance import MOST_FOREIGN
from figures import figures

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


def title(size, rounds, bank_speed):
    slowed = f", bank of {bank_speed / 1e6:g} MB/s" if bank_speed else ""
    return f"{size} MiB over https{slowed}, {rounds} rounds, time by hand = 1"


def told(judge):
    """What others spoilt."""
    share = f"{MOST_FOREIGN:.0%} of the processors"
    lines = [f"  {judge.repeated} rounds were run again: others took more than {share}"]
    if judge.spoilt:
        lines.append(
            f"  {judge.spoilt} disturbed rounds are among these figures, since no more were to be "
            "repeated: measure again when the machine is idle"
        )
    return "\n".join(lines)


def table(size, contest, judge):
    """Medians, and the ratios to the work by hand of the same round."""
    rows = figures(contest.rows, BY_HAND, SUMMED)
    rounds = len(contest.rows[BY_HAND].seconds)
    print(f"\n{title(size, rounds, contest.bank_speed)}")
    print(
        f"  {'':15}{'median':>9}{'ratio':>7}   of the rounds   to summed   processor   most memory"
    )
    for row in rows:
        print(
            f"  {row.name:15}{row.seconds:8.3f}s{row.ratio:7.2f}   "
            f"{row.lowest:.2f} to {row.highest:.2f}{row.to_summed:12.2f}{row.processor:12.2f}"
            f"{memory(contest.stages(row.name))}"
        )
    print(told(judge))
    print("  where the time goes, medians in seconds:")
    for name in (BY_HAND, UNSIGNED, SIGNED):
        print(f"    {name}: {medians(contest.stages(name))}")
        if name != BY_HAND:
            print(f"    {name}, writing: {medians(written(contest.log(name)))}")
    sys.stdout.flush()
    return rows


def memory(runs):
    """Of the host process, over all runs; nothing by hand."""
    peaks = [run["peak_kb"] for run in runs if "peak_kb" in run]
    return f"    {max(peaks) * 1024 / MIB:6.2f} MiB" if peaks else ""


def medians(runs):
    """Of every part that takes any time."""
    parts = {
        key: statistics.median(run[key] for run in runs) for key in runs[0] if key != "peak_kb"
    }
    return ", ".join(f"{key} {value:.3f}" for key, value in parts.items() if value >= 0.0005)


def written(log):
    """Where the time of each writing went."""
    return [dict(zip(PARTS, map(float, found))) for found in WRITTEN.findall(log.read_text())]
