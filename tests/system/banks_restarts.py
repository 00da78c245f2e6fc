# SPDX-License-Identifier: MIT
"""A committed node is restarted a thousand times: no bank changes, and the boot state is not
written."""

import argparse
import json
import os
import pathlib
import signal
import socket
import struct
import subprocess
import sys
import time

from node_place import Place
from node_servers import FileServer
from rig.waiting import PATIENCE
from sweep_node import PowerNode, SmallPlace, bytes_of


def receive(channel, size):
    got = b""
    while len(got) < size:
        piece = channel.recv(size - len(got))
        if not piece:
            raise AssertionError("the host ended before its start-up was done")
        got += piece
    return got


def start_up(node):
    """Starts the host and waits until its start-up is done; then ends it as its supervisor does."""
    ours, theirs = socket.socketpair()
    ours.settimeout(PATIENCE)
    with open(node.log, "ab") as log, ours:
        host = subprocess.Popen(  # pylint: disable=consider-using-with
            [node.place.program("ota-desk-host"), "--config", "node.conf",
             "--library", node.place.library,
             "--channel", str(theirs.fileno())],
            cwd=node.folder, env=node.environment(), stdout=log, stderr=log,
            pass_fds=[theirs.fileno()])  # fmt: skip
        theirs.close()
        try:
            while True:
                message = json.loads(receive(ours, struct.unpack("<I", receive(ours, 4))[0]))
                if message.get("done") == "start-up":
                    break
                if "call" in message:
                    answer = json.dumps({"ack": 0}).encode()
                    ours.sendall(struct.pack("<I", len(answer)) + answer)
            ours.shutdown(socket.SHUT_RDWR)
            host.wait(PATIENCE)
        finally:
            if host.poll() is None:
                host.send_signal(signal.SIGKILL)
                host.wait()


def traces(node):
    """What a write to the boot state or a bank would change."""
    found = {}
    for path in (node.folder / "boot_state.ini", node.bank("a"), node.bank("b")):
        status = os.stat(path)
        found[path.name] = (status.st_ino, status.st_mtime_ns, status.st_ctime_ns, status.st_size)
    return found, (node.folder / "boot_state.ini").read_bytes()


def committed_node(place):
    node = PowerNode(place, "n1", FileServer(place))
    node.boot().wait_until_ready()
    node.live_until_end_of(node.offer(Place.NEW))
    if not node.is_committed(Place.NEW):
        raise AssertionError(f"the node is not committed: {node.boot_state()}")
    node.stop()
    return node


def restart(node, times):
    """Returns how often it was restarted."""
    before = traces(node)
    for number in range(1, times + 1):
        node.run_boot_loader()
        if node.said != "active=b\n":
            raise AssertionError(f"restart {number}: the boot loader says {node.said!r}")
        start_up(node)
        if traces(node) != before:
            raise AssertionError(f"restart {number}: {before[0]} became {traces(node)[0]}")
    if bytes_of(node.place, node.bank("b")) != Place.NEW:
        raise AssertionError("the running bank is not the image any more")
    return times


def check_power_journal(node):
    """The same once more below ota-power, which sees every call."""
    node.power = ()
    node.boot().wait_until_ready()
    node.stop()
    node.power = None
    wrong = [
        line
        for line in node.journal
        if " boot_state.ini" in f" {line} " and ".lock" not in line or "banks/" in line
    ]
    if wrong or not node.journal:
        raise AssertionError(f"calls of a restart that change what it boots from: {wrong}")
    return len(node.journal)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--times", type=int, default=1000)
    options = parser.parse_args()
    if options.times < 1:
        parser.error("--times takes a number from 1")
    with SmallPlace(options.build.absolute()) as place:
        node = committed_node(place)
        began = time.monotonic()
        times = restart(node, options.times)
        seconds = time.monotonic() - began
        calls = check_power_journal(node)
        print(
            f"{times} restarts ({seconds:.0f} s): no bank change, boot state and banks not "
            f"written; one more whole restart: {calls} calls that change the disk, none of them "
            "there"
        )
    return 0


if __name__ == "__main__":
    sys.exit(main())
