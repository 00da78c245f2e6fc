# SPDX-License-Identifier: MIT
"""What a person sees of `ota-desk demo` when something is wrong or is stopped in the middle."""

import argparse
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import unittest

import desk_run
import own_network
from rig.programs import Programs
from rig.waiting import PATIENCE, wait_for

NOBODY = 65534


class Mishap(unittest.TestCase):
    build = pathlib.Path()
    stand_ins_agent = ""
    full_disk_library = ""

    def setUp(self):
        self.outside = desk_run.Outside()
        self.addCleanup(self.outside.close)
        self.addCleanup(self.check_outside)

    def check_outside(self):
        self.assertEqual(self.outside.snapshot(), self.outside.before)
        self.assertEqual(desk_run.processes_of(self.outside.run_folder), {})

    def run_desk(self, *options):
        return desk_run.run(self.build, self.outside.run_folder, options)

    def one_line(self, result, exit_code):
        """The single line of a failure."""
        lines = [line for line in result.lines if line.startswith("ota-desk: ")]
        self.assertEqual(len(lines), 1, result.output)
        self.assertEqual(result.exit_code, exit_code, result.output)
        return lines[0]

    def start_slow_download(self, *options, node="node"):
        """A demonstration whose download takes some seconds; returns it, and the ids of its daemon
        and its host process."""
        run_folder = self.outside.run_folder
        # pylint: disable=consider-using-with
        desk = subprocess.Popen(
            desk_run.command(self.build, run_folder, ["--plain-http", *options]),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        self.addCleanup(desk.stdout.close)
        self.addCleanup(desk.wait)
        self.addCleanup(desk.kill)
        wait_for("a download", (run_folder / node / "ota_dwld_prog").exists)
        processes = desk_run.processes_of(run_folder).items()
        daemons = [pid for pid, line in processes if "/otad " in line]
        # One that just becomes another program has no command line.
        hosts = [pid for pid, line in processes if line.split(" ", 1)[0].endswith("/ota-desk-host")]
        self.assertTrue(daemons and hosts, processes)
        return desk, daemons[0], hosts[0]

    def finish(self, desk):
        output, _ = desk.communicate(timeout=PATIENCE)
        return desk_run.DeskRun(self.outside.run_folder, desk.returncode, output)

    def test_bad_options(self):
        for options, part in [
            (["--policy", "4"], "0|1|2|3"),
            (["--policy"], "0|1|2|3"),
            (["--mode", "Bridge"], "RGW|AP_Bridge"),
            (["--fail", "luck"], "boot|health|server|certificate|signature|version|disk"),
            (["--nonsense"], "--nonsense"),
            (["--limit", "soon"], "--limit"),
            (["--offload", "--first-poll"], "do not go together"),
            (["--fail", "health", "--policy", "2"], "only with 1"),
            (["--first-poll", "--mode", "AP_Bridge"], "gateway"),
            (["--fail", "certificate", "--plain-http"], "https"),
            (["--mesh", "--mode", "RGW"], "do not go together"),
            (["--mesh", "--policy", "3"], "only with 0, 1"),
            (["--role", "a\nwork_mode = RGW"], "--role"),
        ]:
            with self.subTest(options=options):
                result = self.run_desk(*options)
                self.assertEqual(result.exit_code, 2, result.output)
                self.assertEqual(len(result.lines), 1, result.output)
                self.assertIn(part, result.output)
                self.assertIn("--help", result.output)
                self.assertFalse(self.outside.run_folder.exists())

    def test_help(self):
        result = self.run_desk("--help")
        self.assertEqual(result.exit_code, 0)
        for option in [
            "--policy",
            "--mode",
            "--role",
            "--plain-http",
            "--offload",
            "--first-poll",
            "--mesh",
            "--fail",
            "--fast",
            "exit codes",
            "empties it again",
        ]:
            self.assertIn(option, result.output)
        program = str(self.build / "desk/ota-desk")
        self.assertEqual([line for line in result.lines if len(line) > 80], [])
        self.assertIn("  --fail health and --policy 0, 2, 3\n", result.output)
        alone = subprocess.run([program, "--help"], capture_output=True, text=True, check=False)
        self.assertEqual((alone.returncode, alone.stdout, alone.stderr), (0, result.output, ""))
        wrong = subprocess.run([program], capture_output=True, text=True, check=False)
        self.assertEqual((wrong.returncode, wrong.stdout), (2, ""))
        self.assertIn("--help", wrong.stderr)

    def test_missing_library(self):
        line = self.one_line(self.run_desk("--fast", "--library", "/nowhere/libotaSwAgent.so"), 1)
        self.assertIn("/nowhere/libotaSwAgent.so", line)
        self.assertIn("--library", line)
        self.assertFalse(self.outside.run_folder.exists())

    def test_library_that_is_none(self):
        """The daemon starts the host process again and again; the desk has seen enough."""
        library = self.outside.run_folder.with_name("none.so")
        library.write_text("no library\n")
        self.outside.before = self.outside.snapshot()
        result = self.run_desk("--fast", "--library", str(library))
        line = self.one_line(result, 1)
        self.assertIn("host process does not start, having said: error: ota-host: ", line)
        self.assertIn(str(library), line)
        self.assertIn(str(self.outside.run_folder / "node.log"), line)
        self.assertEqual(len(result.step("host process")), 3)

    def other_configuration(self, old, new):
        """The configuration of a first run with one text replaced, in a file of its own."""
        self.assertEqual(self.run_desk("--fast", "--offload").exit_code, 3)
        text = (self.outside.run_folder / "node/node.conf").read_text()
        self.assertIn(old, text)
        config = self.outside.run_folder.with_name("other.conf")
        config.write_text(text.replace(old, new))
        self.outside.before = self.outside.snapshot()
        return str(config)

    def test_broken_configuration(self):
        config = self.other_configuration("work_mode = RGW\n", "work_mode = RGW\nthis is no key\n")
        line = self.one_line(self.run_desk("--fast", "--node-conf", config), 1)
        self.assertIn("exit code 9", line)
        self.assertIn("node.conf:5", line)
        self.assertIn("node.log", line)

    def test_foreign_run_folder(self):
        self.outside.run_folder.mkdir()
        (self.outside.run_folder / "precious.txt").write_text("mine\n")
        line = self.one_line(self.run_desk("--fast"), 1)
        self.assertIn("--run-dir", line)
        self.assertEqual((self.outside.run_folder / "precious.txt").read_text(), "mine\n")

    def test_run_folder_of_everybodys(self):
        """No node runs below a folder in which others may put another one in its place."""
        shared = self.outside.folder / "shared"
        shared.mkdir()
        shared.chmod(0o777)
        self.outside.run_folder = shared / "run"
        line = self.one_line(self.run_desk("--fast"), 1)
        self.assertIn(f"{shared} (owner {os.geteuid()}, mode 0777) may be written by", line)
        self.assertIn("--run-dir", line)

    def test_socket_not_found(self):
        """The agent waits for a socket below its temporary directory, which lacks it here."""
        config = self.other_configuration("tmp = .\n", "tmp = logs\n")
        line = self.one_line(self.run_desk("--fast", "--limit", "3", "--node-conf", config), 1)
        self.assertIn("within 3 s", line)
        self.assertIn('its last step was "agent: the agent waits until ', line)

    def test_refused_offer(self):
        """The daemon's guard takes no offer for another model."""
        config = self.other_configuration("model = DeskNode-1", "model = Other-1")
        line = self.one_line(self.run_desk("--fast", "--node-conf", config), 1)
        self.assertIn("otactl offer ended with exit code 29", line)
        self.assertIn("model: ", line)

    def test_verdict_tells_the_nodes_error(self):
        """The agent has no word for a CA certificate that is missing, only lines in its log."""
        config = self.other_configuration("ca_certificate = ca.pem", "ca_certificate = none.pem")
        line = self.one_line(self.run_desk("--fast", "--node-conf", config), 1)
        self.assertIn("status words expected", line)
        last = line.split("the node's last error line: ")[1].split("; the logs are in")[0]
        self.assertTrue(last.startswith("error: "), line)
        self.assertIn(last, (self.outside.run_folder / "node.log").read_text())

    def test_proxy_of_the_user(self):
        """A proxy in the environment is not asked: nothing leaves the machine."""
        with socket.create_server(("127.0.0.1", 0)) as proxy:
            proxy.setblocking(False)
            url = f"http://127.0.0.1:{proxy.getsockname()[1]}"
            names = ["http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"]
            for options in [["--fast"], ["--fast", "--plain-http"]]:
                result = desk_run.run(
                    self.build,
                    self.outside.run_folder,
                    options,
                    {**{name: url for name in names}, "no_proxy": "", "NO_PROXY": ""},
                )
                self.assertEqual(result.exit_code, 0, result.output)
                with self.assertRaises(BlockingIOError):
                    proxy.accept()

    def test_full_disk(self):
        """The preloaded library tells of one mebibyte that is free."""
        result = desk_run.run(
            self.build,
            self.outside.run_folder,
            ["--fast"],
            {"LD_PRELOAD": self.full_disk_library, "ASAN_OPTIONS": "verify_asan_link_order=0"},
        )
        line = self.one_line(result, 1)
        self.assertIn("too little space", line)
        self.assertIn("1.0 MiB free", line)
        self.assertEqual(result.step("boot"), [])

    def test_current_directory_is_gone(self):
        gone = self.outside.folder / "gone"
        gone.mkdir()
        script = 'cd "$1" && rmdir "$1" && shift && exec "$@"'
        finished = subprocess.run(
            ["sh", "-c", script, "sh", str(gone), str(self.build / "desk/ota-desk"), "demo",
             "--build-dir", "build"],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)  # fmt: skip
        result = desk_run.DeskRun(self.outside.run_folder, finished.returncode, finished.stdout)
        self.assertIn("the current directory is gone", self.one_line(result, 1))

    def test_build_of_another_user(self):
        """A build that this user may read and run, but not write to; what he makes, others may."""
        build = self.outside.folder / "build"
        here, there = Programs(self.build), Programs(build)
        for part in [
            "ota-desk",
            "ota-desk-host",
            "otad",
            "otactl",
            "ota-image",
            "ota-boot-state",
            "ota-power",
            "libotaSwAgent.so",
            "libotaSwPlatform.so",
        ]:
            there.path(part).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(here.path(part), there.path(part))
        (build / "demo/images/work").mkdir(parents=True)
        (build / "demo/images/.lock").write_text("")
        own = self.outside.folder / "own"
        self.outside.run_folder = own / "run"
        foreign = own / "foreign"
        foreign.mkdir(parents=True)
        (foreign / ".ota-desk-run").write_text("")
        (foreign / ".ota-desk-run").chmod(0o444)
        self.outside.folder.chmod(0o755)
        somebody = {}
        if os.geteuid() == 0:
            somebody = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
            os.chown(own, NOBODY, NOBODY)
        else:
            for folder in [build, *[path for path in build.rglob("*") if path.is_dir()]]:
                folder.chmod(0o555)
                self.addCleanup(folder.chmod, 0o755)
        self.outside.before = self.outside.snapshot()

        def run_as_somebody(*options):
            finished = subprocess.run(
                [str(build / "desk/ota-desk"), "demo", "--build-dir", str(build), "--fast",
                 *options], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                check=False, cwd="/", umask=0o002, **somebody)  # fmt: skip
            return desk_run.DeskRun(self.outside.run_folder, finished.returncode, finished.stdout)

        for options in [(), ("--run-dir", str(foreign))]:
            line = self.one_line(run_as_somebody(*options), 1)
            self.assertIn("Permission denied; name a folder of your own with --run-dir", line)
        result = run_as_somebody("--mesh", "--run-dir", str(self.outside.run_folder))
        self.assertEqual(result.exit_code, 0, result.output)
        self.assertTrue((self.outside.run_folder / "images/4QZ2.1.0.img").exists())

    def test_run_folder_of_any_name(self):
        name = 'run $in "any" {name}; <of & some> length, longer than the path of a socket may be'
        self.outside.run_folder = self.outside.folder / name
        result = self.run_desk("--fast")
        self.assertEqual(result.exit_code, 0, result.output)

    def test_host_that_dies(self):
        """The daemon starts another one, which takes the offer up again."""
        desk, _, host = self.start_slow_download()
        os.kill(host, signal.SIGKILL)
        result = self.finish(desk)
        self.assertEqual(result.exit_code, 0, result.output)
        self.assertIn("signal 9", result.step("host process")[0])
        self.assertEqual(len(result.step("taken up")), 1, result.output)
        self.assertEqual(result.words(), ["OTA_SW_ACTIVATION_COMPLETE", "OTA_SW_COMMIT_COMPLETE"])

    def test_daemon_that_dies(self):
        """Nobody starts it again on a desk, and its host process goes with it."""
        desk, daemon, _ = self.start_slow_download()
        os.kill(daemon, signal.SIGKILL)
        result = self.finish(desk)
        line = self.one_line(result, 1)
        self.assertIn("daemon ended with signal 9", line)
        self.assertIn("node.log", line)
        self.assertEqual(result.boot_state()["boot"]["next"], "a")
        self.assertEqual(result.boot_state()["bank b"]["whole"], "0")

    def test_interrupt(self):
        desk, _, _ = self.start_slow_download()
        desk.send_signal(signal.SIGINT)
        result = self.finish(desk)
        self.assertIn("interrupted", self.one_line(result, 1))
        self.assertEqual(result.boot_state()["bank b"]["whole"], "0")

    def test_interrupt_of_a_mesh(self):
        desk, _, _ = self.start_slow_download("--mesh", node="ext-2")
        processes = desk_run.processes_of(self.outside.run_folder).values()
        for program in ["otad", "ota-desk-host", "dbus-daemon", "otactl", "mosquitto", "nginx"]:
            self.assertTrue([line for line in processes if program in line], program)
        desk.send_signal(signal.SIGINT)
        result = self.finish(desk)
        self.assertIn("interrupted", self.one_line(result, 1))

    def test_interrupt_on_a_terminal(self):
        """Ctrl-C while the bar is drawn; the message begins a line of its own."""
        result, shown = desk_run.run_on_terminal(
            self.build, self.outside.run_folder, ["--plain-http"], type_at=(b"[#", b"\x03")
        )
        self.assertIn("interrupted", self.one_line(result, 1))
        self.assertIn("\r\nota-desk: failed: interrupted", shown)

    def test_wishes_about_the_terminal(self):
        """No colour where it is unwanted, no control characters on a dumb terminal, and lines that
        fit."""
        for environment, bold, redrawn in [
            ({"NO_COLOR": "1", "TERM": "xterm"}, False, True),
            ({"NO_COLOR": "", "TERM": "dumb"}, False, False),
            ({"NO_COLOR": "", "TERM": "xterm"}, True, True),
        ]:
            with self.subTest(environment=environment):
                # Not in a hurry: the download is to last long enough for a bar to be drawn again.
                result, shown = desk_run.run_on_terminal(
                    self.build,
                    self.outside.run_folder,
                    ["--policy", "2"],
                    environment | {"COLUMNS": "100"},
                )
                self.assertEqual(result.exit_code, 3, result.output)
                self.assertEqual("\x1b[1m" in shown, bold)
                self.assertEqual("\x1b[K" in shown, redrawn)
                self.assertEqual("\x1b" in shown, bold or redrawn)
                wide = [len(line) for line in result.lines if "unix:path=" not in line]
                self.assertLessEqual(max(wide), 100)
                self.assertGreater(max(wide), 80)

    def test_second_run_in_the_same_folder(self):
        first = self.run_desk("--fast", "--policy", "2")
        second = self.run_desk("--fast", "--policy", "2")
        self.assertEqual((first.exit_code, second.exit_code), (3, 3), second.output)
        self.assertEqual(second.words(), ["OTA_SW_ACTIVATION_COMPLETE"])

    def test_stand_ins(self):
        result = self.run_desk("--fast", "--library", self.stand_ins_agent)
        self.assertIn("status words expected", self.one_line(result, 1))
        answers = dict(
            line.split(": ", 1) for line in (result.node() / "answers.txt").read_text().splitlines()
        )
        refused = str(126 << 8)
        self.assertEqual(answers["system echo inside > ./inside.txt"], "0")
        self.assertEqual((result.node() / "inside.txt").read_text(), "inside\n")
        for command in [
            "echo outside > /tmp/ota-desk-outside",
            "echo outside >/tmp/ota-desk-outside",
            "echo outside > ../outside.txt",
            "echo outside > $HOME/ota-desk-outside",
            "echo outside;touch ./second.txt",
            "/sbin/reboot now",
        ]:
            self.assertEqual(answers[f"system {command}"], refused, command)
            self.assertIn(f'"{command}"', result.logs())
        self.assertFalse(pathlib.Path("/tmp/ota-desk-outside").exists())
        self.assertFalse((result.run_folder / "outside.txt").exists())
        self.assertFalse((result.node() / "second.txt").exists())
        # Both find no such file in the node's folder.
        self.assertNotIn(answers["system rm /tmp/ota_agent_data"], ["0", refused])
        self.assertNotIn(answers["system rm /tmp/otaMD5.txt"], ["0", refused])
        self.assertEqual(answers["mac br0"], "0 02:00:5E:00:53:01")
        self.assertEqual(answers["mac lo"], "0 00:00:00:00:00:00")
        self.assertEqual(answers["sleep"], "0 after a moment")


class Images(unittest.TestCase):
    build = pathlib.Path()

    def test_images_are_real(self):
        outside = desk_run.Outside()
        self.addCleanup(outside.close)
        for options in [["--fast"], ["--fast", "--fail", "version"]]:
            result = desk_run.run(self.build, outside.run_folder, options)
            self.assertIn(result.exit_code, [0, 3], result.output)
        image = self.build / "demo/images/4QZ2.1.0.img"
        self.assertGreaterEqual(image.stat().st_size, 16 * 1024 * 1024)
        listing = subprocess.run(
            ["unsquashfs", "-l", str(image)], stdout=subprocess.PIPE, text=True, check=True
        ).stdout
        self.assertIn("squashfs-root/usr/bin/busybox", listing)
        self.assertIn("libc.so.6", listing)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    parser.add_argument("--stand-ins-agent", default="")
    parser.add_argument("--full-disk-library", default="")
    parser.add_argument("test")
    options = parser.parse_args()
    own_network.enter(options.build_dir)
    Mishap.build = Images.build = options.build_dir.absolute()
    Mishap.stand_ins_agent = options.stand_ins_agent
    Mishap.full_disk_library = options.full_disk_library
    owner = Images if hasattr(Images, options.test) else Mishap
    return 0 if unittest.TextTestRunner().run(owner(options.test)).wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
