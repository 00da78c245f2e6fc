# SPDX-License-Identifier: MIT
"""What was built, and where it lies in the build folder."""

import os
import pathlib

from rig.failure import Failure
from rig.files import last_line
from rig.processes import run

_PLACES = {
    "otad": "service/otad",
    "otactl": "cli/otactl",
    "ota-host": "host/ota-host",
    "ota-desk-host": "host/ota-desk-host",
    "ota-power": "desk/power/ota-power",
    "ota-image": "tools/ota-image",
    "ota-boot-state": "tools/ota-boot-state",
    "ota-bench-upgrade": "bench/ota-bench-upgrade",
    "ota-desk": "desk/ota-desk",
    "ota-desk-clock.so": "desk/ota-desk-clock.so",
    "libotaSwAgent.so": "src/libotaSwAgent.so",
    "libotaSwPlatform.so": "host/libotaSwPlatform.so",
}


class Programs:
    """The programs of one build, by their names; `library` is run instead of the build's own."""

    def __init__(self, build: pathlib.Path, library: pathlib.Path | None = None) -> None:
        self.build = build
        self._library = library

    @property
    def runs(self) -> pathlib.Path:
        """Where runs are, and the images that they share: in the build folder. One that is installed,
        with links to what other packages have, is the system's own."""
        if not (self.build / _PLACES["otad"]).is_symlink():
            return self.build / "demo"
        cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME", ""))
        if not cache.is_absolute():
            cache = pathlib.Path.home() / ".cache"
        return cache / "ota-desk"

    def path(self, name: str) -> pathlib.Path:
        if name == "libotaSwAgent.so" and self._library:
            return self._library
        return self.build / _PLACES[name]

    def program(self, name: str) -> pathlib.Path:
        path = self.path(name)
        if not path.exists():
            raise Failure(
                f"{path} is missing: build the project first, or name its build folder with "
                "--build-dir"
            )
        return path

    def require(self, *names: str) -> None:
        """They and the agent must be there."""
        for name in names:
            self.program(name)
        _ = self.library

    @property
    def library(self) -> pathlib.Path:
        """The agent."""
        path = self.path("libotaSwAgent.so")
        if not path.exists():
            what = "name the agent's library with --library" if self._library else ""
            raise Failure(f"{path} is missing: {what or 'build the project first'}")
        return path

    def run_tool(self, name: str, *words: str | int | pathlib.Path) -> str:
        """What it printed; it must end well."""
        finished = run([self.program(name), *words])
        if finished.returncode != 0:
            said = last_line(finished.stderr).removeprefix(f"{name}: ")
            raise Failure(f"{name} {words[0]} ended with {finished.returncode}: {said}")
        return finished.stdout
