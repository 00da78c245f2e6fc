# SPDX-License-Identifier: MIT
"""Processes that are started here, and ended by their ids."""

import contextlib
import ctypes
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import threading
import time
from collections.abc import Callable, Sequence
from typing import Any

from rig import interrupt
from rig.failure import Failure
from rig.files import last_line, read_text
from rig.waiting import GLANCE, PATIENCE, wait_until

Words = Sequence[str | int | pathlib.Path]

_PR_SET_PDEATHSIG = 1
_NOT_STARTED = 127
_ENDS_WITHIN = 2.0  # seconds from the request to end until a process is made to
_libc = ctypes.CDLL(None)
_thread = threading.local()


def own_environment(**more: str) -> dict[str, str]:
    """This process's, without a proxy and without libraries that are loaded first."""
    inherited = {
        key: value
        for key, value in os.environ.items()
        if "proxy" not in key.lower() and key != "LD_PRELOAD"
    }
    return {**inherited, "no_proxy": "*", "TZ": "UTC", **more}


def system_program(name: str) -> str:
    """One that a user's PATH often leaves out, since it lies in /usr/sbin."""
    return shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin") or name


def describe_end(code: int) -> str:
    return f"signal {-code}" if code < 0 else f"exit code {code}"


def this_thread_lasts() -> None:
    """Said by a thread that goes on until this process ends: what it starts ends with the process,
    as what the main thread starts."""
    _thread.lasts = True


def _in_the_child(parent: int, file_limit: int) -> Callable[[], None] | None:
    """What the child does before it becomes the program."""
    # The kernel would end it with the thread that started it, not with the process.
    main = threading.current_thread() is threading.main_thread()
    ends_with_us = main or getattr(_thread, "lasts", False)
    if not ends_with_us and not file_limit:
        return None

    def prepare() -> None:
        if ends_with_us:
            _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)
            if os.getppid() != parent:
                os._exit(_NOT_STARTED)
        if file_limit:
            resource.setrlimit(resource.RLIMIT_FSIZE, (file_limit, file_limit))
            # A write beyond the limit is to fail as on a full disk, not to end the process.
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    return prepare


def spawn(
    words: Words, *, file_limit: int = 0, brief: bool = False, **options: Any
) -> "subprocess.Popen[Any]":
    """A program in a process group of its own, so that Ctrl-C at a terminal reaches this process
    alone; where this thread lasts, it does not outlive this process. `brief`: it ends by itself
    soon, and may: that spares the copy of this process that it takes to tie it to it."""
    tie = None if brief else _in_the_child(os.getpid(), file_limit)
    try:
        return subprocess.Popen(
            [str(word) for word in words], process_group=0, preexec_fn=tie, **options
        )
    except OSError as error:
        raise Failure(
            f"cannot run {words[0]}: {error.strerror} ({error.filename}); is it installed?"
        ) from error


class Process:
    """Its output goes to the log, behind what is there already."""

    def __init__(
        self,
        words: Words,
        folder: pathlib.Path,
        log: pathlib.Path,
        environment: dict[str, str] | None = None,
        *,
        ends_within: float = _ENDS_WITHIN,
        **options: Any,
    ) -> None:
        self.log = log
        self._ends_within = ends_within
        self._told = False
        with open(log, "ab") as output:
            options = {"stdin": subprocess.DEVNULL, "stdout": output, "stderr": output, **options}
            self.child = spawn(words, cwd=folder, env=environment, **options)

    @property
    def pid(self) -> int:
        return self.child.pid

    def is_running(self) -> bool:
        return self.child.poll() is None

    # The process alone.

    def end(self, number: int = signal.SIGTERM, patience: float = PATIENCE) -> int:
        """Sends the signal and waits; returns the exit code."""
        if self.is_running():
            self.child.send_signal(number)
        try:
            return self.child.wait(patience)
        except subprocess.TimeoutExpired:
            self.kill()
            raise Failure(
                f"process {self.pid} did not end by signal {number}; see {self.log}"
            ) from None

    def kill(self) -> None:
        self.child.kill()
        self.child.wait()

    # The process and what it started.

    def ending(self) -> str | None:
        """How it ended, told once; what it started is ended with it. Never waits."""
        if self._told:
            return None
        if self.child.returncode is None:
            seen = os.waitid(os.P_PID, self.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT)
            if seen is None:
                return None
            self._kill_group()
        self._told = True
        return describe_end(self.child.wait())

    def stop(self) -> str | None:
        """Asks it to end, and it alone: what it started is its own to end in order. Then makes all
        of them. Returns how it ended; none where it did not run."""
        if self._told:
            return None
        if self.child.returncode is None:
            os.kill(self.pid, signal.SIGTERM)
        deadline = time.monotonic() + self._ends_within
        while time.monotonic() < deadline:
            if (end := self.ending()) is not None:
                return end
            time.sleep(GLANCE)
        self._kill_group()
        self._told = True
        return describe_end(self.child.wait())

    def kill_all(self) -> None:
        """At once, as a loss of power would."""
        if not self._told:
            self._kill_group()
            self.child.wait()
            self._told = True

    def _kill_group(self) -> None:
        """Until the process is waited for, its group's number stays its own."""
        if self.child.returncode is None:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.pid, signal.SIGKILL)


class LineStream(Process):
    """Its standard output is read line by line, without waiting."""

    def __init__(
        self,
        words: Words,
        folder: pathlib.Path,
        log: pathlib.Path,
        environment: dict[str, str] | None = None,
    ) -> None:
        # Only this end does not block: a program that waits for its reader is as it should be.
        self._output, writing = os.pipe()
        os.set_blocking(self._output, False)
        self._text = b""
        self._closed = False
        try:
            super().__init__(words, folder, log, environment, stdout=writing)
        finally:
            os.close(writing)

    def fileno(self) -> int:
        """Readable while there is something to take, and at the end."""
        return self._output

    def next(self) -> str | None:
        """The next whole line without its end; none where there is none yet."""
        self._read()
        line, end, rest = self._text.partition(b"\n")
        if not end and not (self._closed and line):
            return None
        self._text = rest
        return line.decode(errors="replace")

    @property
    def closed(self) -> bool:
        """Everything was taken, and the program closed its output."""
        return self._closed and not self._text

    def _read(self) -> None:
        while not self._closed:
            try:
                chunk = os.read(self._output, 65536)
            except BlockingIOError:
                return
            self._text += chunk
            self._closed = not chunk

    def close(self) -> None:
        self.stop()
        if self._output >= 0:
            os.close(self._output)
            self._output = -1
            self._closed = True


def wait_until_listening(
    process: Process, is_there: Callable[[], bool], what: str, where: str, log: pathlib.Path
) -> None:
    """`where` it is to listen is for the message of a server that does not."""

    def listens() -> bool:
        if (end := process.ending()) is not None:
            raise Failure(f"{what} ended with {end}; what it said is in {log}")
        return is_there()

    try:
        wait_until(listens, PATIENCE, f"{what} does not listen on {where}; see {log}")
    except BaseException:
        process.stop()
        raise


def run_program(words: Words, folder: pathlib.Path, log: pathlib.Path) -> None:
    """To its end, which must be a good one."""
    process = Process(words, folder, log)
    try:
        while (end := process.ending()) is None:
            interrupt.check()
            time.sleep(GLANCE / 5)
    finally:
        process.kill_all()
    if end != "exit code 0":
        raise Failure(f"{words[0]} ended with {end}; what it said is in {log}")


def run(
    words: Words, *, text: str | None = None, patience: float = PATIENCE, **options: Any
) -> "subprocess.CompletedProcess[str]":
    """As subprocess.run with both outputs taken; a signal to this process ends the wait."""
    pipes: dict[str, Any] = {
        "stdin": subprocess.DEVNULL if text is None else subprocess.PIPE,
        "stdout": subprocess.PIPE,
        "stderr": subprocess.PIPE,
    }
    deadline = time.monotonic() + patience
    with spawn(words, text=True, errors="replace", **{**pipes, **options}) as child:
        try:
            while True:
                interrupt.check()
                try:
                    output, error = child.communicate(text, timeout=0.05)
                    return subprocess.CompletedProcess(child.args, child.returncode, output, error)
                except subprocess.TimeoutExpired:
                    text = None  # it was taken
                    if time.monotonic() > deadline:
                        raise
        except BaseException:
            child.kill()
            raise


def processes_in(folder: pathlib.Path) -> dict[int, str]:
    """Ids and names of the processes that work in this folder, without those that have ended."""
    found = {}
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if os.readlink(entry / "cwd") == str(folder):
                status = (entry / "status").read_text().splitlines()
                state = next(line for line in status if line.startswith("State:")).split()[1]
                if state not in "ZX":
                    found[int(entry.name)] = status[0].split()[1]
        except (OSError, StopIteration):
            continue
    return found


def last_said(log: pathlib.Path, beginning: str = "") -> str:
    """The last line of a log that begins so, shortened where it is long."""
    return last_line(read_text(log), beginning)
