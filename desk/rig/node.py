# SPDX-License-Identifier: MIT
"""A node under power: its folder, its message bus, and the daemon that runs it."""

import pathlib
from typing import Any

from rig.bus import LOCAL_ADDRESS, Bus
from rig.node_folder import Booted, NodeFolder, NodePlan
from rig.otactl import Otactl
from rig.processes import Process, Words
from rig.programs import Programs

_ENDS_WITHIN = 20.0  # seconds; the daemon has its host and its agent to end


class Node(NodeFolder):
    """Its programs run in its folder, which is the working directory that its paths begin at."""

    def __init__(
        self,
        programs: Programs,
        folder: pathlib.Path,
        plan: NodePlan,
        bus: Bus,
        environment: dict[str, str],
        *,
        fast: bool = True,
        file_limit: int = 0,
    ) -> None:
        """`fast`: sleeps and the waits of the download pass at once; `file_limit`: bytes that a
        file of the node may grow to, 0: any."""
        super().__init__(programs, folder, plan)
        self.name = folder.name
        self.bus = bus
        self.fast, self.file_limit = fast, file_limit
        self.log = folder.with_name(f"{folder.name}.log")
        self.boots = 0
        self.daemon: Process | None = None
        self._environment = environment
        self.otactl = Otactl(programs.program("otactl"), bus, environment)

    def environment(self) -> dict[str, str]:
        """Of the daemon, whose host is ota-desk-host."""
        return {
            **self._environment,
            "OTA_DESK_MAC": self.plan.mac,
            "OTA_DESK_FAST": "1" if self.fast else "0",
            "OTA_DESK_REBOOT_FILE": str(self.reboot_file),
            **({"OTA_DESK_ADDRESS": self.plan.address} if self.plan.address else {}),
        }

    def arguments(self) -> list[str]:
        """The daemon's command line."""
        address = LOCAL_ADDRESS if self.bus.folder == self.folder else self.bus.address
        return [
            str(self.programs.program("otad")), "--config", "node.conf",
            "--host", str(self.programs.program("ota-desk-host")),
            "--library", str(self.programs.library),
            "--bus", address, "--boot-id", f"boot-{self.boots}",
        ]  # fmt: skip

    # Power.

    def start(self, words: Words | None = None, **options: Any) -> None:
        """Starts the daemon in the boot that goes on, or these words around it."""
        if self.file_limit:
            options["file_limit"] = self.file_limit
        self.daemon = Process(
            words or self.arguments(),
            self.folder,
            self.log,
            self.environment(),
            ends_within=_ENDS_WITHIN,
            **options,
        )

    def boot(self) -> Booted:
        """The power is back."""
        booted = self.run_boot_loader()
        self.boots += 1
        self.start()
        return booted
