# SPDX-License-Identifier: MIT
"""What processes use, as the kernel tells of them; nothing of one that is gone."""

import contextlib
import os
import pathlib


def children_of(pid: int) -> list[int]:
    """Their ids."""
    found = []
    with contextlib.suppress(OSError):
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
            found += [int(child) for child in (task / "children").read_text().split()]
    return found


def memory_of(pid: int) -> int:
    """KiB that it takes, its share of what it shares with others included."""
    with contextlib.suppress(OSError, ValueError, IndexError):
        for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
            if line.startswith("Pss:"):
                return int(line.split()[1])
    return 0


def processor_seconds_of(pid: int) -> float:
    """That it took so far."""
    with contextlib.suppress(OSError, ValueError, IndexError):
        fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
    return 0.0
