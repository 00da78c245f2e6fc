# SPDX-License-Identifier: MIT
"""What an earlier trial on such a machine found stays found."""

from machine.node import Node
from machine.scenarios.power import expect_finished
from machine.stage import ACTIVATED, NEW, OLD, Stage, expect, expect_text
from rig.waiting import wait_for

_NOT_READY = 5
_LONG = 300.0
_NO_BRIDGE = "/var/lib/machine/no-bridge"
_DROP_IN = "/run/systemd/system/otad.service.d"


def commit_word(stage: Stage) -> None:
    """The power goes between the report of the activation and the reboot: the commit word comes."""
    with stage.node() as node:
        new = stage.image(NEW)
        ticket = node.offer(new, 1)
        node.wait_for_word(ACTIVATED)
        node.cut(seed=3)
        node.on()
        node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)
        stage.expect_boots(node, [OLD, NEW])


def late_address(stage: Stage) -> None:
    """The bridge comes late: an offer then waits or is sent back, and what was kept goes on."""
    with stage.node({"lib/machine/no-bridge": ""}) as node:
        new = stage.image(NEW)
        expect("an offer without an address", _NOT_READY, node.refused_offer(new, 1))
        node.run(f"rm {_NO_BRIDGE}")
        _wait_for_bridge(node)
        ticket = node.offer(new, 1)
        node.run(f"touch {_NO_BRIDGE}; sync")
        node.cut(seed=4)
        node.on()
        node.wait_ready(OLD)
        waits = node.wait_for_event(
            "the request waits", lambda line: line["event"] == "request-waits"
        )
        expect("why it waits", "no-address", waits["reason_code"])
        stage.say("node", f"waits: {waits['reason'] or waits['reason_code']}")
        node.run(f"rm {_NO_BRIDGE}; sync")
        node.wait_ready(NEW)
        expect_finished(stage, node, ticket, new)


def _wait_for_bridge(node: Node) -> None:
    wait_for(
        "the bridge", lambda: node.asked("systemctl is-active -q bridge.service")[0] == 0, _LONG
    )


def device_not_allowed(stage: Stage) -> None:
    """The unit does not let the service open the environment's device: the node says so by name."""
    with stage.node() as node:
        allowed = "".join(rf"DeviceAllow=/dev/vda{number} rw\n" for number in (2, 3))
        node.run(
            f"mkdir -p {_DROP_IN}; printf '[Service]\\nDeviceAllow=\\n{allowed}' "
            f">{_DROP_IN}/zz.conf; systemctl daemon-reload; systemctl restart otad"
        )
        wait_for("otad", lambda: node.asked("otactl status")[0] == 0, _LONG)
        said = node.run("journalctl -b -u otad --no-pager -o cat; otactl explain")
        expect_text("what the node says", r"/dev/vda\b.*Operation not permitted", said)
        expect_text("what the node says", r"DeviceAllow", said)
        stage.say("node", "names the device and DeviceAllow=")
        node.run(f"rm {_DROP_IN}/zz.conf; systemctl daemon-reload; systemctl restart otad")
        wait_for("the banks", lambda: OLD in node.asked("otactl banks")[1], _LONG)
