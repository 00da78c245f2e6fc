# SPDX-License-Identifier: MIT
"""The processes of a node that runs: found, stopped, measured."""

import contextlib
import pathlib
import resource
import signal

PROGRAMS = {"daemon": "otad", "host": "ota-desk-host"}
_NAME_LENGTH = 15  # of a process, as the kernel cuts it
ENDLESS = 1 << 50  # bytes of a file: no limit that a node could meet


def children_of(pid: int) -> list[int]:
    """Their ids; none of a process that is gone."""
    found = []
    with contextlib.suppress(OSError):
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
            found += [int(child) for child in (task / "children").read_text().split()]
    return found


def name_of(pid: int) -> str:
    try:
        return pathlib.Path(f"/proc/{pid}/comm").read_text().rstrip("\n")
    except OSError:
        return ""


def processes_of(pid: int) -> dict[str, int]:
    """The daemon and its host by what they are, from the process that was started: the daemon, or
    the power supply around it."""
    found: dict[str, int] = {}
    left = [pid]
    while left:
        one = left.pop()
        for what, program in PROGRAMS.items():
            if name_of(one) == program[:_NAME_LENGTH]:
                found[what] = one
        left += children_of(one)
    return found


def is_frozen(pid: int, traced: bool = False) -> bool:
    """Traced: one that is followed call by call stands still in another way."""
    try:
        status = pathlib.Path(f"/proc/{pid}/stat").read_text()
    except OSError:
        return False
    return status.rpartition(")")[2].split()[0] in ("Tt" if traced else "T")


def memory_of(pid: int) -> int:
    """KiB that it takes, its share of what it shares with others included."""
    with contextlib.suppress(OSError, ValueError, IndexError):
        for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
            if line.startswith("Pss:"):
                return int(line.split()[1])
    return 0


def limit_files(pid: int, size: int) -> None:
    """Bytes that a file may grow to which this process writes."""
    with contextlib.suppress(ProcessLookupError):
        resource.prlimit(pid, resource.RLIMIT_FSIZE, (size, ENDLESS))


SIGNALS = {"kill": signal.SIGKILL, "freeze": signal.SIGSTOP, "thaw": signal.SIGCONT}
