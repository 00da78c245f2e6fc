# SPDX-License-Identifier: MIT
"""The machine that all of it runs on: whether it is large enough, how busy it was, what waited."""

import dataclasses
import os
import pathlib
import resource
import time

from rig.failure import Failure
from rig.files import MIB, readable_size

# A node is a message bus, a daemon with a second thread, a host, and now and then a shell.
_TASKS, _FILES, _MEMORY = 6, 6, 8 * MIB
_ALSO_FILES, _ALSO_TASKS, _ALSO_MEMORY = 500, 200, 300 * MIB
_OWN_TASKS_LEFT = 0.9  # of the machine's tasks may be taken
_KIND = {"cpu": "processors", "io": "disk", "memory": "memory"}


def _number(path: str) -> int | None:
    try:
        return int(pathlib.Path(path).read_text().split()[0])
    except (OSError, ValueError, IndexError):
        return None


def _tasks_running() -> int:
    return int(pathlib.Path("/proc/loadavg").read_text().split()[3].split("/")[1])


def memory_free() -> int:
    for line in pathlib.Path("/proc/meminfo").read_text().splitlines():
        if line.startswith("MemAvailable:"):
            return int(line.split()[1]) * 1024
    return 0


def make_room(nodes: int, folder: pathlib.Path, disk: int) -> None:
    """Raises what may be raised; fails where the machine is too small for so many nodes."""
    files = nodes * _FILES + _ALSO_FILES
    _, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    if hard != resource.RLIM_INFINITY and hard < files:
        raise _too_small(nodes, f"{files} open files in one process, {hard} allowed (ulimit -Hn)")
    resource.setrlimit(resource.RLIMIT_NOFILE, (files, hard))
    tasks = nodes * _TASKS + _ALSO_TASKS
    limits = {
        "kernel.pid_max": _number("/proc/sys/kernel/pid_max"),
        "kernel.threads-max": _number("/proc/sys/kernel/threads-max"),
        "pids.max of its control group": _number("/sys/fs/cgroup/pids.max"),
    }
    running = _tasks_running()
    for name, limit in limits.items():
        if limit is not None and running + tasks > limit * _OWN_TASKS_LEFT:
            raise _too_small(nodes, f"{tasks} tasks beside {running}, {name} is {limit}")
    _, most = resource.getrlimit(resource.RLIMIT_NPROC)
    if os.geteuid() != 0 and most not in (resource.RLIM_INFINITY,) and most < tasks:
        raise _too_small(nodes, f"{tasks} tasks of this user, {most} allowed (ulimit -Hu)")
    memory = nodes * _MEMORY + _ALSO_MEMORY
    if memory_free() < memory:
        free = readable_size(memory_free())
        raise _too_small(nodes, f"{readable_size(memory)} of memory, {free} free")
    status = os.statvfs(folder)
    if status.f_bavail * status.f_frsize < disk:
        free = readable_size(status.f_bavail * status.f_frsize)
        raise _too_small(nodes, f"{readable_size(disk)} in {folder}, {free} free")


def _too_small(nodes: int, what: str) -> Failure:
    return Failure(f"the machine is too small for {nodes} nodes: they need {what}")


@dataclasses.dataclass(frozen=True)
class Moment:
    """What the kernel had counted by then, in seconds."""

    time: float
    busy: float  # of all processors together
    waited: dict[str, float]  # some task waited for the processors, the disk, memory


def now() -> Moment:
    ticks = list(map(int, pathlib.Path("/proc/stat").read_text().split("\n", 1)[0].split()[1:9]))
    idle = ticks[3] + ticks[4]
    busy = (sum(ticks) - idle) / os.sysconf("SC_CLK_TCK")
    waited = {}
    for kind, name in _KIND.items():
        try:
            some = pathlib.Path(f"/proc/pressure/{kind}").read_text().split("\n", 1)[0]
        except OSError:
            continue
        waited[name] = int(some.rpartition("total=")[2]) / 1e6
    return Moment(time.monotonic(), busy, waited)


@dataclasses.dataclass(frozen=True)
class Stretch:
    """Between two moments."""

    seconds: float
    busy: float  # share of all processors
    waited: dict[str, float]  # share of the time

    @property
    def limit(self) -> str:
        """What held it up most, in words."""
        shares = ", ".join(f"{name} {share:.0%}" for name, share in self.waited.items())
        if self.busy >= _FULL:
            what = "the processors"
        elif self.waited.get("memory", 0) >= _HELD_UP:
            what = "memory"
        elif self.waited.get("disk", 0) >= _HELD_UP:
            what = "the disk"
        else:
            what = "the nodes' own waits, and how many of them run at once"
        return (
            f"{what}; processors {self.busy:.0%} busy; somebody waited for: {shares or 'unknown'}"
        )


_FULL, _HELD_UP = 0.85, 0.3


def between(begin: Moment, end: Moment) -> Stretch:
    seconds = max(end.time - begin.time, 1e-6)
    count = os.cpu_count() or 1
    waited = {name: (end.waited[name] - since) / seconds for name, since in begin.waited.items()}
    return Stretch(seconds, (end.busy - begin.busy) / seconds / count, waited)
