# SPDX-License-Identifier: MIT
"""The one folder that a run writes in.

A mark in the folder tells that it may be emptied; a lock on the mark, that it is in use.
"""

import os
import pathlib
import shutil
import stat

from rig.failure import Failure
from rig.files import absolute_path
from rig.folder_lock import FolderLock
from rig.trusted_path import why_not_trusted, why_not_trusted_above

MARK = ".ota-desk-run"
_OTHERS_MAY_WRITE = stat.S_IWGRP | stat.S_IWOTH


class RunFolder:
    """Made, or emptied where an earlier run made it. A folder that holds anything else, or that a
    run is using, is left alone. So it is where others than this user may write, to the folder or to
    one above it, or where it is somebody else's: a service does not run where others may write,
    since it would run what they put there; nor is anything removed there, since they could put
    another folder in its place meanwhile."""

    def __init__(self, path: pathlib.Path, *, keep: bool = False) -> None:
        """`keep`: what an earlier run left is not removed."""
        self.path = absolute_path(path)
        _require(why_not_trusted_above(self.path))
        self._make()
        self.path = _without_own_link(self.path)
        _require(why_not_trusted_above(self.path))
        self._folder = self._open()  # the one that is judged, whatever has its name later
        self._lock: FolderLock | None = None
        try:
            self._keep_to_this_user()
            self._take(keep)
        except BaseException:
            self.close()
            raise

    def close(self) -> None:
        if self._lock:
            self._lock.close()
        os.close(self._folder)

    def _make(self) -> None:
        try:
            self.path.mkdir(parents=True, exist_ok=True)
        except OSError as error:
            in_its_place = os.path.exists(self.path) and not os.path.isdir(self.path)
            reason = "a file is in its place" if in_its_place else error.strerror
            raise Failure(
                f"cannot make the folder {self.path}: {reason}; name a folder of your own with "
                "--run-dir"
            ) from error

    def _open(self) -> int:
        try:
            return os.open(self.path, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW)
        except OSError as error:
            _require(f"{self.path}: cannot be opened: {error.strerror}")
            raise

    def _keep_to_this_user(self) -> None:
        status = os.fstat(self._folder)
        if status.st_uid == os.geteuid() and status.st_mode & _OTHERS_MAY_WRITE:
            os.fchmod(self._folder, stat.S_IMODE(status.st_mode) & ~_OTHERS_MAY_WRITE)
        _require(why_not_trusted(self.path))

    def _take(self, keep: bool) -> None:
        names = os.listdir(self._folder)
        if names and MARK not in names:
            raise Failure(
                f"{self.path} holds files that are not of an earlier run: name another folder with "
                "--run-dir, or empty it"
            )
        self._lock = FolderLock(self.path / MARK, self._folder)
        if not self._lock.try_lock():
            raise Failure(
                f"another run is using {self.path}: wait for its end, or name another folder with "
                "--run-dir"
            )
        for name in os.listdir(self._folder):
            if name != MARK and not keep:
                _remove(name, self._folder)


def _require(flaw: str) -> None:
    if flaw:
        raise Failure(
            f"a node cannot run in this folder: {flaw}; or name a folder of your own with --run-dir"
        )


def _without_own_link(path: pathlib.Path) -> pathlib.Path:
    """Of a link of this user, or of root, what it leads to; another user's is refused when it is
    opened."""
    status = path.lstat()
    if not stat.S_ISLNK(status.st_mode) or status.st_uid not in (os.geteuid(), 0):
        return path
    return path.resolve()


def _remove(name: str, folder: int) -> None:
    """By its name in a folder that is open."""
    if stat.S_ISDIR(os.stat(name, dir_fd=folder, follow_symlinks=False).st_mode):
        shutil.rmtree(name, dir_fd=folder)
    else:
        os.unlink(name, dir_fd=folder)
