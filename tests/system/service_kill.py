# SPDX-License-Identifier: MIT
"""Either process is killed, or the power cut, at every step of an upgrade: it comes to its end."""

import dataclasses
import json
import subprocess
import sys
import time

import node_case
from node import ACTIVATES_IN, seconds_left
from node_place import Place
from rig.processes import own_environment
from rig.waiting import GLANCE, wait_for

COMMITTED, SUPERSEDED, ACTIVATED = 0, 59, 58
BLOWS = ("host", "daemon", "power")
MOST_SAVES = 8  # one more than a process of the daemon makes in an upgrade


@dataclasses.dataclass(frozen=True)
class Point:
    """Where the node is when it is hit."""

    name: str
    spot: str  # as hold_probe.cpp takes it, of the host
    fetches: tuple  # how often the image may be fetched in the end
    policy: int = 1
    boot: int = 1  # before the reboot, or behind it
    timed: bool = False  # when the activation time has come


AGAIN, ONCE, NEVER = (2,), (1,), (0,)
# Each change of the boot state is two writes with two syncs behind each.
POINTS = [
    Point("before the first byte", "fopen 4QZ 1 before", ONCE),
    Point("verifying", "popen md5sum 1 before", AGAIN),
    Point("writing, nothing changed yet", "write boot_state.ini 1 before", AGAIN),
    Point("writing, the bank is given up", "fsync boot_state.ini 4 after", AGAIN),
    Point("writing, in the middle", "write banks/b 2 before", AGAIN),
    Point("writing, not on the disk yet", "fsync banks/b 1 before", AGAIN),
    Point("written, not noted", "write boot_state.ini 3 before", AGAIN),
    Point("written, noted in one copy", "write boot_state.ini 3 after", ONCE),
    Point("written and noted", "fsync boot_state.ini 8 after", ONCE),
    Point("activating", "write boot_state.ini 5 before", ONCE),
    Point("activating, in one copy", "write boot_state.ini 5 after", ONCE),
    Point("activated", "fsync boot_state.ini 12 after", ONCE),
    Point("activated, not marked", "system ota_act_success 1 before", ONCE),
    Point("rebooting, reported", "sleep sleep 1 before", ONCE),
    Point("rebooting, asked for", "open /reboot-asked 1 after", ONCE),
    Point("committing", "fopen ota_act_success 1 before", ONCE, boot=2),
    Point("committing, reported", "system ota_act_success 1 before", ONCE, boot=2),
    Point("keeping that it passed", "write boot_state.ini 1 before", ONCE, boot=2),
    Point("keeping that it passed, in one copy", "write boot_state.ini 1 after", ONCE, boot=2),
    Point("marking good", "write boot_state.ini 3 before", ONCE, boot=2),
    Point("marking good, in one copy", "write boot_state.ini 3 after", ONCE, boot=2),
    Point("marked good", "fsync boot_state.ini 8 after", ONCE, boot=2),
    Point("written, not noted, on schedule", "write boot_state.ini 3 before", AGAIN, policy=0),
    Point("written and noted, on schedule", "fsync boot_state.ini 8 after", AGAIN, policy=0),
    Point("activating at its time", "write boot_state.ini 1 before", ONCE, policy=0, timed=True),
    Point("activated at its time", "fsync boot_state.ini 4 after", ONCE, policy=0, timed=True),
    Point("on arrival: activating", "write boot_state.ini 1 before", NEVER, policy=3),
    Point("on arrival: activated", "fsync boot_state.ini 4 after", NEVER, policy=3),
    Point("on arrival: rebooting", "sleep sleep 1 before", NEVER, policy=3),
    Point("on arrival: asked for", "open /reboot-asked 1 after", NEVER, policy=3),
]


class Kill(node_case.FleetCase):
    """One node a point and a blow."""

    @staticmethod
    def tell(points, seconds):
        print(f"kill points: {points}, all came to their end ({seconds:.0f} s)", flush=True)

    @staticmethod
    def hit(node, blow):
        """Held where it is until it is dead."""
        if blow == "host":
            node.kill_host()
            node.let_go()
            return
        node.kill_daemon()
        node.let_go()
        if blow == "power":
            node.boot()
        else:
            node.start()

    def check_end(self, node, ticket, codes, fetches, version=Place.NEW):
        end = node.live_until_end_of(ticket)
        self.assertIn(end["code"], codes, end)
        wait_for("the node is idle", lambda: node.status()["stage"] == "idle")
        status = node.status()
        self.assertEqual((status["ticket"], status["queued"], status["timers"]), (0, 0, []))
        state = node.boot_state()
        self.assertEqual((state["active"], state["next"], state["trial"]), ("b", "b", "none"))
        self.assertEqual((state["b"]["whole"], state["b"]["version"]), ("1", version))
        self.assertTrue(node.bank_holds("b", version), "the bank is not the image")
        self.assertTrue(node.bank_holds("a", Place.OLD), "the bank that ran was written to")
        self.assertFalse([word for word in node.words() if "FAIL" in word], node.words())
        whole = self.place.images[version].stat().st_size
        got = [
            size
            for status, size in self.server.fetched(node.name)
            if (status, size) == (200, whole)
        ]
        self.assertIn(len(got), fetches, "an image that was written whole is not fetched again")
        self.assertFalse(node.had_twin(), "two host processes at a time")

    def go_to(self, node, point):
        """Until the host is held there; returns the ticket."""
        spot = f"ota-desk-host {point.spot}"
        if point.boot == 1 and not point.timed:
            node.wait_until_ready()
            node.hold(spot)
        ticket = node.offer(policy=point.policy)
        if point.timed:
            wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
            node.hold(spot)
            node.told("activate-at", "now+3")
        elif point.boot == 2:
            wait_for("the agent asks for the reboot", node.reboot_file.exists)
            node.stop()
            node.hold(spot)
            node.boot()
        node.wait_until_held()
        return ticket

    def upgrade_hit_at(self, point, blow):
        node = self.node()
        fetches = point.fetches
        if point.policy == 3:
            node.live_until_end_of(node.offer(policy=2))
            fetches = (len(self.server.fetched(node.name)),)
        ticket = self.go_to(node, point)
        self.hit(node, blow)
        if point.policy == 0 and not point.timed:
            left = wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
            self.assertAlmostEqual(left, ACTIVATES_IN, delta=60)
            node.told("activate-at", "now+3")
        # The version of an activation on arrival is compared with none.
        self.check_end(node, ticket, [ACTIVATED] if point.policy == 3 else [COMMITTED], fetches)
        if point.policy == 3:
            # Not activated a second time, which would swap back.
            node.reboot().wait_until_ready()
            self.assertEqual(node.boot_state()["active"], "b")
            self.assertEqual(node.status()["stage"], "idle")
        node.close()

    def test_every_step(self):
        jobs = {
            f"{point.name}, {blow}": lambda point=point, blow=blow: self.upgrade_hit_at(point, blow)
            for point in POINTS
            for blow in BLOWS
        }
        self.tell(len(jobs), self.each_at_once(jobs))

    # Where nothing can be held: the node is hit while it rests or crawls.

    def idle(self, blow):
        node = self.node().wait_until_ready()
        self.hit(node, blow)
        self.check_end(node, node.offer(), [COMMITTED], ONCE)

    def downloading(self, blow):
        node = self.node()
        self.server.crawl(node.name)
        ticket = node.offer()
        wait_for("the first bytes", lambda: node.status()["downloaded_bytes"] > 10_000)
        self.server.crawl(node.name, False)
        self.hit(node, blow)
        self.check_end(node, ticket, [COMMITTED], ONCE)

    @staticmethod
    def kept_timer(node, timer):
        """Of the requests on the disk; none where it is not armed."""
        kept = node.kept_requests()
        return next((one for one in kept["timers"] if one["name"] == timer), None) if kept else None

    def check_timer_goes_on(self, node, timer, blow):
        """To the same end, however long the blow and the start behind it take."""
        before = wait_for(f"{timer} is kept", lambda: self.kept_timer(node, timer))
        crashes = len(node.events("host-started"))
        self.hit(node, blow)
        node.wait_for_event("host-started", crashes + 1)
        wait_for(f"{timer} is armed again", lambda: seconds_left(node, timer))
        self.assertEqual(node.status()["stage"], "waiting")
        after = self.kept_timer(node, timer)
        for key in ("seconds", "armedAt", "endsAt"):
            self.assertEqual(after[key], before[key], key)
        # Kept as a time since boot as well, which counts: rounded to a second each.
        self.assertAlmostEqual(after["endBootMs"] / 1000 - before["endBootMs"] / 1000, 0, delta=2)

    def reboot_timer(self, blow):
        node = self.node()
        ticket = node.offer(policy=0)
        self.check_timer_goes_on(node, "rebootTimer", blow)
        node.told("activate-at", "now+3")
        self.check_end(node, ticket, [COMMITTED], ONCE)

    def retry_timer(self, blow):
        node = self.node(fast=False)
        self.server.refuse(node.name)
        ticket = node.offer(policy=2)
        self.check_timer_goes_on(node, "downloadRetryTimer", blow)
        self.server.refuse(node.name, False)
        self.assertEqual(node.told("cancel", str(ticket))["ticket"], ticket)
        self.assertEqual(node.status()["stage"], "idle")

    def swap_on_schedule(self, blow):
        """The same request arms the same timer, crash or none: no time of day is made up for it."""
        ends = []
        for hit in (False, True):
            node = self.node()
            node.live_until_end_of(node.offer(policy=2))
            if hit:
                node.hold("ota-desk-host sleep sleep 1 before")
            node.offer(policy=0)
            if hit:
                node.wait_until_held()
                self.hit(node, blow)
            ends.append(
                wait_for(
                    "the reboot timer is kept",
                    lambda node=node: self.kept_timer(node, "rebootTimer"),
                )["endsAt"]
            )
            self.assertEqual(len(self.server.fetched(node.name)), 1)
        # The next midnight, where no signal brought a time.
        self.assertAlmostEqual(ends[0], ends[1], delta=60)

    def first_poll(self, blow):
        node = self.node()
        ticket = node.offer(words=["--first-poll"])
        if blow == "power":
            # What the mobile app reads of the window is gone: the window opens anew.
            wait_for("the window is open", lambda: seconds_left(node, "downloadStartTimer"))
            self.hit(node, blow)
            wait_for("it is open again", lambda: seconds_left(node, "downloadStartTimer"))
        else:
            self.check_timer_goes_on(node, "downloadStartTimer", blow)
        node.told("trigger")
        self.check_end(node, ticket, [COMMITTED], ONCE)

    def test_every_rest(self):
        jobs = {}
        for rest in (
            self.idle,
            self.downloading,
            self.reboot_timer,
            self.retry_timer,
            self.swap_on_schedule,
            self.first_poll,
        ):
            for blow in BLOWS:
                jobs[f"{rest.__name__}, {blow}"] = lambda rest=rest, blow=blow: rest(blow)
        self.tell(len(jobs), self.each_at_once(jobs))

    # Every time that the daemon keeps its requests: killed just before it and just behind it.

    def meet_save(self, node):
        """True once the daemon is held; false where the upgrade ended before."""
        while not node.held_file.exists():
            if node.end_of(1):
                return False
            if node.reboot_file.exists() and node.daemon.is_running():
                node.daemon.child.terminate()
                wait_for(
                    "it ends or is held",
                    lambda: not node.daemon.is_running() or node.held_file.exists(),
                )
            if not node.daemon.is_running():
                node.wait_until_off()
                node.boot()
            time.sleep(GLANCE)
        return True

    def save_hit(self, number, moment):
        """Returns whether there was such a save."""
        node = self.node().wait_until_ready()
        node.hold(f"otad rename requests.json {number} {moment}")
        descriptor = node.folder.parent / f"{node.name}.json"
        descriptor.write_text(json.dumps(node.descriptor()))
        # It has no answer yet where the daemon dies over the first of them.
        with subprocess.Popen(
            [self.place.program("otactl"), "--bus", node.bus.address, "offer", descriptor],
            env=own_environment(),
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        ) as offer:
            met = self.meet_save(node)
            kept = True
            if met:
                rebooting = node.reboot_file.exists()
                node.kill_daemon()
                requests = node.kept_requests()
                kept = requests is not None and requests["nextTicket"] > 1
                node.let_go()
                if rebooting:
                    node.boot()
                else:
                    node.start()
            offer.wait()
        if not kept:
            self.assertNotEqual(offer.returncode, 0, "a ticket was given and lost")
            self.assertEqual(node.offer(), 1)
        self.check_end(node, 1, [COMMITTED], (1, 2))
        return met

    def test_every_save(self):
        met = {}

        def hit(number, moment):
            met[number, moment] = self.save_hit(number, moment)

        seconds = self.each_at_once(
            {
                f"save {number}, {moment}": lambda number=number, moment=moment: hit(number, moment)
                for number in range(1, MOST_SAVES + 1)
                for moment in ("before", "after")
            }
        )
        # The last ones are beyond what an upgrade needs: so all were hit.
        self.assertFalse(met[MOST_SAVES, "before"], "there are more: raise MOST_SAVES")
        self.tell(sum(met.values()), seconds)


if __name__ == "__main__":
    sys.exit(node_case.run(Kill))
