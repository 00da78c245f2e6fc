# SPDX-License-Identifier: MIT
"""A node whose service the init script starts, and its syslog: without systemd, in mounts of its own.

The test has a /dev, /etc, /run and /var of its own; nothing of the machine's is touched.
"""

import contextlib
import os
import pathlib
import re
import shlex
import signal
import socket
import subprocess
import threading

from node import Node
from rig.waiting import wait_for

TEMPLATE = pathlib.Path(__file__).resolve().parents[2] / "packaging/otad.init.in"
SCRIPT = pathlib.Path("/etc/init.d/otad")
DEFAULTS = pathlib.Path("/etc/default/otad")
PID_FILE = pathlib.Path("/run/otad.pid")
MOUNTS = """set -eu
mount -t tmpfs none /mnt
mkdir -p /mnt/etc /mnt/dev/shm /mnt/dev/pts
cp -a /etc/. /mnt/etc
for name in null zero full random urandom tty; do
    : >"/mnt/dev/$name"
    mount --bind "/dev/$name" "/mnt/dev/$name"
done
ln -s /proc/self/fd /mnt/dev/fd
mount --bind /dev/shm /mnt/dev/shm
mount --rbind /mnt/dev /dev
mount --bind /mnt/etc /etc
mount -t tmpfs none /run
mkdir -p /run/lock
mount -t tmpfs none /var
mkdir -p /var/lib /var/log /var/tmp
"""


def make_machine():
    """Only in a mount namespace of this process's own."""
    subprocess.run(["sh", "-c", MOUNTS], check=True)
    SCRIPT.parent.mkdir(exist_ok=True)
    DEFAULTS.parent.mkdir(exist_ok=True)
    text = TEMPLATE.read_text()
    SCRIPT.write_text(text.replace("@OTA_SBIN@", "/usr/sbin").replace("@OTA_CONFIG_FILE@", "/none"))
    SCRIPT.chmod(0o755)


def script(word):
    """What the init script ended with, and what it said."""
    done = subprocess.run(
        [SCRIPT, word],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
    )
    return done.returncode, done.stdout


class Syslog:
    """Who listens at /dev/log."""

    LINE = re.compile(r"<(\d+)>\w{3} [ \d]\d \d\d:\d\d:\d\d (\S+?)(?:\[(\d+)\])?: (.*)", re.DOTALL)
    FACILITY = {3: "daemon"}
    PRIORITY = {3: "err", 4: "warning", 5: "notice", 6: "info"}

    def __init__(self, place, path="/dev/log"):
        self.path = pathlib.Path(path)
        self.entries = []  # (facility.priority, name, process, text)
        self._reads = threading.Event()
        self._reads.set()
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.path.unlink(missing_ok=True)
        self._socket.bind(str(self.path))
        self._socket.settimeout(0.2)
        self._over = False
        self._thread = threading.Thread(target=self._listen, daemon=True)
        self._thread.start()
        place.closes(self.close)

    def close(self):
        self._over = True
        self._reads.set()
        self._thread.join()
        self._socket.close()
        self.path.unlink(missing_ok=True)

    def hang(self):
        self._reads.clear()

    def go_on(self):
        self._reads.set()

    def _listen(self):
        while not self._over:
            self._reads.wait()
            with contextlib.suppress(TimeoutError):
                self._take(self._socket.recv(65536).decode())

    def _take(self, message):
        found = self.LINE.fullmatch(message)
        if not found:
            self.entries.append(("none", "", 0, message))
            return
        number = int(found[1])
        kind = f"{self.FACILITY.get(number >> 3)}.{self.PRIORITY.get(number & 7)}"
        self.entries.append((kind, found[2], int(found[3] or 0), found[4]))

    def find(self, kind, pattern):
        """The first entry of the kind whose text begins so."""
        for entry in self.entries:
            if entry[0] == kind and re.match(pattern, entry[3]):
                return entry
        return None

    def wait_for(self, kind, pattern):
        return wait_for(f"syslog: {kind} {pattern}", lambda: self.find(kind, pattern))


class InitNode(Node):
    """Its service is started and stopped by the init script alone."""

    more_settings = ""

    def settle(self):
        """What the init script is told of this node, and of the boot that goes on."""
        _, config, *rest = self.arguments()[1:]
        exports = "".join(
            f"export {key}={shlex.quote(value)}\n"
            for key, value in self.environment().items()
            if os.environ.get(key) != value
        )
        DEFAULTS.write_text(
            f"{exports}program={self.arguments()[0]}\nconfig={self.folder / config}\n"
            f"directory={self.folder}\noptions={shlex.quote(shlex.join(rest))}\n"
            f"{self.more_settings}"
        )

    def start(self, words=None, **options):
        self.settle()
        code, said = script("start")
        if code != 0:
            raise AssertionError(f"the init script ended with {code}: {said}")
        return self

    def daemons(self):
        """The service's processes: without its supervisor, its relay and its host."""
        return [pid for pid, name in self.processes().items() if name == "otad" and is_otad(pid)]

    def daemon_pid(self):
        return wait_for("the service runs", self.daemons)[0]

    def check_daemon(self):
        if script("status")[0] != 0:
            raise AssertionError("its supervisor has ended")

    def stop(self):
        code, said = script("stop")
        if code != 0:
            raise AssertionError(f"the init script ended with {code}: {said}")
        self.wait_until_off()

    def close(self):
        with contextlib.suppress(FileNotFoundError, ValueError, ProcessLookupError):
            os.kill(int(PID_FILE.read_text()), signal.SIGKILL)
        super().close()


def relay_of(pid):
    """The process that sends to syslog what this one says; none while there is none."""
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    for child in children:
        with contextlib.suppress(OSError):
            if pathlib.Path(f"/proc/{child}/comm").read_text() == "otad-syslog\n":
                return int(child)
    return None


def is_otad(pid):
    with contextlib.suppress(OSError):
        return os.readlink(f"/proc/{pid}/exe").endswith("/otad")
    return False
