# SPDX-License-Identifier: MIT
"""Runs `ota-desk demo` in a folder of its own and reads what it leaves behind."""

import hashlib
import os
import pathlib
import pty
import re
import shutil
import subprocess
import tempfile

from rig import boot_environment

LONGEST_RUN = 600


class Outside:
    """A folder around the run folder, and files of others, that must stay as they are."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ota-desk-test."))
        self.run_folder = self.folder / "run"
        for name in ["ota_agent_data", "4QZ-of-others", "tmpImage", "otaMD5.txt"]:
            (self.folder / name).write_text("not the run's\n")
        self.before = self.snapshot()

    def snapshot(self):
        """Names and contents of everything but the run folder."""
        files = [
            path
            for path in self.folder.rglob("*")
            if path.is_file() and self.run_folder not in path.parents
        ]
        return {str(path): hashlib.sha256(path.read_bytes()).hexdigest() for path in files}

    def close(self):
        shutil.rmtree(self.folder)


class DeskRun:
    """One finished run: exit code, output, status words, banks. A node is named where the run has
    several that take the road."""

    def __init__(self, run_folder, exit_code, output):
        self.run_folder = run_folder
        self.exit_code = exit_code
        self.output = output
        self.lines = output.splitlines()

    def step(self, name, node=""):
        """The texts of all steps of this name, in order."""
        mark = f"{node:<9}" if node else ""
        head = re.compile(rf"  \d\d:\d\d:\d\d {mark}{name:<13}(.*)")
        return [found[1] for found in map(head.fullmatch, self.lines) if found]

    def words(self, node=""):
        return self.step("status", node)

    def at_the_root(self, node=""):
        """The words that the gateway's bus raised."""
        return [text.split(",")[0] for text in self.step("at the root", node)]

    @property
    def last_line(self):
        return self.lines[-1] if self.lines else ""

    def node(self, name=""):
        return self.run_folder / (name or "node")

    def boot_state(self, node=""):
        return boot_environment.read_state(self.node(node) / "boot_state")

    def logs(self):
        """What the processes of all nodes said."""
        return "".join(
            log.read_text(errors="replace") for log in sorted(self.run_folder.glob("*.log"))
        )

    def bank_begins_with(self, bank, image, node=""):
        size = image.stat().st_size
        with open(self.node(node) / "banks" / bank, "rb") as held, open(image, "rb") as wanted:
            return held.read(size) == wanted.read()


def command(build, run_folder, options):
    return [
        str(build / "desk/ota-desk"),
        "demo",
        "--build-dir",
        str(build),
        "--run-dir",
        str(run_folder),
        *options,
    ]


def run(build, run_folder, options, environment=None):
    finished = subprocess.run(
        command(build, run_folder, options),
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=LONGEST_RUN,
        check=False,
        env={**os.environ, **(environment or {})},
    )
    return DeskRun(run_folder, finished.returncode, finished.stdout)


def as_lines(shown):
    """What stands on a terminal in the end, of all that was written to it."""
    shown = re.sub(r"\x1b\[[0-9;]*m", "", shown.replace("\r\n", "\n"))
    return "\n".join(line.split("\r\x1b[K")[-1] for line in shown.split("\n"))


def run_on_terminal(build, run_folder, options, environment=None, type_at=None):
    """Runs on a pseudo-terminal; type_at: (what is seen, keys that are then typed). Returns the
    run and every byte that was shown."""
    arguments = command(build, run_folder, options)
    pid, terminal = pty.fork()
    if pid == 0:
        os.execve(arguments[0], arguments, {**os.environ, **(environment or {})})
    shown = b""
    try:
        while chunk := os.read(terminal, 65536):
            shown += chunk
            if type_at and type_at[0] in shown:
                os.write(terminal, type_at[1])
                type_at = None
    except OSError:  # the terminal's other end was closed
        pass
    exit_code = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
    os.close(terminal)
    text = shown.decode()
    return DeskRun(run_folder, exit_code, as_lines(text)), text


def processes_of(run_folder):
    """Ids and command lines of the processes that work in the run folder."""
    found = {}
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            place = os.readlink(entry / "cwd")
            line = (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
        except OSError:
            continue
        if place == str(run_folder) or place.startswith(f"{run_folder}/"):
            found[int(entry.name)] = line
    return found
