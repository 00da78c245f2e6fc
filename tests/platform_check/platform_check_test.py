#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""ota-platform-check: nothing is wrong with a platform that is right, and a platform with one fault
has that one found, by name.

    platform_check_test.py CLASS --source FOLDER --build-dir FOLDER --module NAME=FILE...
"""
import argparse
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile
import time
import unittest
import xml.etree.ElementTree

from faults import FAULTS, HARMLESS, HOST_CALL_FAULTS, PROCESS_FAULTS, TRIAL_FAULTS

RIGHT, WRONG, NOT_MADE = 0, 1, 2
AT_ONCE = 4  # faults; half of a check is waiting
FEWEST_CHECKS, FEWEST_FAULTS = 60, 25
BANK = 200_000
PATIENCE = 300
MEMORY = "/dev/shm"
# What the platform of the tests has not.
WITHOUT_CAPACITY = {"write.takes-exactly-full", "write.refuses-too-large"}
OPTIONAL = {
    "table.refuses-a-missing-configuration",
    "table.capacity-same-each-time",
    "table.health-limit",
    "table.forgets-nothing-unknown",
    "write.is-given-up",
    "activate.is-not-given-up",
}
HOST_GROUPS = ("bus", "root", "gateway", "timers")
arguments = argparse.Namespace()


def run(*words, folder, **options):
    return subprocess.run(
        [str(word) for word in words],
        cwd=folder,
        stdin=subprocess.DEVNULL,
        capture_output=True,
        text=True,
        timeout=PATIENCE,
        check=False,
        **options,
    )


def built(path):
    return arguments.build_dir / path


def state_of(folder):
    """Every file below the folder with its bytes."""
    return {
        str(path.relative_to(folder)): path.is_file() and hashlib.sha256(path.read_bytes()).digest()
        for path in sorted(pathlib.Path(folder).rglob("*"))
    }


def named(found, result):
    return {one["name"] for one in found["checks"] if one["result"] == result}


class Case(unittest.TestCase):
    """A folder with a node in it."""

    maxDiff = None

    def setUp(self):
        # Every check has a copy of the node, and syncs its banks: in memory that takes no time.
        self.folder = self.new_folder(MEMORY if os.access(MEMORY, os.W_OK) else arguments.build_dir)
        self.node = self.folder / "node"
        for name in ("banks", "configs", "node-logs"):
            (self.node / name).mkdir(parents=True)

    def new_folder(self, place):
        """Nobody else may write there, and no library of another user's is loaded from there."""
        made = tempfile.TemporaryDirectory(dir=place, prefix="platform-check.")
        self.addCleanup(made.cleanup)
        pathlib.Path(made.name).chmod(0o755)
        return pathlib.Path(made.name)

    def library(self, name, content):
        """A file where programs may be, as they need not in memory."""
        path = self.new_folder(arguments.build_dir) / name
        path.write_bytes(content)
        return path

    def make_foreign_node(self):
        for name in ("a-long-tmp", "a b", "open"):
            (self.node / name).mkdir()
        (self.node / "open").chmod(0o777)
        (self.node / "banks/a").write_bytes(b"a root file system\n" * 1000)
        (self.node / "banks/b").touch()
        made = run(built("tests/platform_check/foreign_boot"), "4QZ-1.0", folder=self.node)
        self.assertEqual(made.returncode, 0, made.stderr)
        (self.node / "reboot").write_text("#!/bin/sh\n: >../rebooted\n")
        (self.node / "reboot").chmod(0o755)

    def whole(self):
        """The options with which everything is looked at."""
        boot = shlex.quote(str(built("tests/platform_check/foreign_boot")))
        return [
            *("--destructive", "--copy", self.node, "--boot", boot),
            *("--bank-a", "banks/a", "--bank-b", "banks/b"),
        ]

    def check(self, module, *options, fault=None, json_wanted=True, **around):
        environment = {key: value for key, value in os.environ.items() if key != "FAULT"}
        if fault:
            environment["FAULT"] = fault
        return run(
            built("tools/platform_check/ota-platform-check"),
            *(["--json"] if json_wanted else []),
            *options,
            arguments.modules.get(module, module),
            folder=self.folder,
            env=environment | around,
        )

    def found(self, module, *options, code, **around):
        ended = self.check(module, *options, **around)
        self.assertEqual(ended.returncode, code, ended.stdout[-3000:] + ended.stderr)
        return json.loads(ended.stdout)

    def expect_right(self, found, left_out):
        self.assertEqual(named(found, "wrong"), set())
        self.assertEqual(named(found, "not-looked-at"), left_out)
        self.assertEqual(found["result"], "right")

    def expect_each_found(self, module, faults, options, at_once=AT_ONCE):
        """Each fault has exactly its own checks wrong."""

        def find(fault):
            around = {fault.upper().replace("-", "_"): "1"} if fault.startswith("boots-") else {}
            return self.check(module, *options(fault), fault=fault, **around)

        with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
            every = dict(zip(faults, pool.map(find, faults)))
        for fault, ended in every.items():
            with self.subTest(fault=fault):
                self.assertEqual(ended.returncode, WRONG, ended.stderr)
                found = json.loads(ended.stdout)
                self.assertEqual(named(found, "wrong"), set(faults[fault]))
                for one in found["checks"]:
                    if one["result"] == "wrong":
                        self.expect_in_words(one)

    def expect_in_words(self, one):
        for key in ("asked", "came", "contract", "device"):
            self.assertRegex(one[key], r"\w", one["name"])

    def host_checks(self):
        return {
            name for name in self.every_name() if name.split(".")[0] in HOST_GROUPS
        }  # fmt: skip

    @functools.cache
    def every_name(self):
        listed = self.check("foreign", "--list", json_wanted=False)
        return re.findall(r"^([a-z-]+\.[a-z-]+)$", listed.stdout, re.M)


class Right(Case):
    def test_the_platform_of_the_tests(self):
        self.make_foreign_node()
        before = state_of(self.node)
        found = self.found("foreign", *self.whole(), code=RIGHT)
        self.expect_right(found, WITHOUT_CAPACITY | OPTIONAL | self.host_checks())
        self.assertEqual(state_of(self.node), before, "the node itself")
        self.assertEqual([path.name for path in self.folder.iterdir()], ["node"])

    def test_without_its_table(self):
        self.make_foreign_node()
        found = self.found("without_table", *self.whole(), code=RIGHT)
        left_out = named(found, "not-looked-at")
        table = {"trial.begins", "kill.commit", "activate.boots-next", "table.facts-agree"}
        self.assertLessEqual(table, left_out)
        right = {"activate.outlives-the-process", "fall-back.leaves-a-success", "kill.activate"}
        self.assertLessEqual(right, named(found, "right"))

    def make_reference_node(self):
        config = (
            "[node]\nmodel = GW-1000\nserial = SN0000000001\nwork_mode = RGW\n"
            "work_role = Controller\nonboarding = 0\npreferred_activation_time = 03:00\n"
            "[paths]\ntmp = .\nconfigs = configs\nlogs = node-logs\nca_certificate = ca.pem\n"
            f"[banks]\na = banks/a\nb = banks/b\nsize = {BANK}\nboot_state = boot_state\n"
            "[images]\nsignature = optional\n"
        )
        (self.node / "node.conf").write_text(config)
        tools = built("tools")
        maker = arguments.source / "tests/platform_check/make_image.sh"
        made = run(maker, "4QZ-1.0", 50_000, "4QZ-1.0", folder=self.node, env=self.tools())
        self.assertEqual(made.returncode, 0, made.stderr)
        image = (self.node / "4QZ-1.0").read_bytes()
        (self.node / "banks/a").write_bytes(image + bytes(BANK - len(image)))
        (self.node / "banks/b").write_bytes(bytes(BANK))
        made = run(
            *(tools / "ota-boot-state", "init", "--active", "a"),
            *("--image", "4QZ-1.0", "--output", "boot_state"),
            folder=self.node,
        )
        self.assertEqual(made.returncode, 0, made.stderr)
        (self.node / "4QZ-1.0").unlink()
        return maker

    def tools(self):
        return {**os.environ, "PATH": f"{built('tools')}:{os.environ['PATH']}", "MODEL": "GW-1000"}

    def test_the_reference(self):
        maker = self.make_reference_node()
        # 3: it has something to say.
        boot = "ota-boot-state boot --a banks/a --b banks/b --state boot_state || [ $? -eq 3 ]"
        found = self.found(
            "reference",
            *("--destructive", "--copy", self.node, "--config", "node.conf", "--boot", boot),
            *("--make-image", shlex.quote(str(maker))),
            *("--bank-a", "banks/a", "--bank-b", "banks/b", "--kill-points", 12),
            code=RIGHT,
            **self.tools(),
        )
        self.expect_right(found, self.host_checks())

    def test_that_of_the_first_port(self):
        page = (arguments.source / "docs/first-port.md").read_text()
        source = self.library(
            "platform.c",
            re.search(r"Save it as `platform.c`:\n\n```c\n(.*?)^```", page, re.S | re.M)[1].encode()
            + b"void sync(void) {}\n",
        )
        compiled = run(
            *("cc", "-std=gnu11", "-shared", "-fPIC", "-Dsync=syncNothing", "-w"),
            *("-I", arguments.source / "include", "-I", "/usr/include/cjson"),
            *(source, "-o", source.with_name("first.so")),
            folder=self.folder,
        )
        self.assertEqual(compiled.returncode, 0, compiled.stderr)
        for name in ("running", "next", "good"):
            (self.node / name).write_text("a\n")
        (self.node / "version-a").write_text("4QZ-1.0\n")
        for bank in ("bank-a", "bank-b"):
            (self.node / bank).touch()
        found = self.found(
            source.with_name("first.so"),
            *("--destructive", "--copy", self.node, "--turn", "runTimers"),
            *("--bank-a", "bank-a", "--bank-b", "bank-b"),
            code=RIGHT,
        )
        self.assertLessEqual(self.host_checks(), named(found, "right"))
        self.assertEqual(named(found, "wrong"), set())


class Wrong(Case):
    def test_each_fault_is_found_by_name(self):
        self.make_foreign_node()
        self.assertGreaterEqual(len(FAULTS) + len(TRIAL_FAULTS), FEWEST_FAULTS)

        def options(fault):
            kills = any(name.startswith("kill.") for name in every[fault])
            return [*self.whole(), *(() if kills else ("--kill-points", 6))]

        every = FAULTS | TRIAL_FAULTS
        self.expect_each_found("wrong", every, options)

    def test_without_a_fault(self):
        self.make_foreign_node()
        found = self.found("wrong", *self.whole(), code=RIGHT)
        self.expect_right(found, WITHOUT_CAPACITY | OPTIONAL | self.host_checks())

    def test_each_fault_has_a_name_in_its_source(self):
        for source, faults in (
            ("wrong_platform.c", FAULTS | TRIAL_FAULTS | PROCESS_FAULTS),
            ("wrong_host_calls.c", HOST_CALL_FAULTS),
        ):
            text = (arguments.source / "tests/platform_check" / source).read_text()
            in_source = set(re.findall(r'is\("([a-z-]+)"\)', text))
            faults = {name for name in faults if not name.startswith("boots-")}
            self.assertEqual(in_source - HARMLESS, faults)

    def test_a_function_that_is_missing(self):
        self.make_foreign_node()
        found = self.found("without_function", *self.whole(), code=WRONG)
        self.assertEqual(named(found, "wrong"), {"load.has-every-call"})
        came = next(one["came"] for one in found["checks"] if one["result"] == "wrong")
        self.assertIn("nal_activatePassiveImage", came)

    def test_half_a_table(self):
        self.make_foreign_node()
        found = self.found("half_table", *self.whole(), code=WRONG)
        self.assertEqual(named(found, "wrong"), {"table.all-of-a-trial-or-none"})

    def test_what_is_no_library(self):
        self.make_foreign_node()
        text = self.library("text.so", b"no library\n")
        found = self.found(text, *self.whole(), code=WRONG)
        self.assertEqual(named(found, "wrong"), {"load.opens"})

    def test_one_that_others_may_write_to(self):
        self.make_foreign_node()
        copy = self.library("copy.so", pathlib.Path(arguments.modules["foreign"]).read_bytes())
        copy.chmod(0o777)
        found = self.found(copy, code=WRONG, folder=self.node)
        self.assertIn("load.is-trusted", named(found, "wrong"))


class Timers(Case):
    def test_each_fault_is_found_by_name(self):
        self.make_foreign_node()

        def options(fault):
            # The other timers would only be waited for.
            group = HOST_CALL_FAULTS[fault][0].split(".")[0]
            only = ["timers"] if group == "timers" else HOST_GROUPS[:3]
            names = [word for name in only for word in ("--only", name)]
            return ["--copy", self.node, "--turn", "runTimers", *names]

        self.expect_each_found("host_calls", HOST_CALL_FAULTS, options, len(HOST_CALL_FAULTS))


class Hostile(Case):
    """What ends its process, hangs, or would bring the machine down: never a real reboot."""

    def test_each_is_found_and_ended(self):
        self.make_foreign_node()

        def options(fault):
            return [*self.whole(), *(("--limit", 2) if fault == "hangs" else ())]

        self.expect_each_found("wrong", PROCESS_FAULTS, options)
        self.assertFalse(list(self.folder.rglob("rebooted")))

    def what_came(self, fault, *options):
        found = self.found("wrong", *self.whole(), *options, fault=fault, code=WRONG)
        return " ".join(one["came"] for one in found["checks"] if one["result"] == "wrong")

    def test_they_are_told_apart(self):
        self.make_foreign_node()
        only = ("--only", "write.answers-zero")
        for fault, words in {
            "ends-the-process": "ended the process with the exit code 0",
            "aborts": "ended the process by a signal",
            "hangs": "had not come back after 2 s",
            "reboots-by-system": 'asked for a reboot: system("./reboot")',
            "reboots-by-popen": "asked for a reboot: popen",
            "reboots-by-exec": "asked for a reboot: execl",
            "reboots-by-the-kernel": "asked the kernel for a reboot",
            "reboots-by-another-way": "asked the kernel for a reboot",
        }.items():
            with self.subTest(fault=fault):
                self.assertIn(words, self.what_came(fault, *only, "--limit", 2))

    def test_programs_may_run_where_that_is_allowed(self):
        self.make_foreign_node()
        if os.geteuid() != 0:
            self.skipTest("--commands takes root")
        only = ("--only", "write.answers-zero")
        self.found("wrong", *self.whole(), *only, fault="runs-a-program", code=RIGHT)
        self.assertFalse((self.folder / "marked").exists())
        options = (*self.whole(), *only, "--commands")
        self.found("wrong", *options, fault="runs-a-program", code=RIGHT)
        self.assertTrue((self.folder / "marked").exists())
        for fault in ("reboots-by-system", "reboots-by-popen", "reboots-by-exec"):
            came = self.what_came(fault, "--only", "write.answers-zero", "--commands")
            self.assertIn("asked for a reboot", came)
        self.assertFalse(list(self.folder.rglob("rebooted")))

    def test_a_log_without_an_end_fills_no_memory(self):
        self.make_foreign_node()
        only = ("--only", "write.answers-zero")
        self.found("wrong", *self.whole(), *only, fault="floods-its-log", code=RIGHT)

    def test_one_that_is_interrupted_clears_up(self):
        self.make_foreign_node()
        checking = subprocess.Popen(
            [
                *(str(built("tools/platform_check/ota-platform-check")), "--destructive"),
                *("--copy", "node", "--only", "write.answers-zero", arguments.modules["wrong"]),
            ],
            cwd=self.folder,
            env={**os.environ, "FAULT": "hangs"},
            stderr=subprocess.PIPE,
            text=True,
        )
        until = time.monotonic() + PATIENCE
        while not list(self.folder.glob("node.check-*/4QZ*")) and time.monotonic() < until:
            time.sleep(0.01)
        checking.terminate()
        told = checking.communicate(timeout=PATIENCE)[1]
        self.assertEqual(checking.returncode, NOT_MADE, told)
        self.assertIn("interrupted", told)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["node"])

    def test_nothing_is_left_behind(self):
        self.make_foreign_node()
        self.found("wrong", "--copy", self.node, fault="leaves-a-process", code=WRONG)
        left = subprocess.run(["ps", "-eo", "args"], capture_output=True, text=True, check=True)
        self.assertNotIn(str(self.node), left.stdout)


class Words(Case):
    def test_there_are_enough_checks_and_each_has_one_name(self):
        names = self.every_name()
        self.assertGreaterEqual(len(names), FEWEST_CHECKS)
        self.assertEqual(len(names), len(set(names)))

    def test_every_check_is_failed_by_some_platform(self):
        failed = set().union(
            *FAULTS.values(), *TRIAL_FAULTS.values(), *PROCESS_FAULTS.values(),
            *HOST_CALL_FAULTS.values(),
        )  # fmt: skip
        # These have tests of their own, or take a bank that has an end.
        alone = {"load.opens", "load.has-every-call", "load.is-trusted", *WITHOUT_CAPACITY}
        self.assertEqual(set(self.every_name()) - failed - alone, set())

    def test_page_and_completion_know_every_option(self):
        helped = self.check("foreign", "--help", json_wanted=False).stdout
        options = set(re.findall(r"--[a-z-]+", helped.split("Options:")[1])) - {"--help"}
        self.assertGreater(len(options), 15)
        packaging = arguments.source / "packaging"
        page = (packaging / "ota-platform-check.1").read_text().replace("\\-", "-")
        completion = (packaging / "completion/ota-platform-check").read_text()
        for text in (page, completion):
            found = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))
            self.assertEqual(found - {"--help"}, options)

    def test_a_plan_touches_nothing(self):
        self.make_foreign_node()
        before = state_of(self.folder)
        planned = self.check("foreign", *self.whole(), "--plan", json_wanted=False)
        self.assertEqual(planned.returncode, RIGHT, planned.stderr)
        for name in self.every_name():
            self.assertIn(name, planned.stdout)
        self.assertIn("a copy of", planned.stdout)
        self.assertEqual(state_of(self.folder), before)
        # Not even a library that crashes where it is loaded.
        text = self.library("text.so", b"no library\n")
        planned = self.check(text, "--plan", json_wanted=False)
        self.assertEqual(planned.returncode, RIGHT, planned.stderr)

    def test_nothing_is_written_unless_it_is_asked_for(self):
        self.make_foreign_node()
        before = state_of(self.node)
        ended = run(
            *(built("tools/platform_check/ota-platform-check"), "--json"),
            arguments.modules["foreign"],
            folder=self.node,
        )
        self.assertEqual(ended.returncode, RIGHT, ended.stdout)
        left_out = named(json.loads(ended.stdout), "not-looked-at")
        self.assertLessEqual({"write.answers-zero", "activate.again", "kill.write"}, left_out)
        self.assertEqual(state_of(self.node), before)

    def test_a_command_makes_the_node_as_it_was(self):
        self.make_foreign_node()
        kept = self.folder / "kept"
        subprocess.run(["cp", "-a", self.node, kept], check=True)
        ended = run(
            *(built("tools/platform_check/ota-platform-check"), "--json", "--destructive"),
            *("--only", "write", "--only", "activate"),
            *("--reset", f"cp -a {shlex.quote(str(kept))}/. ."),
            arguments.modules["foreign"],
            folder=self.node,
        )
        self.assertEqual(ended.returncode, RIGHT, ended.stdout)
        self.assertIn("activate.is-not-written-over", named(json.loads(ended.stdout), "right"))

    def test_one_check_and_one_group(self):
        self.make_foreign_node()
        chosen = ("--copy", self.node, "--only", "load", "--only", "identity.model-fits")
        found = self.found("foreign", *chosen, code=RIGHT)
        self.assertEqual(
            [one["name"] for one in found["checks"]],
            ["load.opens", "load.has-every-call", "load.is-trusted", "identity.model-fits"],
        )

    def test_a_command_line_that_is_wrong(self):
        self.make_foreign_node()
        for options in (
            ("--only", "nothing"),
            ("--destructive",),
            ("--bank-a", "banks/a"),
            ("--copy", "nowhere"),
            ("--destructive", "--copy", self.node, "--boot", "false", "--only", "trial.begins"),
        ):
            ended = self.check("foreign", *options)
            self.assertEqual(ended.returncode, NOT_MADE, (options, ended.stdout))
            self.assertTrue(ended.stderr.startswith("ota-platform-check: "), ended.stderr)
        self.assertEqual(self.check(self.folder / "none.so").returncode, NOT_MADE)

    def test_text_json_and_junit_say_the_same(self):
        self.make_foreign_node()
        options = (*self.whole(), "--only", "activate", "--junit", self.folder / "junit.xml")
        fault = "activation-answers-zero"
        found = self.found("wrong", *options, fault=fault, code=WRONG)
        text = self.check("wrong", *options, fault=fault, json_wanted=False).stdout
        suite = xml.etree.ElementTree.parse(self.folder / "junit.xml").getroot()
        (wrong,) = (one for one in found["checks"] if one["result"] == "wrong")
        self.assertEqual(int(suite.get("tests")), len(found["checks"]))
        self.assertEqual(int(suite.get("failures")), found["wrong"])
        self.assertEqual(int(suite.get("skipped")), found["not_looked_at"])
        (failure,) = suite.iter("failure")
        for told in (text, failure.text):
            for key in ("asked", "came", "contract", "device"):
                self.assertIn(wrong[key], told)
        self.assertIn("WRONG  activate.answers-one-for-success\n", text)
        self.assertIn(f"{found['right']} right, {found['wrong']} wrong", text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("name")
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    parser.add_argument("--module", action="append", default=[])
    parser.parse_args(namespace=arguments)
    arguments.modules = dict(one.split("=", 1) for one in arguments.module)
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(globals()[arguments.name])
    return 0 if unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
