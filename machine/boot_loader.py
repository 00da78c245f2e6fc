# SPDX-License-Identifier: MIT
"""U-Boot for the emulated board: built from Debian's source, with its environment on the card."""

import os
import pathlib
import shutil

from machine.architecture import Architecture
from machine.cache import Cache, fingerprint
from machine.debian import fetch_source, run_to_the_end
from rig.failure import Failure

_BOARD = pathlib.Path(__file__).parent / "board"
_COPY = 0x4000
# Of 64-bit numbers on a processor of 32 bits, where its C library is not there to divide them.
_DIVISIONS = (
    ("le64_to_cpu(start) / ctxt.cur_dev->blksz", "le64_to_cpu(start) >> ctxt.cur_dev->log2blksz"),
    (
        "DIV_ROUND_UP(table_size + *offset, ctxt.cur_dev->blksz)",
        "(table_size + *offset + ctxt.cur_dev->blksz - 1) >> ctxt.cur_dev->log2blksz",
    ),
)


def _replace_once(file: pathlib.Path, pairs: tuple[tuple[str, str], ...]) -> None:
    text = file.read_text()
    for old, new in pairs:
        if text.count(old) != 1:
            raise Failure(f"{file.name} of this U-Boot is another one: it has no single <{old}>")
        text = text.replace(old, new)
    file.write_text(text)


def _build(folder: pathlib.Path, architecture: Architecture) -> None:
    tree = fetch_source(folder, "u-boot")
    _replace_once(tree / "fs/squashfs/sqfs.c", _DIVISIONS)
    shutil.copy(_BOARD / "env_card.c", tree / "env/mmc.c")
    configs = tree / "configs"
    text = (configs / f"{architecture.boot_loader_board}_defconfig").read_text()
    own = (_BOARD / f"{architecture.name}.config").read_text()
    (configs / "card_defconfig").write_text(text + own)
    # What a person has for other builds is not for this one.
    environment = {
        "PATH": os.environ["PATH"],
        "HOME": str(folder),
        "CROSS_COMPILE": architecture.compiler_prefix,
    }
    for goal in ("card_defconfig", "all", "u-boot-initial-env"):
        words = ["make", "-s", f"-j{os.cpu_count() or 2}", goal]
        run_to_the_end(words, "building U-Boot", cwd=tree, env=environment)
    shutil.copy(tree / architecture.boot_loader_file, folder / "boot-loader")
    run_to_the_end(
        [
            "mkenvimage",
            "-r",
            "-s",
            _COPY,
            "-o",
            folder / "environment",
            tree / "u-boot-initial-env",
        ],
        "making U-Boot's first environment",
    )
    for scrap in (*folder.glob("u-boot*"), folder / "apt", folder / "apt-lists"):
        shutil.rmtree(scrap) if scrap.is_dir() else scrap.unlink()


def boot_loader(cache: Cache, architecture: Architecture) -> pathlib.Path:
    """The folder with boot-loader, and environment: one copy as saveenv would first store it."""
    of_it = (architecture.boot_loader_board, architecture.boot_loader_file)
    key = fingerprint(pathlib.Path(__file__), _BOARD, *of_it, architecture.compiler_prefix)
    return cache.made(
        f"boot-loader-{architecture.name}",
        key,
        "the boot loader from Debian's source (a minute or three)",
        lambda folder: _build(folder, architecture),
    )
