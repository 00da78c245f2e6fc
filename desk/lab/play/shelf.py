# SPDX-License-Identifier: MIT
"""Where scenarios come from: the ones that ship, by name, or a file that somebody names."""

import os
import pathlib
import re
import stat

from lab.play.script import MOST_BYTES, Scenario, WrongScenario, read_scenario
from rig.failure import Failure

SHIPPED = pathlib.Path(__file__).resolve().parents[1] / "scenarios"
SUFFIX = ".scenario"
NAME = r"[a-z0-9][a-z0-9\-]{0,50}"


def names() -> list[str]:
    return sorted(path.stem for path in SHIPPED.glob(f"*{SUFFIX}"))


def text_of(name: str) -> str:
    """Of one that ships."""
    if not re.fullmatch(NAME, name) or name not in names():
        raise Failure(f"there is no scenario {name:.60}: ./dev lab scenarios lists them")
    return _text_in(SHIPPED / f"{name}{SUFFIX}")


def shipped(name: str) -> Scenario:
    return read_scenario(name, text_of(name))


def file_or_name(word: str) -> tuple[str, str]:
    """Name and text. What has a slash or the suffix is a file, wherever it is."""
    if "/" not in word and not word.endswith(SUFFIX):
        return word, text_of(word)
    path = pathlib.Path(word)
    return re.sub(r"[^A-Za-z0-9.\-]", "-", path.name.removesuffix(SUFFIX)), _text_in(path)


def _text_in(path: pathlib.Path) -> str:
    """Never waits for a pipe, and never reads more than a scenario may have."""
    try:
        file = os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC)
        try:
            if not stat.S_ISREG(os.fstat(file).st_mode):
                raise Failure(f"{path}: is no file; name a scenario that is one")
            text = os.read(file, MOST_BYTES + 1)
        finally:
            os.close(file)
    except OSError as error:
        raise Failure(
            f"cannot read {path}: {error.strerror}; name a scenario, or a file"
        ) from error
    if len(text) > MOST_BYTES:
        raise WrongScenario(f"{path}: larger than {MOST_BYTES // 1024} KiB: split it")
    try:
        return text.decode()
    except UnicodeDecodeError:
        raise WrongScenario(f"{path}: is no text in UTF-8") from None
