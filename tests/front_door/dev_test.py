#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The front door says what it can do, and what is wrong, without building anything."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(sys.argv.pop())


class FrontDoor(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.tools = pathlib.Path(self.folder.name, "tools")
        self.tools.mkdir()

    def tool(self, name, script):
        """A program that is found instead of the machine's own."""
        path = self.tools / name
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)

    def dev(self, *arguments, only_tools=False):
        path = str(self.tools) + ("" if only_tools else os.pathsep + os.environ["PATH"])
        copy = pathlib.Path(self.folder.name, "dev")
        copy.write_bytes((ROOT / "dev").read_bytes())
        return subprocess.run(
            ["/bin/sh", str(copy), *arguments],
            env={"PATH": path},
            capture_output=True,
            text=True,
            timeout=300,
            check=False,
        )

    def tools_of_a_machine_without_packages(self):
        for name in ("dirname", "mktemp", "rm", "tail"):
            self.tool(
                name, f'exec {subprocess.check_output(["which", name], text=True).strip()} "$@"'
            )
        self.tool("dpkg-query", "exit 1")

    def test_help_fits_on_a_page(self):
        answer = self.dev("help")
        self.assertEqual(answer.returncode, 0)
        self.assertLess(len(answer.stdout.splitlines()), 30)
        for command in ("demo", "test", "build", "lint", "cover", "package", "setup", "clean"):
            self.assertIn(f"\n  {command}", answer.stdout)

    def test_no_command_is_help(self):
        self.assertEqual(self.dev().stdout, self.dev("help").stdout)

    def test_an_unknown_command_is_named(self):
        answer = self.dev("tset")
        self.assertEqual(answer.returncode, 2)
        self.assertIn("no command 'tset'", answer.stderr)

    def test_setup_is_silent_when_all_is_there(self):
        self.tool("dpkg-query", "echo installed")
        self.tool("apt-get", "echo called >&2; exit 1")
        answer = self.dev("setup")
        self.assertEqual((answer.returncode, answer.stdout, answer.stderr), (0, "", ""))

    def test_setup_without_root_and_sudo_says_what_to_install(self):
        self.tools_of_a_machine_without_packages()
        self.tool("id", "echo 1000")
        answer = self.dev("setup", only_tools=True)
        self.assertEqual(answer.returncode, 1)
        self.assertIn("needs root", answer.stderr)
        self.assertIn("libcjson-dev", answer.stderr)

    def test_the_updaters_of_debian_are_installed_for_a_bench_with_peers_alone(self):
        self.tools_of_a_machine_without_packages()
        self.tool("id", "echo 1000")
        for options, wanted in (((), False), (("--peers",), True)):
            answer = self.dev("bench", *options, only_tools=True)
            self.assertEqual(answer.returncode, 1)
            self.assertIn("hyperfine", answer.stderr)
            for package in ("swupdate", "rauc"):
                self.assertEqual(package in answer.stderr, wanted, answer.stderr)

    def test_setup_with_sudo_names_what_it_installs(self):
        self.tools_of_a_machine_without_packages()
        self.tool("id", "echo 1000")
        self.tool("sudo", 'echo "$*" >"$0.called"')
        answer = self.dev("setup", only_tools=True)
        self.assertEqual(answer.returncode, 0, answer.stderr)
        self.assertIn("installing g++ cmake", answer.stderr)
        self.assertIn("apt-get install", (self.tools / "sudo.called").read_text())

    def test_a_failed_installation_says_where_its_log_is(self):
        self.tools_of_a_machine_without_packages()
        self.tool("id", "echo 1000")
        self.tool("sudo", "echo 'E: no such package' >&2; exit 100")
        answer = self.dev("setup", only_tools=True)
        self.assertEqual(answer.returncode, 1)
        self.assertIn("E: no such package", answer.stderr)
        self.assertRegex(answer.stderr, r"the whole log is /\S+")

    def test_another_system_is_told_what_it_would_need(self):
        self.tool("dirname", 'exec /usr/bin/dirname "$@"')
        answer = self.dev("setup", only_tools=True)
        self.assertEqual(answer.returncode, 1)
        self.assertIn("not a Debian system", answer.stderr)

    def run_on(self, ctest):
        self.tool("dpkg-query", "echo installed")
        self.tool("cmake", "exit 0")
        self.tool("ctest", ctest)
        return self.dev("test")

    def built_with(self, *said, code=0):
        """What ./dev build says where ninja says this."""
        self.tool("dpkg-query", "echo installed")
        lines = "".join(f"echo '{line}'\n" for line in said)
        self.tool("cmake", f"case $1 in --build) {lines} exit {code} ;; esac")
        return self.dev("build")

    def test_a_build_says_how_far_it_is_and_how_long_it_took_the_last_time(self):
        steps = "[1/2] Building CXX object a.o", "[2/2] Linking CXX executable a"
        first = self.built_with(*steps)
        self.assertEqual(first.returncode, 0)
        self.assertRegex(
            first.stderr, r"\Abuilding release: 1 of 2\nbuilt release: 2 steps in \d+ s\n\Z"
        )
        again = self.built_with(*steps).stderr
        self.assertRegex(again, r"\Abuilding release: 1 of 2 \(the last time: 2 steps in \d+ s\)\n")

    def test_a_build_with_nothing_to_do_says_nothing(self):
        self.assertEqual(self.built_with("ninja: no work to do.").stderr, "")

    def test_a_failed_build_is_not_said_to_be_built(self):
        answer = self.built_with("[1/1] Building a.o", "FAILED: a.o", "a.c:1: error: no", code=1)
        self.assertEqual(answer.returncode, 1)
        self.assertNotIn("built", answer.stderr)
        self.assertIn("a.c:1: error: no", answer.stderr)
        self.assertRegex(answer.stderr, r"building release failed; the whole log is /\S+")

    def test_a_failed_test_fails_the_command_and_is_shown(self):
        self.assertEqual(self.run_on("exit 0").returncode, 0)
        answer = self.run_on(
            "echo ' 1/2 Test #1: a .... Passed'; echo '2/2 Test #2: b ***Failed'; exit 8"
        )
        self.assertEqual(answer.returncode, 1)
        self.assertIn("b ***Failed", answer.stdout)
        self.assertNotIn("Passed", answer.stdout)
        self.assertRegex(answer.stderr, r"tests failed; the whole log is /\S+")

    def test_a_test_run_that_was_killed_is_no_success(self):
        self.assertEqual(self.run_on("exit 0").returncode, 0)
        self.assertNotEqual(self.run_on("kill -9 $PPID").returncode, 0)

    def test_a_folder_that_cannot_be_written_is_one_line(self):
        self.tool("dpkg-query", "echo installed")
        self.tool("mkdir", "echo 'cannot create' >&2; exit 1")
        answer = self.dev("build")
        self.assertEqual(answer.returncode, 1)
        self.assertEqual(len(answer.stderr.splitlines()), 1, answer.stderr)
        self.assertIn("cannot be written", answer.stderr)


if __name__ == "__main__":
    unittest.main()
