# SPDX-License-Identifier: MIT
"""A node whose clock stands at 1970, or steps back by a year in the middle of a download."""

import functools
import http.server
import sys
import threading
import time

import node_case
from node import Node, seconds_left
from node_place import Place
from node_servers import FileServer
from rig.clock import Clock
from rig.waiting import PATIENCE, wait_for
from sweep_node import SmallPlace

# Seconds that a clock is ahead, the same for every process.
NOW, YEAR_AGO, EPOCH = 0, -365 * 24 * 3600, 60 - int(time.time())
SOON = 3
PIECES = 20  # that a slow server sends an image in
PAUSE = 0.1  # seconds between them


class SlowImages(http.server.BaseHTTPRequestHandler):
    """Plain http, a piece at a time where that is wanted."""

    def __init__(self, owner, *arguments):
        self.owner = owner
        super().__init__(*arguments)

    def do_GET(self):  # pylint: disable=invalid-name
        data = self.owner.place.images[self.path.split("/")[-1][: -len(".img")]].read_bytes()
        self.send_response(200)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        step = len(data) // PIECES + 1
        for at in range(0, len(data), step):
            self.wfile.write(data[at : at + step])
            self.owner.sent += 1
            time.sleep(PAUSE if self.owner.slow else 0)

    def log_message(self, *_):
        pass


class HttpServer:
    """Serves the images of a place without TLS."""

    def __init__(self, place):
        self.place, self.slow, self.sent = place, False, 0
        self.server = http.server.ThreadingHTTPServer(
            ("127.0.0.1", 0), functools.partial(SlowImages, self)
        )
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        place.closes(self.close)

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def url(self, _whose, version):
        return f"http://127.0.0.1:{self.server.server_port}/{version}.img"


class ClockNode(Node):
    """Its wall clock can be set; the clocks that only count on are left alone."""

    clock = None
    ahead = 0

    def set_clock(self, ahead):
        self.ahead = ahead
        self.clock = self.clock or Clock(self.place.folder / f"{self.name}.clock")
        self.clock.put_wall(ahead)
        return self

    def activate_soon(self):
        at = time.gmtime(time.time() + self.ahead + SOON)
        self.told("activate-at", time.strftime("%H:%M:%S", at))

    def environment(self):
        return super().environment() | {"OTA_DESK_CLOCK": str(self.clock.path)}

    def years(self):
        return [line["time"][:4] for line in self.history()]


class Clocks(node_case.Case):
    """One node a test."""

    def setUp(self):
        # pylint: disable=consider-using-with
        self.place = SmallPlace(self.build)
        self.addCleanup(self.place.__exit__)

    def node(self, server, clock, authority=None):
        """Where it fetches over plain http, the certificates are those of nobody."""
        node = ClockNode(
            self.place,
            "n1",
            authority,
            service="allow_plain_http = yes",
            preload=self.modules["clock"],
        )
        node.server = server
        return node.set_clock(clock).start().wait_until_ready()

    def check_commit(self, node, version=Place.NEW):
        end = node.live_until_end_of(node.offer(version))
        self.assertEqual(end["code"], 0, end)
        self.assertEqual(node.boot_state()[node.boot_state()["active"]]["version"], version)
        self.assertEqual(node.words()[-1], "OTA_SW_COMMIT_COMPLETE")

    def test_an_upgrade_in_1970(self):
        node = self.node(HttpServer(self.place), EPOCH)
        self.check_commit(node)
        self.assertEqual(set(node.years()), {"1970"})

    def test_the_activation_time_comes_in_1970(self):
        node = self.node(HttpServer(self.place), EPOCH)
        ticket = node.offer(policy=0)
        wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
        node.activate_soon()
        began = time.monotonic()
        self.assertEqual(node.live_until_end_of(ticket)["code"], 0)
        self.assertGreater(time.monotonic() - began, 1)

    def step_back_while(self, policy):
        server = HttpServer(self.place)
        node = self.node(server, NOW)
        server.slow = True
        ticket = node.offer(policy=policy)
        wait_for("the download has begun", lambda: server.sent > PIECES // 4)
        node.set_clock(YEAR_AGO)
        self.assertLess(server.sent, PIECES, "the download was over before the clock stepped")
        return node, ticket

    def test_the_clock_steps_back_in_the_middle_of_a_download(self):
        node, ticket = self.step_back_while(1)
        end = node.live_until_end_of(ticket)
        self.assertEqual(end["code"], 0, end)
        self.assertGreater(len(set(node.years())), 1, "the clock did not step")
        self.assertEqual(node.boot_state()["active"], "b")

    def test_a_timer_fires_though_the_clock_stepped_back(self):
        node, ticket = self.step_back_while(0)
        left = wait_for("the reboot timer is armed", lambda: seconds_left(node, "rebootTimer"))
        self.assertLess(left, 24 * 3600, "counted by the clock before it stepped")
        node.activate_soon()
        self.assertEqual(node.live_until_end_of(ticket, PATIENCE)["code"], 0)
        self.assertGreater(len(set(node.years())), 1, "the clock did not step")

    def test_https_in_1970_fails_clearly_and_harms_nothing(self):
        server = FileServer(self.place)
        node = self.node(server, EPOCH, server)
        ticket = node.offer(policy=2)
        wait_for(
            "the node says why", lambda: "certificate is not yet valid" in node.log.read_text()
        )
        if not node.end_of(ticket):
            node.told("cancel", str(ticket))
        state = node.boot_state()
        self.assertEqual((state["active"], state["next"], state["b"]["whole"]), ("a", "a", "0"))
        node.set_clock(NOW)
        node.reboot().wait_until_ready()
        self.check_commit(node)


if __name__ == "__main__":
    sys.exit(node_case.run(Clocks))
