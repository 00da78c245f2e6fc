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
CONFIG = "/etc/otaSwAgent/node.conf"
# Places that the example, the unit and the pages once had beside those of today.
FORMER = r"/opt/(conf|logs)\b|/etc/ota/|/var/lib/otaSwAgent|/usr/(local/)?etc/"
EXPOSURE = 25  # tenths; systemd calls anything under 50 "ok"


def run(*command, **options):
    return subprocess.run(
        [str(part) for part in command],
        capture_output=True,
        text=True,
        check=False,
        timeout=300,
        **options,
    )


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
        headers = {
            str("usr/include/otaSwAgent" / header.relative_to(SOURCE / "include"))
            for header in (SOURCE / "include").rglob("*.h")
        }
        folder = library.parent
        self.assertEqual(
            {str(path.relative_to(self.root)) for path in self.root.rglob("*") if path.is_file()},
            headers
            | {
                str(library),
                str(library.with_name("libotaGuard.so")),
                str(folder / "pkgconfig/otaSwAgent.pc"),
                str(folder / "cmake/otaSwAgent/otaSwAgentConfig.cmake"),
                str(folder / "cmake/otaSwAgent/otaSwAgentConfigVersion.cmake"),
                "usr/bin/otactl",
                "usr/bin/ota-config",
                "usr/bin/ota-image",
                "usr/bin/ota-platform-check",
                "usr/bin/ota-report",
                "usr/sbin/otad",
                "usr/sbin/ota-boot-state",
                "usr/libexec/otaSwAgent/libotaSwPlatform.so",
                "usr/libexec/otaSwAgent/ota-host",
                "usr/lib/systemd/system/otad.service",
                "usr/lib/sysusers.d/otaSwAgent.conf",
                "usr/lib/tmpfiles.d/otaSwAgent.conf",
                "usr/share/dbus-1/interfaces/velmo.otaSwAgent.xml",
                "usr/share/dbus-1/system.d/velmo.otaSwAgent.conf",
                "usr/share/doc/otaSwAgent/boot.cmd",
                "usr/share/doc/otaSwAgent/codes.md",
                "usr/share/doc/otaSwAgent/node.conf.example",
                "usr/share/man/man1/ota-config.1",
                "usr/share/man/man1/ota-image.1",
                "usr/share/man/man1/ota-platform-check.1",
                "usr/share/man/man1/ota-report.1",
                "usr/share/man/man1/otactl.1",
                "usr/share/man/man5/node.conf.5",
                "usr/share/man/man8/ota-boot-state.8",
                "usr/share/man/man8/ota-host.8",
                "usr/share/man/man8/otad.8",
                "usr/share/bash-completion/completions/ota-platform-check",
                "usr/share/bash-completion/completions/otactl",
            },
        )

    def test_a_desk_is_laid_out_as_its_build_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            root = installed_to(folder, PREFIX)
            desk = run(
                *(CMAKE, "--install", BUILD, "--prefix", PREFIX, "--component", "desk"),
                env=os.environ | {"DESTDIR": folder},
            )
            self.assertEqual(desk.returncode, 0, desk.stderr)
            shown = run(root / "usr/bin/ota-desk", "demo", "--help").stdout
            self.assertIn("Upgrades a node on this desk", shown)
            places = root / "usr/libexec/otaSwAgent/desk"
            for program in [
                *("service/otad", "cli/otactl", "host/ota-host", "host/ota-desk-host"),
                *("tools/ota-image", "tools/ota-boot-state", "desk/ota-desk"),
                "desk/power/ota-power",
                "src/libotaSwAgent.so",
            ]:
                self.assertTrue((places / program).is_file(), program)

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
        self.assertEqual(command[2], CONFIG)

    def test_another_prefix_is_in_the_unit_too(self):
        with tempfile.TemporaryDirectory() as folder:
            root = installed_to(folder, "/opt/ota")
            command = self.command_line(root / "opt/ota/lib/systemd/system/otad.service")
            self.assertEqual(command[0], "/opt/ota/sbin/otad")
            self.assertEqual(command[2], CONFIG)
            self.check_defaults(root / "opt/ota")

    def check_defaults(self, prefix):
        """What the programs below this prefix take where the command line says nothing."""
        shown = run(prefix / "sbin/otad", "--help").stdout
        for option, default in (
            ("config", CONFIG),
            ("host", f"{prefix}/libexec/otaSwAgent/ota-host"),
            ("library", str(next(prefix.rglob("libotaSwAgent.so")))),
        ):
            self.assertRegex(shown, rf"--{option} \S*=?\[?{re.escape(default)}\]?\s")
        self.assertIn(CONFIG, run(prefix / "bin/otactl", "config", "check", "--help").stdout)

    def test_programs_unit_and_example_agree_on_one_set_of_paths(self):
        self.check_defaults(self.root / "usr")
        unit = self.unit.read_text()

        def named(key):
            return [
                word.lstrip("-")
                for line in re.findall(rf"^{key}=(.*)$", unit, re.M)
                for word in line.split()
            ]

        writable = named("ReadWritePaths") + [
            f"{folder}/{name}"
            for key, folder in (
                ("StateDirectory", "/var/lib"),
                ("LogsDirectory", "/var/log"),
                ("RuntimeDirectory", "/run"),
            )
            for name in named(key)
        ]
        example = (self.root / "usr/share/doc/otaSwAgent/node.conf.example").read_text()
        for key in ("tmp", "configs", "logs", "state", "boot_state"):
            path = re.search(rf"^{key} = (.*)$", example, re.M)[1]
            self.assertTrue(
                any(f"{path}/".startswith(f"{folder}/") for folder in writable),
                f"{key} = {path}: the unit lets the service write {writable} only",
            )
        read = re.findall(
            r"^(?:# )?(?:\w*ca_certificate|certificate|key|signer_ca|health_command) = (.*)$",
            example,
            re.M,
        )
        self.assertEqual(len(read), 6, read)
        for path in read:
            self.assertEqual(os.path.dirname(path), os.path.dirname(CONFIG))
        self.assertEqual(named("ConfigurationDirectory"), ["otaSwAgent"])
        self.assertEqual(named("ReadOnlyPaths"), ["/etc/otaSwAgent"])

    def test_nobody_names_a_former_path(self):
        pages = [
            *SOURCE.glob("*.md"),
            *SOURCE.glob("docs/*"),
            *SOURCE.glob("packaging/*"),
            SOURCE / "node/node.conf.example",
        ]
        for page in pages:
            if page.is_file() and page.name != "CHANGELOG.md":
                self.assertNotRegex(page.read_text(), FORMER, page)

    def test_what_is_installed_is_stripped_and_still_exports(self):
        programs = [
            path
            for path in self.root.rglob("*")
            if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"
        ]
        self.assertEqual(len(programs), 11, programs)
        for program in programs:
            self.assertNotIn(".symtab", run("readelf", "-S", "-W", program).stdout, program)
        for name, export in (
            ("libotaSwAgent.so", "initOTAlib"),
            ("libotaSwPlatform.so", "otaPlatformService"),
            ("libotaGuard.so", "otaGuardOffer"),
            ("ota-host", "startTimer"),
            # Found by the library before libcurl's.
            ("ota-host", "curl_easy_init"),
            ("ota-host", "curl_easy_perform"),
        ):
            exports = run("nm", "-D", "--defined-only", next(self.root.rglob(name))).stdout
            self.assertRegex(exports, rf"(?m) T {export}$")

    @unittest.skipUnless(
        shutil.which("systemctl") and shutil.which("systemd-sysusers"),
        "needs systemctl: install systemd",
    )
    def test_the_page_leads_to_an_installation_that_starts(self):
        page = (SOURCE / "docs/integrating.md").read_text()
        blocks = re.findall(r"^```sh\n(.*?)^```$", page, re.S | re.M)
        self.assertEqual(len(blocks), 1)
        with tempfile.TemporaryDirectory() as folder:
            work, root = pathlib.Path(folder) / "work", pathlib.Path(folder) / "root"
            (work / "build").mkdir(parents=True)
            (work / "build/release").symlink_to(BUILD)
            done = run(
                "sh",
                "-eu",
                "-c",
                blocks[0],
                cwd=work,
                env=os.environ
                | {
                    "root": str(root),
                    "LC_ALL": "C",
                    "PATH": f"{pathlib.Path(CMAKE).parent}:{os.environ['PATH']}",
                },
            )
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            self.assertTrue((root / CONFIG.lstrip("/")).is_file())
            self.assertRegex((root / "etc/group").read_text(), "(?m)^otaswagent:")
            wanted = root / "etc/systemd/system/multi-user.target.wants/otad.service"
            self.assertEqual(os.readlink(wanted), "/usr/lib/systemd/system/otad.service")
            if run("unshare", "-m", "true").returncode != 0:
                return  # no mounts of its own, and /etc is the machine's
            # The command line of the unit, in that root: all that is wrong is what a node must add.
            checked = self.checked(root)
            self.assertEqual(checked.returncode, 9, checked.stdout + checked.stderr)
            for line in checked.stderr.splitlines():
                self.assertRegex(line, f"^error: otad: {CONFIG}:\\d+: ")
                self.assertRegex(line, "make (it|that) or name another|cannot be (opened|read)")

    def checked(self, root):
        """The unit's own command line with --check, its configuration at its place."""
        command = self.command_line(root / "usr/lib/systemd/system/otad.service")
        self.assertEqual(command[2], CONFIG)
        words = [str(root) + word if word.startswith("/usr/") else word for word in command]
        script = f"mkdir -p /etc/otaSwAgent && mount --bind {root}/etc/otaSwAgent /etc/otaSwAgent"
        return run(
            "unshare",
            "-m",
            "sh",
            "-c",
            f'mount -t tmpfs none /etc && {script} && exec "$@"',
            "sh",
            *words,
            "--check",
        )

    def test_what_cannot_be_mended_by_a_restart_is_not_restarted(self):
        text = self.unit.read_text()
        for line in (
            "Type=notify",
            "WatchdogSec=30",
            "Restart=always",
            "RestartSec=1",
            "KillMode=mixed",
            "RestartPreventExitStatus=9 2",
        ):
            self.assertIn(f"\n{line}\n", text)

    def test_what_goes_wrong_stays_in_the_service(self):
        text = self.unit.read_text()
        self.assertRegex(text, r"(?m)^MemoryMax=\d+%$")
        for line in (
            "TasksMax=64",
            "LimitCORE=0",
            "OOMPolicy=continue",
            "After=dbus.service network.target nss-lookup.target",
        ):
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
        done = run(
            "systemd-analyze",
            "security",
            "--offline=true",
            f"--threshold={EXPOSURE}",
            "--no-pager",
            self.installed_unit(),
        )
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        print("exposure:", re.search(r"exposure level .*: ([\d.]+)", done.stdout)[1])

    @unittest.skipUnless(shutil.which("systemd-sysusers"), "needs systemd-sysusers")
    def test_the_group_of_the_bus_policy_is_made(self):
        policy = xml.etree.ElementTree.parse(
            self.root / "usr/share/dbus-1/system.d/velmo.otaSwAgent.conf"
        )
        group = next(node.get("group") for node in policy.iter("policy") if node.get("group"))
        with tempfile.TemporaryDirectory() as root:
            (pathlib.Path(root) / "etc").mkdir()
            done = run(
                "systemd-sysusers",
                f"--root={root}",
                self.root / "usr/lib/sysusers.d/otaSwAgent.conf",
            )
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertRegex((pathlib.Path(root) / "etc/group").read_text(), f"(?m)^{group}:")

    @unittest.skipUnless(shutil.which("groff"), "needs groff: install groff-base")
    def test_groff_has_no_complaint_about_a_page(self):
        pages = list((self.root / "usr/share/man").rglob("*.[158]"))
        self.assertEqual(len(pages), 9)
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
