# SPDX-License-Identifier: MIT
"""Processes that one loop looks after: no thread and no question for any of them. What each of them
used is added up by what it was started for."""

import asyncio
import contextlib
import dataclasses
import os
import pathlib
import resource
import signal
import subprocess
from typing import Any

from rig.failure import Failure
from rig.processes import Words, spawn

_LINE = 65536


@dataclasses.dataclass
class Used:
    """By all processes of one kind."""

    count: int = 0
    seconds: float = 0.0  # of a processor

    def add(self, usage: resource.struct_rusage) -> None:
        self.count += 1
        self.seconds += usage.ru_utime + usage.ru_stime


class Child:
    """It ends with this process; what it started ends with it."""

    def __init__(self, process: "subprocess.Popen[Any]", used: Used, output: int) -> None:
        self._process, self._used, self._output = process, used, output
        self._loop = asyncio.get_running_loop()
        self._file = os.pidfd_open(process.pid)
        self.ended: asyncio.Future[int] = self._loop.create_future()
        self._loop.add_reader(self._file, self._end)

    @property
    def pid(self) -> int:
        return self._process.pid

    def _end(self) -> None:
        self._loop.remove_reader(self._file)
        os.close(self._file)
        # Until it is waited for, its group's number stays its own.
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.pid, signal.SIGKILL)
        _, status, usage = os.wait4(self.pid, 0)
        self._process.returncode = os.waitstatus_to_exitcode(status)
        self._used.add(usage)
        if not self.ended.done():
            self.ended.set_result(self._process.returncode)

    def signal(self, number: int) -> None:
        if not self.ended.done():
            os.kill(self.pid, number)

    async def first_line(self) -> str:
        """Of its output; empty where it ended without one. The rest of it is not read."""
        line: asyncio.Future[str] = self._loop.create_future()

        def take() -> None:
            self._loop.remove_reader(self._output)
            line.set_result(os.read(self._output, _LINE).decode(errors="replace"))

        self._loop.add_reader(self._output, take)
        try:
            return await line
        finally:
            self._loop.remove_reader(self._output)
            os.close(self._output)
            self._output = -1

    def rest(self) -> str:
        """What a process that has ended said, which must be short."""
        text = os.read(self._output, _LINE).decode(errors="replace")
        os.close(self._output)
        self._output = -1
        return text


@dataclasses.dataclass
class Finished:
    code: int
    output: str


class Children:
    """All that were started."""

    def __init__(self) -> None:
        self.used: dict[str, Used] = {}
        self._living: set[Child] = set()

    def start(
        self,
        kind: str,
        words: Words,
        folder: pathlib.Path,
        log: pathlib.Path,
        environment: dict[str, str],
        *,
        output: bool = False,
        brief: bool = False,
    ) -> Child:
        """`output`: the child's first line, or its rest, is wanted; else it goes to the log.
        `brief`: it ends by itself soon."""
        reading, writing = os.pipe() if output else (-1, -1)
        try:
            with open(log, "ab") as said:
                process = spawn(
                    words, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stderr=said,
                    stdout=writing if output else said, brief=brief,
                )  # fmt: skip
        except OSError as error:
            raise Failure(f"cannot write {log}: {error.strerror}") from error
        finally:
            if output:
                os.close(writing)
        child = Child(process, self.used.setdefault(kind, Used()), reading)
        self._living.add(child)
        child.ended.add_done_callback(lambda _: self._living.discard(child))
        return child

    async def run(
        self,
        kind: str,
        words: Words,
        folder: pathlib.Path,
        log: pathlib.Path,
        environment: dict[str, str],
    ) -> Finished:
        """To its end."""
        child = self.start(kind, words, folder, log, environment, output=True, brief=True)
        code = await child.ended
        return Finished(code, child.rest())

    async def kill_all(self) -> None:
        """Whatever is left, at once."""
        left = list(self._living)
        for child in left:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(child.pid, signal.SIGKILL)
        if left:
            await asyncio.wait([child.ended for child in left])
