# SPDX-License-Identifier: MIT
"""Where a test of the service happens: a folder, programs that were built, images."""

import contextlib
import os
import pathlib
import shutil
import tempfile
from collections.abc import Callable
from typing import BinaryIO

from rig.images import make_image
from rig.programs import Programs


class Place(Programs):
    """A temporary folder with the images, and everything that is to be closed with it."""

    MODEL = "GW-1000"
    OLD = "4QZ1.0.0"
    NEW = "4QZ2.0.0"
    NEWER = "4QZ3.0.0"
    PAYLOAD = 2 * 1024 * 1024

    def __init__(self, build: pathlib.Path) -> None:
        super().__init__(pathlib.Path(build))
        os.umask(0o022)  # a node that others may write to is refused
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ota-"))
        self.folder.chmod(0o755)  # other users are to reach the bus
        self._closers: list[Callable[[], object]] = []
        self.images = {
            version: self._make_image(version) for version in (self.OLD, self.NEW, self.NEWER)
        }

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with contextlib.ExitStack() as everything:
            everything.callback(shutil.rmtree, self.folder)
            for close in self._closers:
                everything.callback(close)

    def closes(self, close: Callable[[], object]) -> None:
        self._closers.append(close)

    def _write_payload(self, _version: str, file: BinaryIO) -> None:
        file.write(os.urandom(self.PAYLOAD))

    def _make_image(self, version: str) -> pathlib.Path:
        payload = self.folder / f"{version}.payload"
        with open(payload, "wb") as file:
            self._write_payload(version, file)
        image = make_image(self, payload, version, self.MODEL, self.folder / f"{version}.img")
        payload.unlink()
        return image.path
