# SPDX-License-Identifier: MIT
"""One image size: a server, a node, and the commands that take turns on the same bank."""

import configparser
import dataclasses
import json
import os
import pathlib
import shlex
import shutil
import subprocess

import disturbance
from peers import Peers
from node import plan_of
from node_place import Place
from node_servers import FileServer
from rig.certificates import make_signer
from rig.files import MIB, digest_of
from rig.images import Image, sign_image
from rig.node_folder import NodeFolder
from rig.processes import own_environment

HERE = pathlib.Path(__file__).resolve().parent
BY_HAND, SUMMED, UNSIGNED, SIGNED = "by-hand", "by-hand-summed", "unsigned", "signed"


class BenchPlace(Place):
    """The offered image has the size that is measured, the others are small."""

    def __init__(self, build, payload):
        self.payloads = {Place.NEW: payload}
        super().__init__(build)

    def _write_payload(self, version, file):
        """Piece by piece: it may be larger than the memory."""
        for _ in range(self.payloads.get(version, MIB) // MIB):
            file.write(os.urandom(MIB))


@dataclasses.dataclass
class Row:
    """What one command took, a figure for each round."""

    seconds: list[float] = dataclasses.field(default_factory=list)
    processor: list[float] = dataclasses.field(default_factory=list)


class Contest:
    """Every round runs each command once, the next round in the other order. After each, the bank
    must hold the image's payload: the three images differ in what follows it."""

    def __init__(self, build, payload, *, with_peers=False, bank_speed=0):
        """The speed in bytes a second, 0: as fast as it is."""
        self.build = build
        self.payload = payload
        self.bank_speed = bank_speed
        self.place = BenchPlace(build, payload)
        try:
            self._prepare(with_peers)
        except BaseException:
            self.place.__exit__()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.place.__exit__()

    def _prepare(self, with_peers):
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
        self.commands = {
            BY_HAND: self._by_hand(BY_HAND, unsigned),
            SUMMED: self._by_hand(SUMMED, unsigned, "summed"),
            UNSIGNED: self._upgrade(UNSIGNED, unsigned, "signature = optional"),
            SIGNED: self._upgrade(
                SIGNED, signed, "signature = required\n" f"signer_ca = {self.signer.authority}"
            ),
        }
        if with_peers:
            self.commands |= Peers(self).commands
        self.rows = {name: Row() for name in self.commands}

    def times(self, name):
        """Where the runs of this command tell of themselves."""
        return self.place.folder / f"{name}.times"

    def log(self, name):
        return self.place.folder / f"{name}.log"

    def _by_hand(self, name, image, *more):
        return [
            HERE / "by_hand",
            self.url(name, image),
            self.server.certificates.authority,
            digest_of(image, "md5"),
            self.node.folder / Place.NEW,
            self.node.bank("b"),
            self.times(name),
            *more,
        ]

    def _upgrade(self, name, image, trust):
        """The host's words; its configuration differs in what images it believes."""
        config = configparser.ConfigParser()
        config.read(self.node.config)
        config.read_string(f"[images]\n{trust}\n")
        with open(self.node.folder / f"{name}.conf", "w", encoding="utf-8") as file:
            config.write(file)
        self._write_offer(
            self.node.folder / f"{name}.json", self.url(name, image), digest_of(image, "md5")
        )
        return [
            self.place.program("ota-bench-upgrade"),
            self.place.program("ota-desk-host"),
            self.place.library,
            f"{name}.conf",
            f"{name}.json",
            self.log(name),
            self.times(name),
        ]

    def url(self, name, image):
        """Where the command of this name finds the file."""
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

    def run_rounds(self, rounds, tell):
        """The judge of them knows how many were run again."""
        judge = disturbance.Judge(most=rounds)
        done = 0
        while done < rounds:
            sizes = {path: size_of(path) for path in self._records()}
            before = self._moment()
            results = self._run_round(done)
            share = disturbance.foreign_share(before, self._moment(), os.cpu_count())
            if judge.repeats(share):
                for path, size in sizes.items():
                    os.truncate(path, size)
                continue
            for result in results:
                row = self.rows[result["command"]]
                row.seconds.append(result["times"][0])
                row.processor.append(result["user"] + result["system"])
            done += 1
            tell(done)
        return judge

    def _records(self):
        return [path(name) for name in self.commands for path in (self.times, self.log)]

    def _moment(self):
        return disturbance.moment(self.server.process.pid)

    def _run_round(self, number):
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
        done = subprocess.run(
            words, cwd=self.node.folder, capture_output=True, text=True, check=False,
            env=self._environment(),
        )  # fmt: skip
        if done.returncode != 0:
            raise SystemExit(
                f"bench: a run failed: {done.stderr.strip()}; try it by hand: " + " ".join(words)
            )
        return json.loads(exported.read_text())["results"]

    def _environment(self):
        more = {}
        if self.bank_speed:
            more = {
                "LD_PRELOAD": str(self.build / "bench/bench_slow_bank.so"),
                "OTA_BENCH_BANK": str(self.node.bank("b")),
                "OTA_BENCH_BANK_SPEED": str(self.bank_speed),
            }
        return own_environment(
            OTA_DESK_MAC=self.node.plan.mac, OTA_DESK_FAST="1",
            OTA_DESK_REBOOT_FILE=str(self.node.reboot_file), **more,
        )  # fmt: skip

    def stages(self, name):
        """What the runs of this command told of themselves, a dictionary each."""
        path = self.times(name)
        lines = path.read_text().splitlines() if path.exists() else []
        return [json.loads(line) for line in lines]


def size_of(path):
    """Of a file that may not be there yet; then it is."""
    path.touch()
    return path.stat().st_size
