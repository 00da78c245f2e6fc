# SPDX-License-Identifier: MIT
"""Processes, what they started, and what they say."""

import os
import select
import signal
import subprocess
import sys
import time
import unittest

from folder_case import FolderCase
from rig.processes import LineStream, Process, run, run_program

PATIENCE = 60.0  # seconds; only a hang takes so long


class Processes(FolderCase):
    """The process and all that it starts hold the pipe's writing end open."""

    def setUp(self) -> None:
        super().setUp()
        self.reading, self.writing = os.pipe()
        self.addCleanup(os.close, self.reading)

    def shell(self, script: str, ends_within: float = PATIENCE) -> Process:
        process = Process(
            ["/bin/sh", "-c", script],
            self.folder,
            self.folder / "log",
            stdout=self.writing,
            ends_within=ends_within,
        )
        os.close(self.writing)
        self.addCleanup(process.kill_all)
        return process

    def end_of(self, process: Process) -> str | None:
        deadline = time.monotonic() + PATIENCE
        while (end := process.ending()) is None and time.monotonic() < deadline:
            time.sleep(0.005)
        return end

    def is_closed(self) -> bool:
        """Nobody lives on who could write."""
        ready, _, _ = select.select([self.reading], [], [], PATIENCE)
        return bool(ready) and os.read(self.reading, 1) == b""

    def test_what_it_started_ends_with_it(self) -> None:
        process = self.shell("sleep 90 & exit 3")
        self.assertEqual(self.end_of(process), "exit code 3")
        self.assertTrue(self.is_closed(), "a process that it started lives on")

    def test_what_it_left_behind_ends_with_the_request_to_end(self) -> None:
        process = self.shell("sleep 90 & exit 3")
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
        self.assertEqual(process.stop(), "exit code 3")
        self.assertTrue(self.is_closed(), "a process that it started lives on")

    def test_only_the_process_itself_is_asked_to_end(self) -> None:
        process = self.shell(
            "trap 'sleep 0.2; exit 0' TERM; "
            "(trap 'echo asked' TERM; echo up; while :; do sleep 0.01; done) & wait"
        )
        self.assertEqual(os.read(self.reading, 3), b"up\n")
        self.assertEqual(process.stop(), "exit code 0")
        self.assertTrue(self.is_closed(), "what it started was asked, or lives on")

    def test_one_that_does_not_end_is_made_to_once_its_time_is_over(self) -> None:
        process = self.shell("trap '' TERM; echo up; sleep 90", ends_within=0.05)
        self.assertEqual(os.read(self.reading, 3), b"up\n")
        before = time.monotonic()
        self.assertEqual(process.stop(), "signal 9")
        self.assertIsNone(process.stop())
        self.assertGreaterEqual(time.monotonic() - before, 0.05)
        self.assertTrue(self.is_closed())

    def test_its_end_is_told_once_and_not_before(self) -> None:
        process = self.shell("exec sleep 90")
        self.assertIsNone(process.ending())
        process.kill_all()
        self.assertIsNone(process.ending())
        self.assertIsNone(process.stop())

    def test_it_does_not_outlive_who_started_it(self) -> None:
        script = (
            "import os, pathlib, signal; from rig.processes import Process;"
            "Process(['sleep', '90'], pathlib.Path('/'), pathlib.Path('log'), stdout=1);"
            "os.kill(os.getpid(), signal.SIGKILL)"
        )
        starter = subprocess.run(
            [sys.executable, "-B", "-c", script],
            cwd=self.folder,
            stdout=self.writing,
            check=False,
            env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)},
        )
        os.close(self.writing)
        self.assertEqual(starter.returncode, -signal.SIGKILL)
        self.assertTrue(self.is_closed())

    def test_ctrl_c_at_the_terminal_does_not_reach_it(self) -> None:
        process = self.shell("exec sleep 90")
        self.assertEqual(os.getpgid(process.pid), process.pid)

    def test_a_file_that_it_may_not_make_larger_is_no_reason_to_end(self) -> None:
        os.close(self.writing)
        process = Process(
            ["sh", "-c", "head -c 4096 /dev/zero >big; exit $?"],
            self.folder,
            self.folder / "log",
            file_limit=1024,
        )
        self.assertEqual(self.end_of(process), "exit code 1")
        self.assertEqual((self.folder / "big").stat().st_size, 1024)

    def test_a_program_that_is_missing_or_fails_is_one_clear_failure(self) -> None:
        os.close(self.writing)
        log = self.folder / "log"
        with self.fails("cannot run no-such-program: No such file .*; is it installed?"):
            run_program(["no-such-program"], self.folder, log)
        with self.fails(f"sh ended with exit code 7; what it said is in {log}"):
            run_program(["sh", "-c", "echo no >&2; exit 7"], self.folder, log)
        self.assertEqual(log.read_text(), "no\n")

    def test_input_reaches_a_program_that_takes_its_time(self) -> None:
        os.close(self.writing)
        finished = run(["sh", "-c", "sleep 0.2; cat; echo no >&2; exit 5"], text="said")
        self.assertEqual(
            (finished.returncode, finished.stdout, finished.stderr), (5, "said", "no\n")
        )


class Lines(FolderCase):
    def shell(self, script: str) -> LineStream:
        stream = LineStream(["/bin/sh", "-c", script], self.folder, self.folder / "log")
        self.addCleanup(stream.close)
        return stream

    def awaited(self, stream: LineStream) -> str | None:
        """The next line; none once the output is closed."""
        while True:
            if (line := stream.next()) is not None or stream.closed:
                return line
            self.assertTrue(select.select([stream], [], [], PATIENCE)[0], "silence")

    def test_each_line_comes_once_and_whole(self) -> None:
        stream = self.shell("printf 'one\\n\\ntw'; sleep 0.1; printf 'o\\nlast'")
        lines = [self.awaited(stream) for _ in range(5)]
        self.assertEqual(lines, ["one", "", "two", "last", None])

    def test_nothing_is_waited_for(self) -> None:
        stream = self.shell("exec sleep 90")
        before = time.monotonic()
        self.assertIsNone(stream.next())
        self.assertFalse(stream.closed)
        self.assertIsNone(stream.ending())
        self.assertLess(time.monotonic() - before, 30)

    def test_what_is_said_beside_the_output_goes_to_the_log(self) -> None:
        stream = self.shell("echo loud >&2; echo told")
        self.assertEqual([self.awaited(stream), self.awaited(stream)], ["told", None])
        self.assertEqual((self.folder / "log").read_text(), "loud\n")


if __name__ == "__main__":
    unittest.main()
