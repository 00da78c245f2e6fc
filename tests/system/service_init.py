# SPDX-License-Identifier: MIT
"""A node without systemd: its init script starts the service and keeps it, its log is syslog."""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys

import init_node
import node_case
import unit_sandbox
from init_node import InitNode, Syslog, relay_of, script
from node_place import Place
from node_servers import FileServer
from rig.waiting import wait_for

FAILED_WORD = "OTA_SW_COMMIT_FAILED"
COMMITTED, COMMIT_FAILED = 0, 55
NOT_RUNNING = 3
NOT_RUN = 77  # for ctest


class Init(node_case.Case):
    """One node a test."""

    def setUp(self):
        super().setUp()
        self.syslog = Syslog(self.place)
        init_node.PID_FILE.unlink(missing_ok=True)  # where a test before this one failed
        self.server = FileServer(self.place)

    def node(self, **made_of):
        return InitNode(self.place, "n1", self.server, **made_of)

    def test_the_script_is_one_that_every_shell_reads(self):
        subprocess.run(["sh", "-n", init_node.SCRIPT], check=True)
        if shutil.which("shellcheck"):
            subprocess.run(["shellcheck", init_node.SCRIPT], check=True)

    def test_without_systemd_nothing_of_it_is_loaded(self):
        if "no_systemd" not in self.modules:
            return
        node = self.node().start().wait_until_ready()
        for pid in (node.daemon_pid(), *node.hosts()):
            mapped = pathlib.Path(f"/proc/{pid}/maps").read_text()
            self.assertNotIn("libsystemd", mapped)
        for name in ("otad", "otactl", "ota-host", "libotaSwPlatform.so"):
            path = self.place.path(name)
            needed = subprocess.run(
                ["readelf", "-d", path], check=True, capture_output=True, text=True
            ).stdout
            self.assertIn("(NEEDED)", needed)
            self.assertNotIn("libsystemd", needed, path)
        node.stop()

    def test_without_systemd_the_script_is_installed(self):
        if "no_systemd" not in self.modules:
            return
        root = self.place.folder / "root"
        cmake = ["cmake", "--install", self.build, "--prefix", "/usr", "--component", "service"]
        subprocess.run(
            cmake, check=True, env={**os.environ, "DESTDIR": str(root)}, stdout=subprocess.DEVNULL
        )
        installed = root / "etc/init.d/otad"
        self.assertEqual(installed.stat().st_mode & 0o7777, 0o755)
        self.assertIn("\nprogram=/usr/sbin/otad\n", installed.read_text())
        self.assertEqual(list(root.rglob("*.service")), [])

    def test_it_starts_tells_and_stops(self):
        node = self.node()
        self.assertEqual(script("status")[0], NOT_RUNNING)
        self.assertEqual(script("stop"), (0, ""))
        node.start().wait_until_ready()
        pid = node.daemon_pid()
        self.assertEqual(script("status"), (0, "otad: runs\n"))
        self.assertEqual(script("start"), (0, "otad: runs already\n"))
        self.assertEqual(node.daemons(), [pid])
        self.check_what_it_may(pid)
        self.check_log(pid)
        self.assertEqual(script("restart")[0], 0)
        node.wait_until_ready()
        self.assertNotEqual(node.daemon_pid(), pid)
        node.stop()
        self.assertEqual(script("status")[0], NOT_RUNNING)
        self.assertFalse(init_node.PID_FILE.exists())
        self.assertEqual(script("try-restart"), (0, ""))
        self.assertEqual(node.processes(), {})

    def check_what_it_may(self, pid):
        status = pathlib.Path(f"/proc/{pid}/status").read_text()
        for name, value in (("CapEff", "0" * 16), ("CapPrm", "0" * 16), ("CapBnd", "0" * 16),
                            ("NoNewPrivs", "1"), ("Umask", "0022")):  # fmt: skip
            self.assertRegex(status, rf"(?m)^{name}:\t{value}$")
        limits = pathlib.Path(f"/proc/{pid}/limits").read_text()
        self.assertRegex(limits, r"(?m)^Max core file size +0 +0 ")
        for path, mode in (("/var/lib/ota", 0o750), ("/var/log/ota", 0o750), ("/run/o", 0o755)):
            self.assertEqual(os.stat(path).st_mode & 0o7777, mode, path)

    def check_log(self, pid):
        """The service's lines and the agent's, under the service's name and number."""
        own = self.syslog.wait_for("daemon.notice", "notice: otad: service-started$")
        self.assertEqual(own[1:3], ("otad", pid))
        agents = self.syslog.wait_for("daemon.notice", r"notice: ota: \[main \w+:\d+\] ")
        self.assertEqual(agents[1:3], ("otad", pid))
        self.assertEqual([one for one in self.syslog.entries if one[0] == "none"], [])

    def test_without_a_configuration_nothing_is_started(self):
        node = self.node()
        node.config.rename(node.folder / "elsewhere")
        node.settle()
        self.assertEqual(
            script("start"), (0, f"otad: not started: there is no {node.folder}/node.conf\n")
        )
        self.assertEqual(script("status")[0], NOT_RUNNING)

    def test_mistakes_in_the_configuration_are_not_tried_again(self):
        node = self.node()
        with node.config.open("a") as config:
            config.write("[node]\nserial\n")
        node.settle()
        # It may have ended before anybody looked.
        self.assertIn(script("start"), ((0, ""), (1, "otad: not started; the log says why\n")))
        self.syslog.wait_for("daemon.err", r"error: otad: \S+node\.conf:\d+: ")
        self.syslog.wait_for("daemon.err", "otad ended with 9 and is not started again: ")
        wait_for("all has ended", lambda: not node.processes())
        self.assertEqual(script("status")[0], NOT_RUNNING)

    def test_killed_or_hanging_it_is_started_again(self):
        node = self.node()
        node.more_settings = "watchdog=2\n"
        node.start().wait_until_ready()
        first = node.daemon_pid()
        os.kill(first, signal.SIGKILL)
        self.syslog.wait_for("daemon.warning", "otad ended with 137 and is started again$")
        node.wait_until_ready()
        second = node.daemon_pid()
        self.assertNotEqual(second, first)
        # Stopped for so long, it finds that its loop hung.
        os.kill(second, signal.SIGSTOP)
        wait_for("the watchdog's signal", lambda: is_pending(second, signal.SIGALRM))
        os.kill(second, signal.SIGCONT)
        self.syslog.wait_for("daemon.err", "error: otad: its loop hangs: ")
        self.syslog.wait_for("daemon.warning", "otad ended with 1 and is started again$")
        node.wait_until_ready()
        self.assertEqual((len(node.daemons()), len(node.hosts())), (1, 1))
        node.stop()

    def test_it_does_not_outlive_its_supervisor(self):
        node = self.node().start().wait_until_ready()
        os.kill(int(init_node.PID_FILE.read_text()), signal.SIGKILL)
        wait_for("all has ended", lambda: not node.processes())
        self.assertEqual(script("status")[0], 1)
        node.start().wait_until_ready()
        node.stop()

    def test_from_the_offer_to_the_commit_and_through_a_failed_trial(self):
        node = self.node(trial="health_command = test ! -e sick")
        node.start().wait_until_ready()
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)
        self.assertTrue(node.bank_holds("b", Place.NEW))
        self.assertEqual(node.boot_state()["active"], "b")
        ticket = node.offer(Place.NEWER)
        wait_for("a reboot is asked for", node.reboot_file.exists)
        (node.folder / "sick").touch()
        self.assertEqual(node.live_until_end_of(ticket)["code"], COMMIT_FAILED)
        self.assertEqual(node.boot_state()["active"], "b")
        self.assertEqual(node.words()[-1], FAILED_WORD)
        failed = node.events("finished", ticket=ticket)[-1]
        self.assertEqual(failed["reason_code"], "health-failed")
        self.syslog.wait_for(
            "daemon.err", "error: ota-host: bank a .* failed its trial: the health "
        )
        node.stop()

    def test_a_syslog_that_hangs_holds_up_nothing(self):
        self.syslog.hang()
        node = self.node().start().wait_until_ready()
        self.assertEqual(node.live_until_end_of(node.offer())["code"], COMMITTED)
        self.syslog.go_on()
        self.syslog.wait_for("daemon.notice", "notice: otad: committed")
        node.stop()

    def test_whoever_sends_to_syslog_is_replaced(self):
        node = self.node().start().wait_until_ready()
        pid = node.daemon_pid()
        first = relay_of(pid)
        os.kill(first, signal.SIGKILL)
        second = wait_for(
            "another relay", lambda: relay_of(pid) not in (None, first) and relay_of(pid)
        )
        node.told("set", "onboarding", "1")
        self.syslog.wait_for("daemon.notice", "notice: otad: setting-changed")
        node.stop()
        self.syslog.wait_for("daemon.notice", "notice: ota: ")
        wait_for("the relay ends", lambda: not pathlib.Path(f"/proc/{second}").exists())


def is_pending(pid, number):
    """The signal waits to be taken by the process as a whole."""
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    mask = int(re.search(r"^ShdPnd:\s*(\w+)$", status, re.M)[1], 16)
    return mask >> (number - 1) & 1


if __name__ == "__main__":
    unit_sandbox.enter_namespaces()
    if not unit_sandbox.has_namespaces():
        print("not run: it needs mounts of its own")
        sys.exit(NOT_RUN)
    init_node.make_machine()
    sys.exit(node_case.run(Init))
