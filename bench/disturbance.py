# SPDX-License-Identifier: MIT
"""Did others use the processors during a round? Then its figures say nothing."""

import dataclasses
import os
import pathlib
import time

# Of the processors' time in a round: with more than this used by others, or taken by the
# hypervisor, the round is run again.
MOST_FOREIGN = 0.05
KERNEL_THREAD = 0x00200000  # in the flags of a process
TICKS = os.sysconf("SC_CLK_TCK")


@dataclasses.dataclass(frozen=True)
class Moment:
    """The clock, and seconds of processor time since the boot: anybody's, stolen, the round's."""

    clock: float
    busy: float
    stolen: float
    own: float


def busy_and_stolen(stat: str) -> tuple[float, float]:
    """From the first line of /proc/stat; the time of guests is contained in that of users."""
    user, nice, system, _, _, irq, softirq, steal = map(int, stat.split()[1:9])
    return (user + nice + system + irq + softirq) / TICKS, steal / TICKS


def flags_and_time(stat: str) -> tuple[int, float]:
    """Of a process, from /proc/PID/stat; its name may hold anything."""
    fields = stat[stat.rindex(")") + 2 :].split()
    return int(fields[6]), (int(fields[11]) + int(fields[12])) / TICKS


def time_of_kernel_and(server: int) -> float:
    """The kernel's threads write for the round, and the file server sends for it."""
    total = 0.0
    for path in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            flags, seconds = flags_and_time(path.read_text(errors="replace"))
        except OSError:
            continue  # it has ended
        if flags & KERNEL_THREAD or int(path.parent.name) == server:
            total += seconds
    return total


def moment(server: int) -> Moment:
    """Now. This process, its children that were awaited, and the server work for the round."""
    busy, stolen = busy_and_stolen(pathlib.Path("/proc/stat").read_text().splitlines()[0])
    own = sum(os.times()[:4]) + time_of_kernel_and(server)
    return Moment(time.monotonic(), busy, stolen, own)


def foreign_share(before: Moment, after: Moment, processors: int) -> float:
    """Of the processors' time between two moments: what neither idled nor worked for the round."""
    foreign = max(0.0, (after.busy - before.busy) - (after.own - before.own))
    foreign += after.stolen - before.stolen
    return foreign / max((after.clock - before.clock) * processors, 1e-9)


class Judge:
    """Which rounds are run again: those that were disturbed, `most` of them at most."""

    def __init__(self, most: int) -> None:
        self.most = most
        self.repeated = 0
        self.spoilt = 0  # disturbed and kept all the same

    def repeats(self, share: float) -> bool:
        """For each round once, with the share of others in it."""
        if share <= MOST_FOREIGN:
            return False
        if self.repeated < self.most:
            self.repeated += 1
            return True
        self.spoilt += 1
        return False
