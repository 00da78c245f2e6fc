# SPDX-License-Identifier: MIT
"""Whether all went as it must: each node by what its disk holds and by what it told, each word by
how often its root heard it."""

import collections
import dataclasses
from collections.abc import Iterable

from rig import boot_environment
from rig.files import begins_with
from rig.images import Image
from rig.node_folder import NodeFolder
from scale.broker_log import Carried
from scale.history import History, Told
from scale.seats import FACTORY, NEW, Seat

WORDS = ("OTA_SW_ACTIVATION_COMPLETE", "OTA_SW_COMMIT_COMPLETE")
_IMAGES = "4QZ*"

Counts = "collections.Counter[tuple[str, str]]"


def flaws_of_history(history: History) -> list[str]:
    flaws = list(history.troubles)
    if history.end is None:
        flaws.append("its request did not end")
    elif history.end:
        flaws.append(f"its request ended with {history.end}")
    if not history.committed:
        flaws.append("it did not commit")
    if history.boots != [FACTORY, NEW]:
        flaws.append(f"it booted {', '.join(history.boots) or 'never'}")
    words = [told.word for told in history.told]
    for word in WORDS:
        if word not in words:
            flaws.append(f"it never told {word}")
    flaws += [f"it told {word}" for word in words if word not in WORDS]
    return flaws


def flaws_of_disk(node: NodeFolder, factory: Image, new: Image) -> list[str]:
    """What its banks and its boot state must be: the new version runs, nothing is on trial, and the
    old one is whole beside it."""
    try:
        state = boot_environment.read_state(node.boot_state_file)
    except (OSError, ValueError, KeyError) as error:
        return [f"its boot state cannot be read: {error}"]
    flaws = []
    expected = {"active": "b", "next": "b", "trial": ""}
    if state["boot"] != expected:
        flaws.append(f"its boot state is {state['boot']}, not {expected}")
    for bank, image in (("a", factory), ("b", new)):
        record = state[f"bank {bank}"]
        if record["whole"] != "1" or record["version"] != image.version:
            flaws.append(f"bank {bank} is said to hold {record}, not {image.version}")
        elif not begins_with(node.bank(bank), image.path, image.size):
            flaws.append(f"bank {bank} does not hold the bytes of {image.version}")
    if left := [path.name for path in node.folder.glob(_IMAGES)]:
        flaws.append(f"it left {', '.join(left)} in its memory")
    return flaws


@dataclasses.dataclass
class Words:
    """Status words of all nodes, told and heard."""

    told: int = 0
    once: int = 0
    again: list[str] = dataclasses.field(default_factory=list)  # more than once, and known why
    flaws: list[str] = dataclasses.field(default_factory=list)


def compare_words(
    nodes: Iterable[tuple[Seat, list[Told]]],
    heard: dict[int, "collections.Counter[tuple[str, str]]"],
    carried: Carried,
) -> Words:
    """`heard`: by each mesh's gateway. A word must be heard as often as the node told it; once less
    where the node knows that it was not heard; and more often only where a connection broke
    meanwhile, so that a message came again."""
    words = Words()
    left = {mesh: collections.Counter(counts) for mesh, counts in heard.items()}
    for seat, told in nodes:
        words.told += len(told)
        excuses = _excuses(seat, carried)
        for word in dict.fromkeys(one.word for one in told):
            count = left.get(seat.mesh, collections.Counter()).pop((seat.mac, word), 0)
            excuses = _compare(
                words, seat, [one for one in told if one.word == word], count, excuses
            )
    for mesh, counts in left.items():
        for (mac, word), count in counts.items():
            words.flaws.append(
                f"mesh-{mesh:03}: {word} of {mac} was heard {count} times, and never told"
            )
    return words


def _excuses(seat: Seat, carried: Carried) -> int:
    topic = f"{seat.topic}/{seat.mac}/report"
    return carried.came_again[topic] + carried.sent_again[topic]


def _compare(words: Words, seat: Seat, told: list[Told], count: int, excuses: int) -> int:
    """The excuses that are left."""
    word, times = told[0].word, len(told)
    unheard = [one for one in told if one.fate == "root-failed"]
    if count == times == 1:
        words.once += 1
    elif count < times:
        why = f": {unheard[0].reason}" if unheard else "; the node knows nothing of it"
        words.flaws.append(f"{seat.name}: {word} was told {times} times, heard {count} times{why}")
    elif count == times:
        words.again.append(f"{seat.name}: {word} was told {times} times, and heard as often")
    elif count - times <= excuses:
        words.again.append(
            f"{seat.name}: {word} was told {times} times, heard {count} times: it was sent again "
            "behind a connection that broke"
        )
        return excuses - (count - times)
    else:
        words.flaws.append(
            f"{seat.name}: {word} was told {times} times, heard {count} times, and nobody sent it again"
        )
    return excuses
