# SPDX-License-Identifier: MIT
"""What the broker says it carried: how many messages, and which of them twice and why."""

import collections
import dataclasses
import pathlib
import re

_RECEIVED = re.compile(r"Received PUBLISH from (\S+) \(d(\d), q\d, r\d, m(\d+), '([^']*)'")
_SENT = re.compile(r"Sending PUBLISH to (\S+) \(d(\d), q\d, r\d, m\d+, '([^']*)'")
# One that ends in order has said so: "Client NAME disconnected."
_BROKEN = re.compile(
    r"Client (\S+) (?:closed its connection|has exceeded|disconnected due)"
    r"|Socket error on client (\S+),"
)
_TAKEN_OVER = re.compile(r"Client (\S+) already connected, closing old connection")
_CAME = re.compile(r"New client connected from \S+ as (\S+) ")
_STOPPED = re.compile(r"mosquitto version \S+ terminating")


@dataclasses.dataclass
class Carried:
    received: int = 0
    sent: int = 0
    connections: int = 0
    # By topic, which names the sender: messages that came again behind a connection that broke, and
    # those that the broker delivered again.
    came_again: "collections.Counter[str]" = dataclasses.field(default_factory=collections.Counter)
    sent_again: "collections.Counter[str]" = dataclasses.field(default_factory=collections.Counter)


def read_log(path: pathlib.Path) -> Carried:
    """A message that came behind a broken connection of its sender may be one that came before;
    behind a connection that somebody else took over it is not."""
    carried = Carried()
    broken: set[str] = set()  # clients whose connection broke since their last message
    spoke: set[str] = set()
    with open(path, encoding="utf-8", errors="replace") as log:
        for line in log:
            if found := _RECEIVED.search(line):
                client, _again, _number, topic = found.groups()
                carried.received += 1
                if client in broken and client in spoke:
                    carried.came_again[topic] += 1
                broken.discard(client)
                spoke.add(client)
            elif found := _SENT.search(line):
                carried.sent += 1
                if found.group(2) == "1":
                    carried.sent_again[found.group(3)] += 1
            elif found := _CAME.search(line):
                carried.connections += 1
            elif found := _TAKEN_OVER.search(line):
                broken.discard(found.group(1))
            elif found := _BROKEN.search(line):
                broken.add(found.group(1) or found.group(2))
            elif _STOPPED.search(line):
                broken |= spoke
    return carried
