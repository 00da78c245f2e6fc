# SPDX-License-Identifier: MIT
"""What those who look on are told: everything once, in its order, however slowly they look."""

import pathlib
import tempfile
import unittest

from lab import board as boards
from lab.timeline import KEPT, Timeline


class Boards(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "timeline.jsonl"
        self.board = self.open_board()

    def open_board(self):
        timeline = Timeline(self.path)
        self.addCleanup(timeline.close)
        return boards.Board(timeline)

    def add_node(self, name):
        self.board.nodes[name] = boards.Fields(self.board, name=name, stage="idle")
        return self.board.nodes[name]

    def test_the_first_step_is_a_snapshot_and_then_only_changes_come(self):
        one = self.add_node("one")
        self.add_node("two")
        onlooker = boards.Onlooker(self.board)
        self.assertEqual(onlooker.step()["nodes"]["two"], {"name": "two", "stage": "idle"})
        self.assertIsNone(onlooker.step())
        one.set(stage="idle")
        self.assertIsNone(onlooker.step())
        one.set(stage="waiting")
        self.board.mark("one", "stage", "waiting")
        step = onlooker.step()
        self.assertEqual(step["nodes"], {"one": {"stage": "waiting"}})
        self.assertEqual([mark["text"] for mark in step["marks"]], ["waiting"])

    def test_news_wake_every_onlooker(self):
        onlookers = [boards.Onlooker(self.board), boards.Onlooker(self.board)]
        for onlooker in onlookers:
            self.board.add(onlooker)
            onlooker.step()
            self.assertFalse(onlooker.news.is_set())
        self.board.mark("", "event", "x")
        self.assertTrue(all(onlooker.news.is_set() for onlooker in onlookers))

    def test_who_is_far_behind_starts_over_and_nothing_grows(self):
        onlooker = boards.Onlooker(self.board)
        onlooker.step()
        for number in range(KEPT + 10):
            self.board.mark("one", "word", str(number))
        step = onlooker.step()
        self.assertEqual(step["kind"], "snapshot")
        self.assertEqual(len(step["marks"]), boards.MOST_MARKS)
        self.assertEqual(len(self.board.timeline.marks), KEPT)
        self.assertEqual(step["marks"][-1]["number"], KEPT + 10)

    def test_ten_thousand_events_are_told_each_once(self):
        onlooker = boards.Onlooker(self.board)
        onlooker.step()
        told = []
        for number in range(10_000):
            self.board.mark("one", "word", str(number))
            if number % 97 == 0:
                told += onlooker.step()["marks"]
        told += onlooker.step()["marks"]
        self.assertEqual([mark["text"] for mark in told], list(map(str, range(10_000))))

    def test_a_timeline_is_taken_up_without_the_line_that_was_cut_off(self):
        self.board.mark("one", "word", "first")
        self.board.timeline.write()
        with open(self.path, "a", encoding="utf-8") as file:
            file.write('{"number": 2, "at"')
        again = self.open_board()
        self.assertEqual([mark["text"] for mark in again.timeline.marks], ["first"])
        again.mark("one", "word", "second")
        self.assertEqual(again.timeline.marks[-1]["number"], 2)


if __name__ == "__main__":
    unittest.main()
