# SPDX-License-Identifier: MIT
"""What a client hears that follows a node."""

import contextlib
import json
import os
import subprocess

from node_place import own_environment, wait_for


class Watch:
    """`otactl watch --json` of a node, line by line."""

    def __init__(self, node):
        # pylint: disable=consider-using-with
        self.child = subprocess.Popen(
            [str(node.place.program("cli/otactl")), "--bus", node.bus.address, "--json", "watch"],
            stdout=subprocess.PIPE, text=True, env=own_environment())
        os.set_blocking(self.child.stdout.fileno(), False)
        self._rest = ""
        self.lines = []
        self.wait_for("service")
        node.place.closes(self.close)

    def close(self):
        if self.child.poll() is None:
            self.child.terminate()
        self.child.wait()
        self.child.stdout.close()

    def read(self):
        with contextlib.suppress(TypeError):  # nothing there yet
            self._rest += self.child.stdout.read()
        *whole, self._rest = self._rest.split("\n")
        self.lines += [json.loads(line) for line in whole]
        return self.lines

    def of(self, event, **fields):
        return [line for line in self.read() if line["event"] == event and
                all(line.get(key) == value for key, value in fields.items())]

    def wait_for(self, event, count=1, **fields):
        wait_for(f"watch prints {event} {fields}",
                 lambda: len(self.of(event, **fields)) >= count)
        return self.of(event, **fields)[-1]
