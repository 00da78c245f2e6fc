# SPDX-License-Identifier: MIT
"""The storage of a node under a power supply that knows what is synced: its faults, and what a power
cut took from it."""

from typing import Any

from rig.power import PowerSupply
from rig.processes import Words

READ_ONLY, WRONG_BYTES, LYING = "disk-read-only", "bank-wrong-bytes", "bank-lies-about-sync"
FAULTS = {
    READ_ONLY: ("read-only",),
    WRONG_BYTES: ("corrupt banks/a", "corrupt banks/b"),
    LYING: ("lie banks/a", "lie banks/b"),
}
_ROW = 16  # bytes of a row in words


class Storage:
    """As it should be, and not watched, at first."""

    def __init__(self, supply: PowerSupply) -> None:
        self._supply = supply
        self.watched = False
        self._faults: set[str] = set()
        self._cut = ""
        self._cuts = 0

    @property
    def has_faults(self) -> bool:
        return bool(self._faults)

    def set_fault(self, name: str, wanted: bool) -> None:
        (self._faults.add if wanted else self._faults.discard)(name)
        self._say()

    def plan_cut(self, change: int, mode: str) -> None:
        """At this change, counted from now on."""
        self._cuts += 1
        self._cut = f"cut {change} {mode} {self._cuts}"
        self._say()

    def around(self, words: Words) -> Words | None:
        """What starts the daemon under the supply; none where nobody watches."""
        if not self.watched:
            return None
        self._say()
        return self._supply.around(words, self._supply.live)

    def forget_cut(self) -> None:
        """It was for the boot that ended."""
        self._cut = ""

    def _say(self) -> None:
        lines = [line for name in sorted(self._faults) for line in FAULTS[name]]
        self._supply.say([*lines, *([self._cut] if self._cut else [])])

    # What a power cut took.

    def last_change(self) -> str:
        journal = self._supply.journal()
        return journal[-1] if journal else "no change of the storage"

    def losses(self) -> list[dict[str, Any]]:
        return self._supply.losses()

    def forget_losses(self) -> None:
        self._supply.forget_losses()


def summary(losses: list[dict[str, Any]]) -> str:
    """In a few words."""
    names = sum(loss["kind"] == "name" for loss in losses)
    files = [loss for loss in losses if loss["kind"] == "file" and loss["taken"]]
    lost = sum(row["end"] - row["from"] for loss in files for row in loss["taken"])
    if not names and not files:
        return "everything was synced: nothing is lost"
    return f"{names} changes of names and {lost} bytes of {len(files)} files are lost"


def in_words(losses: list[dict[str, Any]]) -> str:
    """A paragraph for each name and file, for who reads."""
    return "\n".join(line for loss in losses for line in _lines(loss)) or "nothing was lost"


def _lines(loss: dict[str, Any]) -> list[str]:
    if loss["kind"] == "name":
        return [_name_line(loss)]
    lines = [f"{loss['name']}:"]
    if loss["size_had"] != loss["size_has"]:
        lines.append(f"  had {loss['size_had']} bytes, has {loss['size_has']}")
    if loss["survived"]:
        lines.append(f"  {loss['survived']} bytes that were not synced are there all the same")
    for row in loss["taken"]:
        lines.append(f"  bytes {row['from']} to {row['end']} are as before their last sync")
        lines += _bytes("    before the cut", row["had"]) + _bytes("    after it      ", row["has"])
    if loss["rows"] > len(loss["taken"]):
        lines.append(f"  and {loss['rows'] - len(loss['taken'])} more places")
    return lines


def _name_line(loss: dict[str, Any]) -> str:
    back = "; what had that name before is there again" if loss["put_back"] else ""
    return {
        "made": f"{loss['name']}: was made, and is gone{back}",
        "removed": f"{loss['name']}: was removed, and is there again",
        "renamed": f"{loss['name']}: is called {loss['from']} again{back}",
        "exchanged": f"{loss['name']} and {loss['from']}: exchanged back",
    }[loss["change"]]


def _bytes(head: str, hexadecimal: str) -> list[str]:
    """The first row alone says enough."""
    row = bytes.fromhex(hexadecimal)[:_ROW]
    text = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in row)
    return [f"{head}  {row.hex(' '):47}  |{text}|" if row else f"{head}  nothing"]
