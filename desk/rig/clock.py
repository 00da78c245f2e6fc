# SPDX-License-Identifier: MIT
"""The clocks of a node: where they stand, and how fast they run. Its processes read it from a file."""

import calendar
import pathlib
import struct
import time
from typing import Any

_NANO = 1_000_000_000
_LAYOUT = struct.Struct("=6q")  # as stand_ins/clock.c reads it
_DAY = 86400
DATED = "%Y-%m-%dT%H:%M"


class Clock:
    """As the machine's own at first. The wall clock and the time since boot pass together; the wall
    clock can be set besides."""

    def __init__(self, path: pathlib.Path) -> None:
        self.path = path
        self.speed = 1
        self._number = 0
        self._wall = self._boot = 0  # nanoseconds ahead
        self._since = 0
        path.write_bytes(bytes(_LAYOUT.size))
        self._write()

    def advance(self, seconds: float) -> None:
        """So much time passes at once."""
        self._wall += int(seconds * _NANO)
        self._boot += int(seconds * _NANO)
        self._write()

    def set_to(self, moment: str) -> None:
        """The next hh:mm of UTC, that of a date (yyyy-mm-ddThh:mm), 1970, or "real"; no time passes
        by it."""
        self._fold()
        if moment == "real":
            self._wall = 0
        elif moment == "1970":
            self._wall = _NANO - time.time_ns()
        elif "T" in moment:
            wanted = calendar.timegm(time.strptime(moment, DATED))
            self._wall = wanted * _NANO - time.time_ns()
        else:
            hours, minutes = map(int, moment.split(":"))
            now = (time.time_ns() + self._wall) // _NANO
            wanted = hours * 3600 + minutes * 60
            self._wall += ((wanted - now) % _DAY) * _NANO
        self._write()

    def put_wall(self, seconds: float) -> None:
        """The wall clock is so far ahead of the machine's; no time passes by it."""
        self._fold()
        self._wall = int(seconds * _NANO)
        self._write()

    def run(self, times: int) -> None:
        """So many times as fast as the machine's."""
        self._fold()
        self.speed = times
        self._write()

    def _fold(self) -> None:
        """What was gained by running faster is where it stands from now on."""
        now = time.clock_gettime_ns(time.CLOCK_BOOTTIME)
        gained = (now - self._since) * (self.speed - 1)
        self._wall += gained
        self._boot += gained
        self._since = now

    def passed(self) -> float:
        """Seconds since it began, however the time of day was set meanwhile."""
        now = time.clock_gettime_ns(time.CLOCK_BOOTTIME)
        return (now + self._boot + (now - self._since) * (self.speed - 1)) / _NANO

    def shown(self) -> dict[str, Any]:
        """For who counts along: the wall clock is `ahead` seconds at the moment `since`."""
        gone = time.clock_gettime_ns(time.CLOCK_BOOTTIME) - self._since
        gained = gone * (self.speed - 1)
        return {
            "ahead": round((self._wall + gained) / _NANO, 3),
            "since": round(time.time(), 3),
            "speed": self.speed,
        }

    def _write(self) -> None:
        """In an order that tells a reader when it is not whole: the same file, which is mapped."""
        self._number += 1
        values = (self._number, self._wall, self._boot, self._since, self.speed, self._number)
        whole = _LAYOUT.pack(*values)
        with open(self.path, "r+b", buffering=0) as file:
            file.write(whole[:8])
            file.write(whole[8:])
