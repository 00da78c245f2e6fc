# SPDX-License-Identifier: MIT
"""A network of a test's own: the sixteen local ports that agents leave from are nobody else's there."""

import fcntl
import os
import socket
import struct
import subprocess
import sys

ENTERED = "OTA_TEST_NETWORK"
OWN = ["unshare", "--net"]
SIOCSIFFLAGS, IFF_UP = 0x8914, 1


def enter(build):
    """Runs this program once more in such a network. Where this machine lets a test have none, it goes
    on in the network of all, one test at a time."""
    if ENTERED in os.environ:
        switch_loopback_on()
    elif subprocess.run([*OWN, "true"], check=False, capture_output=True).returncode == 0:
        os.environ[ENTERED] = "1"
        os.execvp(OWN[0], [*OWN, sys.executable, "-B", *sys.argv])
    else:
        wait_for_the_ports(build)


def wait_for_the_ports(build):
    """They are this process's as long as it lives."""
    lock = os.open(build / "agent_ports.lock", os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o600)
    fcntl.flock(lock, fcntl.LOCK_EX)


def switch_loopback_on():
    with socket.socket() as any_socket:
        request = struct.pack("16sH14x", b"lo", IFF_UP)
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, request)
