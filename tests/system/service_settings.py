# SPDX-License-Identifier: MIT
"""Settings at run time, times that are awaited, and an offer that is put off while onboarding."""

import datetime
import json
import sys
import time

import node_case
from node import Node, seconds_left
from node_place import Place
from node_servers import FileServer
from rig.waiting import wait_for

COMMITTED, WRITTEN_ONLY, GAVE_UP, SPENT, WRONG_SUM = 0, 57, 54, 66, 51
HOUR = 3600


def time_of_day(hours_ahead):
    ahead = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(hours=hours_ahead)
    return f"{ahead:%H:%M:%S}"


class Settings(node_case.Case):
    """One gateway."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)
        self.node = Node(self.place, "n1", self.server).start().wait_until_ready()

    def kept_timers(self, name):
        return [one for one in self.node.kept_requests()["timers"] if one["name"] == name]

    def pass_time(self, timer):
        """As if the timer had run for all but a second: it is kept with its end."""
        # It is kept once the call that starts it has ended; it is told before.
        wait_for(f"{timer} is kept", lambda: self.kept_timers(timer))
        self.node.stop()
        path = self.node.folder / "configs/otad/requests.json"
        kept = self.node.kept_requests()
        (armed,) = [one for one in kept["timers"] if one["name"] == timer]
        now = time.clock_gettime(time.CLOCK_BOOTTIME)
        armed["endBootMs"] = int((now + 1) * 1000)
        path.write_text(json.dumps(kept))
        self.node.start()

    def test_they_take_effect_and_are_kept(self):
        node = self.node
        wanted = {
            "work_mode": "AP_Bridge",
            "work_role": "Controller",
            "onboarding": "1",
            "preferred_activation_time": time_of_day(3),
        }
        for name, value in wanted.items():
            node.told("set", name, value)
        for power in (None, node.reboot, node.cut_power):
            if power:
                power().wait_until_ready()
            status = node.status()
            self.assertEqual({name: str(status[name]) for name in wanted}, wanted)
        self.assertEqual(len(node.events("setting-changed")), len(wanted))
        # The agent asks for the time anew: three hours ahead, not the six of the file.
        node.offer(policy=0)
        left = wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
        self.assertAlmostEqual(left, 3 * HOUR, delta=60)
        self.assertRegex(json.dumps(node.control("explain").lines), "in (2 h 59 min|3 h 0 min)")
        # The file's values are back where the kept ones are removed.
        node.stop()
        (node.folder / "configs/otad/settings.ini").unlink()
        node.start().wait_until_ready()
        self.assertEqual(node.status()["work_mode"], "RGW")

    def test_a_time_that_is_moved(self):
        node = self.node
        ticket = node.offer(policy=0)
        wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
        node.told("activate-at", "now+7200")
        wait_for("it is moved", lambda: abs(seconds_left(node, "rebootTimer") - 2 * HOUR) < 60)
        before = seconds_left(node, "rebootTimer")
        node.reboot().wait_until_ready()
        after = wait_for("it goes on", lambda: seconds_left(node, "rebootTimer"))
        self.assertTrue(0 <= before - after < 60, (before, after))
        self.pass_time("rebootTimer")
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)
        self.assertEqual(node.boot_state()["active"], "b")

    def put_off(self):
        """An offer whose window ends while the node is being onboarded; returns its ticket."""
        node = self.node
        node.told("set", "onboarding", "1")
        ticket = node.offer(words=["--first-poll"])
        wait_for("the window is open", lambda: seconds_left(node, "downloadStartTimer"))
        self.pass_time("downloadStartTimer")
        node.wait_for_event("deferred", ticket=ticket)
        status = node.status()
        self.assertEqual(
            (status["deferred"], status["ticket"], status["timers"]), (True, ticket, [])
        )
        self.assertEqual(self.server.fetched(node.name), [])
        return ticket

    def test_put_off_until_onboarding_ends(self):
        node = self.node
        ticket = self.put_off()
        self.assertIn("onboard", json.dumps(node.control("explain").lines))
        # Also behind a restart of the service.
        node.stop()
        node.start().wait_until_ready()
        self.assertTrue(node.status()["deferred"])
        node.told("set", "onboarding", "0")
        node.wait_for_event("taken-up", ticket=ticket)
        wait_for("it goes on", lambda: node.status()["stage"] != "idle" or node.end_of(ticket))
        self.assertFalse(node.status()["deferred"])
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)

    def test_put_off_until_the_next_boot(self):
        node = self.node
        ticket = self.put_off()
        node.told("set", "work_role", "Agent")  # anything else changes nothing
        self.assertTrue(node.status()["deferred"])
        node.cut_power()
        wait_for("it is offered again", lambda: seconds_left(node, "downloadStartTimer"))
        self.assertFalse(node.status()["deferred"])
        node.told("trigger")
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)

    def test_put_off_until_the_next_offer(self):
        node = self.node
        ticket = self.put_off()
        later = node.offer(Place.NEWER, policy=2)
        self.assertEqual(node.live_until_end_of(later)["code"], WRITTEN_ONLY)
        self.assertEqual(node.end_of(ticket)["result"], "superseded")
        wait_for("it is kept", lambda: not node.kept_requests()["standing"])

    def test_the_seventh_failure_in_a_row_is_the_seventh(self):
        node = self.node
        node.fast = False  # else the desk lets the retry timer pass at once
        node.reboot().wait_until_ready()
        self.server.refuse(node.name)
        ticket = node.offer(policy=2)
        for attempt in range(1, 7):
            wait_for(
                f"attempt {attempt} failed",
                lambda attempt=attempt: (kept := node.kept_requests())
                and kept.get("failedDownloads") == attempt
                and kept["timers"],
            )
            left = seconds_left(node, "downloadRetryTimer")
            self.assertEqual(left > 120, attempt == 1, (attempt, left))
            self.pass_time("downloadRetryTimer")  # which starts the host anew
        end = node.wait_for_event("finished", ticket=ticket)
        self.assertEqual(
            (end["code"], end["reason"]),
            (GAVE_UP, "attempt 7 of 7 failed: the file server answered 503"),
        )
        self.assertEqual(node.words(), ["OTA_RECONNECT_BUE"])
        self.assertEqual(len(node.events("series-ended")), 1)
        wait_for("the node is idle", lambda: node.status()["stage"] == "idle")
        self.assertNotIn("failedDownloads", node.kept_requests())
        # The next series has all its attempts again.
        later = node.offer(Place.NEWER, policy=2)
        wait_for("its first attempt failed", lambda: seconds_left(node, "downloadRetryTimer"))
        self.assertGreater(seconds_left(node, "downloadRetryTimer"), 120)
        self.server.refuse(node.name, False)
        self.pass_time("downloadRetryTimer")
        self.assertEqual(node.live_until_end_of(later)["code"], WRITTEN_ONLY)

    def test_a_window_that_is_used_up(self):
        node = self.node
        ticket = node.offer(words=["--first-poll"], policy=2, checksum="0" * 32)
        wait_for("the window is open", lambda: seconds_left(node, "downloadStartTimer"))
        node.told("trigger")
        self.assertEqual(node.live_until_end_of(ticket)["code"], WRONG_SUM)
        # The agent takes the window for open still.
        passed_over = node.live_until_end_of(node.offer(policy=2))
        self.assertEqual(passed_over["code"], SPENT)
        self.assertIn("otactl cancel", passed_over["next"])
        self.assertIn("otactl cancel ends it", json.dumps(node.control("explain").lines))
        node.told("cancel")
        self.assertEqual(node.live_until_end_of(node.offer(policy=2))["code"], WRITTEN_ONLY)

    def test_a_trigger_that_comes_too_late(self):
        node = self.node
        self.put_off()
        late = node.live_until_end_of(node.told("trigger")["ticket"])
        self.assertEqual(late["code"], SPENT)
        self.assertIn("without --first-poll", late["next"])
        later = node.live_until_end_of(node.offer(policy=2))
        self.assertEqual(later["code"], WRITTEN_ONLY)

    def test_put_off_until_the_configuration_ends_the_onboarding(self):
        node = self.node
        ticket = self.put_off()
        node.stop()
        (node.folder / "configs/otad/settings.ini").unlink()  # node.conf has a 0
        node.start()
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMITTED)


if __name__ == "__main__":
    sys.exit(node_case.run(Settings))
