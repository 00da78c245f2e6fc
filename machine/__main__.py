# SPDX-License-Identifier: MIT
"""From the command line to the exit code; ./dev machine starts it."""

import argparse
import contextlib
import os
import pathlib
import secrets
import select
import socket
import sys
import termios
import time
import tty

from machine.architecture import ARCHITECTURES
from machine.factory import Factory
from machine.project import Project
from machine.scenarios import DEMONSTRATION, SCENARIOS, SMOKE
from machine.stage import OLD, Clock, Stage
from rig import interrupt
from rig.failure import Failure
from rig.run_folder import RunFolder

_TOP = pathlib.Path(__file__).resolve().parents[1]


def _options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="./dev machine",
        description="A node that really boots, emulated: boot loader, kernel, systemd, the service, "
        "a card. Without options it shows an upgrade.",
    )
    what = parser.add_mutually_exclusive_group()
    what.add_argument("--scenario", action="append", choices=SCENARIOS, help="play this one")
    what.add_argument("--all", action="store_true", help="play all of them")
    what.add_argument("--smoke", action="store_true", help=f"play {', '.join(SMOKE)}")
    what.add_argument("--list", action="store_true", help="what there is to play")
    what.add_argument("--console", action="store_true", help="a shell in the machine")
    parser.add_argument("--architecture", choices=ARCHITECTURES, default="x86_64")
    parser.add_argument("--seed", type=int, help="of what is left to chance")
    parser.add_argument("--build", type=pathlib.Path, default=_TOP / "build/release")
    parser.add_argument(
        "--packages",
        type=pathlib.Path,
        help="install these on the node, as ./dev package made them",
    )
    parser.add_argument("--kept", type=pathlib.Path, default=_TOP / "build/machine")
    return parser.parse_args()


class _Teller:
    """Lines with the seconds since the beginning of what goes on."""

    def __init__(self) -> None:
        self.clock = Clock()

    def step(self, name: str, text: str) -> None:
        print(f"{self.clock.seconds():7.1f} s  {name:<9} {text}", flush=True)

    def making(self, text: str) -> None:
        self.step("machine", text)


def _describe() -> None:
    for name, play in SCENARIOS.items():
        print(f"{name:20} {(play.__doc__ or '').splitlines()[0]}")


def _play(factory: Factory, names: list[str], folder: pathlib.Path, seed: int) -> bool:
    """Whether all of them ended as they should."""
    results = []
    for name in names:
        print(f"== {name}: {(SCENARIOS[name].__doc__ or '').splitlines()[0]}", flush=True)
        teller = _Teller()
        stage = Stage(factory, folder / name, teller.step, seed)
        try:
            SCENARIOS[name](stage)
            end = "as it should"
        except Failure as failure:
            interrupt.check()
            end = f"FAILED: {failure}; see {folder / name}"
        teller.step("end", end)
        results.append((name, teller.clock.seconds(), end))
    print("\nscenario              seconds  ended")
    for name, seconds, end in results:
        print(f"{name:20} {seconds:8.0f}  {end}")
    return all(end == "as it should" for _, _, end in results)


def _console(factory: Factory, folder: pathlib.Path) -> None:
    """The control shell on this terminal, until it is left with Ctrl-]."""
    stage = Stage(factory, folder / "console", _Teller().step, 0)
    with stage.node() as node:
        print("a shell in the machine; Ctrl-] ends it and the machine", flush=True)
        node.run("stty echo onlcr")
        line = node.machine.control_line()
        node.machine.send("PS1='node# '; stty echo onlcr")
        saved = termios.tcgetattr(0) if os.isatty(0) else None
        try:
            if saved:
                tty.setraw(0)
            _join(line)
        finally:
            if saved:
                termios.tcsetattr(0, termios.TCSADRAIN, saved)


def _join(line: socket.socket) -> None:
    while True:
        ready, _, _ = select.select([line, 0], [], [])
        if line in ready:
            data = line.recv(4096)
            if not data:
                return
            os.write(1, data)
        if 0 in ready:
            data = os.read(0, 1024)
            if not data or b"\x1d" in data:
                return
            line.sendall(data)


def main() -> int:
    options = _options()
    if options.list:
        _describe()
        return 0
    os.umask(0o022)
    interrupt.install()
    names = options.scenario or [DEMONSTRATION]
    names = list(SCENARIOS) if options.all else list(SMOKE) if options.smoke else names
    seed = secrets.randbelow(1 << 32) if options.seed is None else options.seed
    began = time.monotonic()
    try:
        if os.geteuid() != 0:
            raise Failure("run this as root: the files of a node's root must be root's")
        with contextlib.closing(RunFolder(options.kept.parent / "machine-run")) as run:
            architecture = ARCHITECTURES[options.architecture]
            project = Project(options.build, options.packages)
            with contextlib.closing(
                Factory(architecture, _TOP, project, options.kept, run.path, _Teller().making)
            ) as factory:
                factory.shelf.image(OLD)
                if options.console:
                    _console(factory, run.path)
                    return 0
                good = _play(factory, names, run.path, seed)
        print(f"{time.monotonic() - began:.0f} s in all")
        return 0 if good else 1
    except Failure as failure:
        print(f"machine: {failure}", file=sys.stderr)
        return 1


sys.exit(main())
