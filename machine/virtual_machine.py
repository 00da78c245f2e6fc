# SPDX-License-Identifier: MIT
"""The emulated machine: its processor, its card, its two serial lines, and its power."""

import contextlib
import os
import pathlib
import re
import signal
import socket
import time
from collections.abc import Callable

from machine.architecture import Architecture
from machine.card_server import CardServer
from machine.root import FILE_SERVER_ADDRESS
from rig import interrupt
from rig.failure import Failure
from rig.processes import Process, own_environment, system_program
from rig.waiting import wait_until

_MEMORY = "512"  # MiB


class PowerIsOff(Exception):
    """The machine went off while it was asked something."""


class NoAnswer(Failure):
    """It may be booting."""


class Machine:
    """Its console goes to a file, behind what is there already."""

    def __init__(
        self,
        architecture: Architecture,
        loader: pathlib.Path,
        card: pathlib.Path,
        folder: pathlib.Path,
        file_server_port: int,
    ) -> None:
        self._architecture, self._loader = architecture, loader
        self._folder = folder
        self._port = file_server_port
        self.console = folder / "console"
        self._control_place = folder / "control"
        self._card_place = folder / "card.socket"
        self.card = CardServer(card, self._card_place)
        self.process: Process | None = None
        self._control: socket.socket | None = None
        self.began = 0.0

    # Power.

    def switch_on(self) -> None:
        self.card.restore_power()
        board = self._architecture
        self._control_place.unlink(missing_ok=True)
        forward = f"tcp:{FILE_SERVER_ADDRESS}:443-cmd:busybox nc 127.0.0.1 {self._port}"
        words = [
            system_program(board.qemu[0]), *board.qemu[1:], self._loader / "boot-loader",
            "-accel", "tcg,thread=multi", "-smp", "2", "-m", _MEMORY, "-display", "none",
            "-monitor", "none", "-rtc", "base=utc",
            "-chardev", f"file,id=console,path={self.console},append=on",
            "-serial", "chardev:console",
            "-chardev", f"socket,id=control,path={self._control_place},server=on,wait=off",
            "-serial", "chardev:control",
            "-blockdev", f"nbd,node-name=card,server.type=unix,server.path={self._card_place}",
            "-device", "virtio-blk-pci,drive=card,write-cache=on",
            "-netdev", f"user,id=net,restrict=on,guestfwd={forward}",
            "-device", "virtio-net-pci,netdev=net,romfile=",
            "-device", "i6300esb", "-action", "watchdog=reset",
        ]  # fmt: skip
        self.began = time.monotonic()
        self.process = Process(words, self._folder, self._folder / "qemu.log", own_environment())

    def is_on(self) -> bool:
        return self.process is not None and self.process.is_running()

    def cut(self, seed: int) -> dict[str, int]:
        """What became of the writes that the card had not taken."""
        told = self.card.cut(seed)
        self.pull()
        return told

    def arm(
        self, condition: Callable[[str, int, int], bool], seed: int, told: dict[str, int]
    ) -> None:
        """The power goes at the write or flush for which the condition is true; `told` is filled."""

        def changed(what: str, offset: int, length: int) -> None:
            if condition(what, offset, length):
                told.update(self.card.go_off(seed))
                if self.process:
                    os.kill(self.process.pid, signal.SIGKILL)

        self.card.on_change = changed

    def disarm(self) -> None:
        self.card.on_change = None

    def pull(self) -> None:
        """Ends the emulation at once; what the card holds stays with it."""
        if self.process:
            self.process.end(signal.SIGKILL)
            self.process = None
        if self._control:
            self._control.close()
            self._control = None

    def close(self) -> None:
        self.pull()
        self.card.close()

    # The console.

    def mark(self) -> int:
        return self.console.stat().st_size if self.console.exists() else 0

    def said(self, mark: int = 0) -> str:
        """On the console since the mark."""
        if not self.console.exists():
            return ""
        with open(self.console, "rb") as file:
            file.seek(mark)
            return file.read().decode("latin-1")

    def wait_for_console(self, pattern: str, mark: int, patience: float) -> str:
        """The line that matches."""
        expression = re.compile(pattern)

        def found() -> str | None:
            if not self.is_on():
                raise PowerIsOff
            match = expression.search(self.said(mark))
            return match[0] if match else None

        late = f"the console did not say <{pattern}> within {patience:.0f} s; see {self.console}"
        return wait_until(found, patience, late) or ""

    # The control shell.

    def control_line(self) -> socket.socket:
        """For somebody who speaks to the shell himself."""
        self._send(b"", time.monotonic() + 60)
        assert self._control is not None
        return self._control

    def send(self, command: str) -> None:
        """Without an answer: the machine may not live long enough."""
        self._send(f"{command}\n".encode(), time.monotonic() + 60)

    def ask(self, command: str, patience: float = 300.0) -> tuple[int, str]:
        """Exit code and output of a command in the machine."""
        number = os.urandom(4).hex()
        begin, end = f"begin-{number}", f"end-{number}"
        # The words in two pieces: what the line echoes must not look like the answer.
        line = (
            f"stty -echo -onlcr; echo 'begin-''{number}'; {{ {command}\n}} </dev/null 2>&1; "
            f"code=$?; echo; echo 'end-''{number}' $code\n"
        )
        deadline = time.monotonic() + patience
        self._send(line.encode(), deadline)
        text = ""
        while (match := re.search(rf"{end} (\d+)\s", text)) is None:
            if time.monotonic() > deadline:
                raise NoAnswer(f"the machine did not answer within {patience:.0f} s: {command}")
            text += self._receive()
        body = text[: match.start()].split(begin, 1)[-1].replace("\r", "")
        return int(match[1]), body.strip("\n")

    def _send(self, data: bytes, deadline: float) -> None:
        while self._control is None:
            interrupt.check()
            if not self.is_on():
                raise PowerIsOff
            with contextlib.suppress(OSError):
                control = socket.socket(socket.AF_UNIX)
                control.settimeout(0.2)
                control.connect(str(self._control_place))
                self._control = control
            if time.monotonic() > deadline:
                raise NoAnswer(f"no control line at {self._control_place}")
        try:
            self._control.sendall(data)
        except OSError:
            raise PowerIsOff from None

    def _receive(self) -> str:
        interrupt.check()
        assert self._control is not None
        try:
            data = self._control.recv(65536)
        except TimeoutError:
            return ""
        except OSError:
            raise PowerIsOff from None
        if not data:
            raise PowerIsOff
        return data.decode(errors="replace")
