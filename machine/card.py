# SPDX-License-Identifier: MIT
"""The card as the factory makes it: boot script, two banks, /var; and the environment before them."""

import os
import pathlib
import re

from machine.architecture import Architecture
from machine.debian import run_to_the_end
from rig.failure import Failure
from rig.files import MIB
from rig.images import Image
from rig.programs import Programs

# In sectors of 512 bytes.
_SECTOR = 512
_SCRIPT_AT, _SCRIPT_LENGTH = 16384, 16384
BANK_LENGTH = 64 * MIB // _SECTOR
_BANKS_AT = {"a": 32768, "b": 32768 + BANK_LENGTH}
_STATE_AT, _STATE_LENGTH = 32768 + 2 * BANK_LENGTH, 48 * MIB // _SECTOR
_SIZE = (_STATE_AT + _STATE_LENGTH) * _SECTOR
ENVIRONMENT_AT = (0x3F0000, 0x3F8000)
ENVIRONMENT_LENGTH = 0x4000
_BOARD_LINES = ("arguments", "load_kernel", "start_kernel")


def bank_begins_at(bank: str) -> int:
    """Byte of the card."""
    return _BANKS_AT[bank] * _SECTOR


def boot_script(text: str, architecture: Architecture) -> str:
    """docs/boot.cmd with this board's own lines."""
    arguments = (
        f"console={architecture.console},115200 quiet mitigations=off rootfstype=squashfs ro"
        " rootwait panic=5 watchdog.open_timeout=120 root=/dev/vda"
    )
    own = {
        "arguments": f'arguments="{arguments}"',
        "load_kernel": f"load_kernel='{architecture.load_kernel}'",
        "start_kernel": f"start_kernel='{architecture.start_kernel}'",
    }
    for name in _BOARD_LINES:
        text, count = re.subn(rf"^{name}=.*$", lambda _: own[name], text, flags=re.M)
        if count != 1:
            raise Failure(f"docs/boot.cmd has {count} lines that begin with {name}=, not one")
    return text


class CardMaker:
    """Makes cards in a folder of its own."""

    def __init__(
        self,
        programs: Programs,
        architecture: Architecture,
        loader: pathlib.Path,
        script: pathlib.Path,
        folder: pathlib.Path,
    ) -> None:
        self._programs = programs
        self._loader = loader
        self._folder = folder
        folder.mkdir(exist_ok=True)
        self._first = self._make_first_partition(boot_script(script.read_text(), architecture))

    def _make_first_partition(self, script: str) -> pathlib.Path:
        text, packed = self._folder / "boot.cmd", self._folder / "boot.scr"
        text.write_text(script)
        words = [
            "mkimage",
            "-T",
            "script",
            "-C",
            "none",
            "-n",
            "bank selection",
            "-d",
            text,
            packed,
        ]
        run_to_the_end(words, "packing the boot script")
        disk = self._folder / "first"
        disk.unlink(missing_ok=True)
        words = ["mkfs.vfat", "-C", disk, str(_SCRIPT_LENGTH * _SECTOR // 1024)]
        run_to_the_end(words, "making the card's first partition")
        run_to_the_end(["mcopy", "-i", disk, packed, "::boot.scr"], "filling the first partition")
        return disk

    def make(self, card: pathlib.Path, image: Image, state: dict[str, str]) -> None:
        """With the image in bank a; `state`: files of /var with their text."""
        card.unlink(missing_ok=True)
        card.touch()
        os.truncate(card, _SIZE)
        table = [(_SCRIPT_AT, _SCRIPT_LENGTH, "c")]
        table += [(start, BANK_LENGTH, "83") for start in _BANKS_AT.values()]
        table += [(_STATE_AT, _STATE_LENGTH, "83")]
        lines = "".join(f"{start},{length},{kind}\n" for start, length, kind in table)
        words = ["sfdisk", "-q", card]
        run_to_the_end(words, "partitioning the card", text=f"label: dos\n{lines}")
        for source, sector in (
            (self._first, _SCRIPT_AT),
            (image.path, _BANKS_AT["a"]),
            (self._state(state), _STATE_AT),
        ):
            words = ["dd", f"if={source}", f"of={card}", "bs=64K", f"seek={sector * _SECTOR}",
                     "oflag=seek_bytes", "conv=notrunc,sparse", "status=none"]  # fmt: skip
            run_to_the_end(words, "filling the card")
        environment = (self._loader / "environment").read_bytes()
        with open(card, "r+b") as file:
            for offset in ENVIRONMENT_AT:
                file.seek(offset)
                file.write(environment)
        where = self.boot_state_of(card)
        self._programs.run_tool(
            "ota-boot-state", "init", "--active", "a", "--image", image.path, "--output", where
        )

    def boot_state_of(self, card: pathlib.Path) -> str:
        """The place of its boot state for ota-boot-state."""
        described = self._folder / f"{card.name}.fw_env.config"
        described.write_text(
            "".join(f"{card} {offset:#x} {ENVIRONMENT_LENGTH:#x}\n" for offset in ENVIRONMENT_AT)
        )
        return f"fw_env.config:{described}"

    def _state(self, files: dict[str, str]) -> pathlib.Path:
        """The file system of /var."""
        tree, disk = self._folder / "var", self._folder / "state"
        run_to_the_end(["rm", "-rf", tree, disk], "clearing the old state")
        for name in ("lib/machine", "lib/systemd", "log", "cache", "tmp", "spool"):
            (tree / name).mkdir(parents=True)
        (tree / "run").symlink_to("/run")
        (tree / "lock").symlink_to("/run/lock")
        for name, text in files.items():
            (tree / name).write_text(text)
        words = ["mke2fs", "-q", "-t", "ext4", "-d", tree, disk, f"{_STATE_LENGTH // 2}k"]
        run_to_the_end(words, "making the file system of /var")
        return disk
