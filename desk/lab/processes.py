# SPDX-License-Identifier: MIT
"""The processes of a node that runs: found, stopped, limited."""

import contextlib
import pathlib
import resource
import signal

from rig.usage import children_of

PROGRAMS = {"daemon": "otad", "host": "ota-desk-host"}
_NAME_LENGTH = 15  # of a process, as the kernel cuts it
ENDLESS = 1 << 50  # bytes of a file: no limit that a node could meet


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


def limit_files(pid: int, size: int) -> None:
    """Bytes that a file may grow to which this process writes."""
    with contextlib.suppress(ProcessLookupError):
        resource.prlimit(pid, resource.RLIMIT_FSIZE, (size, ENDLESS))


SIGNALS = {"kill": signal.SIGKILL, "freeze": signal.SIGSTOP, "thaw": signal.SIGCONT}
