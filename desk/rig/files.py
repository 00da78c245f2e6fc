# SPDX-License-Identifier: MIT
"""Whole files: written, copied, compared, summed."""

import hashlib
import os
import pathlib
import shutil

from rig.failure import Failure

KIB = 1024
MIB = 1024 * KIB
_CHUNK = MIB
_LONGEST_QUOTE = 240


def absolute_path(path: str | pathlib.Path) -> pathlib.Path:
    """From the root on, without "." and ".."."""
    try:
        return pathlib.Path(os.path.abspath(path))
    except FileNotFoundError:
        raise Failure(
            f"cannot tell where {path} is: the current directory is gone; change to one that is there"
        ) from None


def readable_size(size: int) -> str:
    """ "18.3 MiB", "512 bytes"."""
    if size < KIB:
        return f"{size} bytes"
    return f"{size / MIB:.1f} MiB" if size >= MIB else f"{size / KIB:.1f} KiB"


def require_space(folder: pathlib.Path, size: int) -> None:
    """Fails where the file system of an existing folder has fewer bytes free."""
    try:
        status = os.statvfs(folder)
    except OSError:
        return
    free = status.f_bavail * status.f_frsize
    if free < size:
        raise Failure(
            f"too little space for {folder}: {readable_size(size)} needed, {readable_size(free)} "
            "free; make room there, or run elsewhere (--build-dir, --run-dir)"
        )


def write_file(path: pathlib.Path, text: str) -> None:
    try:
        path.write_bytes(os.fsencode(text))
    except OSError as error:
        raise Failure(f"cannot write {path}: {error.strerror}") from error


def copy_file(source: pathlib.Path, path: pathlib.Path, size: int | None = None) -> None:
    """Into a new file that only this user may write to, whoever may write to the old one; filled
    up to the size where that is given."""
    try:
        with open(source, "rb") as old, open(path, "xb") as new:
            shutil.copyfileobj(old, new, _CHUNK)
            os.fchmod(new.fileno(), 0o644)
            if size is not None:
                new.truncate(size)
    except OSError as error:
        raise Failure(f"cannot copy {source} to {path}: {error.strerror}") from error


def read_text(path: pathlib.Path) -> str:
    """Whatever the bytes are; empty where there is no such file."""
    try:
        return path.read_text(encoding="utf-8", errors="replace")
    except OSError:
        return ""


def digest_of(path: pathlib.Path, algorithm: str) -> str:
    """Of a file that need not fit into memory."""
    try:
        with open(path, "rb") as file:
            return hashlib.file_digest(file, algorithm).hexdigest()
    except OSError as error:
        raise Failure(f"cannot read {path}: {error.strerror}") from error


def begins_with(bank: pathlib.Path, image: pathlib.Path, size: int) -> bool:
    """Whether the bank begins with the first `size` bytes of the image."""
    try:
        with open(bank, "rb") as first, open(image, "rb") as second:
            while size > 0:
                wanted = min(size, _CHUNK)
                left, right = first.read(wanted), second.read(wanted)
                if len(left) != wanted or left != right:
                    return False
                size -= wanted
    except OSError as error:
        raise Failure(f"cannot read {error.filename}: {error.strerror}") from error
    return True


def last_line(text: str, beginning: str = "") -> str:
    """The last line that is not empty and begins so, shortened where it is long."""
    lines = (line.rstrip("\r ") for line in text.split("\n"))
    found = [line for line in lines if line and line.startswith(beginning)]
    return found[-1][:_LONGEST_QUOTE] if found else ""
