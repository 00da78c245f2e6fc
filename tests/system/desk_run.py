# SPDX-License-Identifier: MIT
"""Runs `ota-desk demo` in a folder of its own and reads what it leaves behind."""

import configparser
import hashlib
import os
import pathlib
import shutil
import subprocess
import tempfile

# The fixed paths that the agent's own commands name; a run on a desk must not touch them.
FIXED_PATHS = [pathlib.Path("/tmp/ota_agent_data"), pathlib.Path("/tmp/otaMD5.txt")]
LONGEST_RUN = 150


class Outside:
    """A folder around the run folder, and files of others, that must stay as they are."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ota-desk-test."))
        self.run_folder = self.folder / "run"
        for name in ["ota_agent_data", "4QZ-of-others", "tmpImage", "otaMD5.txt"]:
            (self.folder / name).write_text("not the run's\n")
        self.fixed = [path for path in FIXED_PATHS if not path.exists()]
        for path in self.fixed:
            path.write_text("not the run's\n")
        self.before = self.snapshot()

    def snapshot(self):
        """Names and contents of everything but the run folder."""
        files = [path for path in self.folder.rglob("*")
                 if path.is_file() and self.run_folder not in path.parents]
        files += [path for path in FIXED_PATHS if path.exists()]
        return {str(path): hashlib.sha256(path.read_bytes()).hexdigest() for path in files}

    def close(self):
        for path in self.fixed:
            path.unlink(missing_ok=True)
        shutil.rmtree(self.folder)


class DeskRun:
    """One finished run: exit code, output, status words, banks."""

    def __init__(self, run_folder, exit_code, output):
        self.run_folder = run_folder
        self.exit_code = exit_code
        self.output = output
        self.lines = output.splitlines()

    def step(self, name):
        """The texts of all steps of this name, in order."""
        head = f"  {name:<13}"
        return [line[len(head):] for line in self.lines if line.startswith(head)]

    @property
    def words(self):
        return self.step("status")

    @property
    def last_line(self):
        return self.lines[-1] if self.lines else ""

    @property
    def node(self):
        return self.run_folder / "node"

    def boot_state(self):
        state = configparser.ConfigParser()
        state.read_string((self.node / "boot_state.ini").read_text())
        return state

    def host_log(self):
        return (self.run_folder / "host.log").read_text(errors="replace")

    def bank_begins_with(self, bank, image):
        size = image.stat().st_size
        with open(self.node / "banks" / bank, "rb") as held, open(image, "rb") as wanted:
            return held.read(size) == wanted.read()


def command(build, run_folder, options):
    return [str(build / "desk/ota-desk"), "demo", "--build-dir", str(build),
            "--run-dir", str(run_folder), *options]


def run(build, run_folder, options, environment=None):
    finished = subprocess.run(
        command(build, run_folder, options), stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
        text=True, timeout=LONGEST_RUN, check=False, env={**os.environ, **(environment or {})})
    return DeskRun(run_folder, finished.returncode, finished.stdout)


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
