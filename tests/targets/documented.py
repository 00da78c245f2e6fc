#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Every target has its toolchain file, preset, compiler package and row of the page, and no other has.

    documented.py SOURCE-FOLDER
"""
import json
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop())
sys.path.insert(0, str(ROOT / "tests/targets"))
import matrix

TOOLCHAINS = {
    path.stem: dict(re.findall(r"^set\((\w+) (\S+)\)$", path.read_text(), re.M))
    for path in (ROOT / "cmake/targets").glob("*.cmake")
    if path.stem != "debian"
}
PAGE = (ROOT / "docs/targets.md").read_text()
LIMITS = dict(
    re.findall(r"set\(largest_(\w+) (\d+)\)", (ROOT / "tests/abi/CMakeLists.txt").read_text())
)


class Documented(unittest.TestCase):
    def test_every_target_has_a_toolchain_file(self):
        self.assertEqual(set(TOOLCHAINS), set(matrix.TARGETS))

    def test_every_target_has_a_preset(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
        files = {row["name"]: row["toolchainFile"] for row in presets if "toolchainFile" in row}
        self.assertEqual(
            files, {name: f"${{sourceDir}}/cmake/targets/{name}.cmake" for name in matrix.TARGETS}
        )

    def test_the_node_without_systemd_has_a_preset_that_is_one(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]
        (preset,) = [row for row in presets if row["name"] == matrix.NO_SYSTEMD]
        self.assertEqual(preset["cacheVariables"], {"OTA_SYSTEMD": "OFF"})
        self.assertIn(f"./dev matrix {matrix.NO_SYSTEMD}", PAGE)

    def test_the_compiler_of_every_target_is_installed(self):
        front_door = (ROOT / "dev").read_text()
        for name, settings in TOOLCHAINS.items():
            if name != "musl":  # which takes this machine's
                self.assertIn(f"g++-{settings['triplet']}", front_door, name)
        for name in matrix.COMPILERS:
            self.assertRegex(front_door, rf"\b{name}\b")

    def test_the_page_names_the_limits_that_are_checked(self):
        for name, settings in TOOLCHAINS.items():
            row = re.search(rf"^\| `{name}` \|[^|]+\| ?([^|]*?) ?\|$", PAGE, re.M)
            self.assertTrue(row, name)
            limit = LIMITS.get(settings["CMAKE_SYSTEM_PROCESSOR"])
            self.assertEqual(row[1], f"{limit} KiB" if limit else "", name)

    def test_the_page_names_every_option(self):
        declared = re.compile(
            r"^\s*(?:option|cmake_dependent_option)\((OTA_(?:BUILD|DEBUG|SYSTEMD)\w*)", re.M
        )
        files = ROOT / "CMakeLists.txt", ROOT / "cmake/compile_options.cmake"
        names = [name for file in files for name in declared.findall(file.read_text())]
        self.assertEqual(len(names), 5)
        for name in names:
            self.assertIn(f"| `{name}` |", PAGE)


if __name__ == "__main__":
    unittest.main()
