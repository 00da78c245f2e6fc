# SPDX-License-Identifier: MIT
"""The project as it gets into a node's root: from its packages, or from a build folder."""

import os
import pathlib
import shutil

from machine.cache import fingerprint
from machine.debian import run_to_the_end
from rig.failure import Failure
from rig.programs import Programs

_SHIPPED = (
    "otad", "otactl", "ota-host", "ota-image", "ota-boot-state", "libotaSwAgent.so",
    "libotaSwPlatform.so",
)  # fmt: skip
_PACKAGES = ("libotaswagent", "otad", "otactl", "ota-tools")


class Project:
    """A build folder, whose tools make images and cards too; `packages`: where the node's programs
    come from instead."""

    def __init__(self, build: pathlib.Path, packages: pathlib.Path | None) -> None:
        self.build = build
        self.programs = Programs(build)
        self._packages = [_newest(packages, name) for name in _PACKAGES] if packages else []

    def fingerprint(self) -> str:
        """Of all that is installed."""
        own = pathlib.Path(__file__)
        if self._packages:
            return fingerprint(own, *self._packages)
        files = [self.programs.program(name) for name in _SHIPPED]
        return fingerprint(own, own.parents[1] / "packaging", *files)

    def install(self, system: pathlib.Path) -> None:
        """Into a whole system, by its package manager where there are packages."""
        if not self._packages:
            self._install_build(system)
            return
        place = system / "tmp/packages"
        place.mkdir()
        for package in self._packages:
            shutil.copy(package, place)
        # Nothing is started: this system does not run.
        policy = system / "usr/sbin/policy-rc.d"
        policy.write_text("#!/bin/sh\nexit 101\n")
        policy.chmod(0o755)
        names = [f"/tmp/packages/{package.name}" for package in self._packages]
        run_to_the_end(["chroot", system, "dpkg", "-i", *names], "installing the packages")
        policy.unlink()

    def _install_build(self, system: pathlib.Path) -> None:
        environment = {"PATH": os.environ["PATH"], "DESTDIR": str(system)}
        for component in ("library", "service", "tools"):
            words = [
                "cmake", "--install", self.build, "--prefix", "/usr", "--strip", "--component",
                component,
            ]  # fmt: skip
            run_to_the_end(words, "installing the project into the root", env=environment)
        run_to_the_end(["systemd-sysusers", f"--root={system}"], "making the service's group")


def _newest(folder: pathlib.Path, name: str) -> pathlib.Path:
    found = sorted(folder.glob(f"{name}_*.deb"), key=lambda one: one.stat().st_mtime)
    if not found:
        raise Failure(f"{folder} holds no package {name}: run ./dev package first")
    return found[-1]
