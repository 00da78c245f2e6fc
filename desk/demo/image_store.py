# SPDX-License-Identifier: MIT
"""The image files of a demonstration, built and signed once and kept.

Images are built under a working name and renamed: what has its name is whole.
"""

import contextlib
import os
import pathlib
import shutil

from demo.root_file_system import make_root_file_system
from demo.scenarios import MODEL, OLD_VERSION
from rig.certificates import make_signer, signer_in
from rig.files import MIB, require_space
from rig.folder_lock import FolderLock
from rig.images import Image, make_image, sign_image
from rig.programs import Programs
from rig.waiting import wait_until

_LEAST_RELEASE = 16 * MIB
# The tree, its squashfs and the image, of programs that come in batches.
_SPACE_FACTOR = 12
_OTHERS_BUILD_FOR = 600.0  # seconds


class ImageStore:
    """Keeps them in the folder."""

    def __init__(self, programs: Programs, folder: pathlib.Path) -> None:
        self._programs = programs
        self._folder = folder
        self.signer = signer_in(folder / "signer")

    def factory(self) -> Image:
        """What a node comes with: busybox alone."""
        return self._image(OLD_VERSION, "factory.squashfs", 0)

    def release(self, version: str) -> Image:
        """What is offered: a root file system of at least 16 MiB, packed."""
        return self._image(version, "release.squashfs", _LEAST_RELEASE)

    def must_build(self, version: str) -> bool:
        """Whether it has to be built first; a release takes some seconds."""
        image, authority = self._path(version), self.signer.authority
        if not image.exists() or not authority.exists():
            return True
        # An image of an older tool may be of an older format, one older than the key of another.
        built = image.stat().st_mtime
        tool = self._programs.program("ota-image")
        return built < max(tool.stat().st_mtime, authority.stat().st_mtime)

    def has(self, version: str) -> bool:
        """All that a run with this version takes."""
        return not self.must_build(version) and not self.must_build(OLD_VERSION)

    def may_build(self) -> bool:
        """Whether this user may keep images here."""
        try:
            (self._folder / "work").mkdir(parents=True, exist_ok=True)
        except OSError:
            return False
        paths = [self._folder / name for name in (".", "work", ".lock")]
        return all(os.access(path, os.W_OK) or not path.exists() for path in paths)

    def _path(self, version: str) -> pathlib.Path:
        return self._folder / f"{version}.img"

    def _image(self, version: str, payload: str, least_bytes: int) -> Image:
        # What is there is whole and may be of another user, who alone may lock the folder.
        if self.must_build(version):
            self._folder.mkdir(parents=True, exist_ok=True)
            with contextlib.closing(FolderLock(self._folder / ".lock")) as lock:
                late = f"another run builds images in {self._folder} and does not come to an end"
                wait_until(lock.try_lock, _OTHERS_BUILD_FOR, late)
                if self.must_build(version):
                    self._build(version, payload, least_bytes)
        return Image(self._path(version), version)

    def _build(self, version: str, payload: str, least_bytes: int) -> None:
        squashfs, work = self._folder / payload, self._folder / "work"
        work.mkdir(parents=True, exist_ok=True)
        require_space(work, least_bytes * _SPACE_FACTOR)
        if not squashfs.exists():
            make_root_file_system(work, work / payload, least_bytes)
            (work / payload).rename(squashfs)
        self._make_signer_once(work / "signer")
        unsigned, signed = work / f"{version}.unsigned", work / f"{version}.img"
        for path in (unsigned, signed):
            path.unlink(missing_ok=True)
        image = make_image(self._programs, squashfs, version, MODEL, unsigned)
        sign_image(self._programs, image, signed, self.signer)
        unsigned.unlink()
        signed.rename(self._path(version))

    def _make_signer_once(self, unfinished: pathlib.Path) -> None:
        """All of it or nothing: a key without its certificate would never be used, nor made anew."""
        folder = self.signer.authority.parent
        if not folder.exists():
            shutil.rmtree(unfinished, ignore_errors=True)
            make_signer(unfinished)
            unfinished.rename(folder)
