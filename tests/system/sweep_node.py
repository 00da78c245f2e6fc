# SPDX-License-Identifier: MIT
"""A node whose power is cut at a call that changes its disk, and what must be true of it then."""

import contextlib
import json
import re
import time

from node import Node
from node_place import Place
from rig.failure import Failure
from rig.node_folder import BOOTED
from rig.power import POWER_CUT, PowerSupply
from rig.processes import run
from rig.waiting import GLANCE, PATIENCE

SAID_COMMITTED = re.compile(r"upgrade_status (\{.*\"OTA_SW_COMMIT_COMPLETE\"\})")
UNHEALTHY = "unhealthy"  # a file: the health command fails while it is there


def must_come(number, calls):
    """Whether a life must reach the call of this number; no two lives have quite as many calls."""
    return number <= 0.9 * calls


class PowerCut(Exception):
    """The node is off, and its disk holds what survived."""


class Untrue(AssertionError):
    """The node tells, or told, what is not so; or it runs what is no image."""


class SmallPlace(Place):
    """Images that are written in no time."""

    PAYLOAD = 300 * 1024


def bytes_of(place, bank):
    """The version of the whole image in a bank; none where it is not one of the images."""
    held = bank.read_bytes()
    return next(
        (version for version, image in place.images.items() if held.startswith(image.read_bytes())),
        None,
    )


class PowerNode(Node):
    """Runs below ota-power while that is wanted. Calls are counted over all the processes."""

    def __init__(self, place, name, server, *, power=None, aim=None, **made_of):
        self.power = power  # options of ota-power; none where the node runs without it
        self.aim = aim  # one more, and the number of the call that it is meant for
        self.used = 0  # calls so far
        self.journal = []  # a line each, as ota-power writes it
        # What a lying device lost is found when the bank is to be activated or booted, not before.
        self.bank_may_lie = False
        self.said = ""  # by the boot loader, or by ota-power
        super().__init__(
            place, name, server, trial=f"health_command = test ! -e {UNHEALTHY}", **made_of
        )
        self.supply = PowerSupply(place, self.folder, self.log)

    # Power.

    def under_power(self, program):
        if self.power is None:
            return program
        aim = [self.aim[0], self.aim[1] - self.used] if self.aim else []
        return self.supply.around(program, [*self.power, *aim])

    def _ended(self, code):
        """Called once of every process that ran below ota-power."""
        if self.power is None:
            return
        counted = self.supply.counted()
        if counted is None:
            raise AssertionError(f"ota-power ended with {code}:\n{self.said}{self.log_end()}")
        self.used += counted
        self.journal += self.supply.journal()
        if code == POWER_CUT:
            self.power = None
            raise PowerCut(self.journal[-1])

    def log_end(self):
        return "\n".join(self.log.read_text().splitlines()[-25:]) if self.log.exists() else ""

    def arguments(self):
        return self.under_power(super().arguments())

    def check_daemon(self):
        if self.daemon.is_running():
            return
        if self.power is not None and self.daemon.child.returncode == POWER_CUT:
            self.wait_until_off()
            self._ended(POWER_CUT)
        super().check_daemon()

    def stop(self):
        self._ended(super().stop())

    def boot_loader(self):
        return self.under_power(super().boot_loader())

    def run_boot_loader(self):
        """As it was told, or with something to say."""
        self.lose_memory()
        finished = run(self.boot_loader(), cwd=self.folder)
        self.said = finished.stdout + finished.stderr
        self._ended(finished.returncode)
        if finished.returncode not in BOOTED:
            raise AssertionError(f"the boot loader ended with {finished.returncode}: {self.said}")

    # Clients, whose node may go off under their hands.

    def control(self, *words, text=None, **options):
        self.check_daemon()
        return super().control(*words, text=text, **options)

    def told(self, *words, text=None):
        try:
            return super().told(*words, text=text)
        except (AssertionError, Failure):
            self.check_daemon_soon()
            raise

    def check_daemon_soon(self):
        """A call that went wrong may be the first to tell that the power is gone."""
        for _ in range(100):
            self.check_daemon()
            time.sleep(GLANCE)

    def history(self):
        """Without lines that a cut tore."""
        path = self.folder / "configs/otad/history.jsonl"
        found = []
        for line in path.read_text(errors="replace").split("\n") if path.exists() else ():
            with contextlib.suppress(ValueError):
                found.append(json.loads(line))
        return found

    def pending(self):
        kept = self.kept_requests()
        return bool(kept and (kept["running"] or kept["queue"] or kept["standing"]))

    def offer_text(self, version=Place.NEW):
        return json.dumps(self.descriptor(version))

    def live_until_idle(self, patience=PATIENCE):
        """Reboots whenever that is asked for, until no request is left and nothing goes on."""
        deadline = time.monotonic() + patience
        while True:
            self.check_daemon()
            if self.reboot_file.exists():
                self.reboot()
                continue
            answer = self.control("status")
            status = answer.first if answer.code == 0 else {}
            if (
                status.get("mac")
                and status["stage"] == "idle"
                and not status["ticket"]
                and not status["queued"]
                and not self.pending()
                and not self.reboot_file.exists()
                and self.is_settled()
            ):
                return status
            if time.monotonic() > deadline:
                raise AssertionError(
                    f"{self.name} does not come to rest: {status}\n" + self.log_end()
                )
            time.sleep(GLANCE)

    # What must be true.

    def is_settled(self):
        """No bank is on trial, and the running one boots next."""
        state = self.boot_state()
        return state["next"] == state["active"] and state["trial"] == "none"

    def reported_commits(self):
        """The versions that a commit was reported of, in order; the log outlives every cut."""
        return [
            json.loads(record)["curswversion"]
            for record in SAID_COMMITTED.findall(self.log.read_text(errors="replace"))
        ]

    def check_boot(self):
        """What runs is a whole image; returns its version."""
        active = self.boot_state()["active"]
        version = bytes_of(self.place, self.bank(active))
        if version is None:
            raise Untrue(f"bank {active} runs and is none of the images; {self.said}")
        commits = self.reported_commits()
        if commits and commits[-1] != version:
            raise Untrue(f"a commit of {commits[-1]} was reported, and {version} runs")
        return version

    def check_told(self):
        """With the power just gone: what a report of an activation promised is on the disk."""
        lines = self.history()
        start = max(
            (number for number, line in enumerate(lines) if line["event"] == "service-started"),
            default=0,
        )
        told = [
            line["version"]
            for line in lines[start:]
            if line["event"] == "status" and line["reason"] == "OTA_SW_ACTIVATION_COMPLETE"
        ]
        if not told:
            return
        mark = self.folder / "node-logs/ota_act_success"
        held = mark.read_text(errors="replace") if mark.exists() else None
        if held != told[-1] + "\n":
            raise Untrue(f"{told[-1]} was reported as activated, and its mark holds {held!r}")
        kept = self.kept_requests()
        if not any(kept[place] and kept[place]["activated"] for place in ("running", "standing")):
            raise Untrue(f"{told[-1]} was reported as activated, and the ledger says {kept}")

    def check_status(self, status):
        """What the node tells of its banks is what they hold."""
        running = [bank for bank in status["banks"] if bank["running"]]
        if [bank["bank"] for bank in running] != [self.boot_state()["active"]]:
            raise Untrue(f"another bank runs than the node tells: {status['banks']}")
        for bank in status["banks"]:
            if bank["whole"] and (bank["running"] or not self.bank_may_lie):
                held = bytes_of(self.place, self.bank(bank["bank"]))
                if held != bank["version"]:
                    raise Untrue(f"the node tells {bank}, which holds {held}")
        record = status["status_record"]
        if (
            record
            and record["status"] == "OTA_SW_COMMIT_COMPLETE"
            and record["curswversion"] != running[0]["version"]
        ):
            raise Untrue(f"the node tells {record}, and runs {running[0]}")

    def check(self):
        """Waits until the node is ready; returns the version that runs."""
        self.wait_until_ready()
        version = self.check_boot()
        self.check_status(self.told("status"))
        return version

    def is_committed(self, version):
        """And it was said: whoever offered the version waits for that word."""
        if self.check_boot() != version or not self.is_settled():
            return False
        if version not in self.reported_commits():
            raise Untrue(f"{version} runs and is committed, and no commit was reported")
        return True
