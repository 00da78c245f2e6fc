# SPDX-License-Identifier: MIT
"""What the person at the terminal sees: timed and named steps, progress bars, a last line."""

import dataclasses

from demo.screen import Screen, width, wrapped
from demo.terminal import Surface
from rig.files import readable_size

_TIME_WIDTH = 9
_NAME_WIDTH = 13
_MARK_WIDTH = 8
_WIDEST_BAR = 30
_NARROWEST_BAR = 4
_LONGEST_PROGRESS = 31  # "100 %, 1023.9 MiB/s, 9999 s left"
_PLAIN_STEP = 10  # percent between two lines where no bar can be drawn
_BOLD = "\033[1m"
_GREEN = "\033[1;32m"
_RED = "\033[1;31m"


@dataclasses.dataclass(frozen=True)
class Progress:
    """Of a download."""

    percent: int
    bytes_per_second: int = 0  # 0: not known yet
    seconds_left: int = 0

    def __str__(self) -> str:
        text = f"{self.percent} %"
        if self.bytes_per_second > 0:
            text += f", {readable_size(self.bytes_per_second)}/s"
            if self.percent < 100:
                text += f", {self.seconds_left} s left"
        return text


class Display:
    """Lines of one node, or of the whole run."""

    def __init__(self, place: Surface | Screen, mark: str = "") -> None:
        self._screen = place if isinstance(place, Screen) else Screen(place)
        self._mark = f"{mark:<{_MARK_WIDTH}}" if mark else ""
        self._last_percent = 0
        self.last_step = ""  # on one line

    def marked(self, mark: str) -> "Display":
        """The same place, for one node among several: each line begins with its mark."""
        return Display(self._screen, mark)

    def title(self, text: str) -> None:
        self._whole(_BOLD, text)

    def step(self, name: str, text: str) -> None:
        self._line(self._screen.surface.now(), name, text)
        self.last_step = f"{name}: {text}"

    def more(self, text: str) -> None:
        """A further line of the step above."""
        self._line("", "", text)

    def command(self, words: list[str]) -> None:
        """A line to paste into a shell, further in; where it is broken, the shell joins it."""
        columns = self._screen.surface.columns()
        self._screen.leave_bar(self)
        text = "    " + words[0]
        for at, word in enumerate(words[1:], 2):
            wide = len(text) + 1 + len(word) + (2 if at < len(words) else 0)
            if 0 < columns < wide:
                self._screen.plain(text + " \\")
                text = "      " + word
            else:
                text += " " + word
        self._screen.plain(text)

    def progress(self, progress: Progress) -> None:
        self.last_step = f"download: {progress.percent} %"
        if self._screen.surface.redraws:
            self._screen.bar(self, self._bar(progress))
            return
        if progress.percent < self._last_percent:
            self._last_percent = 0
        if progress.percent // _PLAIN_STEP > self._last_percent // _PLAIN_STEP:
            self._line(self._screen.surface.now(), "download", str(progress))
            self._last_percent = progress.percent

    def verdict(self, as_expected: bool, text: str) -> None:
        self._screen.leave_bars()
        self._whole(_GREEN if as_expected else _RED, text)

    def leave_bars(self) -> None:
        """Ends the lines of all bars, before others write to the terminal."""
        self._screen.leave_bars()

    def _whole(self, colour: str, text: str) -> None:
        for piece in wrapped(text, self._screen.surface.columns()):
            self._screen.plain(self._screen.painted(colour, piece))

    def _line(self, time: str, name: str, text: str) -> None:
        self._screen.leave_bar(self)
        self._screen.line(self._head(time, name), text)

    def _head(self, time: str, name: str) -> str:
        mark = self._mark and self._mark + " "
        padded = f"{name:<{_NAME_WIDTH}}"
        return f"  {time:<{_TIME_WIDTH}}{mark}" + (
            self._screen.painted(_BOLD, padded) if name else padded
        )

    def _bar(self, progress: Progress) -> str:
        before = self._head(self._screen.surface.now(), "download")
        columns = self._screen.surface.columns()
        # One column stays free: a line that fills the last one would wrap, and be drawn again
        # below.
        taken = width(before) + 3 + _LONGEST_PROGRESS + 1
        room = min(_WIDEST_BAR, max(columns - taken, 0)) if columns else _WIDEST_BAR
        if room < _NARROWEST_BAR:
            return f"  {self._mark} {progress}"[: max(columns, 1) - 1]
        filled = progress.percent * room // 100
        return f"{before}[{'#' * filled}{'-' * (room - filled)}] {progress}"
