# SPDX-License-Identifier: MIT
"""Where the power goes: the conditions that a card is armed with."""

import unittest

from machine.card import ENVIRONMENT_AT, bank_begins_at
from machine.scenarios.power import BankWritten, Changes, EnvironmentSaves

FIRST, SECOND = ENVIRONMENT_AT
PAGE = 4096


class Conditions(unittest.TestCase):
    def test_a_copy_in_several_pieces_is_one_save(self):
        second_save = EnvironmentSaves(2)
        self.assertFalse(second_save("write", FIRST, PAGE))
        self.assertFalse(second_save("write", FIRST + PAGE, PAGE))
        self.assertFalse(second_save("flush", 0, 0))
        self.assertTrue(second_save("write", SECOND, PAGE))

    def test_the_same_copy_behind_a_flush_is_another_save(self):
        second_save = EnvironmentSaves(2)
        self.assertFalse(second_save("write", FIRST, PAGE))
        self.assertFalse(second_save("flush", 0, 0))
        self.assertTrue(second_save("write", FIRST, PAGE))

    def test_writes_elsewhere_are_no_save(self):
        first_save = EnvironmentSaves(1)
        self.assertFalse(first_save("write", FIRST - PAGE, PAGE))
        self.assertFalse(first_save("write", bank_begins_at("a"), PAGE))
        self.assertTrue(first_save("write", SECOND + PAGE, PAGE))

    def test_the_bank_is_counted_in_bytes(self):
        half = BankWritten(2 * PAGE)
        self.assertFalse(half("write", bank_begins_at("b"), PAGE))
        self.assertFalse(half("write", FIRST, 9 * PAGE))
        self.assertTrue(half("write", bank_begins_at("b") + PAGE, PAGE))

    def test_changes_are_counted_whatever_they_are(self):
        third = Changes(3)
        told = [third("write", 0, 1), third("flush", 0, 0), third("write", 9, 1)]
        self.assertEqual(told, [False, False, True])


if __name__ == "__main__":
    unittest.main()
