# SPDX-License-Identifier: MIT
"""From the command line to the exit code of ./dev scale."""

import argparse
import asyncio
import contextlib
import json
import os
import pathlib
import signal
import sys
import time
from collections.abc import Sequence

from rig import interrupt
from rig.failure import Failure
from rig.files import KIB, absolute_path
from rig.programs import Programs
from rig.run_folder import RunFolder
from scale import machine
from scale.fleet import PARTS, SERVER_GONE, Fleet, Wishes, empty
from scale.report import figures, is_good, text
from scale.seats import IN_A_MESH, MOST_IN_A_MESH, MOST_NODES

AT_ONCE, IMAGE_KIB, LIMIT = 40, 192, 300
# A series of seven attempts outlives a server that is gone for 20 s.
_RETRY_WAIT = 8
_GOOD, _FAILED = 0, 1
_DISK_BESIDE_BANKS = 256 * KIB  # of a node


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="./dev scale",
        description="Upgrade very many real nodes on this machine at once, and see that none is lost.",
        allow_abbrev=False,
    )
    add = parser.add_argument
    add("--nodes", type=int, default=100, metavar="N", help="real ones; 100 if not given")
    add("--mesh-size", type=int, default=IN_A_MESH, metavar="N",
        help=f"of a gateway and its extenders; {IN_A_MESH} if not given")  # fmt: skip
    add("--at-once", type=int, default=AT_ONCE, metavar="N",
        help=f"nodes that start, or are upgraded, at the same time; {AT_ONCE} if not given")  # fmt: skip
    add("--disturb", action="store_true",
        help=f"in the middle the broker is restarted, and the file server is gone for {SERVER_GONE:.0f} s")  # fmt: skip
    add("--image-kib", type=int, default=IMAGE_KIB, metavar="KIB",
        help=f"size of the image; {IMAGE_KIB} if not given")  # fmt: skip
    add("--limit", type=float, default=LIMIT, metavar="SECONDS",
        help=f"of one node's upgrade; {LIMIT} if not given")  # fmt: skip
    add("--json", action="store_true", help="print one JSON object")
    add("--run-dir", metavar="FOLDER",
        help="everything of this run goes here; build/release/scale if not given")  # fmt: skip
    add("--build-dir", help=argparse.SUPPRESS)
    return parser


def _wishes(options: argparse.Namespace) -> Wishes:
    for name, value, most in (
        ("--nodes", options.nodes, MOST_NODES),
        ("--mesh-size", options.mesh_size, MOST_IN_A_MESH),
        ("--at-once", options.at_once, MOST_NODES),
        ("--image-kib", options.image_kib, 64 * KIB),
        ("--limit", options.limit, 86400),
    ):
        if not 1 <= value <= most:
            raise Failure(f"{name}: expected a number from 1 to {most}")
    return Wishes(
        options.nodes, options.mesh_size, options.at_once, options.image_kib * KIB, options.limit, _RETRY_WAIT,
        options.disturb,
    )  # fmt: skip


def _scale(options: argparse.Namespace) -> int:
    build = absolute_path(options.build_dir or "build/release")
    programs = Programs(build)
    programs.require(*PARTS)
    wishes = _wishes(options)
    # A node that others may write to does not start.
    os.umask(0o022)
    run_folder = RunFolder(pathlib.Path(options.run_dir) if options.run_dir else build / "scale")
    begun = time.monotonic()

    def say(line: str) -> None:
        with contextlib.suppress(OSError):
            print(f"{time.monotonic() - begun:6.1f} s  {line}", file=sys.stderr, flush=True)

    try:
        disk = wishes.nodes * (2 * wishes.image_bytes + _DISK_BESIDE_BANKS)
        machine.make_room(wishes.nodes, run_folder.path, disk)
        fleet = Fleet(programs, run_folder.path, wishes, say)
        outcome = asyncio.run(interrupt.cancelling(fleet.run()))
        empty(outcome)
    finally:
        run_folder.close()
    made = figures(fleet, wishes, outcome)
    print(json.dumps(made) if options.json else text(made))
    return _GOOD if is_good(outcome) else _FAILED


def main(words: Sequence[str]) -> int:
    # How children end must be told, whatever this process was started with.
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)
    try:
        return _scale(_parser().parse_args(words))
    except Failure as failure:
        print(f"scale: {failure}", file=sys.stderr)
        return _FAILED
