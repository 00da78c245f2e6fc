# SPDX-License-Identifier: MIT
"""Takes one road of `ota-desk demo` and checks exit code, words, banks and surroundings."""

import argparse
import pathlib
import re
import sys
import unittest

import desk_run
import own_network

COMPLETE = "OTA_SW_ACTIVATION_COMPLETE"
COMMITTED = [COMPLETE, "OTA_SW_COMMIT_COMPLETE"]
GAVE_UP = ["OTA_RECONNECT_BUE"]

# How the banks stand in the end: which one runs, what the other version's bank holds.
NEW_RUNS = {"runs": "b", "holds": "4QZ2.1.0"}
OLD_RUNS = {"runs": "a", "holds": None}
WRITTEN = {"runs": "a", "holds": "4QZ2.1.0"}
UNTOUCHED = {"runs": "a", "holds": "4QZ2.0.0"}

# name: options, exit code, status words, banks, boots (versions in order), whether each word arrives
# at the root
ROADS = {
    "gateway": ([], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], False),
    "policy-0": (["--policy", "0"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], False),
    "policy-1": (["--policy", "1"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], False),
    "policy-2": (["--policy", "2"], 3, [COMPLETE], WRITTEN, ["4QZ2.0.0"], False),
    "policy-3": (["--policy", "3"], 3,
                 ["OTA_SW_ACTIVATION_REBOOT_COMPLETE", "OTA_SW_SWAP_PASSIVE"], NEW_RUNS,
                 ["4QZ2.0.0", "4QZ2.1.0"], False),
    "extender": (["--mode", "AP_Bridge"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], True),
    "extender-policy-0": (["--mode", "AP_Bridge", "--policy", "0"], 0, COMMITTED, NEW_RUNS,
                          ["4QZ2.0.0", "4QZ2.1.0"], True),
    "controller": (["--mode", "AP_Bridge", "--role", "Controller"], 0, COMMITTED, NEW_RUNS,
                   ["4QZ2.0.0", "4QZ2.1.0"], False),
    "plain-http": (["--plain-http"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], False),
    "offload": (["--offload"], 3, [], OLD_RUNS, ["4QZ2.0.0"], False),
    "offload-extender": (["--offload", "--mode", "AP_Bridge"], 3, [], OLD_RUNS, ["4QZ2.0.0"],
                         True),
    "first-poll": (["--first-poll"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], False),
    "first-poll-policy-0": (["--first-poll", "--policy", "0"], 0, COMMITTED, NEW_RUNS,
                            ["4QZ2.0.0", "4QZ2.1.0"], False),
    "first-poll-policy-2": (["--first-poll", "--policy", "2"], 3, [COMPLETE], WRITTEN,
                            ["4QZ2.0.0"], False),
    "power-cut": (["--power-cut"], 0, COMMITTED, NEW_RUNS,
                  ["4QZ2.0.0", "4QZ2.0.0", "4QZ2.1.0"], False),
    "cut-power": (["--cut-power", "300"], 0, COMMITTED, NEW_RUNS,
                  ["4QZ2.0.0", "4QZ2.0.0", "4QZ2.1.0"], False),
    "fail-checksum": (["--fail", "checksum"], 3, ["OTA_CRC_CHECK_FAILED"], OLD_RUNS,
                      ["4QZ2.0.0"], False),
    "fail-flash": (["--fail", "flash"], 3, ["OTA_SW_FLASH_WRITE_FAILED"], OLD_RUNS,
                   ["4QZ2.0.0"], False),
    "fail-activate": (["--fail", "activate"], 3,
                      ["OTA_SW_SWAP_PASSIVE", "OTA_SW_ACTIVATION_FAILED"], OLD_RUNS,
                      ["4QZ2.0.0"], False),
    "fail-activate-policy-0": (["--fail", "activate", "--policy", "0"], 3,
                               ["OTA_SW_ACTIVATION_FAILED"], OLD_RUNS, ["4QZ2.0.0"], False),
    "fail-boot": (["--fail", "boot"], 3, [COMPLETE, "OTA_SW_COMMIT_FAILED"], OLD_RUNS,
                  ["4QZ2.0.0", "4QZ2.0.0"], False),
    "fail-health": (["--fail", "health"], 3, [COMPLETE, "OTA_SW_COMMIT_FAILED"], WRITTEN,
                    ["4QZ2.0.0", "4QZ2.1.0", "4QZ2.0.0"], False),
    "fail-server": (["--fail", "server"], 3, GAVE_UP, OLD_RUNS, ["4QZ2.0.0"], False),
    "fail-server-extender": (["--fail", "server", "--mode", "AP_Bridge"], 3, GAVE_UP, OLD_RUNS,
                             ["4QZ2.0.0"], True),
    "fail-certificate": (["--fail", "certificate"], 3, GAVE_UP, OLD_RUNS, ["4QZ2.0.0"], False),
    "fail-version": (["--fail", "version"], 3, ["OTA_SW_FLASH_WRITE_FAILED"], UNTOUCHED,
                     ["4QZ2.0.0"], False),
    "fail-signature": (["--fail", "signature"], 3, ["OTA_SW_FLASH_WRITE_FAILED"], UNTOUCHED,
                       ["4QZ2.0.0"], False),
    "mesh": (["--mesh"], 0, COMMITTED, NEW_RUNS, ["4QZ2.0.0", "4QZ2.1.0"], True),
    "mesh-policy-0": (["--mesh", "--policy", "0"], 0, COMMITTED, NEW_RUNS,
                      ["4QZ2.0.0", "4QZ2.1.0"], True),
    "fail-disk": (["--fail", "disk"], 3, GAVE_UP, OLD_RUNS, ["4QZ2.0.0"], False),
}  # fmt: skip


# How each road that fails ends: outcome, code and reason code, as the demo shows them.
REASONS = {
    "fail-checksum": "checksumFailed (51, checksum-differs)",
    "fail-flash": "flashWriteFailed (52, larger-than-bank)",
    "fail-activate": "activationFailed (53, bank-reads-other)",
    "fail-activate-policy-0": "activationFailed (53, bank-reads-other)",
    "fail-boot": "commitFailed (55, boot-attempts-spent)",
    "fail-health": "commitFailed (55, health-failed)",
    "fail-server": "downloadGaveUp (54, server-error)",
    "fail-server-extender": "downloadGaveUp (54, server-error)",
    "fail-certificate": "downloadGaveUp (54, certificate-refused)",
    "fail-version": "flashWriteFailed (52, version-not-as-offered)",
    "fail-signature": "flashWriteFailed (52, wrong-signer)",
    "fail-disk": "downloadGaveUp (54, disk-full)",
}


# Taken in real time and on a terminal; all others are fast and write to a pipe.
WATCHED = "gateway"
# Taken by three nodes at once.
MESHES = ["mesh", "mesh-policy-0"]
MESH = ["gateway", "ext-1", "ext-2"]
BAR = 21  # characters, on a terminal of 80 columns


class Road(unittest.TestCase):
    build = pathlib.Path()
    journal_library = ""
    name = ""

    def setUp(self):
        self.outside = desk_run.Outside()
        self.addCleanup(self.outside.close)

    def take(self):
        options = ROADS[self.name][0]
        self.journal = self.outside.run_folder.with_name("commands.txt")
        environment = {
            "LD_PRELOAD": self.journal_library,
            "OTA_EXEC_JOURNAL": str(self.journal),
            "ASAN_OPTIONS": "verify_asan_link_order=0",
        }
        if self.name == WATCHED:
            result, shown = desk_run.run_on_terminal(
                self.build, self.outside.run_folder, options, environment
            )
            self.check_bar(shown)
            return result
        return desk_run.run(self.build, self.outside.run_folder, ["--fast", *options], environment)

    def check_bar(self, shown):
        """The bar is redrawn in its place, and tells percentage, rate and time left."""
        bars = re.findall(
            r"\r\x1b\[K  [\d:]{8} \x1b\[1mdownload +\x1b\[0m"
            r"\[(#*)(-*)\] (\d+) %, ([\d.]+) MiB/s(?:, (\d+) s left)?",
            shown,
        )
        self.assertGreater(len(bars), 10, shown)
        percents = [int(bar[2]) for bar in bars]
        self.assertEqual(percents, sorted(set(percents)))
        self.assertEqual(percents[-1], 100)
        for done, rest, percent, rate, left in bars:
            self.assertEqual(len(done), int(percent) * BAR // 100)
            self.assertEqual(len(done) + len(rest), BAR)
            self.assertGreater(float(rate), 0)
            self.assertEqual(left == "", percent == "100")
        # The server sends the image in about three seconds.
        self.assertIn(bars[len(bars) // 2][4], [str(seconds) for seconds in range(1, 6)])
        self.assertIn("\x1b[1;32mAs expected: ", shown)
        too_wide = [line for line in desk_run.as_lines(shown).splitlines() if len(line) > 80]
        self.assertEqual([line for line in too_wide if "unix:path=" not in line], [])

    def test_road(self):
        result = self.take()
        _, exit_code, words, banks, boots, reports = ROADS[self.name]
        self.assertEqual(result.exit_code, exit_code, result.output)
        for node in MESH if self.name in MESHES else [""]:
            with self.subTest(node=node):
                self.assertEqual(result.words(node), words, result.output)
                self.assertEqual([boot.split()[0] for boot in result.step("boot", node)], boots)
                self.assertEqual(
                    result.at_the_root(node),
                    words if reports and node != "gateway" else [],
                    result.output,
                )
                self.check_banks(result, banks, node)
        if "--fail" in ROADS[self.name][0]:
            self.assertEqual(result.step("outcome"), [REASONS[self.name]], result.output)
        self.assertEqual(len(result.step("hand-off")), 1 if "--offload" in result.lines[0] else 0)
        self.assertTrue(result.last_line.startswith("As expected: "), result.last_line)
        self.check_surroundings(result)

    def check_banks(self, result, banks, node):
        state = result.boot_state(node)
        self.assertEqual(state["boot"]["active"], banks["runs"])
        self.assertEqual(state["boot"]["next"], banks["runs"])
        self.assertEqual(state["bank a"]["whole"], "1")
        self.assertEqual(state["bank a"]["version"], "4QZ2.0.0")
        images = self.build / "demo/images"
        self.assertTrue(result.bank_begins_with("a", images / "4QZ2.0.0.img", node))
        if banks["holds"] is None:
            self.assertEqual(state["bank b"]["whole"], "0")
        else:
            self.assertEqual(state["bank b"]["whole"], "1")
            self.assertEqual(state["bank b"]["version"], banks["holds"])
            self.assertTrue(result.bank_begins_with("b", images / f"{banks['holds']}.img", node))
        self.assertFalse((result.node(node) / "logs/ota_act_success").exists())

    def check_surroundings(self, result):
        commands = self.journal.read_text().splitlines()
        self.journal.unlink()
        for program in ["ota-desk-host", "otad", "otactl"]:
            self.assertTrue(
                [line for line in commands if program in line],
                f"the journal did not see {program}, so it proves nothing",
            )
        self.assertEqual([line for line in commands if "/sbin/reboot" in line], [])
        self.assertEqual([line for line in commands if "rm /tmp" in line], [])
        self.assertNotIn("not run on this desk", result.logs())
        self.assertEqual(self.outside.snapshot(), self.outside.before)
        self.assertEqual(desk_run.processes_of(result.run_folder), {})


class RoadList(unittest.TestCase):
    registered = []

    def test_every_road_is_registered(self):
        self.assertEqual(sorted(self.registered), sorted(ROADS))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    parser.add_argument("--journal-library", default="")
    parser.add_argument("--list", nargs="*")
    parser.add_argument("road", nargs="?", choices=sorted(ROADS))
    options = parser.parse_args()
    case = RoadList("test_every_road_is_registered") if options.road is None else Road("test_road")
    own_network.enter(options.build_dir)
    Road.build = options.build_dir.absolute()
    Road.journal_library = options.journal_library
    Road.name = options.road
    RoadList.registered = options.list or []
    return 0 if unittest.TextTestRunner().run(case).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
