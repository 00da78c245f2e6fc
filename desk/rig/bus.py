# SPDX-License-Identifier: MIT
"""A message bus of a node's own."""

import pathlib

from rig.files import write_file
from rig.failure import Failure
from rig.processes import LineStream
from rig.waiting import PATIENCE, wait_until

# For the user that it runs as, and nobody else: without a word about users the bus lets no other in.
OPEN_POLICY = """<policy context="default">
  <allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
</policy>"""

_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
<listen>unix:path=bus</listen><auth>EXTERNAL</auth>
{policy}
</busconfig>
"""

# The address for who works in the folder of the bus. A socket's path has room for 107 characters,
# and a folder may be deeper than that.
LOCAL_ADDRESS = "unix:path=bus"


class Bus:
    """A dbus-daemon that runs in the folder, with its socket there."""

    def __init__(self, folder: pathlib.Path, policy: str = OPEN_POLICY) -> None:
        self.folder = folder
        self.socket = folder / "bus"
        self.log = folder / "bus.log"
        self.process: LineStream | None = None
        write_file(folder / "bus.conf", _CONFIGURATION.format(policy=policy))

    @property
    def address(self) -> str:
        """From anywhere."""
        return f"unix:path={self.socket}"

    def start(self) -> None:
        self.stop()
        options = ["--config-file=bus.conf", "--nofork", "--nopidfile", "--nosyslog"]
        self.process = LineStream(
            ["dbus-daemon", *options, "--print-address"], self.folder, self.log
        )
        # It prints its address once it listens; the socket is there a moment before that.
        late = f"the message bus (dbus-daemon) does not come up; see {self.log}"
        wait_until(lambda: self._has_begun(self.process), PATIENCE, late)

    def _has_begun(self, process: LineStream | None) -> bool:
        assert process is not None
        if process.next() is not None:
            return True
        if (end := process.ending()) is not None:
            raise Failure(
                f"the message bus (dbus-daemon) ended with {end}; is it installed? What it said is "
                f"in {self.log}"
            )
        return False

    def stop(self) -> None:
        if self.process:
            self.process.close()
            self.process = None
