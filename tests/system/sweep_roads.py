# SPDX-License-Identifier: MIT
"""The roads whose every call is cut: how they are lived, and how a node comes to their end."""

import dataclasses
import shutil
import subprocess

from node_place import Place
from rig.failure import Failure
from rig.waiting import wait_for
from sweep_node import UNHEALTHY, PowerCut, PowerNode

BY_ITSELF, AGAIN, NOTHING, NOT_MET = (
    "finished by itself",
    "after a new offer",
    "nothing to do",
    "not met",
)
ATTEMPTS = 3  # as the platform has them where the configuration does not say


def upgrade(node, version):
    """From the offer to its end; the node runs and is ready."""
    return node.live_until_end_of(node.offer(version))


def commit_another(node):
    """Whatever became of the new version, a good one that is newer is committed."""
    upgrade(node, Place.NEWER)
    node.check()
    if not node.is_committed(Place.NEWER):
        raise AssertionError(
            f"a good version is not committed: {node.boot_state()}\n" + node.log_end()
        )


class Commit:
    """Offer, download, write, activation, reboot, boot, health, commit."""

    name = "commit"
    # In a hurry: calls with these words, which say what boots and what is reported of it, and the
    # reboot behind that report, one by one; of the others some by a stride.
    essential = ("boot_state", "ota_act_success", "openat reboot")
    stride = 32

    @staticmethod
    def prepare(node):
        pass

    @staticmethod
    def live(node):
        node.boot().wait_until_ready()
        end = upgrade(node, Place.NEW)
        if end["code"] != 0:
            raise AssertionError(f"the upgrade ended otherwise: {end}")
        node.stop()

    @staticmethod
    def finish(node, stood):
        node.live_until_idle()
        node.check()
        if node.is_committed(Place.NEW):
            return BY_ITSELF if stood else NOTHING
        upgrade(node, Place.NEW)
        node.check()
        if not node.is_committed(Place.NEW):
            raise AssertionError(
                f"offered again, it is not committed: {node.boot_state()}\n" + node.log_end()
            )
        return AGAIN


class FallBack:
    """The new version fails its health command; the old one boots and the failure is reported."""

    name = "fall-back"
    essential = Commit.essential
    stride = Commit.stride

    @staticmethod
    def prepare(node):
        (node.folder / UNHEALTHY).touch()

    @staticmethod
    def live(node):
        node.boot().wait_until_ready()
        upgrade(node, Place.NEW)
        if "OTA_SW_COMMIT_FAILED" not in node.words():
            raise AssertionError(f"no failure was reported: {node.words()}\n{node.log_end()}")
        node.stop()

    @staticmethod
    def finish(node, stood):
        node.live_until_idle()
        version = node.check()
        if version != Place.OLD:
            raise AssertionError(f"{version} runs, which is not healthy\n{node.log_end()}")
        (node.folder / UNHEALTHY).unlink()
        commit_another(node)
        return BY_ITSELF if stood else NOTHING


class Attempts:
    """The new version never comes up: its boot attempts are used up, and the old one boots."""

    name = "attempts"
    essential = ("ota-boot-state",)
    stride = None  # the other calls are those of the other roads

    @staticmethod
    def prepare(node):
        pass

    @staticmethod
    def live(node):
        node.boot().wait_until_ready()
        ticket = node.offer(Place.NEW)
        wait_for(
            "the agent asks for the reboot",
            lambda: node.check_daemon() or node.reboot_file.exists(),
        )
        node.stop()
        boots = 0
        while boots == 0 or node.boot_state()["active"] == "b":
            node.run_boot_loader()
            boots += 1
        if boots != ATTEMPTS + 1:
            raise AssertionError(f"the old bank runs after {boots} boots: {node.said}")
        node.boots += 1
        node.start()
        node.live_until_end_of(ticket)
        if "OTA_SW_COMMIT_FAILED" not in node.words():
            raise AssertionError(f"no failure was reported: {node.words()}\n{node.log_end()}")
        node.stop()

    @staticmethod
    def finish(node, stood):
        # Where it was met before the last attempt, the new version comes up after all.
        node.live_until_idle()
        node.check()
        commit_another(node)
        return BY_ITSELF if stood else NOTHING


ROADS = {road.name: road for road in (Commit, FallBack, Attempts)}


@dataclasses.dataclass(frozen=True)
class Point:
    """One call of a road, and what its cut leaves."""

    road: str
    mode: str
    number: int
    seed: int

    def __str__(self):
        return f"--road {self.road} --mode {self.mode} --point {self.number} --seed {self.seed}"

    def options(self):
        return ["--mode", self.mode, "--seed", str(self.seed)]


class Runner:
    """Sends nodes along a road, each in a folder of its own."""

    def __init__(self, place, server, keep=False):
        self.place, self.server, self.keep = place, server, keep

    def node(self, name, road, power, **options):
        node = PowerNode(self.place, name, self.server, power=power, **options)
        road.prepare(node)
        return node

    def count(self, road):
        """Lives the road without a cut; returns the line of each call."""
        node = self.node(f"{road.name}-count", road, ())
        try:
            road.live(node)
            return node.journal
        finally:
            self.leave(node)

    def cut(self, point):
        """Returns what became of the node, and the line of the call that it was cut at."""
        road = ROADS[point.road]
        node = self.node(
            f"{point.road}-{point.mode}-{point.number}-{point.seed}",
            road,
            point.options(),
            aim=("--cut", point.number),
        )
        call = ""
        try:
            try:
                road.live(node)
                return NOT_MET, call
            except PowerCut as cut:
                call = str(cut)
            node.check_told()
            stood = node.pending()
            node.boot()
            node.check()
            outcome = road.finish(node, stood)
            node.stop()
            node.run_boot_loader()
            node.check_boot()
            return outcome, call
        except (AssertionError, Failure, OSError, subprocess.SubprocessError) as error:
            raise AssertionError(f"cut at: {call or 'none'}\n{error}") from error
        finally:
            self.leave(node)

    def leave(self, node):
        node.close()
        if not self.keep:
            shutil.rmtree(node.folder)
            shutil.rmtree(self.place.folder / f"{node.name}.bus")
