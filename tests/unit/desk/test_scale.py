# SPDX-License-Identifier: MIT
"""What a run of very many nodes is judged by: histories, words, the broker's log, the machine."""

import collections
import json
import unittest

from folder_case import FolderCase
from scale import machine
from scale.broker_log import Carried, read_log
from scale.history import History, Told
from scale.seats import MOST_NODES, access_list, seats_of
from scale.verdict import WORDS, Words, compare_words, flaws_of_history

ACTIVATED, COMMITTED = WORDS
MANY = 10**9


class Seats(unittest.TestCase):
    def test_each_has_addresses_of_its_own_and_each_mesh_a_gateway(self) -> None:
        seats = seats_of(MOST_NODES, 20)
        for own in ("mac", "address", "serial", "name", "client"):
            self.assertEqual(len({getattr(seat, own) for seat in seats}), MOST_NODES, own)
        gateways = [seat for seat in seats if seat.is_gateway]
        self.assertEqual([seat.mesh for seat in gateways], list(range(1, MOST_NODES // 20 + 1)))

    def test_addresses_go_on_behind_the_255th(self) -> None:
        seats = seats_of(256, 20)
        first, last = seats[0], seats[-1]
        self.assertEqual((first.mac, first.address), ("02:00:5E:00:60:01", "127.48.0.1"))
        self.assertEqual((last.mac, last.address), ("02:00:5E:00:61:00", "127.48.1.0"))

    def test_a_node_may_speak_in_its_own_mesh_alone(self) -> None:
        lines = access_list(seats_of(4, 2)).splitlines()
        own = lines.index("user 02:00:5E:00:60:04")
        self.assertEqual(
            lines[own + 1 :],
            [
                f"topic write mesh-002/02:00:5E:00:60:04/{what}"
                for what in ("report", "file-server")
            ],
        )


class Histories(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.history = History(self.folder / "history.jsonl")

    def tell(self, *events: tuple[str, str], **more: object) -> None:
        with open(self.folder / "history.jsonl", "a", encoding="utf-8") as file:
            for event, reason in events:
                version = "4QZ2.0.0" if reason == "bank b" else "4QZ1.0.0"
                line = {"event": event, "reason": reason, "version": version, "code": 0, **more}
                file.write(json.dumps(line) + "\n")
        self.history.look()

    def tell_all(self) -> None:
        self.tell(("boot", "bank a"), ("status", ACTIVATED), ("root-notified", ""))
        self.tell(("boot", "bank b"), ("status", COMMITTED), ("root-notified", ""))
        self.tell(("committed", "bank b"), ("finished", "committed"))

    def test_one_as_it_must_be_has_no_flaw(self) -> None:
        self.tell_all()
        self.assertEqual(flaws_of_history(self.history), [])
        self.assertEqual(self.history.told_well, 2)

    def test_each_thing_that_is_missing_or_too_much_is_a_flaw(self) -> None:
        self.assertEqual(len(flaws_of_history(self.history)), 5)
        self.tell_all()
        self.tell(("host-crashed", "signal 11"))
        self.tell(("boot", "bank a"))
        self.tell(("status", "OTA_SW_COMMIT_FAILED"))
        self.tell(("finished", "it is damaged"), code=55)
        self.assertEqual(
            flaws_of_history(self.history),
            [
                "host-crashed: signal 11",
                "its request ended with 55: it is damaged",
                "it booted 4QZ1.0.0, 4QZ2.0.0, 4QZ1.0.0",
                "it told OTA_SW_COMMIT_FAILED",
            ],
        )

    def test_half_a_line_waits_for_its_end(self) -> None:
        path = self.folder / "history.jsonl"
        path.write_text('{"event":"comm')
        self.assertFalse(self.history.look())
        path.write_text('{"event":"committed"}\n')
        self.assertTrue(self.history.look())
        self.assertTrue(self.history.committed)

    def test_a_history_that_begins_anew_is_a_flaw(self) -> None:
        self.tell_all()
        (self.folder / "history.jsonl").write_text("{}\n")
        self.history.look()
        self.assertIn("begun anew", " ".join(flaws_of_history(self.history)))

    def test_it_knows_which_word_did_not_reach_the_root(self) -> None:
        self.tell(("status", ACTIVATED), ("root-notified", ""))
        self.tell(("status", COMMITTED), ("root-failed", "no answer"))
        self.assertEqual(
            [told.fate for told in self.history.told], ["root-notified", "root-failed"]
        )
        self.assertEqual(self.history.told_well, 1)


class Heard(unittest.TestCase):
    def setUp(self) -> None:
        self.gateway, self.extender = seats_of(2, 2)
        self.carried = Carried()
        self.told = [Told(ACTIVATED, "root-notified"), Told(COMMITTED, "root-notified")]
        self.heard = collections.Counter(
            {(self.extender.mac, ACTIVATED): 1, (self.extender.mac, COMMITTED): 1}
        )

    def compare(self) -> Words:
        return compare_words([(self.extender, self.told)], {1: self.heard}, self.carried)

    def test_once_told_and_once_heard(self) -> None:
        words = self.compare()
        self.assertEqual((words.told, words.once, words.again, words.flaws), (2, 2, [], []))

    def test_a_word_that_is_missing_is_a_flaw_whoever_knows_it(self) -> None:
        del self.heard[self.extender.mac, COMMITTED]
        self.assertIn("the node knows nothing", self.compare().flaws[0])
        self.told[1] = Told(COMMITTED, "root-failed", "no answer")
        self.assertIn("no answer", self.compare().flaws[0])

    def test_twice_heard_is_a_flaw_unless_it_was_told_twice(self) -> None:
        self.heard[self.extender.mac, COMMITTED] = 2
        self.assertIn("nobody sent it again", self.compare().flaws[0])
        self.told.append(Told(COMMITTED, "root-notified"))
        words = self.compare()
        self.assertEqual((len(words.again), words.flaws), (1, []))

    def test_twice_heard_is_no_flaw_where_a_connection_broke(self) -> None:
        self.heard[self.extender.mac, COMMITTED] = 2
        self.carried.came_again[f"mesh-001/{self.extender.mac}/report"] = 1
        words = self.compare()
        self.assertEqual((len(words.again), words.flaws), (1, []))
        self.heard[self.extender.mac, ACTIVATED] = 2
        self.assertEqual(len(self.compare().flaws), 1, "one excuse is good for one word")

    def test_a_word_that_nobody_told_is_a_flaw(self) -> None:
        self.heard["02:00:5E:00:60:77", COMMITTED] = 1
        self.assertIn("never told", self.compare().flaws[0])


class BrokerLog(FolderCase):
    def read(self, *lines: str) -> Carried:
        (self.folder / "log").write_text("".join(f"1795421787: {line}\n" for line in lines))
        return read_log(self.folder / "log")

    def test_a_message_behind_an_orderly_end_is_a_new_one(self) -> None:
        publish = "Received PUBLISH from X (d0, q1, r0, m1, 'mesh-001/X/report', ... (3 bytes))"
        came = "New client connected from 127.0.0.1:1 as X (p5, c1, k15, u'X')."
        carried = self.read(came, publish, "Client X disconnected.", came, publish)
        self.assertEqual((carried.received, carried.connections), (2, 2))
        self.assertFalse(carried.came_again)

    def test_a_message_behind_a_broken_connection_came_again(self) -> None:
        publish = "Received PUBLISH from X (d0, q1, r0, m1, 'mesh-001/X/report', ... (3 bytes))"
        for end in ("Client X closed its connection.", "mosquitto version 2.0.11 terminating"):
            carried = self.read(publish, end, publish, publish)
            self.assertEqual(carried.came_again, {"mesh-001/X/report": 1}, end)

    def test_behind_a_connection_that_was_taken_over_it_is_not_the_same(self) -> None:
        publish = "Received PUBLISH from X (d0, q1, r0, m1, 'mesh-001/X/report', ... (3 bytes))"
        carried = self.read(
            publish, "Client X closed its connection.",
            "Client X already connected, closing old connection.", publish,
        )  # fmt: skip
        self.assertFalse(carried.came_again)

    def test_what_the_broker_delivers_again(self) -> None:
        sent = (
            "Sending PUBLISH to gateway-001 (d{}, q1, r0, m2, 'mesh-001/X/report', ... (3 bytes))"
        )
        carried = self.read(sent.format(0), sent.format(1))
        self.assertEqual((carried.sent, carried.sent_again), (2, {"mesh-001/X/report": 1}))


class Machine(FolderCase):
    def test_too_many_nodes_are_refused_in_one_line(self) -> None:
        with self.fails("too small for .* nodes: they need"):
            machine.make_room(MANY, self.folder, 0)
        with self.fails("too small for 1 nodes: they need .* in "):
            machine.make_room(1, self.folder, 1 << 60)

    def test_what_held_it_up(self) -> None:
        waited = {"processors": 0.5, "disk": 0.1, "memory": 0.0}
        self.assertRegex(machine.Stretch(1, 0.95, waited).limit, "^the processors;")
        self.assertRegex(machine.Stretch(1, 0.3, {**waited, "disk": 0.6}).limit, "^the disk;")
        self.assertRegex(machine.Stretch(1, 0.3, waited).limit, "^the nodes' own waits")


if __name__ == "__main__":
    unittest.main()
