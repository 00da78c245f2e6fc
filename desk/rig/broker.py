# SPDX-License-Identifier: MIT
"""The root's message broker: a mosquitto of its own with TLS on loopback."""

import os
import pathlib

from rig.certificates import Certificates
from rig.files import write_file
from rig.network import LOOPBACK, free_port, is_listening
from rig.processes import Process, system_program, wait_until_listening

ACCESS_LIST = """user gateway
topic read otaSwAgent/#
pattern write otaSwAgent/%u/report
pattern write otaSwAgent/%u/file-server
"""
# As docs/root.md sets it up: a client is who its certificate says, also in its session's name.
# Paths from its own folder on: the names of the folders above may hold anything.
_CONFIGURATION = """listener {port} 127.0.0.1
certfile {certificates}/server.pem
keyfile {certificates}/server.key
cafile {certificates}/ca.pem
require_certificate true
use_identity_as_username true
use_username_as_clientid true
acl_file acl
message_size_limit 65536
max_packet_size 69632
log_dest stderr
"""
FORGETFUL = "persistence false\n"


class Broker:
    """Its clients have certificates of the same authority."""

    def __init__(
        self,
        folder: pathlib.Path,
        certificates: Certificates,
        access_list: str = ACCESS_LIST,
        more: str = FORGETFUL,
    ) -> None:
        """`more`: lines of its configuration."""
        self.folder = folder
        self.certificates = certificates
        self.port = free_port()
        folder.mkdir(exist_ok=True)
        text = _CONFIGURATION.format(
            port=self.port, certificates=os.path.relpath(certificates.folder, folder)
        )
        # Started by root it would become another user, who may not read the folder.
        user = "user root\n" if os.geteuid() == 0 else ""
        write_file(folder / "mosquitto.conf", text + more + user)
        write_file(folder / "acl", access_list)
        self.process: Process | None = None
        self.start()

    @property
    def address(self) -> str:
        return f"{LOOPBACK}:{self.port}"

    def start(self) -> None:
        log = self.folder / "mosquitto.log"
        words = [system_program("mosquitto"), "-c", "mosquitto.conf"]
        self.process = Process(words, self.folder, log)
        wait_until_listening(
            self.process,
            lambda: is_listening(self.port),
            "the root's broker (mosquitto)",
            self.address,
            log,
        )

    def stop(self) -> None:
        if self.process:
            self.process.stop()
