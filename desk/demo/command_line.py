# SPDX-License-Identifier: MIT
"""Reads words by a table of options, as the other programs do: whole names, one clear mistake."""

import dataclasses
import textwrap
from collections.abc import Callable, Sequence
from typing import Any

_COLUMNS = 80
_TEXT_COLUMN = 30
_MOST_SPELLED = 60


class OptionError(Exception):
    """A mistake on the command line: what, the values allowed, and where help is."""


@dataclasses.dataclass(frozen=True)
class Option:
    """One row."""

    name: str  # "--policy"
    field: str  # where its value goes
    text: str
    shown: str = ""  # the value in the help, such as FILE; empty: none is taken, a flag
    read: Callable[[str], Any] = str  # a ValueError says what was expected instead
    excludes: tuple[str, ...] = ()


def one_of(*words: str) -> dict[str, Any]:
    """The value of an option that takes these words."""
    shown = "|".join(words)

    def read(given: str) -> str:
        if given not in words:
            raise ValueError(shown)
        return given

    return {"shown": shown, "read": read}


def number(shown: str, least: int, most: int) -> dict[str, Any]:
    """The value of an option that takes a whole decimal number."""

    def read(given: str) -> int:
        plain = given.isascii() and given.isdigit()
        if not plain or not least <= int(given) <= most:
            raise ValueError(f"a whole number from {least} to {most}")
        return int(given)

    return {"shown": shown, "read": read}


def quoted(hostile: str) -> str:
    """One line of printable ASCII in double quotes, cut where it is long."""
    text = ""
    for byte in hostile.encode(errors="surrogateescape"):
        plain = 0x20 <= byte <= 0x7E and byte not in b'"\\'
        piece = chr(byte) if plain else f"\\x{byte:02X}"
        if len(text) + len(piece) >= _MOST_SPELLED:
            return f'"{text}"...'
        text += piece
    return f'"{text}"'


def _bare(hostile: str) -> str:
    return quoted(hostile).removesuffix("...")[1:-1]


def _did_you_mean(name: str, rows: Sequence[Option]) -> str:
    import difflib  # rarely needed

    near = difflib.get_close_matches(name, [row.name for row in rows], 1)
    return f"; did you mean {near[0]}?" if near else ""


class Reader:
    """What the words say; the first mistake counts."""

    def __init__(self, rows: Sequence[Option], words: Sequence[str]) -> None:
        self.rows = rows
        self.values: dict[str, Any] = {}
        self.help = False
        self.wrong = ""
        self._given: list[str] = []
        self._read(list(words))
        self._check_combinations()

    def _mistake(self, what: str) -> None:
        self.wrong = self.wrong or what

    def _read(self, words: list[str]) -> None:
        while words:
            word = words.pop(0)
            name, equals, value = word.partition("=")
            if word == "--":
                for rest in words:
                    self._mistake(f"{_bare(rest)}: one argument too many")
                return
            if word in ("-h", "--help"):
                self.help = True
            elif word == "-" or not word.startswith("-"):
                self._mistake(f"{_bare(word)}: one argument too many")
            elif row := next((row for row in self.rows if row.name == name), None):
                self._take(row, value if equals else None, words)
            else:
                name = name if name.startswith("--") else name[:2]
                advice = _did_you_mean(name, self.rows) if name.startswith("--") else ""
                self._mistake(f"{_bare(name)}: there is no such option{advice}")

    def _take(self, row: Option, value: str | None, words: list[str]) -> None:
        if not row.shown:
            if value is not None:
                self._mistake(f"{row.name} takes no value")
            self.values[row.field] = True
            self._given.append(row.name)
            return
        if value is None and words:
            value = words.pop(0)
        if not value:
            self._mistake(f"{row.name} needs a value, {row.shown}")
        elif row.name in self._given:
            self._mistake(f"{row.name} is given twice")
        else:
            self._given.append(row.name)
            try:
                self.values[row.field] = row.read(value)
            except ValueError as expected:
                self._mistake(f"{row.name} is {quoted(value)}: expected {expected}")

    def _check_combinations(self) -> None:
        for row in self.rows:
            for other in row.excludes:
                if row.name in self._given and other in self._given:
                    self._mistake(f"{row.name} and {other} do not go together")


def _row(names: str, text: str) -> str:
    lines = textwrap.wrap(
        names.replace("|", "| "), _COLUMNS - 10, initial_indent="  ", subsequent_indent=" " * 8
    )
    head = "\n".join(lines).replace("| ", "|")
    margin = " " * _TEXT_COLUMN
    body = textwrap.fill(
        text, _COLUMNS, initial_indent=margin, subsequent_indent=margin, break_on_hyphens=False
    )
    fits = "\n" not in head and len(head) < _TEXT_COLUMN
    return head + body[len(head) :] if fits else f"{head}\n{body}"


def help_text(path: str, summary: str, rows: Sequence[Option], footer: str) -> str:
    lines = [
        *textwrap.wrap(summary, _COLUMNS),
        f"Usage: {path} [OPTIONS]",
        "",
        "Options:",
        _row("-h,--help", "Print this help message and exit"),
    ]
    for row in rows:
        excludes = " Excludes: " + ", ".join(row.excludes) if row.excludes else ""
        lines.append(_row(f"{row.name} {row.shown}".rstrip() + excludes, row.text))
    return "\n".join([*lines, "", footer])
