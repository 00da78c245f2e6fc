# SPDX-License-Identifier: MIT
"""One process at a time in a folder, by a lock on a file in it."""

import fcntl
import os
import pathlib

from rig.failure import Failure


class FolderLock:
    """One process at a time: held until close(), and lost with the process."""

    def __init__(self, path: pathlib.Path, dir_fd: int | None = None) -> None:
        self._path = path
        flags = os.O_RDWR | os.O_CREAT | os.O_NOFOLLOW
        try:
            name: str | pathlib.Path = path if dir_fd is None else path.name
            # Whoever may read it may lock it.
            self._file = os.open(name, flags, 0o600, dir_fd=dir_fd)
        except OSError as error:
            raise Failure(
                f"cannot open {path}: {error.strerror}; name a folder of your own with --run-dir"
            ) from error

    def try_lock(self) -> bool:
        """False where another process holds it; never waits."""
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        except OSError as error:
            raise Failure(
                f"cannot lock {self._path}: {error.strerror}; name a folder on a file system with "
                "locks with --run-dir"
            ) from error
        return True

    def close(self) -> None:
        os.close(self._file)
