# SPDX-License-Identifier: MIT
"""What the shipped unit lets the service do, mimicked for a test where there is no systemd.

Of otad.service.in: which paths can be written and read, no capabilities, no new privileges, limits and
umask. System calls, address families, devices and control groups (so the limit of memory) are not
mimicked. The node's folder stands for the directories that systemd makes for the service.
"""

import os
import pathlib
import shlex
import subprocess
import sys

import own_network
from node import Node

UNIT = pathlib.Path(__file__).resolve().parents[2] / "packaging/otad.service.in"
ENTERED = "OTA_TEST_NAMESPACES"
SCRIPT = """set -eu
exists() { [ -e "$1" ] && [ -n "$1" ]; }
again() { mount --bind "$1" "$1" && mount -o "remount,bind,$2" "$1"; }
mount --make-rprivate /
while read -r _ path _; do
    case $path in /proc | /proc/* | /dev | /dev/*) ;; *) mount -o remount,bind,ro "$path" ;; esac
done </proc/self/mounts
again /proc/sys ro
for path in $WRITABLE; do ! exists "$path" || again "$path" rw; done
for path in $INACCESSIBLE; do
    ! exists "$path" || mount -t tmpfs -o ro,mode=000,size=4k,nr_inodes=2 none "$path"
done
cd "$FOLDER"
umask "$UMASK"
exec prlimit $LIMITS setpriv --no-new-privs --bounding-set=-all --inh-caps=-all "$@"
"""


def settings():
    """The words behind each key of the unit, of all its lines together."""
    found = {}
    for line in UNIT.read_text().replace("\\\n", " ").splitlines():
        if "=" in line and not line.startswith("#"):
            key, value = line.split("=", 1)
            found.setdefault(key, []).extend(value.split())
    return found


def command(words, folder, also_written=()):
    """The command line that runs these words as the unit would, for a node whose paths lie in folder."""
    unit = settings()
    for key, value in (
        ("NoNewPrivileges", ["yes"]),
        ("CapabilityBoundingSet", []),
        ("ProtectSystem", ["strict"]),
        ("ProtectKernelTunables", ["yes"]),
        ("PrivateMounts", ["yes"]),
    ):
        if unit[key] != value:
            raise AssertionError(f"{UNIT}: {key} is {unit[key]}, and this mimics {value}")
    limits = [
        f"--{key.removeprefix('Limit').lower()}={value[0]}"
        for key, value in unit.items()
        if key.startswith("Limit")
    ]
    variables = {
        "WRITABLE": " ".join([str(folder), *map(str, also_written),
                              *(path.lstrip("-") for path in unit["ReadWritePaths"])]),
        "INACCESSIBLE": " ".join(path.lstrip("-") for path in unit["InaccessiblePaths"]),
        "FOLDER": str(folder), "UMASK": unit["UMask"][0], "LIMITS": " ".join(limits)}  # fmt: skip
    assigned = "".join(f"{name}={shlex.quote(value)}\n" for name, value in variables.items())
    return ["unshare", "--mount", "sh", "-c", assigned + SCRIPT, "sh", *map(str, words)]


class SandboxedNode(Node):
    """Its service runs with the settings of the unit."""

    def arguments(self):
        # Where a library that is loaded first writes what it saw.
        return command(super().arguments(), self.folder, [self.exec_journal])


def has_namespaces():
    return ENTERED in os.environ


def node(place, name, *rest, **made_of):
    """A node under the settings of the unit, where this machine lets a test have them."""
    return (SandboxedNode if has_namespaces() else Node)(place, name, *rest, **made_of)


def enter_namespaces():
    """Runs this program once more with a network and mounts of its own, where that is possible."""
    own = ["unshare", "--net", "--mount", "--propagation", "private"]
    if has_namespaces():
        own_network.switch_loopback_on()
    elif subprocess.run([*own, "true"], check=False, capture_output=True).returncode == 0:
        os.environ[ENTERED] = "1"
        os.execvp(own[0], [*own, sys.executable, "-B", *sys.argv])
