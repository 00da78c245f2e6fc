# SPDX-License-Identifier: MIT
"""One image size: a server, a node, and the commands that take turns on the same bank."""

import configparser
import json
import os
import pathlib
import shlex
import shutil
import subprocess

from node import plan_of
from node_place import Place
from node_servers import FileServer
from rig.certificates import make_signer
from rig.files import MIB, digest_of
from rig.images import Image, sign_image
from rig.node_folder import NodeFolder
from rig.processes import own_environment

HERE = pathlib.Path(__file__).resolve().parent
NAMES = BY_HAND, UNSIGNED, SIGNED = "by-hand", "unsigned", "signed"


class BenchPlace(Place):
    """The offered image has the size that is measured, the others are small."""

    def __init__(self, build, payload):
        self.payloads = {Place.NEW: payload}
        super().__init__(build)

    def _write_payload(self, version, file):
        """Piece by piece: it may be larger than the memory."""
        for _ in range(self.payloads.get(version, MIB) // MIB):
            file.write(os.urandom(MIB))


class Contest:
    """Every round runs each command once, the next round in the other order. After each, the bank
    must hold the image's payload: the three images differ in what follows it."""

    def __init__(self, build, payload):
        self.payload = payload
        self.place = BenchPlace(build, payload)
        try:
            self._prepare()
        except BaseException:
            self.place.__exit__()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.place.__exit__()

    def _prepare(self):
        self.server = FileServer(self.place)
        self.signer = make_signer(self.place.folder / "signer")
        unsigned = self.place.images[Place.NEW]
        self.bank_bytes = (unsigned.stat().st_size // MIB + 1) * MIB
        plan = plan_of(self.place, self.server, bank_bytes=self.bank_bytes)
        self.node = NodeFolder(self.place, self.place.folder / "n1", plan)
        self.node.make()
        self._fill_bank()
        shutil.copy(self.node.boot_state_file, self.node.folder / "boot_state.fresh")
        signed = sign_image(
            self.place, Image(unsigned, Place.NEW), self.place.folder / "signed.img", self.signer
        ).path
        self.seconds = {}
        self.times = {name: self.place.folder / f"{name}.times" for name in NAMES}
        self.logs = {name: self.place.folder / f"{name}.log" for name in NAMES}
        self.commands = {
            BY_HAND: self._by_hand(unsigned),
            UNSIGNED: self._upgrade(UNSIGNED, unsigned, "signature = optional"),
            SIGNED: self._upgrade(
                SIGNED, signed, "signature = required\n" f"signer_ca = {self.signer.authority}"
            ),
        }

    def _by_hand(self, image):
        return [
            HERE / "by_hand",
            self._url(BY_HAND, image),
            self.server.certificates.authority,
            digest_of(image, "md5"),
            self.node.folder / Place.NEW,
            self.node.bank("b"),
            self.times[BY_HAND],
        ]

    def _upgrade(self, name, image, trust):
        """The host's words; its configuration differs in what images it believes."""
        config = configparser.ConfigParser()
        config.read(self.node.config)
        config.read_string(f"[images]\n{trust}\n")
        with open(self.node.folder / f"{name}.conf", "w", encoding="utf-8") as file:
            config.write(file)
        self._write_offer(
            self.node.folder / f"{name}.json", self._url(name, image), digest_of(image, "md5")
        )
        return [
            self.place.program("ota-bench-upgrade"),
            self.place.program("ota-desk-host"),
            self.place.library,
            f"{name}.conf",
            f"{name}.json",
            self.logs[name],
            self.times[name],
        ]

    def _url(self, name, image):
        self.place.images[name] = image
        return self.server.url("n1", name)

    def _fill_bank(self):
        """A bank in the field has its blocks: whoever comes first must not pay for them."""
        with open(self.node.bank("b"), "r+b") as bank:
            for _ in range(self.bank_bytes // MIB):
                bank.write(b"\xff" * MIB)

    def _write_offer(self, path, url, md5):
        descriptor = {
            "model": Place.MODEL,
            "nxtMSVersion": Place.NEW,
            "fileServerURL": url,
            "checksum": md5,
            "mac": self.node.plan.mac,
            "policy": 1,
        }
        config = {"OffloadDownloadActivate": 0, "initial_obardingStatus": 1, "firsttime_polling": 0}
        path.write_text(
            json.dumps(
                {"event": "new-image", "descriptor": json.dumps(descriptor), "config": config}
            )
        )

    def run_round(self, number):
        """One hyperfine, so that what it runs has the same conditions."""
        exported = self.place.folder / "round.json"
        names = list(self.commands)[:: -1 if number % 2 else 1]
        words = ["hyperfine", "--runs", "1", "--shell", "none", "--style", "none",
                 "--export-json", str(exported),
                 "--prepare", shlex.join([str(HERE / "prepare"), str(self.node.folder)]),
                 "--cleanup", shlex.join(["cmp", "-n", str(self.payload), str(self.node.bank("b")),
                                          str(self.place.images[Place.NEW])])]  # fmt: skip
        for name in names:
            words += ["--command-name", name, shlex.join(map(str, self.commands[name]))]
        done = subprocess.run(words, cwd=self.node.folder, capture_output=True, text=True,
                              check=False, env=own_environment(
                                  OTA_DESK_MAC=self.node.plan.mac, OTA_DESK_FAST="1",
                                  OTA_DESK_REBOOT_FILE=str(self.node.reboot_file)))  # fmt: skip
        if done.returncode != 0:
            raise SystemExit(
                f"bench: a run failed: {done.stderr.strip()}; try it by hand: " + " ".join(words)
            )
        for result in json.loads(exported.read_text())["results"]:
            self.seconds.setdefault(result["command"], []).append(result["times"][0])

    def stages(self, name):
        """What the runs of this command told of themselves, a dictionary each."""
        return [json.loads(line) for line in self.times[name].read_text().splitlines()]
