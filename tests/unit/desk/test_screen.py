# SPDX-License-Identifier: MIT
"""Widths and breaks of lines."""

import unittest

from demo.screen import width, wrapped


class Breaks(unittest.TestCase):
    def test_text_is_broken_at_blanks_and_elsewhere_only_where_there_is_none(self) -> None:
        text = "one two three"
        self.assertEqual(wrapped(text, 0), [text])
        self.assertEqual(wrapped(text, 13), [text])
        self.assertEqual(wrapped(text, 12), ["one two", "three"])
        self.assertEqual(wrapped(text, 7), ["one two", "three"])
        self.assertEqual(wrapped("abcdefgh", 3), ["abc", "def", "gh"])

    def test_colours_have_no_width(self) -> None:
        self.assertEqual(width("\033[1mab\033[0mc"), 3)


if __name__ == "__main__":
    unittest.main()
