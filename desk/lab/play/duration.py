# SPDX-License-Identifier: MIT
"""Durations as scenarios write them: 90s, 40m, 2h30m, 1d."""

import re

from lab.operation import WrongCall

_SECONDS = {"d": 86400, "h": 3600, "m": 60, "s": 1}
_FORM = re.compile(r"(?:(\d{1,5})d)?(?:(\d{1,5})h)?(?:(\d{1,6})m)?(?:(\d{1,7})s)?")


def seconds_of(text: str) -> int:
    found = _FORM.fullmatch(text)
    if not text or not found:
        raise WrongCall(f"{text:.20} is no duration: write 90s, 40m, 2h30m or 1d")
    numbers = zip(found.groups(), _SECONDS.values(), strict=True)
    return sum(int(number) * seconds for number, seconds in numbers if number)


def duration(seconds: float) -> str:
    """As a person writes it."""
    left = round(seconds)
    text = ""
    for unit, size in _SECONDS.items():
        if left >= size:
            text += f"{left // size}{unit}"
            left %= size
    return text or "0s"
