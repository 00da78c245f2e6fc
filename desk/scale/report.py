# SPDX-License-Identifier: MIT
"""What is printed of a run: the figures, then what was not as it must be."""

import resource
import statistics
from typing import Any

from rig.files import readable_size
from scale.fleet import Fleet, Outcome, Wishes

_SHOWN = 20  # lines of what is wrong; the rest is in the JSON
_OF_A_NODE = ("bus", "node", "boot loader", "otactl")


def figures(fleet: Fleet, wishes: Wishes, outcome: Outcome) -> dict[str, Any]:
    """As --json prints them."""
    assert fleet.servers
    used = fleet.children.used
    own, children = (
        resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)
    )
    seconds = {kind: used[kind].seconds for kind in _OF_A_NODE if kind in used}
    servers = fleet.servers.processor
    rest = children.ru_utime + children.ru_stime - sum(one.seconds for one in used.values())
    upgrades = [node.finished - node.offered for node in outcome.nodes if node.finished]
    count = len(outcome.nodes)
    words, carried = outcome.words, outcome.carried
    return {
        "nodes": wishes.nodes,
        "meshes": max(node.seat.mesh for node in outcome.nodes),
        "at_once": wishes.at_once,
        "disturbed": wishes.disturbed,
        "seconds": outcome.ended - outcome.begun,
        "phases": {
            name: {"seconds": one.seconds, "processors": one.busy, "waited": one.waited,
                   "limited_by": one.limit}
            for name, one in outcome.phases.items()
        },
        "upgrade_seconds_of_a_node": _spread(upgrades),
        "processor_seconds_of_a_node": {
            "all": sum(seconds.values()) / count,
            **{kind: taken / count for kind, taken in seconds.items()},
        },
        "processor_seconds": {
            "nodes": sum(seconds.values()),
            **servers,
            "certificates and watches": rest - sum(servers.values()),
            "this program": own.ru_utime + own.ru_stime,
        },
        "memory_of_a_node_kib": _spread([node.memory for node in outcome.nodes]),
        "memory_of_all_nodes_kib": outcome.memory_sum,
        "memory_taken_kib": outcome.memory_taken // 1024,
        "messages": {"to_the_broker": carried.received, "from_the_broker": carried.sent,
                     "connections": carried.connections},
        "words": {"told": words.told, "heard_once": words.once, "told_again": words.again,
                  "flaws": words.flaws},
        "retries": {
            "downloads": sum(node.history.failed_downloads for node in outcome.nodes),
            "offers": sum(max(0, node.offers - 1) for node in outcome.nodes),
            "messages": sum(carried.came_again.values()) + sum(carried.sent_again.values()),
        },
        "lost": {node.seat.name: node.lost for node in outcome.nodes if node.lost},
        "flaws": outcome.flaws,
        "leftovers": outcome.leftovers,
        "troubles": outcome.troubles,
        "good": is_good(outcome),
    }  # fmt: skip


def is_good(outcome: Outcome) -> bool:
    return not (outcome.flaws or outcome.words.flaws or outcome.leftovers or outcome.troubles)


def _spread(values: list[Any]) -> dict[str, float]:
    if not values:
        return {"median": 0.0, "most": 0.0}
    return {"median": statistics.median(values), "most": max(values)}


def text(made: dict[str, Any]) -> str:
    """For people."""
    phases = made["phases"]
    times = ", ".join(f"{name} {one['seconds']:.1f} s" for name, one in phases.items())
    of_a_node = made["processor_seconds_of_a_node"]
    parts = ", ".join(f"{kind} {took:.3f}" for kind, took in of_a_node.items() if kind != "all")
    others = ", ".join(
        f"{name} {took:.1f}" for name, took in made["processor_seconds"].items() if name != "nodes"
    )
    memory, upgrade = made["memory_of_a_node_kib"], made["upgrade_seconds_of_a_node"]
    words, retries, messages = made["words"], made["retries"], made["messages"]
    lines = [
        f"nodes        {made['nodes']} in {made['meshes']} meshes, {made['at_once']} at once"
        + (", disturbed" if made["disturbed"] else ""),
        f"time         {made['seconds']:.1f} s: {times}",
        f"a node       upgraded in {upgrade['median']:.1f} s (median), "
        f"{upgrade['most']:.1f} s at most",
        f"processor    {of_a_node['all']:.3f} s a node ({parts}); besides: {others}",
        f"memory       {readable_size(memory['median'] * 1024)} a node (peak, median), "
        f"{readable_size(memory['most'] * 1024)} at most; all at one moment "
        f"{readable_size(made['memory_of_all_nodes_kib'] * 1024)}, taken from the machine "
        f"{readable_size(made['memory_taken_kib'] * 1024)}",
        f"messages     {messages['to_the_broker']} to the broker, {messages['from_the_broker']} "
        f"from it, {messages['connections']} connections",
        f"words        {words['told']} told, {words['heard_once']} heard once, "
        f"{len(words['told_again'])} told again, {len(words['flaws'])} not as they must be",
        f"retries      {retries['downloads']} downloads, {retries['offers']} offers, "
        f"{retries['messages']} messages",
        f"limited by   {phases['upgrade']['limited_by']}",
    ]
    lines += _listed("told again", words["told_again"]) + _wrong(made)
    verdict = "every node runs the new version, committed; every word is at its root"
    lines.append(f"verdict      {verdict if made['good'] else 'FAILED'}")
    return "\n".join(lines)


def _wrong(made: dict[str, Any]) -> list[str]:
    wrong = [f"{name}: {'; '.join(flaws)}" for name, flaws in made["flaws"].items()]
    wrong += made["words"]["flaws"] + made["troubles"]
    wrong += [f"left behind: {one}" for one in made["leftovers"]]
    return _listed("wrong", wrong)


def _listed(title: str, lines: list[str]) -> list[str]:
    shown = [f"{title:12} {line}" for line in lines[:_SHOWN]]
    if len(lines) > _SHOWN:
        shown.append(f"{title:12} and {len(lines) - _SHOWN} more, which --json lists")
    return shown
