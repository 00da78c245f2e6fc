# SPDX-License-Identifier: MIT
"""Lines that stay, and below them a bar for each node that downloads, drawn again in its place."""

from demo.terminal import Surface

_PLAIN = "\033[0m"
_CLEAR_LINE = "\r\033[K"
_LINE_UP = "\033[A"


def width(text: str) -> int:
    """Columns that the text takes: without the colours."""
    while (start := text.find("\033")) >= 0:
        end = text.find("m", start)
        text = text[:start] + (text[end + 1 :] if end >= 0 else "")
    return len(text)


def wrapped(text: str, room: int) -> list[str]:
    """Pieces of at most `room` columns, broken at blanks where there are any; 0: one piece."""
    pieces = []
    while 0 < room < len(text):
        blank = text.rfind(" ", 0, room + 1)
        pieces.append(text[: blank if blank > 0 else room])
        text = text[blank + 1 if blank > 0 else room :]
    return [*pieces, text]


class Screen:
    """Of one surface; a bar belongs to whoever draws it."""

    def __init__(self, surface: Surface) -> None:
        self.surface = surface
        self._bars: dict[object, str] = {}

    def painted(self, colour: str, text: str) -> str:
        """In the colours of the terminal, where it takes them."""
        return f"{colour}{text}{_PLAIN}" if self.surface.colour else text

    def line(self, head: str, text: str) -> None:
        """A line that stays; longer than the screen is wide, it goes on in further ones."""
        columns, margin = self.surface.columns(), width(head)
        # A screen too narrow for head and text wraps by itself.
        room = columns - margin if columns > 2 * margin else 0
        lines = ""
        for piece in wrapped(text, room):
            lines += f"{head}{piece}\n"
            head = " " * margin
        self._draw(lines)

    def plain(self, text: str) -> None:
        """Whole, as it is."""
        self._draw(text + "\n")

    def bar(self, owner: object, text: str) -> None:
        cleared = self._cleared()
        self._bars[owner] = text
        self.surface.write(cleared + self._drawn())

    def leave_bar(self, owner: object) -> None:
        """Its bar becomes a line that stays."""
        if owner not in self._bars:
            return
        alone = len(self._bars) == 1  # it stays where it stands
        cleared = "" if alone else self._cleared()
        text = self._bars.pop(owner)
        self.surface.write(cleared + ("" if alone else text) + "\n" + self._drawn())

    def leave_bars(self) -> None:
        for owner in list(self._bars):
            self.leave_bar(owner)

    def _draw(self, lines: str) -> None:
        self.surface.write(self._cleared() + lines + self._drawn())

    def _cleared(self) -> str:
        """The cursor stands behind the last bar."""
        return _LINE_UP.join([_CLEAR_LINE] * len(self._bars))

    def _drawn(self) -> str:
        return "\n".join(self._bars.values())
