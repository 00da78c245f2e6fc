# SPDX-License-Identifier: MIT
"""What a run is about, and what was seen of it: what the verdict is given over."""

import dataclasses
import pathlib

from demo.scenarios import Scenario
from rig.images import Image
from rig.node_folder import counts_as_gateway


@dataclasses.dataclass(frozen=True)
class NodeSetup:
    """One of the nodes."""

    name: str  # of its folder and log
    number: int  # the first one is 1
    mode: str
    role: str
    runs_scenario: bool  # false: it only listens, as the root

    @property
    def mac(self) -> str:
        return f"02:00:5E:00:53:0{self.number}"

    @property
    def serial(self) -> str:
        return f"DESK0000000{self.number}"

    @property
    def gateway(self) -> bool:
        return counts_as_gateway(self.mode, self.role)


@dataclasses.dataclass
class Observed:
    """What a node has shown that ran a scenario."""

    boots: list[str] = dataclasses.field(default_factory=list)  # the versions, in order
    words: list[str] = dataclasses.field(default_factory=list)  # status words, in order
    at_the_root: list[str] = dataclasses.field(default_factory=list)  # that the gateway raised
    failed_downloads: list[str] = dataclasses.field(default_factory=list)  # why each failed
    refusal: str = ""  # why the passive bank was not taken, by the node
    handed_over: bool = False  # the gateway raised where the image is
    early: bool = False  # it activated before the time that was set
    power_cut: bool = False
    changes: int = 0  # of its storage, where the power is to be cut at one
    resumed: bool = False  # it went on with what had broken off


@dataclasses.dataclass(frozen=True)
class Context:
    """What all nodes of a run share."""

    scenario: Scenario
    policy: str
    limit: int  # seconds
    cut_power_at: int
    fast: bool  # waits pass at once
    has_root: bool  # the nodes know the root's broker
    offered: Image
    image_url: str
    slow_image_url: str  # the download blocks for many minutes, until the crawl ends
    crawl_mark: pathlib.Path  # downloads that begin once it is removed are fast
