# SPDX-License-Identifier: MIT
"""The folder of a lab: what it is made of, and what is kept until it is started again."""

import dataclasses
import json
import os
import pathlib
from typing import Any

from rig.failure import Failure
from rig.files import read_text, write_file

MODEL = "LabNode-1"
FACTORY = "4QZ1.0.0"
FLOOR = "4QZ1.0.0"  # older ones are refused
MOST_EXTENDERS = 30
GATEWAY = "gateway"


@dataclasses.dataclass(frozen=True)
class Setup:
    """One of the nodes."""

    name: str
    number: int  # the gateway's is 1
    mesh: int = 0  # of those beside one another

    @property
    def gateway(self) -> bool:
        return self.number == 1

    @property
    def mac(self) -> str:
        return f"02:00:5E:00:54:{self.number:02X}"

    @property
    def serial(self) -> str:
        return f"LAB{self.number:09}"

    @property
    def address(self) -> str:
        """That its downloads come from."""
        return f"127.47.{self.mesh}.{self.number}"

    @property
    def mode(self) -> str:
        return "RGW" if self.gateway else "AP_Bridge"

    @property
    def role(self) -> str:
        return "Controller" if self.gateway else "Agent"


def setups(extenders: int, mesh: int = 0) -> list[Setup]:
    return [
        Setup(GATEWAY, 1, mesh),
        *(Setup(f"ext-{number}", number + 1, mesh) for number in range(1, extenders + 1)),
    ]


class Kept:
    """In a file: how large the mesh is, which ports it had, how often each node booted."""

    def __init__(self, folder: pathlib.Path) -> None:
        self._path = folder / "lab.json"
        self.values: dict[str, Any] = {
            "extenders": None, "ports": {}, "boots": {}, "url": "", "token": "",
        }  # fmt: skip
        text = read_text(self._path)
        if text:
            try:
                self.values.update(json.loads(text))
            except ValueError:
                raise Failure(
                    f"{self._path} is damaged: start with another folder, or empty this one"
                ) from None

    def write(self) -> None:
        """It holds the address with its token: for this user alone."""
        new = self._path.with_suffix(".new")
        new.unlink(missing_ok=True)
        os.close(os.open(new, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600))
        write_file(new, json.dumps(self.values, indent=1) + "\n")
        new.rename(self._path)


def lab_runs_in(folder: pathlib.Path) -> bool:
    return folder.is_dir() and bool(Kept(folder).values["url"])


def address_in(folder: pathlib.Path) -> str:
    """Of the lab that runs in this folder."""
    url = Kept(folder).values["url"] if folder.is_dir() else ""
    if not isinstance(url, str) or not url:
        raise Failure(f"no lab runs in {folder}: start one with ./dev lab, or name its --folder")
    return url
