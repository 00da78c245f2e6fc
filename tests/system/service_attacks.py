# SPDX-License-Identifier: MIT
"""What the user nobody tries on a node, and what comes of it."""

import contextlib
import os
import pathlib
import signal
import socket
import stat
import sys

import node_case
import unit_sandbox
from node_servers import FileServer
from rig.certificates import Certificates
from rig.processes import Process
from rig.waiting import PATIENCE, wait_for
from stranger import NOBODY, Nuisance, runs, tries

CONFIG_WRONG, DONE = 9, 0
# A file name that a shell would take for a command, were it let into the agent's own.
SHELL_NAME = "4QZ;touch owned;4QZ"


class Attacks(node_case.Case):
    """Nodes in folders that everybody may look into, as on a device."""

    def setUp(self):
        if os.geteuid() != 0:
            self.skipTest("needs root: only root can act as somebody else")
        super().setUp()

    def node(self, name="n1", **made_of):
        return unit_sandbox.node(self.place, name, **made_of)

    # That the attacks below meet the service as it is shipped.

    def test_what_the_unit_leaves_the_service(self):
        if not unit_sandbox.has_namespaces():
            self.skipTest("needs namespaces of its own, which this machine does not give")
        node = self.node()
        node.start().wait_until_ready()
        for pid in (node.daemon.pid, *node.hosts()):
            status = pathlib.Path(f"/proc/{pid}/status").read_text()
            for key in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
                self.assertRegex(status, rf"(?m)^{key}:\t0+$")
            self.assertRegex(status, r"(?m)^NoNewPrivs:\t1$")
            self.assertRegex(
                pathlib.Path(f"/proc/{pid}/limits").read_text(), r"(?m)^Max core file size +0 +0 "
            )
            inside = pathlib.Path(f"/proc/{pid}/root")
            self.assertEqual(list((inside / "etc/ssl/certs").iterdir()), [])
            flags = {
                fields[1]: fields[3].split(",")
                for fields in map(
                    str.split, pathlib.Path(f"/proc/{pid}/mounts").read_text().splitlines()
                )
            }
            for path in ("/", "/sys", "/proc/sys", "/etc/ssl/certs"):
                self.assertIn("ro", flags[path], path)
            self.assertIn("rw", flags[str(node.folder)])

    # A place that is not the node's alone.

    def refusals(self, node):
        """What each program says of the node's configuration: the same line, and the exit code 9."""
        node.log.unlink(missing_ok=True)
        daemon = [*node.arguments()]
        host = [
            self.place.program("ota-host"),
            "--library",
            self.place.library,
            "--config",
            "node.conf",
            "--channel",
        ]
        said = []
        for words in (
            daemon,
            [*daemon, "--check"],
            host,
            [self.place.program("otactl"), "config", "check", "node.conf"],
        ):
            mine, its = socket.socketpair()
            with mine, its:
                if words is host:
                    words = [*host, its.fileno()]
                log = self.place.folder / "refusal.log"
                log.unlink(missing_ok=True)
                code = Process(
                    words, node.folder, log, node.environment(), pass_fds=[its.fileno()]
                ).child.wait(PATIENCE)
            lines = log.read_text().splitlines()
            self.assertEqual((code, len(lines)), (CONFIG_WRONG, 1), f"{words}: {lines}")
            said.append(lines[0].split("node.conf", 1)[1])
        self.assertEqual(len(set(said)), 1, said)
        return said[0]

    def every_place(self, node):
        """A configuration that names a place of each kind, all of them made."""
        for name in ("drop", "state", "folder/inner"):
            (node.folder / name).mkdir(parents=True)
        for name in (
            "ca.pem",
            "signers.pem",
            "root.pem",
            "folder/inner/words",
            "environment",
            "healthy",
        ):
            (node.folder / name).write_text("")
        (node.folder / "folder/inner/words").chmod(0o600)
        (node.folder / "healthy").chmod(0o755)
        authority = Certificates(self.place.folder / "authority").authority
        for name in ("ca.pem", "signers.pem"):
            (node.folder / name).write_bytes(authority.read_bytes())
        (node.folder / "fw_env.config").write_text(
            "environment 0 0x4000\nenvironment 0x4000 0x4000\n"
        )
        return (
            node.config.read_text().replace("tmp = .", "tmp = drop") + "signer_ca = signers.pem\n"
            f"[trial]\nhealth_command = {node.folder}/healthy now;true\n"
            "[service]\nstate = state\n[root]\nbroker = localhost\n"
            "ca_certificate = root.pem\ncertificate = root.pem\nkey = folder/inner/words\n"
        )

    def test_a_place_that_is_not_the_nodes_alone(self):
        node = self.node()
        good = node.config.read_text()
        whole = self.every_place(node)
        node.config.write_text(whole)
        devices = whole.replace(
            "boot_state = boot_state.ini",
            "fw_env_config = fw_env.config\n" "kernel_command_line = cmdline",
        )
        (node.folder / "cmdline").touch(mode=0o600)
        named = {"drop": "[paths] tmp", "configs": "[paths] configs", "node-logs": "[paths] logs",
                 "healthy": "[trial] health_command",
                 "state": "[service] state", "banks/a": "[banks] a", "banks/b": "[banks] b",
                 "boot_state.ini": "[banks] boot_state", "ca.pem": "[paths] ca_certificate",
                 "signers.pem": "[images] signer_ca", "root.pem": "[root] ca_certificate",
                 "folder/inner/words": "[root] key", "folder/inner": "[root] key",
                 "folder": "[root] key", "banks": "[banks] a", "node.conf": "the configuration",
                 "": "the configuration"}  # fmt: skip
        for name, key in named.items():
            self.is_refused(node, name, key)
        node.config.write_text(devices)
        for name, key in {
            "fw_env.config": "[banks] fw_env_config",
            "environment": "[banks] fw_env_config",
            "cmdline": "[banks] kernel_command_line",
        }.items():
            self.is_refused(node, name, key)
        for place in ("/tmp", "link"):
            with contextlib.suppress(FileExistsError):
                (node.folder / "link").symlink_to("/tmp")
            node.config.write_text(good.replace("tmp = .", f"tmp = {place}"))
            self.assertIn(
                "[paths] tmp cannot be trusted: /tmp (owner 0, mode 1777) ", self.refusals(node)
            )
        self.assertEqual(node.history(), [], "it started all the same")
        node.config.write_text(whole)
        self.is_read_by_others(node, "folder/inner/words")
        checked = node.control("config", "check", "node.conf", cwd=node.folder)
        self.assertEqual((checked.code, checked.first["mistakes"]), (DONE, []))

    def is_read_by_others(self, node, key):
        """A private key, as long as others may read it."""
        for mode in (0o640, 0o604):
            (node.folder / key).chmod(mode)
            self.assertIn(
                f"[root] key cannot be trusted: {key} (mode {mode:04o}) is a private key "
                f"that its group or others may read: chmod go-rwx {key}",
                self.refusals(node),
            )
        (node.folder / key).chmod(0o600)

    def is_refused(self, node, name, key):
        """As long as others may write there, or it is somebody else's."""
        path = node.folder / name
        before = path.stat()
        mode = before.st_mode & 0o777
        for more in (0o020, 0o002):
            with self.subTest(f"{name}: +{more:o}"):
                path.chmod(mode | more)
                self.assertIn(
                    f"{key} cannot be trusted: {path} (owner 0, mode {mode | more:04o}) ",
                    self.refusals(node),
                )
        path.chmod(mode)
        with self.subTest(f"{name}: of somebody else"):
            os.chown(path, NOBODY, -1)
            self.assertIn(
                f"{key} cannot be trusted: {path} (owner {NOBODY}, mode {mode:04o}) ",
                self.refusals(node),
            )
        os.chown(path, 0, -1)

    # The attacks on a temporary directory that is everybody's, as it once was.

    def test_what_is_left_in_a_directory_of_everybodys(self):
        def shell(folder):
            (folder / SHELL_NAME).write_text("")

        def pipe(name):
            return lambda folder: os.mkfifo(folder / name)

        def link(folder):
            (folder / "ota_dwld_prog").symlink_to(folder.parent / "boot_state.ini")

        def manager(folder):
            (folder / "cfgmgr_socket").unlink(missing_ok=True)
            with socket.socket(socket.AF_UNIX) as taken:
                taken.bind(str(folder / "cfgmgr_socket"))

        attacks = {
            "shell": shell,
            "folder": lambda folder: (folder / "4QZzz").mkdir(),
            "pipe": pipe("4QZzz"),
            "progress": pipe("ota_dwld_prog"),
            "link": link,
            "manager": manager,
        }
        for number, (name, attack) in enumerate(attacks.items(), 1):
            with self.subTest(name):
                node = self.node(f"n{number}", number=number)
                drop = node.folder / "drop"
                drop.mkdir()
                drop.chmod(0o1777)
                node.config.write_text(node.config.read_text().replace("tmp = .", "tmp = drop"))
                state = (node.folder / "boot_state.ini").read_bytes()
                self.assertIsNone(tries(lambda: attack(drop)), "he can do it")
                self.assertIn(
                    f"[paths] tmp cannot be trusted: {drop} (owner 0, mode 1777) ",
                    self.refusals(node),
                )
                self.assertEqual((node.folder / "boot_state.ini").read_bytes(), state)
                self.assertFalse((node.folder / "owned").exists())

    # The attacks on a node as it is now.

    def test_a_nuisance_through_a_whole_upgrade(self):
        node = self.node(server=FileServer(self.place))
        folder = node.folder
        image, progress, manager = (
            folder / name for name in (self.place.NEW, "ota_dwld_prog", "cfgmgr_socket")
        )
        nuisance = Nuisance(
            {
                "shell": (folder / SHELL_NAME).touch,
                "folder": (folder / "4QZzz").mkdir,
                "image": lambda: os.mkfifo(image),
                "progress": lambda: os.mkfifo(progress),
                "link": lambda: progress.symlink_to(folder / "boot_state.ini"),
                "no progress": progress.unlink,
                "no manager": manager.unlink,
                "manager": lambda: os.mknod(manager, 0o600 | stat.S_IFSOCK),
                "other image": lambda: image.rename(folder / "4QZ"),
                "another's bytes": lambda: open(image, "r+b").close(),
                "whole folder": lambda: folder.rename(f"{folder}.away"),
            }
        )
        node.start().wait_until_ready()
        end = node.live_until_end_of(node.offer())
        self.assertEqual(end["code"], DONE, end)
        self.assertTrue(node.bank_holds("b", self.place.NEW))
        self.assertEqual(nuisance.end(), [])
        self.assertFalse((folder / "owned").exists())

    def test_the_private_bus_of_a_node_under_test(self):
        """Its service runs as root: nobody else on the machine may call it meanwhile."""
        node = self.node()
        node.start().wait_until_ready()
        before = node.status()["onboarding"]
        called = runs(
            "busctl",
            f"--address={node.bus.address}",
            "call",
            "velmo.otaSwAgent",
            "/velmo/otaSwAgent",
            "velmo.otaSwAgent",
            "ChangeSetting",
            "ss",
            "onboarding",
            "0" if before == "1" else "1",
        )
        self.assertNotEqual(called.returncode, 0, called.stdout)
        self.assertEqual(node.status()["onboarding"], before)

    # What could only have come there before: the service still answers.

    def test_a_pipe_in_the_place_of_the_progress(self):
        node = self.node(server=FileServer(self.place))
        node.start().wait_until_ready()
        node.server.crawl("n1")
        ticket = node.offer()
        wait_for("it downloads", lambda: node.status()["stage"] == "downloading")
        os.kill(node.hosts()[0], signal.SIGSTOP)  # or its shell would be at the pipe's other end
        pipe = node.folder / "pipe"
        os.mkfifo(pipe)
        os.chown(pipe, NOBODY, NOBODY)
        pipe.rename(node.folder / "ota_dwld_prog")
        seen = node.status()["uptime"]
        wait_for("it has looked", lambda: node.status()["uptime"] > seen + 1)
        self.assertEqual(node.control("cancel", ticket).code, DONE)
        wait_for("it is idle", lambda: node.status()["stage"] == "idle")
        self.assertFalse((node.folder / "ota_dwld_prog").exists())

    def test_a_socket_that_is_not_the_configuration_managers(self):
        node = self.node()
        path = node.folder / "cfgmgr_socket"
        os.chown(path, NOBODY, NOBODY)
        node.start()
        line = node.wait_for_event("agent-waits")
        self.assertIn(
            f"{path} (owner {NOBODY}, mode 0600) belongs to neither root nor", line["reason"]
        )
        self.assertEqual(node.told("status")["stage"], "waiting")
        path.unlink()
        path.write_text("")
        line = node.wait_for_event("agent-waits", 2)
        self.assertIn("cfgmgr_socket: is no socket", line["reason"])
        path.unlink()
        os.mknod(path, 0o600 | stat.S_IFSOCK)
        wait_for("the agent starts", lambda: node.status()["stage"] == "idle")


if __name__ == "__main__":
    unit_sandbox.enter_namespaces()
    sys.exit(node_case.run(Attacks))
