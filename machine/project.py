# SPDX-License-Identifier: MIT
"""The project as it gets into a node's root."""

import os
import pathlib

from machine.cache import fingerprint
from machine.debian import run_to_the_end
from rig.programs import Programs

_SHIPPED = ("otad", "otactl", "ota-host", "ota-image", "ota-boot-state", "libotaSwAgent.so")


class Project:
    """A build folder."""

    def __init__(self, build: pathlib.Path) -> None:
        self.build = build
        self.programs = Programs(build)

    def fingerprint(self) -> str:
        """Of all that is installed."""
        source = pathlib.Path(__file__).parents[1] / "packaging"
        files = [self.programs.program(name) for name in _SHIPPED]
        files.append(self.programs.program("libotaSwPlatform.so"))
        return fingerprint(pathlib.Path(__file__), source, *files)

    def install(self, tree: pathlib.Path) -> None:
        environment = {"PATH": os.environ["PATH"], "DESTDIR": str(tree)}
        for component in ("library", "service", "tools"):
            words = [
                "cmake", "--install", self.build, "--prefix", "/usr", "--strip", "--component",
                component,
            ]  # fmt: skip
            run_to_the_end(words, "installing the project into the root", env=environment)
