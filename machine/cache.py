# SPDX-License-Identifier: MIT
"""What takes long to make is made once: each thing in a folder named by what it was made from."""

import hashlib
import pathlib
import shutil
from collections.abc import Callable, Iterable

from rig.files import digest_of


def fingerprint(*parts: object) -> str:
    """Of texts as they are, and of files and whole folders by what they hold."""
    summed = hashlib.sha256()
    for part in parts:
        for piece in _pieces(part):
            summed.update(piece.encode() + b"\0")
    return summed.hexdigest()[:16]


def _pieces(part: object) -> Iterable[str]:
    if not isinstance(part, pathlib.Path):
        return [str(part)]
    files = sorted(part.rglob("*")) if part.is_dir() else [part]
    return [
        f"{file.relative_to(part)} {file.stat().st_mode:o} {digest_of(file, 'sha256')}"
        for file in files
        if file.is_file()
    ]


class Cache:
    """Below one folder; an older edition of the same thing goes when a newer one is made."""

    def __init__(self, folder: pathlib.Path, say: Callable[[str], None]) -> None:
        self.folder = folder
        self._say = say
        folder.mkdir(parents=True, exist_ok=True)

    def made(
        self, name: str, key: str, what: str, make: Callable[[pathlib.Path], None]
    ) -> pathlib.Path:
        """The folder that make() filled; made now where it is not there."""
        place = self.folder / f"{name}-{key}"
        if place.is_dir():
            return place
        self._say(f"making {what}")
        new = self.folder / f"{name}.new"
        shutil.rmtree(new, ignore_errors=True)
        new.mkdir()
        make(new)
        for older in self.folder.glob(f"{name}-" + "?" * len(key)):
            shutil.rmtree(older)
        new.rename(place)
        return place
