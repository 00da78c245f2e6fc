# SPDX-License-Identifier: MIT
"""A node as the tests of the service see it: made in a place, told what to do, and asked."""

import contextlib
import datetime
import json
import os
import pathlib
import signal
import time
from typing import Any

import rig.node
from node_place import Place
from rig.bus import OPEN_POLICY, Bus
from rig.certificates import Certificates
from rig.files import digest_of
from rig.images import Image
from rig.node_folder import NodePlan, RootAccess, counts_as_gateway
from rig.otactl import Answer
from rig.processes import own_environment, processes_in
from rig.waiting import GLANCE, PATIENCE, wait_for

NOT_YET = (3, 5)  # as otactl ends where no service answers, or its agent still starts
ACTIVATES_IN = 6 * 3600  # seconds, so that nothing activates by itself while a test runs
BANK = 3 * 1024 * 1024
# As long as the table of hostile offers counts on: versions may have 30 characters.
LOGS = "node-logs"


def plan_of(
    place: Place,
    server=None,
    *,
    number: int = 1,
    mode: str = "RGW",
    role: str = "Controller",
    root=None,
    service: str = "",
    trial: str = "",
    bank_bytes: int = BANK,
) -> NodePlan:
    """A node of the place, which runs its old version. Most images of these tests are not signed."""
    mac = f"02:00:5E:10:00:{number:02X}"
    away = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=ACTIVATES_IN)
    plan = NodePlan(
        mac, f"SN{number:010}", Place.MODEL, mode, role, bank_bytes,
        Image(place.images[Place.OLD], Place.OLD), logs=LOGS, boot_state="boot_state.ini",
        preferred_time=f"{away:%H:%M:%S}", service=service, trial=trial,
    )  # fmt: skip
    if server:
        plan.authority = server.certificates.authority
    if root:
        certificates: Certificates = root.certificates
        own = certificates.client("gateway" if counts_as_gateway(mode, role) else mac)
        plan.root = RootAccess(root.address, certificates.authority, own)
    return plan


class Node(rig.node.Node):
    """Its bus has a folder of its own, so that other users can reach it."""

    def __init__(
        self, place, name, server=None, *, policy=OPEN_POLICY, preload=None, fast=True, **made_of
    ):
        self.place, self.server, self.preload = place, server, preload
        (place.folder / f"{name}.bus").mkdir()
        (place.folder / f"{name}.bus").chmod(0o755)
        super().__init__(
            place,
            place.folder / name,
            plan_of(place, server, **made_of),
            Bus(place.folder / f"{name}.bus", policy),
            own_environment(),
            fast=fast,
        )
        self.mac, self.serial = self.plan.mac, self.plan.serial
        self.hold_file = place.folder / f"{name}.hold"
        self.exec_journal = place.folder / f"{name}.exec"
        self.make()
        self.bus.start()
        place.closes(self.close)

    def close(self):
        """Whatever state a test has left it in."""
        if self.daemon and self.daemon.is_running():
            self.daemon.kill()
        self.bus.stop()
        for pid in self.processes():
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
        self.wait_until_off()

    # Power and processes.

    def environment(self):
        if not self.preload:
            return super().environment()
        return {
            **super().environment(),
            "LD_PRELOAD": str(self.preload),
            "OTA_HOLD": str(self.hold_file),
            "OTA_EXEC_JOURNAL": str(self.exec_journal),
        }

    def start(self, **options):
        super().start(**options)
        return self

    def wait_until_ready(self):
        def ready():
            self.check_daemon()
            answer = self.control("status")
            return answer.code == 0 and answer.first["mac"]

        wait_for("the node is ready", ready)
        return self

    def check_daemon(self):
        if not self.daemon.is_running():
            raise AssertionError(
                f"otad ended with {self.daemon.child.returncode}:\n"
                + "\n".join(self.log.read_text().splitlines()[-15:])
            )

    def processes(self):
        return processes_in(self.folder)

    def hosts(self):
        return [pid for pid, name in self.processes().items() if name.startswith("ota-desk-host")]

    def wait_until_off(self):
        wait_for(f"all of {self.name} ends", lambda: not self.processes())

    def stop(self):
        """Ends the daemon as its supervisor does."""
        code = self.daemon.end()
        self.wait_until_off()
        return code

    def kill_daemon(self):
        self.daemon.kill()
        self.wait_until_off()

    def kill_host(self):
        hosts = wait_for("a host process", self.hosts)
        os.kill(hosts[0], signal.SIGKILL)
        wait_for("the host ends", lambda: hosts[0] not in self.processes())

    def boot(self):
        """The power is back."""
        super().boot()
        return self

    def reboot(self):
        self.stop()
        return self.boot()

    def cut_power(self):
        self.kill_daemon()
        return self.boot()

    # What its disk holds.

    def bank_holds(self, name, version):
        image = self.place.images[version].read_bytes()
        with open(self.bank(name), "rb") as bank:
            return bank.read(len(image)) == image

    def kept_requests(self):
        """What the daemon keeps on the disk; none before it kept anything."""
        path = self.folder / "configs/otad/requests.json"
        return json.loads(path.read_text()) if path.exists() else None

    # What a client says and hears.

    def control(self, *words: object, text: str | None = None, **options: Any) -> Answer:
        """Runs otactl."""
        return self.otactl.ask(*map(str, words), text=text, **options)

    def told(self, *words, text=None):
        """The answer of a call that must be accepted; asked again while the agent starts."""

        def accepted():
            answer = self.control(*words, text=text)
            return None if answer.code in NOT_YET else answer

        answer = wait_for("the node is ready", accepted)
        if answer.code != 0:
            raise AssertionError(f"{words}: {answer.code}: {answer.error}")
        return answer.first

    def status(self):
        return self.told("status")

    def descriptor(self, version=Place.NEW, policy=1, **changes):
        record = {
            "model": Place.MODEL,
            "nxtMSVersion": version,
            "fileServerURL": "",
            "checksum": digest_of(self.place.images[version], "md5"),
            "mac": self.mac,
            "policy": policy,
        }
        if self.server:
            record["fileServerURL"] = self.server.url(self.name, version)
        return {**record, **changes}

    def offer(self, version=Place.NEW, policy=1, words=(), **changes):
        """Returns the ticket."""
        text = json.dumps(self.descriptor(version, policy, **changes))
        return self.told("offer", *words, "-", text=text)["ticket"]

    # What it tells of itself.

    def history(self):
        """Every line of the file, oldest first."""
        path = self.folder / "configs/otad/history.jsonl"
        if not path.exists():
            return []
        # Read in the middle of a write, the last line may be cut.
        lines = path.read_text().split("\n")[:-1]
        return [json.loads(line) for line in lines if line]

    def events(self, name, **fields):
        return [
            line
            for line in self.history()
            if line["event"] == name and all(line[key] == value for key, value in fields.items())
        ]

    def wait_for_event(self, name, count=1, **fields):
        found = wait_for(
            f"{self.name} tells {name} {fields}, {count} times",
            lambda: len(self.events(name, **fields)) >= count and self.events(name, **fields),
        )
        return found[-1]

    def words(self):
        """The status words that were raised, in order."""
        return [line["reason"] for line in self.events("status")]

    def end_of(self, ticket):
        """The line that tells how the request ended; none yet."""
        ends = [
            line
            for line in self.history()
            if line["event"] in ("finished", "cancelled") and line["ticket"] == ticket
        ]
        if len(ends) > 1:
            raise AssertionError(f"ticket {ticket} ended {len(ends)} times: {ends}")
        return ends[0] if ends else None

    def live_until_end_of(self, ticket, patience=PATIENCE):
        """Reboots whenever the agent asks for it, until the request has ended."""
        deadline = time.monotonic() + patience
        while not (end := self.end_of(ticket)):
            if time.monotonic() > deadline:
                raise AssertionError(
                    f"ticket {ticket} of {self.name} does not end: "
                    f"{[line['event'] for line in self.history()][-8:]}"
                )
            self.check_daemon()
            if self.reboot_file.exists():
                self.reboot()
            time.sleep(GLANCE)
        return end

    # Where a process of it stops, see hold_probe.cpp.

    def hold(self, spot):
        self.held_file.unlink(missing_ok=True)
        unfinished = self.hold_file.with_suffix(".next")
        unfinished.write_text(spot + "\n")
        unfinished.rename(self.hold_file)

    @property
    def held_file(self):
        return pathlib.Path(f"{self.hold_file}.held")

    def wait_until_held(self, live=False):
        def held():
            self.check_daemon()
            if live and self.reboot_file.exists():
                self.reboot()
            return self.held_file.exists()

        wait_for(f"{self.name} is held at {self.hold_file.read_text().strip()}", held)

    def let_go(self):
        self.hold_file.unlink(missing_ok=True)

    def had_twin(self):
        return pathlib.Path(f"{self.hold_file}.twin").exists()


def seconds_left(node, timer):
    """Of an armed timer; none where it is not armed."""
    left = [one["seconds"] for one in node.status()["timers"] if one["name"] == timer]
    return left[0] if left else None
