# SPDX-License-Identifier: MIT
"""A node as the tests of the service see it: its bus, otad, a client, and who boots it."""

import contextlib
import hashlib
import json
import os
import pathlib
import signal
import subprocess
import time

from node_folder import NodeFolder
from node_place import GLANCE, PATIENCE, Place, Process, own_environment, processes_in, wait_for
from node_servers import OPEN_POLICY, Bus

NOT_YET = (3, 5)  # as otactl ends where no service answers, or its agent still starts


class Answer:
    """What otactl gave: exit code, the lines on standard output as JSON, standard error."""

    def __init__(self, finished):
        self.code = finished.returncode
        self.lines = [json.loads(line) for line in finished.stdout.splitlines()]
        self.error = finished.stderr

    @property
    def first(self):
        return self.lines[0]


class Node(NodeFolder):
    """Its programs run in its folder, which is the working directory that its paths begin at."""

    def __init__(self, place, name, server=None, *, policy=OPEN_POLICY, preload=None, fast=True,
                 **made_of):
        super().__init__(place, name, server, **made_of)
        self.log = place.folder / f"{name}.log"
        self.hold_file = place.folder / f"{name}.hold"
        self.exec_journal = place.folder / f"{name}.exec"
        self.preload, self.fast = preload, fast
        self.boots = 0
        self.daemon = None
        (place.folder / f"{name}.bus").mkdir()
        (place.folder / f"{name}.bus").chmod(0o755)
        self.bus = Bus(place.folder / f"{name}.bus", policy)
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
        more = {"OTA_DESK_MAC": self.mac, "OTA_DESK_FAST": "1" if self.fast else "0",
                "OTA_DESK_REBOOT_FILE": str(self.reboot_file)}
        if self.preload:
            more |= {"LD_PRELOAD": str(self.preload), "OTA_HOLD": str(self.hold_file),
                     "OTA_EXEC_JOURNAL": str(self.exec_journal)}
        return own_environment(**more)

    def arguments(self):
        build = self.place
        return [build.program("service/otad"), "--config", "node.conf",
                "--host", build.program("desk/ota-desk-host"),
                "--library", build.program("src/libotaSwAgent.so"),
                "--bus", self.bus.address, "--boot-id", f"boot-{self.boots}"]

    def start(self, **options):
        """Starts the daemon in the boot that goes on."""
        self.daemon = Process(self.arguments(), self.folder, self.log, self.environment(),
                              **options)
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
            raise AssertionError(f"otad ended with {self.daemon.child.returncode}:\n" +
                                 "\n".join(self.log.read_text().splitlines()[-15:]))

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
        self.run_boot_loader()
        self.boots += 1
        return self.start()

    def reboot(self):
        self.stop()
        return self.boot()

    def cut_power(self):
        self.kill_daemon()
        return self.boot()

    # What a client says and hears.

    def control(self, *words, text=None, **options):
        """Runs otactl."""
        finished = subprocess.run(
            [str(self.place.program("cli/otactl")), "--bus", self.bus.address, "--json",
             *map(str, words)], input=text, capture_output=True, text=True, timeout=PATIENCE,
            check=False, env=own_environment(), **options)
        return Answer(finished)

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
        checksum = hashlib.md5(self.place.images[version].read_bytes()).hexdigest()
        record = {"model": Place.MODEL, "nxtMSVersion": version, "fileServerURL": "",
                  "checksum": checksum, "mac": self.mac, "policy": policy}
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
        return [line for line in self.history() if line["event"] == name and
                all(line[key] == value for key, value in fields.items())]

    def wait_for_event(self, name, count=1, **fields):
        found = wait_for(f"{self.name} tells {name} {fields}, {count} times", lambda: len(
            self.events(name, **fields)) >= count and self.events(name, **fields))
        return found[-1]

    def words(self):
        """The status words that were raised, in order."""
        return [line["reason"] for line in self.events("status")]

    def end_of(self, ticket):
        """The line that tells how the request ended; none yet."""
        ends = [line for line in self.history()
                if line["event"] in ("finished", "cancelled") and line["ticket"] == ticket]
        if len(ends) > 1:
            raise AssertionError(f"ticket {ticket} ended {len(ends)} times: {ends}")
        return ends[0] if ends else None

    def live_until_end_of(self, ticket, patience=PATIENCE):
        """Reboots whenever the agent asks for it, until the request has ended."""
        deadline = time.monotonic() + patience
        while not (end := self.end_of(ticket)):
            if time.monotonic() > deadline:
                raise AssertionError(f"ticket {ticket} of {self.name} does not end: "
                                     f"{[line['event'] for line in self.history()][-8:]}")
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
