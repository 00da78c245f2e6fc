# SPDX-License-Identifier: MIT
"""What the events of a node's watch show, and what of them is kept for the verdict."""

import pathlib
import time
from typing import Any

from demo.display import Display
from demo.node_events import NodeEvents
from demo.observed import Context, Observed
from demo.scenarios import ACTIVATION_COMPLETE, COMMIT_COMPLETE, NEW_VERSION, SCENARIOS
from demo.terminal import Surface
from folder_case import FolderCase
from rig.images import Image

RECORD = {
    "curswversion": "4QZ2.1.0", "prevswversion": "4QZ2.0.0", "model": "M", "sn": "S", "mac": "02:01",
}  # fmt: skip
URL = "https://127.0.0.1:1/new.img"


class Events(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.log = self.folder / "log"
        self.log.touch()
        self.written: list[str] = []
        self.heard: list[tuple[str, str, dict[str, Any]]] = []
        self.observed = Observed()
        image = Image(pathlib.Path("image"), NEW_VERSION)
        context = Context(
            SCENARIOS[1], "1", 120, 0, True, True, image, URL, URL, pathlib.Path("mark")
        )
        surface = Surface(False, False, lambda: 0, lambda: "12:34:56", self.written.append)
        self.events = NodeEvents(
            context,
            Display(surface),
            self.observed,
            self.log,
            lambda *heard: self.heard.append(heard),
        )

    def shown(self, *events: dict[str, Any]) -> list[str]:
        """The lines without their times."""
        self.written.clear()
        for event in events:
            self.events.take(event)
        return [line[11:] for line in "".join(self.written).splitlines()]

    def history(self, event: str, reason: str, **more: Any) -> dict[str, Any]:
        return {"event": "history", "line": {"event": event, "reason": reason, **more}}

    def test_a_word_is_shown_with_its_record_and_its_pause(self) -> None:
        word = {"event": "status", "record": {**RECORD, "status": ACTIVATION_COMPLETE}}
        self.assertEqual(
            self.shown(word),
            [
                "status       OTA_SW_ACTIVATION_COMPLETE",
                "             new 4QZ2.1.0, running 4QZ2.0.0, M S, 02:01",
                "             (the agent pauses for 10 s, which pass at once)",
            ],
        )
        word = {"event": "status", "record": {**RECORD, "status": COMMIT_COMPLETE}}
        self.assertEqual(
            self.shown(word)[-1], "             running 4QZ2.1.0, previous 4QZ2.0.0, M S, 02:01"
        )
        self.assertEqual(self.observed.words, [ACTIVATION_COMPLETE, COMMIT_COMPLETE])

    def test_an_activation_before_its_time_is_kept(self) -> None:
        word = {"event": "status", "record": {**RECORD, "status": ACTIVATION_COMPLETE}}
        self.events.active_from = time.time() - 1
        self.shown(word)
        self.assertFalse(self.observed.early)
        self.events.active_from = time.time() + 3600
        self.shown({"event": "status", "record": {**RECORD, "status": COMMIT_COMPLETE}})
        self.assertFalse(self.observed.early)
        self.shown(word)
        self.assertTrue(self.observed.early)

    def test_a_ticket_that_ends_badly_is_told_with_its_reason(self) -> None:
        self.events.open_tickets = {7, 8}
        end = {"event": "finished", "ticket": 7, "code": 0}
        self.assertEqual(self.shown(end), [])
        end = {"event": "finished", "ticket": 8, "code": 52, "result": "flashWriteFailed",
               "reason_code": "larger-than-bank", "reason": "it is large"}  # fmt: skip
        self.assertEqual(
            self.shown(end),
            ["outcome      flashWriteFailed (52, larger-than-bank)", "             it is large"],
        )
        self.assertEqual(self.events.open_tickets, set())

    def test_why_a_step_failed_is_in_the_nodes_own_words_and_once(self) -> None:
        self.log.write_text("error: nal: the passive bank was not written: it is small\n")
        word = {"event": "status", "record": {**RECORD, "status": "OTA_SW_FLASH_WRITE_FAILED"}}
        self.assertEqual(self.shown(word)[0], "written      NOT: it is small")
        self.assertEqual(self.observed.refusal, "it is small")
        self.assertIn("did not take the image", self.shown(word)[0])

    def test_downloads_that_fail_are_shown_and_kept_before_the_timer(self) -> None:
        self.log.write_text(
            "error: receiving response code 503\n"
            "desk: timer downloadRetryTimer for 1800 s, which pass at once\n"
        )
        self.assertEqual(
            self.shown(self.history("timer-started", "downloadRetryTimer for 0 s")),
            [
                "download     failed: the server answers 503",
                "timer        downloadRetryTimer for 1800 s, which pass at once",
            ],
        )
        self.assertEqual(self.observed.failed_downloads, ["failed: the server answers 503"])
        self.assertEqual(
            self.shown(
                self.history("timer-stopped", "rebootTimer"), self.history("timer-ended", "x y")
            ),
            ["timer        rebootTimer stopped", "timer        x ran out"],
        )

    def test_a_host_that_does_not_start_is_not_waited_for(self) -> None:
        self.log.write_text("error: ota-host: no library\n")
        crash = self.history("host-crashed", "it ended", next="another one starts")
        self.assertEqual(self.shown(crash, crash)[0], "host process it ended; another one starts")
        self.shown(self.history("stage", "downloading"), crash, crash)
        with self.fails("does not start, having said: error: ota-host: no library; its log is"):
            self.shown(crash)

    def test_what_a_gateway_raises_is_handed_on_and_a_message_counts_once(self) -> None:
        report = {**RECORD, "status": COMMIT_COMPLETE}
        self.shown(
            {"event": "extender", "mac": "02:02", "record": report},
            {"event": "extender-file-server", "mac": "02:03", "info": {"swVersion": "1"}},
        )
        self.assertEqual(
            self.heard, [("report", "02:02", report), ("file-server", "02:03", {"swVersion": "1"})]
        )
        for _ in range(2):
            self.events.raised_at_the_root("report", report)
        self.assertEqual(self.observed.at_the_root, [COMMIT_COMPLETE])

    def test_a_hand_over_counts_where_it_names_the_image_that_was_offered(self) -> None:
        info = {"swVersion": NEW_VERSION, "fileServerURL": URL + "x"}
        self.events.raised_at_the_root("file-server", info)
        self.assertFalse(self.observed.handed_over)
        self.events.raised_at_the_root("file-server", {**info, "fileServerURL": URL})
        self.assertTrue(self.observed.handed_over)

    def test_progress_is_drawn_where_the_percentage_changed(self) -> None:
        events = [{"event": "progress", "percent": percent} for percent in (0, 10, 10, 25)]
        self.assertEqual(self.shown(*events), ["download     10 %", "download     25 %"])

    def test_what_is_missing_or_null_is_nothing(self) -> None:
        progress = {"event": "progress", "percent": 10, "rate": None, "seconds_left": None}
        self.assertEqual(self.shown(progress), ["download     10 %"])
        for event in ("status", "progress", "finished", "history", "extender"):
            for held in ({}, {"record": None, "line": None, "percent": None, "code": None}):
                self.shown({"event": event, **held})

    def test_the_daemons_name_on_the_bus_is_known(self) -> None:
        self.shown({"event": "service", "running": True})
        self.assertTrue(self.events.running)
        self.shown({"event": "service", "running": False}, {"event": "not known"}, {})
        self.assertFalse(self.events.running)


if __name__ == "__main__":
    import unittest

    unittest.main()
