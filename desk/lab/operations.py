# SPDX-License-Identifier: MIT
"""Everything that can be done in the lab: the one table that the page, the command line and the
description of the interface come from."""

import asyncio
import json
import time
from collections.abc import Awaitable, Callable

from lab import storage
from lab.clock import ZONES
from lab.image_shelf import GOOD, KINDS, WRONG_CHECKSUM
from lab.lab_node import LabNode
from lab.mesh import BROKER, FILE_SERVER, USUAL_RATE, Mesh
from lab.operation import Answer, Operation, Parameter, WrongCall
from lab.place import MODEL
from lab.wire import Disturbance
from rig import boot_environment
from rig.clock import DATED
from rig.failure import Failure
from rig.files import digest_of, last_line, write_file

_MOST_LOG = 64 * 1024
_NOBODY = "02:00:5E:00:54:FF"  # a device that is not there

# Events of the nodes, as their bus has them.


async def _each(
    mesh: Mesh, nodes: list[str], deed: Callable[[LabNode], Awaitable[Answer]]
) -> Answer:
    """Side by side; the answer of each by its name. A code of 0 means that it was done."""

    async def one(name: str) -> Answer:
        try:
            return await deed(mesh.node(name))
        except Failure as failure:
            return {"code": 1, "reason": str(failure)}

    answers = await asyncio.gather(*(one(name) for name in nodes))
    return {"nodes": dict(zip(nodes, answers, strict=True))}


async def _hand(mesh: Mesh, nodes: list[str], *words: str | int) -> Answer:
    """These words of otactl to each node."""

    async def deed(node: LabNode) -> Answer:
        return await _told(node, *words)

    return await _each(mesh, nodes, deed)


async def _told(node: LabNode, *words: str | int) -> Answer:
    if not node.is_on:
        return {"code": 3, "reason": "the node is off"}
    answer = await node.ask(*words)
    said = answer.lines[-1] if answer.lines else {}
    reason = said.get("reason") or last_line(answer.error).removeprefix("otactl: ")
    node.view.wants_a_look = True
    told = {"code": answer.code, **{key: said[key] for key in ("ticket",) if key in said}}
    if answer.code:
        told["reason"] = reason
    ticket = f", ticket {told['ticket']}" if "ticket" in told else ""
    how = f"code {answer.code}: {reason}" if answer.code else f"accepted{ticket}"
    node.view.mark("event", " ".join(map(str, words)), how)
    return told


async def _offer(
    mesh: Mesh,
    nodes: list[str],
    version: str,
    policy: int,
    image: str,
    offload: bool,
    first_poll: bool,
    onboarding_status: int,
    meant_for: str,
) -> Answer:
    made = await mesh.in_thread(mesh.shelf.image, version, image)
    url = mesh.publish(made.path)
    checksum = await mesh.in_thread(digest_of, made.path, "md5")
    if image == WRONG_CHECKSUM:
        checksum = ("1" if checksum[0] == "0" else "0") + checksum[1:]
    words = ["--offload"] * offload + ["--first-poll"] * first_poll
    words += ["--onboarding-status", str(onboarding_status)] if onboarding_status else []

    async def deed(node: LabNode) -> Answer:
        descriptor = {
            "model": MODEL if meant_for != "other-model" else "Other-1", "nxtMSVersion": version, "fileServerURL": url, "checksum": checksum,
            "mac": node.node.plan.mac if meant_for != "other-device" else _NOBODY,
            "policy": policy,
        }  # fmt: skip
        file = node.node.folder / "descriptor.json"
        write_file(file, json.dumps(descriptor, indent=1) + "\n")
        node.view.fields.set(descriptor=descriptor)
        how = "" if image == GOOD else f", the image: {KINDS[image]}"
        node.view.mark("event", f"offer of {version}, policy {policy}", f"from {url}{how}")
        told = await _told(node, "offer", *words, file.name)
        node.view.fields.set(printed=await mesh.in_thread(node.printed_by_the_guard, told))
        return told

    return await _each(mesh, nodes, deed)


async def _trigger(mesh: Mesh, nodes: list[str], flag: int) -> Answer:
    return await _hand(mesh, nodes, "trigger", "--flag", flag)


async def _activation_time(mesh: Mesh, nodes: list[str], at: str) -> Answer:
    return await _hand(mesh, nodes, "activate-at", at)


async def _cancel(mesh: Mesh, nodes: list[str]) -> Answer:
    return await _hand(mesh, nodes, "cancel")


async def _commit(mesh: Mesh, nodes: list[str]) -> Answer:
    return await _hand(mesh, nodes, "commit")


async def _forget(mesh: Mesh, nodes: list[str], version: str) -> Answer:
    return await _hand(mesh, nodes, "forget", version)


async def _set(mesh: Mesh, nodes: list[str], name: str, value: str) -> Answer:
    return await _hand(mesh, nodes, "set", name, value)


# Power, processes and disks.


def _done() -> Answer:
    return {"code": 0}


async def _unplug(mesh: Mesh, nodes: list[str], when: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        if when:
            node.unplug_when(when)
        else:
            await node.unplug()
        return _done()

    return await _each(mesh, nodes, deed)


async def _plug(mesh: Mesh, nodes: list[str]) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await node.plug()
        return _done()

    return await _each(mesh, nodes, deed)


async def _reboot(mesh: Mesh, nodes: list[str]) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await node.reboot()
        return _done()

    return await _each(mesh, nodes, deed)


async def _cut_power_at(mesh: Mesh, nodes: list[str], change: int, mode: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await node.cut_power_at(change, mode)
        node.view.mark("fault", f"the power will go at change {change} of the storage", mode)
        return _done()

    return await _each(mesh, nodes, deed)


def _signals(deed_name: str, told: str) -> Callable[..., Awaitable[Answer]]:
    async def call(mesh: Mesh, nodes: list[str], process: str) -> Answer:
        async def deed(node: LabNode) -> Answer:
            if not node.signal(deed_name, process):
                return {"code": 1, "reason": f"no {process} runs there"}
            node.view.mark("fault", f"the {process} {told}")
            return _done()

        return await _each(mesh, nodes, deed)

    return call


async def _health(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        node.spoil_health(state == "fails")
        node.view.mark("fault", f"health command: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _new_image(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        node.set_fault("never-boots", state == "never-boots")
        node.view.mark("fault", f"a newly activated image: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _disk(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        node.fill_disk(state == "full")
        await node.spoil_storage(storage.READ_ONLY, state == "read-only")
        node.view.mark("fault", f"disk: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _bank(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await node.spoil_storage(storage.WRONG_BYTES, state == "wrong-bytes")
        await node.spoil_storage(storage.LYING, state == "lies-about-sync")
        node.view.mark("fault", f"banks: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _watch_storage(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        if state == "plain" and node.storage.has_faults:
            return {"code": 1, "reason": "its disk or its banks are not good: mend them first"}
        await node.watch_storage(state == "watched")
        node.view.mark("event", f"storage: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _damage_bank(mesh: Mesh, nodes: list[str], bank: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await mesh.in_thread(node.node.damage_bank, bank == "running")
        node.view.mark("fault", f"a byte of the {bank} bank changed")
        return _done()

    return await _each(mesh, nodes, deed)


async def _cable(mesh: Mesh, nodes: list[str], state: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        mesh.unplug_cable(node.name, state == "cut")
        node.view.mark("fault", f"cable to the mesh: {state}")
        return _done()

    return await _each(mesh, nodes, deed)


# Time.

_UNITS = {"s": 1, "m": 60, "h": 3600, "d": 86400}
_NEXT_TIMER = "next-timer"


async def _advance(mesh: Mesh, nodes: list[str], by: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        if by == _NEXT_TIMER:
            await node.look()
            left = node.seconds_to_next_timer()
            if left is None:
                return {"code": 1, "reason": "no timer is armed"}
            seconds = max(0.0, left) + 1
        else:
            seconds = int(by.rstrip("smhd")) * _UNITS[by[-1] if by[-1] in _UNITS else "s"]
        node.move_clock(lambda clock: clock.advance(seconds))
        node.view.mark("event", "clock", f"{seconds:.0f} s pass at once")
        return _done()

    return await _each(mesh, nodes, deed)


async def _clock(mesh: Mesh, nodes: list[str], to: str) -> Answer:
    if "T" in to:
        try:
            time.strptime(to, DATED)
        except ValueError:
            raise WrongCall(f"to: {to} is no date that there is") from None

    async def deed(node: LabNode) -> Answer:
        node.move_clock(lambda clock: clock.set_to(to))
        node.view.mark("event", "clock", f"the time of day is set to: {to}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _zone(mesh: Mesh, nodes: list[str], name: str) -> Answer:
    async def deed(node: LabNode) -> Answer:
        await node.set_zone(name)
        node.view.mark("event", "clock", f"time zone: {name}")
        return _done()

    return await _each(mesh, nodes, deed)


async def _speed(mesh: Mesh, nodes: list[str], times: int) -> Answer:
    async def deed(node: LabNode) -> Answer:
        node.move_clock(lambda clock: clock.run(times))
        node.view.mark("event", "clock", f"runs {times} times as fast")
        return _done()

    return await _each(mesh, nodes, deed)


# The servers.

_ANSWERS = {"moved": 301, "missing": 404, "unavailable": 503}
_SERVER_STATES = ("good", "stopped", "stalled", "cut", "wrong-certificate", *_ANSWERS)


async def _file_server(mesh: Mesh, state: str, rate: int, after: int) -> Answer:
    mesh.file_server.answer(_ANSWERS.get(state, 200))
    mesh.strange_certificate = state == "wrong-certificate"
    await mesh.file_wire.disturb(
        Disturbance(
            rate=rate,
            cut_after=after if state == "cut" else 0,
            stalled=state == "stalled",
            refused=state == "stopped",
        )
    )
    after = after if state == "cut" else 0
    mesh.board.servers[FILE_SERVER].set(state=state, rate=rate, after=after)
    detail = f"{rate} bytes/s a connection" if rate else "as fast as it can"
    mesh.board.mark(
        FILE_SERVER, "fault", f"{state}{f' after {after} bytes' if after else ''}", detail
    )
    return _done()


async def _broker(mesh: Mesh, state: str) -> Answer:
    if mesh.board.servers[BROKER]["state"] != state:
        await mesh.switch_broker(state == "running")
        mesh.board.servers[BROKER].set(state=state)
        mesh.board.mark(BROKER, "fault", state)
    return _done()


# What is asked.


async def _status(mesh: Mesh) -> Answer:
    snapshot = mesh.board.snapshot()
    return {"nodes": snapshot["nodes"], "servers": snapshot["servers"]}


async def _timeline(mesh: Mesh, after: int) -> Answer:
    return {"marks": [mark for mark in mesh.timeline.marks if mark["number"] > after]}


async def _log(mesh: Mesh, node: str, offset: int, contains: str, around: int) -> Answer:
    inner = _node_named(mesh, node)
    if around >= 0:
        text, end = await mesh.in_thread(inner.log_around, around)
    else:
        text, end = await mesh.in_thread(inner.log_text, offset, _MOST_LOG)
    if contains:
        lines = text.splitlines(keepends=True)
        text = "".join(line for line in lines if contains.lower() in line.lower())
    return {"node": node, "text": text, "end": end}


def _node_named(mesh: Mesh, name: str) -> LabNode:
    return mesh.node(name)


async def _inside(mesh: Mesh, node: str) -> Answer:
    inner = _node_named(mesh, node)
    variables = await mesh.in_thread(boot_environment.variables, inner.node.boot_state_file)
    losses = await mesh.in_thread(inner.storage.losses)
    return {
        "node": node,
        "boot_environment": variables,
        "descriptor": inner.view.fields["descriptor"],
        "printed": inner.view.fields["printed"],
        "requests": inner.kept_requests(),
        "power_cut": losses,
        "power_cut_in_words": storage.in_words(losses),
        "configuration": inner.node.plan.text(),
    }


_VERSION = Parameter(
    "version",
    "string",
    "a version that begins with 4QZ, of at most 30 characters",
    required=True,
    pattern=r"4QZ[A-Za-z0-9._+\-]{1,27}",
)
_PROCESS = Parameter(
    "process", "string", "which one", required=True, choices=("daemon", "host")
)  # fmt: skip
_NODE = Parameter("node", "string", "its name", required=True, pattern=r"[a-z0-9\-]{1,20}")


def _state(*choices: str, text: str) -> Parameter:
    return Parameter("state", "string", text, default=choices[0], choices=choices)


OPERATIONS = (
    Operation(
        "offer", "Events", "Offer an image to nodes", _offer, takes_nodes=True,
        parameters=(
            _VERSION,
            Parameter("policy", "integer", "0: at the activation time, 1: at once, 2: write only, "
                      "3: activate what is written", default=1, choices=(0, 1, 2, 3)),
            Parameter("image", "string", "what is wrong with the image", default=GOOD,
                      choices=tuple(KINDS)),
            Parameter("offload", "boolean", "the gateway is to download it", default=False),
            Parameter("first-poll", "boolean", "announced by the first poll after a start",
                      default=False),
            Parameter("onboarding-status", "integer", "the status that comes with the offer",
                      default=0, choices=(0, 1)),
            Parameter("meant-for", "string", "whom it names", default="this-node",
                      choices=("this-node", "other-device", "other-model")),
        ),
    ),
    Operation("trigger", "Events", "Send the mobile app's trigger", _trigger, takes_nodes=True,
              parameters=(Parameter("flag", "integer", "the app's flag for new software", default=1,
                                    choices=(0, 1)),)),
    Operation("activation-time", "Events", "Move the activation", _activation_time,
              takes_nodes=True,
              parameters=(Parameter("at", "string", "hh:mm[:ss], or now+SECONDS", required=True,
                                    pattern=r"[0-9:]{1,8}|now\+[0-9]{1,6}"),)),
    Operation("cancel", "Events", "End whatever runs or waits", _cancel, takes_nodes=True),
    Operation("commit", "Events", "Mark the running bank good", _commit, takes_nodes=True),
    Operation("forget", "Events", "Allow a failed version again", _forget, takes_nodes=True,
              parameters=(_VERSION,)),
    Operation("set", "Events", "Change a setting of nodes", _set, takes_nodes=True,
              parameters=(
                  Parameter("name", "string", "the setting", required=True,
                            choices=("onboarding", "work_mode", "work_role",
                                     "preferred_activation_time")),
                  Parameter("value", "string", "its value, such as 1, AP_Bridge, Agent, 03:00",
                            required=True, pattern=r"[A-Za-z0-9_:]{1,20}"),
              )),
    Operation("unplug", "Power", "Pull the plug of nodes, whatever they do", _unplug,
              takes_nodes=True,
              parameters=(Parameter("when", "string", "a stage, such as writing, or a status word: "
                                    "as soon as the node tells it, not now", default="",
                                    pattern=r"[a-z]{3,20}|[A-Z_]{3,60}|"),)),
    Operation("plug", "Power", "Put the plug in again; the nodes boot", _plug, takes_nodes=True),
    Operation("reboot", "Power", "Boot nodes in order", _reboot, takes_nodes=True),
    Operation("cut-power-at", "Power", "Lose the power at the n-th next change of the storage",
              _cut_power_at, takes_nodes=True,
              parameters=(
                  Parameter("change", "integer", "counted from now on", required=True, least=1,
                            most=1_000_000),
                  Parameter("mode", "string", "what was not synced is dropped, or torn",
                            default="drop", choices=("drop", "tear")),
              )),
    Operation("watch-storage", "Power", "Let a pulled plug lose what is not synced: the daemon "
              "starts again under a power supply that knows", _watch_storage, takes_nodes=True,
              parameters=(_state("watched", "plain", text="of the storage"),)),
    Operation("kill", "Faults of nodes", "Kill a process", _signals("kill", "was killed"),
              takes_nodes=True, parameters=(_PROCESS,)),
    Operation("freeze", "Faults of nodes", "Let a process stand still",
              _signals("freeze", "stands still"), takes_nodes=True, parameters=(_PROCESS,)),
    Operation("thaw", "Faults of nodes", "Let it go on", _signals("thaw", "goes on"),
              takes_nodes=True, parameters=(_PROCESS,)),
    Operation("health", "Faults of nodes", "Let the health command fail", _health,
              takes_nodes=True,
              parameters=(_state("fails", "good", text="of the command, from now on"),)),
    Operation("new-image", "Faults of nodes", "Let an activated image never boot", _new_image,
              takes_nodes=True,
              parameters=(_state("never-boots", "boots", text="of the next ones"),)),
    Operation("disk", "Faults of nodes", "Fill the disk of nodes, or let it be read-only", _disk,
              takes_nodes=True,
              parameters=(_state("full", "read-only", "good", text="of the disk"),)),
    Operation("bank", "Faults of nodes", "Let the banks store wrong bytes, or lie about syncs",
              _bank, takes_nodes=True,
              parameters=(_state("wrong-bytes", "lies-about-sync", "good", text="of both banks"),)),
    Operation("damage-bank", "Faults of nodes", "Change a byte of a bank, as rot does", _damage_bank,
              takes_nodes=True,
              parameters=(Parameter("bank", "string", "which one", default="passive",
                                    choices=("passive", "running")),)),
    Operation("cable", "Faults of nodes", "Cut nodes off from the servers", _cable,
              takes_nodes=True, parameters=(_state("cut", "plugged", text="of the cable"),)),
    Operation("advance", "Time", "Let time pass at once: timers ring as they would have", _advance,
              takes_nodes=True,
              parameters=(Parameter("by", "string", "a number with s, m, h or d, or next-timer",
                                    default=_NEXT_TIMER,
                                    pattern=r"[0-9]{1,6}[smhd]?|next-timer"),)),
    Operation("clock", "Time", "Set the time of day, as somebody would who sets a clock", _clock,
              takes_nodes=True,
              parameters=(Parameter("to", "string", "hh:mm of UTC, yyyy-mm-ddThh:mm, 1970, or real",
                                    default="real",
                                    pattern=r"(20[0-9]{2}-[0-9]{2}-[0-9]{2}T)?([01][0-9]|2[0-3]):[0-5][0-9]"
                                    r"|1970|real"),)),
    Operation("zone", "Time", "Set the time zone of nodes; they boot", _zone, takes_nodes=True,
              parameters=(Parameter("name", "string", "of a zone; central-europe changes to summer "
                                    "time and back", required=True, choices=tuple(ZONES)),)),
    Operation("speed", "Time", "Let time run faster", _speed, takes_nodes=True,
              parameters=(Parameter("times", "integer", "as fast", default=60,
                                    choices=(1, 10, 60, 600)),)),
    Operation(FILE_SERVER, "Servers", "Disturb the file server", _file_server,
              parameters=(
                  Parameter("state", "string", "how it behaves", default="good",
                            choices=_SERVER_STATES),
                  Parameter("rate", "integer", "bytes a second of each download; 0: no limit",
                            default=USUAL_RATE, most=1_000_000_000),
                  Parameter("after", "integer", "with cut: bytes after which it breaks",
                            default=1_000_000, least=1),
              )),
    Operation(BROKER, "Servers", "Stop or start the broker of the root", _broker,
              parameters=(_state("stopped", "running", text="of the broker"),)),
    Operation("status", "Questions", "Every node and server as it is now", _status, asks=True),
    Operation("timeline", "Questions", "What happened, in its order", _timeline, asks=True,
              parameters=(Parameter("after", "integer", "the number of the last mark seen",
                                    default=0),)),
    Operation("log", "Questions", "The log of a node", _log, asks=True,
              parameters=(
                  _NODE,
                  Parameter("offset", "integer", "the byte that it is read from; -1: the end of "
                            "it", default=-1, least=-1, most=2**53),
                  Parameter("contains", "string", "only lines with this text", default="",
                            pattern=r".{0,80}"),
                  Parameter("around", "integer", "the log of a mark: the few lines before and "
                            "behind that byte; -1: not asked for", default=-1, least=-1,
                            most=2**53),
              )),
    Operation("inside", "Questions", "Boot environment, descriptor, requests, configuration and "
              "last power cut of a node", _inside, asks=True, parameters=(_NODE,)),
)  # fmt: skip
