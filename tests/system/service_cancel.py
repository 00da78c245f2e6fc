# SPDX-License-Identifier: MIT
"""Cancel at every step: idle within seconds, nothing half-written can boot, a later offer works."""

import subprocess
import sys
import time

import node_case
from node import LOGS, seconds_left
from node_place import Place
from rig.processes import own_environment
from rig.waiting import wait_for

CANCELLED, COMMITTED, NOT_READY, NOTHING_TO_CANCEL = 60, 0, 5, 7
LONGEST = 10  # seconds on a machine under load; what it took is printed

# Where the host is held, as hold_probe.cpp takes it. Each change of the boot state is two writes with
# two syncs behind each.
STEPS = {
    "before the first byte": "fopen 4QZ 1 before",
    "verifying": "popen md5sum 1 before",
    "writing, nothing changed yet": "write boot_state.ini 1 before",
    "writing, in the middle": "write banks/b 2 before",
    "written, not noted": "write boot_state.ini 3 before",
    "written and noted": "fsync boot_state.ini 8 after",
    "activating": "write boot_state.ini 5 before",
    "activating, in one copy": "write boot_state.ini 5 after",
    "activated": "fsync boot_state.ini 12 after",
    "rebooting": "sleep sleep 1 before",
}

# What is offered, by the timer that is awaited then.
RESTS = {
    "rebootTimer": {"policy": 0},
    "downloadStartTimer": {"words": ["--first-poll"]},
    "downloadRetryTimer": {},
}


class Cancel(node_case.FleetCase):
    """One node a step."""

    def setUp(self):
        super().setUp()
        self.took = {}

    def cancel(self, node, ticket, step):
        """Sends it while the node is held, if it is."""
        began = time.monotonic()
        with subprocess.Popen(
            [node.place.program("otactl"), "--bus", node.bus.address, "cancel", str(ticket)],
            env=own_environment(),
            stdout=subprocess.DEVNULL,
        ) as cancel:
            if node.held_file.exists():
                held = int(node.held_file.read_text())
                wait_for("the held host ends", lambda: held not in node.processes())
                node.let_go()  # its follower tidies up and is not to be held
            self.assertEqual(cancel.wait(LONGEST), 0)
        self.took[step] = time.monotonic() - began

    def check_idle(self, node, ticket):
        end = wait_for("its end is told", lambda: node.end_of(ticket))
        self.assertEqual(end["code"], CANCELLED)
        status = node.status()
        self.assertEqual(
            (
                status["stage"],
                status["ticket"],
                status["queued"],
                status["timers"],
                status["deferred"],
            ),
            ("idle", 0, 0, [], False),
        )
        self.assertEqual([path.name for path in node.folder.glob("4QZ*")], [])
        self.assertFalse((node.folder / LOGS / "ota_act_success").exists())
        state = node.boot_state()
        self.assertEqual(state["next"], state["active"])
        if state["b"]["whole"] == "1":
            self.assertTrue(node.bank_holds("b", Place.NEW), "a bank of other bytes may boot")

    def check_later_offer(self, node, version=Place.NEWER):
        """Also behind a boot, which must not bring anything back."""
        if node.reboot_file.exists():
            node.reboot_file.unlink()
        node.reboot()
        node.wait_until_ready()
        self.assertEqual(node.boot_state()["active"], "a")
        self.assertEqual(node.status()["stage"], "idle")
        self.assertEqual(node.live_until_end_of(node.offer(version))["code"], COMMITTED)
        self.assertTrue(node.bank_holds("b", version))

    def tell(self):
        longest = max(self.took, key=self.took.get)
        print(
            f"cancel: {len(self.took)} steps, the longest took {self.took[longest]:.2f} s "
            f"({longest})",
            flush=True,
        )

    def step_that_runs(self, step):
        node = self.node().wait_until_ready()
        node.hold(f"ota-desk-host {STEPS[step]}")
        ticket = node.offer()
        node.wait_until_held()
        self.cancel(node, 0 if step == "verifying" else ticket, step)
        self.check_idle(node, ticket)
        self.check_later_offer(node)

    def downloading(self):
        node = self.node()
        self.server.crawl(node.name)
        ticket = node.offer()
        wait_for("the first bytes", lambda: node.status()["downloaded_bytes"] > 10_000)
        self.cancel(node, ticket, "downloading")
        self.check_idle(node, ticket)
        self.server.crawl(node.name, False)
        self.check_later_offer(node)

    def waiting(self, timer):
        node = self.node(fast=timer != "downloadRetryTimer")
        self.server.refuse(node.name, timer == "downloadRetryTimer")
        ticket = node.offer(**RESTS[timer])
        wait_for(f"{timer} is armed", lambda: seconds_left(node, timer))
        self.cancel(node, ticket, timer)
        self.check_idle(node, ticket)
        self.server.refuse(node.name, False)
        self.check_later_offer(node)

    def test_every_step(self):
        jobs = {step: lambda step=step: self.step_that_runs(step) for step in STEPS}
        jobs |= {timer: lambda timer=timer: self.waiting(timer) for timer in RESTS}
        jobs["downloading"] = self.downloading
        self.each_at_once(jobs)
        self.tell()

    def test_committing(self):
        node = self.node()
        ticket = node.offer()
        wait_for("the agent asks for the reboot", node.reboot_file.exists)
        node.stop()
        node.hold("ota-desk-host system ota_act_success 1 before")
        node.boot()
        node.wait_until_held()
        self.assertEqual(node.control("cancel", str(ticket)).code, NOT_READY)
        node.let_go()
        # What has booted stays, and that is what is told.
        end = wait_for("its end is told", lambda: node.end_of(ticket))
        self.assertEqual(end["code"], COMMITTED)
        node.reboot().wait_until_ready()
        self.assertEqual(node.boot_state()["active"], "b")
        self.assertEqual(node.status()["stage"], "idle")

    def test_what_has_not_begun(self):
        node = self.node().wait_until_ready()
        self.assertEqual(node.control("cancel").code, NOTHING_TO_CANCEL)
        self.server.crawl(node.name)
        running = node.offer()
        queued = node.offer(Place.NEWER)
        wait_for("one waits", lambda: node.status()["queued"] == 1)
        self.cancel(node, queued, "queued")
        self.assertEqual(node.end_of(queued)["code"], CANCELLED)
        status = node.status()
        self.assertEqual((status["ticket"], status["queued"]), (running, 0))
        self.assertEqual(node.control("cancel", str(queued)).code, NOTHING_TO_CANCEL)
        self.cancel(node, 0, "whatever runs")
        self.check_idle(node, running)
        self.assertEqual(node.control("cancel").code, NOTHING_TO_CANCEL)


if __name__ == "__main__":
    sys.exit(node_case.run(Cancel))
