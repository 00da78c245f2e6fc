# SPDX-License-Identifier: MIT
"""What a node is made of: configuration, banks, boot state; and its boot loader."""

import datetime
import json
import os
import shutil
import subprocess

from node_place import Place

ACTIVATES_IN = 6 * 3600  # seconds, so that nothing activates by itself while a test runs
BANK = 3 * 1024 * 1024
# As long as the table of hostile offers counts on: versions may have 30 characters.
LOGS = "node-logs"
# Lost with the power, since the temporary directory is the node's folder here.
TEMPORARY = ("tmpImage", "software_download", "ota_dwld_prog", "ota_agent_data", "otaMD5.txt",
             "upgrade_status", "upgrade_done_reboot")


class NodeFolder:
    """The folder that a node's paths begin at."""

    # pylint: disable=too-many-instance-attributes
    def __init__(self, place, name, server, *, number=1, mode="RGW", role="Controller", root=None,
                 service="", trial=""):
        self.place, self.name, self.server = place, name, server
        self.folder = place.folder / name
        self.mac = f"02:00:5E:10:00:{number:02X}"
        self.serial = f"SN{number:010}"
        self.mode, self.role = mode, role
        self.reboot_file = self.folder / "reboot"
        self.config = self.folder / "node.conf"
        self._make(root, service, trial)

    def _make(self, root, service, trial):
        for name in ("banks", LOGS, "configs"):
            (self.folder / name).mkdir(parents=True)
        old = self.place.images[Place.OLD]
        shutil.copy(old, self.bank("a"))
        self.bank("b").touch()
        for bank in "ab":
            os.truncate(self.bank(bank), BANK)
        self.place.run_tool("tools/ota-boot-state", "init", "--active", "a", "--image", old,
                            "--output", self.folder / "boot_state.ini")
        if self.server:
            shutil.copy(self.server.certificates.authority, self.folder / "ca.pem")
        self.config.write_text(self._config_text(root, service, trial))
        os.mknod(self.folder / "cfgmgr_socket", 0o600 | 0o140000)

    def _config_text(self, root, service, trial):
        away = (datetime.datetime.now(datetime.timezone.utc) +
                datetime.timedelta(seconds=ACTIVATES_IN))
        text = (f"[node]\nmodel = {Place.MODEL}\nserial = {self.serial}\nwork_mode = {self.mode}\n"
                f"work_role = {self.role}\nonboarding = 0\n"
                f"preferred_activation_time = {away:%H:%M:%S}\n"
                f"[paths]\ntmp = .\nconfigs = configs\nlogs = {LOGS}\nca_certificate = ca.pem\n"
                f"[banks]\na = banks/a\nb = banks/b\nsize = {BANK}\nboot_state = boot_state.ini\n"
                # Most images of these tests are not signed.
                "[images]\nsignature = optional\n")
        if trial:
            text += f"[trial]\n{trial}\n"
        if service:
            text += f"[service]\n{service}\n"
        if root:
            is_gateway = self.mode == "RGW" or self.role == "Controller"
            certificate, key = root.certificates.client("gateway" if is_gateway else self.mac)
            text += (f"[root]\nbroker = 127.0.0.1:{root.port}\n"
                     f"ca_certificate = {root.certificates.authority}\n"
                     f"certificate = {certificate}\nkey = {key}\n")
        return text

    def bank(self, name):
        return self.folder / "banks" / name

    def bank_holds(self, name, version):
        image = self.place.images[version].read_bytes()
        with open(self.bank(name), "rb") as bank:
            return bank.read(len(image)) == image

    def kept_requests(self):
        """What the daemon keeps on the disk; none before it kept anything."""
        path = self.folder / "configs/otad/requests.json"
        return json.loads(path.read_text()) if path.exists() else None

    def boot_state(self):
        """{"active": ..., "next": ..., "trial": ..., "a": {"whole": ..., "version": ...}, "b": ...,
        "failed": {"<version>": {"trials": ..., "last": ...}}}"""
        shown = self.place.run_tool("tools/ota-boot-state", "show",
                                    self.folder / "boot_state.ini")
        state = {"failed": {}}
        for line in shown.splitlines():
            if line.startswith("failed: "):
                version, *rest = line.split()[1:]
                state["failed"][version] = dict(pair.split("=", 1) for pair in rest)
            elif ":" in line:
                bank, rest = line.split(":", 1)
                state[bank] = dict(pair.split("=", 1) for pair in rest.split())
            else:
                key, value = line.split("=", 1)
                state[key] = value
        return state

    def lose_memory(self):
        """What an empty temporary directory makes of a node that is off."""
        self.reboot_file.unlink(missing_ok=True)
        for name in TEMPORARY:
            path = self.folder / name
            if path.is_dir():
                shutil.rmtree(path)
            else:
                path.unlink(missing_ok=True)
        for image in self.folder.glob("4QZ*"):
            image.unlink()

    def boot_loader(self):
        """The command line of the boot loader."""
        return [str(self.place.program("tools/ota-boot-state")), "boot",
                "--a", str(self.bank("a")), "--b", str(self.bank("b")),
                "--state", str(self.folder / "boot_state.ini")]

    def run_boot_loader(self):
        """What the boot loader and an empty temporary directory make of a node that is off."""
        self.lose_memory()
        subprocess.run(self.boot_loader(), capture_output=True, check=False)
