# SPDX-License-Identifier: MIT
"""The service under systemd: who may call it, and what becomes of it when it hangs or dies."""

import time

from machine.root import USERS
from machine.scenarios.upgrade import expect_committed
from machine.stage import NEW, OLD, Stage, expect, expect_text
from rig.files import MIB
from rig.waiting import wait_for

_NO_SERVICE, _DENIED = 3, 4
_LONG = 300.0


def _as(user: str, command: str) -> str:
    if user == "root":
        return command
    number = USERS[user]
    return f"setpriv --reuid {number} --regid {number} --init-groups {command}"


def start(stage: Stage) -> None:
    """Everything is up, and the bus lets in whom it should: root, the group, nobody else."""
    with stage.node() as node:
        stage.expect_no_failed_unit(node)
        expect("running bank", "a", node.banks()["active"])
        for user, code in (("root", 0), ("operator", 0), ("stranger", _DENIED)):
            found, _ = node.asked(_as(user, "otactl status"))
            expect(f"otactl status of {user}", code, found)
            found, _ = node.asked(_as(user, "otactl set onboarding 0"))
            expect(f"otactl set of {user}", code, found)
            stage.say("bus", f"{user}: {'may call' if code == 0 else 'is kept out'}")
        # Beside the methods: neither properties nor introspection, nor the name itself.
        call = "dbus-send --system --print-reply --dest=velmo.otaSwAgent /velmo/otaSwAgent"
        for method in (
            "org.freedesktop.DBus.Introspectable.Introspect",
            "org.freedesktop.DBus.Properties.GetAll string:velmo.otaSwAgent",
        ):
            expect(f"{method} of root", 0, node.asked(f"{call} {method}")[0])
            code, said = node.asked(_as("stranger", f"{call} {method}"))
            expect(f"{method} of a stranger", 1, code)
            expect_text("what the stranger is told", "AccessDenied", said)
        own = "org.freedesktop.DBus.RequestName string:velmo.otaSwAgent uint32:2"
        taken = f"dbus-send --system --print-reply --dest=org.freedesktop.DBus / {own}"
        code, said = node.asked(_as("stranger", taken))
        expect("a stranger asks for the name", 1, code)
        expect_text("what the stranger is told", "AccessDenied", said)
        limits = node.run("grep -E 'CapBnd|NoNewPrivs' /proc/$(pgrep -x otad)/status")
        expect_text("capabilities of otad", r"CapBnd:\s+0{16}\s", limits + "\n")
        stage.say("sandbox", "otad runs without a single capability")


def _restarts(node: object) -> int:
    return int(node.run("systemctl show otad -P NRestarts"))  # type: ignore[attr-defined]


def stopped(stage: Stage) -> None:
    """It hangs: systemd's watchdog ends it and starts it anew, and it answers again."""
    with stage.node() as node:
        before = node.run("systemctl show otad -P MainPID")
        node.run(f"kill -STOP {before}")
        stage.say("otad", "stopped with SIGSTOP")
        wait_for("systemd's watchdog", lambda: _restarts(node) == 1, _LONG)
        wait_for("an answer of otad", lambda: node.asked("otactl status")[0] == 0, _LONG)
        said = node.run("journalctl -b -u otad --no-pager -o cat")
        expect_text("systemd's word", "[Ww]atchdog timeout", said)
        expect("it is another process", True, node.run("systemctl show otad -P MainPID") != before)
        expect("nothing booted", [OLD], node.boots())
        stage.say("otad", "ended by the watchdog, and back")


def killed(stage: Stage) -> None:
    """Daemon and host process are killed in the middle of an upgrade: it comes to its end."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 1)
        wait_for("a download", lambda: _downloaded(node) > MIB, _LONG)
        node.run("kill -KILL $(pgrep -x otad)")
        stage.say("otad", "killed in the download")
        wait_for("its restart", lambda: _restarts(node) == 1, _LONG)
        wait_for("the host process", lambda: node.asked("pgrep -x ota-host")[0] == 0, _LONG)
        node.run("kill -KILL $(pgrep -x ota-host)")
        stage.say("ota-host", "killed as it began again")
        node.wait_for_event("the crash", lambda line: line["event"] == "host-crashed")
        node.wait_ready(NEW)
        expect_committed(stage, node, ticket, new)


def _downloaded(node: object) -> int:
    told = node.run("cat /run/o/4QZ* 2>/dev/null | wc -c")  # type: ignore[attr-defined]
    return int(told)


def watchdog(stage: Stage) -> None:
    """Nobody feeds the hardware's watchdog any more: it resets the machine, which comes back."""
    with stage.node() as node:
        node.machine.send("kill -SEGV 1")
        stage.say("systemd", "crashed with SIGSEGV: it freezes, and feeds nobody")
        began = time.monotonic()
        node.wait_ready(OLD)
        stage.say(
            "machine", f"reset by the watchdog and back after {time.monotonic() - began:.0f} s"
        )
        stage.expect_boots(node, [OLD, OLD])
        stage.expect_no_failed_unit(node)
