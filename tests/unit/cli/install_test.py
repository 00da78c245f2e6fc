#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What cmake --install lays out: every file in its place, and each one fit for its reader."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

SOURCE, BUILD, CMAKE = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
PREFIX = "/usr"
EXPOSURE = 25  # tenths; systemd calls anything under 50 "ok"


def run(*command, **options):
    return subprocess.run(
        [str(part) for part in command], capture_output=True, text=True, check=False, timeout=60,
        **options)


def installed_to(folder, prefix):
    done = run(CMAKE, "--install", BUILD, "--prefix", prefix, env=os.environ | {"DESTDIR": folder})
    assert done.returncode == 0, done.stderr
    return pathlib.Path(folder)


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="installed-")
        cls.root = installed_to(cls.folder, PREFIX)
        cls.unit = cls.root / "usr/lib/systemd/system/otad.service"

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def test_every_file_is_in_its_place_and_nothing_else(self):
        library = next(self.root.rglob("libotaSwAgent.so")).relative_to(self.root)
        self.assertEqual(str(library).split("/")[:2], ["usr", "lib"])
        headers = {"usr/" + str(header.relative_to(SOURCE))
                   for header in (SOURCE / "include").rglob("*.h")}
        self.assertEqual(
            {str(path.relative_to(self.root)) for path in self.root.rglob("*") if path.is_file()},
            headers | {
                str(library),
                "usr/bin/otactl", "usr/bin/ota-image", "usr/sbin/otad", "usr/sbin/ota-boot-state",
                "usr/libexec/otaSwAgent/ota-host",
                "usr/lib/systemd/system/otad.service",
                "usr/lib/sysusers.d/otaSwAgent.conf",
                "usr/share/dbus-1/interfaces/velmo.otaSwAgent.xml",
                "usr/share/dbus-1/system.d/velmo.otaSwAgent.conf",
                "usr/share/doc/otaSwAgent/boot.cmd",
                "usr/share/doc/otaSwAgent/node.conf.example",
                "usr/share/man/man1/otactl.1", "usr/share/man/man5/node.conf.5",
                "usr/share/man/man8/otad.8",
                "usr/share/bash-completion/completions/otactl"})

    def test_nothing_is_left_to_be_filled_in(self):
        for path in (*self.root.rglob("*.service"), *self.root.rglob("*.conf")):
            self.assertNotRegex(path.read_text(), r"@\w+@", path)

    def test_the_programs_start_from_there(self):
        for program in ("usr/bin/otactl", "usr/sbin/otad"):
            self.assertRegex(run(self.root / program, "--version").stdout, r"^\d+\.\d+\.\d+\n$")

    def command_line(self, unit):
        joined = unit.read_text().replace("\\\n", " ")
        return re.search(r"^ExecStart=(.*)$", joined, re.M)[1].split()

    def test_the_unit_names_what_was_installed(self):
        command = self.command_line(self.unit)
        self.assertEqual(command[1::2], ["--config", "--host", "--library"])
        for path in (command[0], command[4], command[6]):
            self.assertTrue((self.root / path.lstrip("/")).is_file(), path)
        self.assertEqual(command[2], "/etc/otaSwAgent/node.conf")

    def test_another_prefix_is_in_the_unit_too(self):
        with tempfile.TemporaryDirectory() as folder:
            root = installed_to(folder, "/opt/ota")
            command = self.command_line(root / "opt/ota/lib/systemd/system/otad.service")
            self.assertEqual(command[0], "/opt/ota/sbin/otad")
            self.assertEqual(command[2], "/opt/ota/etc/otaSwAgent/node.conf")

    def test_what_cannot_be_mended_by_a_restart_is_not_restarted(self):
        text = self.unit.read_text()
        for line in ("Type=notify", "WatchdogSec=30", "Restart=always", "RestartSec=1",
                     "KillMode=mixed", "RestartPreventExitStatus=9 2"):
            self.assertIn(f"\n{line}\n", text)

    def installed_unit(self):
        """The unit with the paths of the temporary folder, where its programs exist."""
        there = self.root / "otad.service"
        there.write_text(self.unit.read_text().replace("ExecStart=/", f"ExecStart={self.root}/"))
        self.addCleanup(there.unlink)
        return there

    @unittest.skipUnless(shutil.which("systemd-analyze"), "needs systemd-analyze: install systemd")
    def test_systemd_understands_every_line_of_the_unit(self):
        done = run("systemd-analyze", "verify", "--man=no", self.installed_unit())
        self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))

    @unittest.skipUnless(shutil.which("systemd-analyze"), "needs systemd-analyze: install systemd")
    def test_the_sandbox_stays_as_strict_as_it_is(self):
        done = run("systemd-analyze", "security", "--offline=true", f"--threshold={EXPOSURE}",
                   "--no-pager", self.installed_unit())
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        print("exposure:", re.search(r"exposure level .*: ([\d.]+)", done.stdout)[1])

    @unittest.skipUnless(shutil.which("systemd-sysusers"), "needs systemd-sysusers")
    def test_the_group_of_the_bus_policy_is_made(self):
        policy = xml.etree.ElementTree.parse(
            self.root / "usr/share/dbus-1/system.d/velmo.otaSwAgent.conf")
        group = next(node.get("group") for node in policy.iter("policy") if node.get("group"))
        with tempfile.TemporaryDirectory() as root:
            (pathlib.Path(root) / "etc").mkdir()
            done = run("systemd-sysusers", f"--root={root}",
                       self.root / "usr/lib/sysusers.d/otaSwAgent.conf")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertRegex((pathlib.Path(root) / "etc/group").read_text(), f"(?m)^{group}:")

    @unittest.skipUnless(shutil.which("groff"), "needs groff: install groff-base")
    def test_groff_has_no_complaint_about_a_page(self):
        pages = list((self.root / "usr/share/man").rglob("*.[158]"))
        self.assertEqual(len(pages), 3)
        for page in pages:
            done = run("groff", "-man", "-ww", "-z", "-Tutf8", page)
            self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""), page)

    def test_the_page_of_the_configuration_has_every_key_of_the_example(self):
        example = (self.root / "usr/share/doc/otaSwAgent/node.conf.example").read_text()
        keys = {}
        # Behind a "#" stands a key that goes only in the place of another one.
        for section, key in re.findall(r"^(?:\[(\w+)\]|(?:# )?(\w+) = )", example, re.M):
            if section:
                keys[section] = set()
            else:
                keys[list(keys)[-1]].add(key)
        page = (self.root / "usr/share/man/man5/node.conf.5").read_text()
        described = {}
        for section, text in re.findall(r"^\.SH \[(\w+)\]\n(.*?)(?=^\.SH )", page, re.M | re.S):
            names = re.findall(r"^\.TP\n\.BR? (.*)$", text, re.M)
            described[section] = {word for name in names for word in re.findall(r"\w+", name)}
        self.assertGreater(len(keys), 3)
        self.assertEqual(described, keys)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
