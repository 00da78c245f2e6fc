# SPDX-License-Identifier: MIT
"""A small root file system out of programs of this machine, packed as a squashfs.

Gathers programs and their libraries, as an initramfs maker does.
"""

import os
import pathlib
import re
import shutil

from rig.failure import Failure
from rig.files import readable_size, write_file
from rig.processes import run, run_program

# What a gateway has; whatever else this machine offers follows until the size is reached.
_WANTED = (
    "/usr/bin/openssl", "/usr/bin/curl", "/usr/sbin/nginx", "/usr/bin/wget", "/usr/bin/tar",
    "/usr/bin/bash", "/usr/sbin/ip", "/usr/bin/ssh", "/usr/sbin/tcpdump", "/usr/bin/perl",
    "/usr/bin/dash", "/usr/sbin/iptables", "/usr/bin/vim", "/usr/bin/nano",
)  # fmt: skip
_BUSYBOX_NAMES = ("sh", "init", "mount", "ls", "cat", "rm", "reboot", "ps", "echo", "ip")
_FOLDERS = (
    "usr/bin", "usr/sbin", "usr/lib", "usr/lib64", "etc", "proc", "sys", "dev", "tmp", "var", "mnt",
)  # fmt: skip
_PROGRAMS_AT_ONCE = 8
# Programs shrink to somewhat under a half; the first try is to be enough as a rule.
_FIRST_FACTOR = 2
# "name => /path (address)" or "/path (address)"
_LIBRARY = re.compile(r"(/\S*) \(0x")


def _is_elf(path: pathlib.Path) -> bool:
    try:
        with open(path, "rb") as file:
            return file.read(4) == b"\x7fELF"
    except OSError:
        return False


def _programs() -> list[pathlib.Path]:
    """Those that are wanted first."""
    found = [
        pathlib.Path(entry.path)
        for folder in ("/usr/bin", "/usr/sbin")
        for entry in os.scandir(folder)
        if entry.is_file(follow_symlinks=False) and _is_elf(pathlib.Path(entry.path))
    ]
    return sorted(found, key=lambda path: (str(path) not in _WANTED, str(path)))


class _Tree:
    """What is packed."""

    def __init__(self, root: pathlib.Path) -> None:
        self.root = root
        self.size = 0
        for name in _FOLDERS:
            (root / name).mkdir(parents=True)
        for name in ("bin", "sbin", "lib", "lib64"):
            (root / name).symlink_to(pathlib.Path("usr", name))
        write_file(
            root / "etc/inittab", "::sysinit:/bin/mount -t proc proc /proc\n::respawn:/bin/sh\n"
        )

    def add_busybox(self) -> None:
        here = shutil.which("busybox", path="/usr/bin:/bin")
        if not here:
            raise Failure("no busybox on this machine: install the package busybox-static")
        shutil.copy(here, self.root / "usr/bin/busybox")
        self.size += os.path.getsize(here)
        for name in _BUSYBOX_NAMES:
            (self.root / "usr/bin" / name).symlink_to("busybox")

    def add(self, batch: list[pathlib.Path]) -> None:
        libraries = set(_LIBRARY.findall(run(["ldd", *batch]).stdout))
        for path in (*batch, *map(pathlib.Path, sorted(libraries))):
            self._copy(path)

    def _copy(self, path: pathlib.Path) -> None:
        target = self.root / path.relative_to("/")
        # A program that may not be read by this user is left out.
        if not target.exists() and os.access(path, os.R_OK):
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(path, target)
            self.size += target.stat().st_size


def _pack(root: pathlib.Path, squashfs: pathlib.Path, folder: pathlib.Path) -> None:
    squashfs.unlink(missing_ok=True)
    options = ["-all-root", "-noappend", "-no-progress", "-no-xattrs", "-Xcompression-level", "1"]
    run_program(["mksquashfs", root, squashfs, *options], folder, folder / "mksquashfs.log")


def make_root_file_system(folder: pathlib.Path, squashfs: pathlib.Path, least_bytes: int) -> None:
    """Packs at least so many bytes of squashfs; 0: busybox alone. Programs go in with the shared
    libraries that they need, under the paths they have here. Works in the folder, which is
    emptied."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    root = folder / "root"
    tree = _Tree(root)
    tree.add_busybox()
    available = _programs() if least_bytes else []
    wanted = least_bytes * _FIRST_FACTOR
    while True:
        while available and tree.size < wanted:
            tree.add(available[:_PROGRAMS_AT_ONCE])
            del available[:_PROGRAMS_AT_ONCE]
        _pack(root, squashfs, folder)
        if squashfs.stat().st_size >= least_bytes:
            break
        if not available:
            raise Failure(
                "this machine has too few programs for an image of "
                f"{readable_size(least_bytes)}: install some (openssl, curl, perl)"
            )
        wanted = tree.size + least_bytes
    shutil.rmtree(root)
