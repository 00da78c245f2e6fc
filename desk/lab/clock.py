# SPDX-License-Identifier: MIT
"""A node whose clocks can be moved, and where they stand on the earth."""

import pathlib

from rig.bus import Bus
from rig.clock import Clock
from rig.node import Node
from rig.node_folder import NodePlan
from rig.programs import Programs

# As the C library reads them.
ZONES = {"UTC": "UTC", "central-europe": "CET-1CEST,M3.5.0,M10.5.0/3"}


class ClockedNode(Node):
    """One whose clocks can be moved. Sleeps of the agent pass at once, and no timer does."""

    def __init__(
        self,
        programs: Programs,
        folder: pathlib.Path,
        plan: NodePlan,
        bus: Bus,
        environment: dict[str, str],
        clock: Clock,
    ) -> None:
        super().__init__(programs, folder, plan, bus, environment)
        self.clock = clock
        self.zone = "UTC"

    def environment(self) -> dict[str, str]:
        return {
            **super().environment(),
            "TZ": ZONES[self.zone],
            "OTA_DESK_FAST": "sleeps",
            "OTA_DESK_CLOCK": str(self.clock.path),
            "LD_PRELOAD": str(self.programs.program("ota-desk-clock.so")),
        }
