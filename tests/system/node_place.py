# SPDX-License-Identifier: MIT
"""Where a test of the service happens: a folder, programs that were built, processes, waiting."""

import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

PATIENCE = 120  # seconds; a machine under load is slow, a hang is longer
GLANCE = 0.01


def wait_for(what, condition, patience=PATIENCE):
    """Waits until condition() gives something and returns it."""
    deadline = time.monotonic() + patience
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {patience} s in vain: {what}")
        time.sleep(GLANCE)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def is_listening(port):
    with socket.socket() as probe:
        probe.settimeout(1)
        return probe.connect_ex(("127.0.0.1", port)) == 0


def own_environment(**more):
    """This process's, without a proxy and without libraries that are loaded first."""
    inherited = {key: value for key, value in os.environ.items()
                 if "proxy" not in key.lower() and key != "LD_PRELOAD"}
    return {**inherited, "no_proxy": "*", "TZ": "UTC", **more}


class Process:
    """A process that was started here, and is ended by its id."""

    def __init__(self, arguments, folder, log, environment=None, **options):
        self.log = log
        with open(log, "ab") as output:
            # pylint: disable=consider-using-with
            self.child = subprocess.Popen(
                [str(word) for word in arguments], cwd=folder,
                env=environment or own_environment(),
                **{"stdin": subprocess.DEVNULL, "stdout": output, "stderr": output, **options})

    @property
    def pid(self):
        return self.child.pid

    def is_running(self):
        return self.child.poll() is None

    def end(self, number=signal.SIGTERM, patience=PATIENCE):
        """Sends the signal and waits; returns the exit code."""
        if self.is_running():
            self.child.send_signal(number)
        try:
            return self.child.wait(patience)
        except subprocess.TimeoutExpired:
            self.child.kill()
            self.child.wait()
            raise AssertionError(
                f"process {self.pid} did not end by signal {number}; see {self.log}") from None

    def kill(self):
        self.child.kill()
        self.child.wait()


class Place:
    """A temporary folder with the images, and everything that is to be closed with it."""

    MODEL = "GW-1000"
    OLD = "4QZ1.0.0"
    NEW = "4QZ2.0.0"
    NEWER = "4QZ3.0.0"
    PAYLOAD = 2 * 1024 * 1024

    def __init__(self, build):
        os.umask(0o022)  # a node that others may write to is refused
        self.build = pathlib.Path(build)
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ota-"))
        self.folder.chmod(0o755)  # other users are to reach the bus
        self._closers = []
        self.images = {version: self._make_image(version)
                       for version in (self.OLD, self.NEW, self.NEWER)}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.ExitStack() as everything:
            everything.callback(shutil.rmtree, self.folder)
            for close in self._closers:
                everything.callback(close)

    def closes(self, close):
        self._closers.append(close)

    def program(self, name):
        """A program or library of the build, by its path in there."""
        path = self.build / name
        if not path.exists():
            raise AssertionError(f"{path} is missing: build it first")
        return path

    def run_tool(self, name, *arguments):
        return subprocess.run([str(self.program(name)), *map(str, arguments)], check=True,
                              stdout=subprocess.PIPE, text=True).stdout

    def _make_image(self, version):
        payload = self.folder / f"{version}.payload"
        payload.write_bytes(os.urandom(self.PAYLOAD))
        image = self.folder / f"{version}.img"
        self.run_tool("tools/ota-image", "make", "--payload", payload, "--version", version,
                      "--model", self.MODEL, "--output", image)
        payload.unlink()
        return image


def processes_in(folder):
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
