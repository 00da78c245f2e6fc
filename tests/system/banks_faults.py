# SPDX-License-Identifier: MIT
"""A full disk, a read-only one, a bank that stores wrong bytes, one that lies about its sync: the
node stays true, and finishes once the fault is gone."""

import argparse
import collections
import concurrent.futures
import pathlib
import shutil
import subprocess
import sys
import time

from node_place import Place
from node_servers import FileServer
from rig.failure import Failure
from rig.waiting import GLANCE, PATIENCE
from sweep_node import PowerCut, PowerNode, SmallPlace, Untrue, must_come

AT_ONCE = 2
SOON = 6  # seconds; a node that could not write may wait for what never comes
STRIDE = 32  # of the calls that --quick takes
ERRORS = ("ENOSPC", "EROFS")
REFUSED = 41  # exit code of otactl: the version failed its trial


class FaultyNode(PowerNode):
    """The fault is that of its file system. What a boot loader writes to lies outside of it."""

    def run_boot_loader(self):
        power, self.power = self.power, None
        super().run_boot_loader()
        self.power = power

    def under_power(self, program):
        if self.aim and self.aim[1] <= self.used:
            # A single failure is over; a disk that is full stays full.
            self.aim = None if self.aim[0] == "--at" else (self.aim[0], self.used + 1)
            if self.aim is None:
                self.power = ()
        return super().under_power(program)

    def _ended(self, code):
        super()._ended(code)
        self.supply.forget_count()

    def account(self):
        """Counts the calls of a life that ended by itself."""
        self.wait_until_off()
        if self.supply.counted() is not None:
            self._ended(self.daemon.child.returncode)

    def has_come_to(self, number):
        """True once it made its call of this number."""
        return self.used + len(self.supply.journal()) >= number

    def live_until_idle_or_stuck(self):
        """Once the fault was met, it has a while to come to its end; before that, all its time."""
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                return self.live_until_idle(SOON)
            except Untrue:
                raise
            except (AssertionError, Failure):
                met = self.aim is None or self.has_come_to(self.aim[1])
                if met or not self.daemon.is_running() or time.monotonic() > deadline:
                    raise
            time.sleep(GLANCE)


def live_as_well_as_can_be(node):
    """An upgrade whose every step may fail. What is told meanwhile must be true all the same."""
    node.boot()
    try:
        node.wait_until_ready()
        answer = node.control("offer", "-", text=node.offer_text())
        if answer.code == 0:
            node.live_until_idle_or_stuck()
        node.check()
    except Untrue:
        raise
    except (AssertionError, Failure):
        pass  # it ends, or waits for ever, where it cannot keep what it must keep
    if node.daemon.is_running():
        node.stop()
    node.account()
    node.power, node.aim = None, None
    node.wait_until_off()


def finish(node):
    """The fault is gone, and the power comes back."""
    node.boot()
    node.check()
    node.live_until_idle()
    if not node.is_committed(Place.NEW):
        answer = node.control("offer", "-", text=node.offer_text())
        if answer.code == REFUSED:
            node.told("forget", Place.NEW)
            answer = node.control("offer", "-", text=node.offer_text())
        if answer.code != 0:
            raise AssertionError(f"offered again: {answer.error}")
        node.live_until_idle()
        node.check()
    if not node.is_committed(Place.NEW):
        raise AssertionError(f"it is not committed: {node.boot_state()}\n{node.log_end()}")
    node.stop()


class Faults:
    """Each fault on a node of its own."""

    def __init__(self, place):
        self.place, self.server = place, FileServer(place)
        self.calls = 0  # of a life without a fault
        self.lied = set()  # files whose sync was believed

    def node(self, name, power, aim=None):
        return FaultyNode(self.place, name, self.server, power=power, aim=aim)

    def leave(self, node):
        node.close()
        shutil.rmtree(node.folder)
        shutil.rmtree(self.place.folder / f"{node.name}.bus")

    def count(self):
        node = self.node("count", ())
        live_as_well_as_can_be(node)
        if not node.is_committed(Place.NEW):
            raise AssertionError(f"without a fault it is not committed: {node.log_end()}")
        self.calls = len(node.journal)
        self.leave(node)
        return node.journal

    def check_met(self, number, met):
        """A fault that did not happen shows nothing."""
        if not met and must_come(number, self.calls):
            raise AssertionError(f"the fault was not met; there were {self.calls} calls without it")

    def failing(self, error, which, number):
        node = self.node(f"{error}{which}-{number}", ("--fail", error), (which, number))
        try:
            live_as_well_as_can_be(node)
            self.check_met(number, node.used >= number)
            finish(node)
        finally:
            self.leave(node)

    def wrong_bytes(self):
        """What is read back is not what was written: the bank is not marked, nothing activated."""
        node = self.node("wrong-bytes", ("--corrupt", self.place.folder / "wrong-bytes/banks/b"))
        node.boot().wait_until_ready()
        end = node.live_until_end_of(node.offer())
        state = node.boot_state()
        if (state["active"], state["next"], state["b"]["whole"]) != (
            "a",
            "a",
            "0",
        ) or "OTA_SW_FLASH_WRITE_FAILED" not in node.words():
            raise AssertionError(f"wrong bytes were taken: {end}, {state}, {node.words()}")
        node.check()
        node.stop()
        node.power = None
        finish(node)
        self.leave(node)

    def lying(self, what, number):
        name = f"lying-{pathlib.Path(what).stem}-{number}"
        node = self.node(name, ("--lie", self.place.folder / name / what), ("--cut", number))
        node.bank_may_lie = True
        try:
            try:
                live_as_well_as_can_be(node)
                self.check_met(number, False)
            except PowerCut:
                node.aim = None
                if any("sync" in line and line.endswith(f" {what}") for line in node.journal):
                    self.lied.add(what)
                finish(node)
        finally:
            self.leave(node)


def at_once(name, jobs):
    """Runs them, says how many came to their end; returns the failures."""
    wrong = collections.OrderedDict()
    began = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        running = {pool.submit(job): label for label, job in jobs.items()}
        for done in concurrent.futures.as_completed(running):
            try:
                done.result()
            except (
                AssertionError,
                Failure,
                PowerCut,
                OSError,
                subprocess.SubprocessError,
            ) as error:
                wrong[running[done]] = error
    print(
        f"{name}: {len(jobs)} nodes, {len(jobs) - len(wrong)} stayed true and finished "
        f"({time.monotonic() - began:.0f} s)",
        flush=True,
    )
    if not jobs:
        wrong["no node"] = AssertionError("there was nothing to try")
    for label, error in wrong.items():
        print(f"  {label}: {type(error).__name__}: {error}", flush=True)
    return wrong


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--quick", action="store_true", help="a stride instead of every call")
    options = parser.parse_args()
    wrong = []
    with SmallPlace(options.build.absolute()) as place:
        faults = Faults(place)
        calls = faults.count()
        every = range(1, len(calls) + 1, STRIDE if options.quick else 1)
        some = range(1, len(calls) + 1, STRIDE * (4 if options.quick else 1))
        for error in ERRORS:
            for which, numbers in (("--at", every), ("--from", some)):
                wrong += at_once(
                    f"{error} {which}",
                    {
                        f"{error} {which} {number} ({calls[number - 1]})": lambda error=error, which=which, number=number: faults.failing(
                            error, which, number
                        )
                        for number in numbers
                    },
                )
        wrong += at_once("wrong bytes", {"wrong bytes": faults.wrong_bytes})
        for what in ("banks/b", "boot_state.ini"):
            wrong += at_once(
                f"{what} lies about its sync",
                {
                    f"{what}, cut at {number} ({calls[number - 1]})": lambda what=what, number=number: faults.lying(
                        what, number
                    )
                    for number in every
                    if number > len(calls) // 2
                },
            )
            if what not in faults.lied:
                print(f"  no power was cut behind a sync of {what}")
                wrong.append(what)
        print(f"{len(calls)} calls from the offer to the commit")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
