# SPDX-License-Identifier: MIT
"""The picture says what the table says, on light pages and dark ones."""

import unittest
import xml.etree.ElementTree

from figures import Figures
from picture import LEFT, RIGHT, WIDTH, picture

SVG = "{http://www.w3.org/2000/svg}"


def row(name: str, ratio: float) -> Figures:
    return Figures(name, 3, ratio, ratio - 0.1, ratio + 0.1, 1, 1)


class ThePicture(unittest.TestCase):
    def setUp(self) -> None:
        groups = [
            ("64 MiB", [row("hand", 1.0), row("own", 1.5)]),
            ("512 <MiB> & more", [row("hand", 1.0), row("own", 1.25), row("slow", 2.0)]),
        ]
        self.text = picture(groups, ("own",))
        self.root = xml.etree.ElementTree.fromstring(self.text)

    def test_bars_are_as_long_as_their_ratios(self) -> None:
        lengths = [float(bar.get("width", 0)) for bar in self.root.iter(f"{SVG}rect")]
        unit = lengths[0]
        self.assertEqual([round(length / unit, 2) for length in lengths], [1, 1.5, 1, 1.25, 2])
        self.assertAlmostEqual(max(lengths), WIDTH - LEFT - RIGHT)

    def test_the_agents_bars_are_told_apart(self) -> None:
        kinds = [bar.get("class") for bar in self.root.iter(f"{SVG}rect")]
        self.assertEqual(kinds, ["other", "own", "other", "own", "other"])

    def test_every_row_has_its_name_and_figures(self) -> None:
        texts = [text.text for text in self.root.iter(f"{SVG}text")]
        self.assertEqual(texts[:3], ["64 MiB", "hand", "1.00 (0.90 to 1.10)"])
        self.assertIn("512 <MiB> & more", texts)
        self.assertEqual(texts.count("own"), 2)

    def test_it_is_readable_on_dark_pages(self) -> None:
        self.assertIn("prefers-color-scheme: dark", self.text)

    def test_nothing_lies_outside(self) -> None:
        height = float(self.root.get("height", 0))
        for line in self.root.iter(f"{SVG}line"):
            self.assertLessEqual(float(line.get("y2", 0)), height)
        for bar in self.root.iter(f"{SVG}rect"):
            self.assertLess(float(bar.get("y", 0)) + float(bar.get("height", 0)), height)


if __name__ == "__main__":
    unittest.main()
