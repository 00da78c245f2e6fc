# SPDX-License-Identifier: MIT
"""A node's boot state as bytes, read and written without any of the node's own code."""

import pathlib
import zlib
from typing import Any

COPY = 8192
_HEAD = 5  # the sum and the age


def _copies(data: bytes) -> dict[int, bytes]:
    """Those that are whole."""
    found = {}
    for number in (0, 1):
        copy = data[number * COPY : (number + 1) * COPY]
        if zlib.crc32(copy[_HEAD:]) == int.from_bytes(copy[:4], "little"):
            found[number] = copy
    return found


def _variables_in(copy: bytes) -> dict[str, str]:
    entries = copy[_HEAD:].split(b"\0\0")[0].split(b"\0")
    return dict(entry.decode().split("=", 1) for entry in entries if entry)


def variables(path: pathlib.Path) -> dict[str, str]:
    """The variables of the newer whole copy."""
    whole = _copies(path.read_bytes())
    if not whole:
        raise ValueError(f"{path}: no copy is whole")
    newest = max(whole)
    if len(whole) == 2:
        newest = 1 if (whole[1][4] - whole[0][4]) % 256 < 128 else 0
    return _variables_in(whole[newest])


def set_variables(path: pathlib.Path, **values: str | int) -> None:
    """In both copies."""
    written = b""
    for copy in _copies(path.read_bytes()).values():
        found: dict[str, str | int] = {**_variables_in(copy), **values}
        body = b"".join(f"{key}={found[key]}\0".encode() for key in sorted(found))
        body = body.ljust(COPY - _HEAD, b"\0")
        written += zlib.crc32(body).to_bytes(4, "little") + copy[4:_HEAD] + body
    path.write_bytes(written)


def read_state(path: pathlib.Path) -> dict[str, dict[str, Any]]:
    """{"boot": {active, next, trial}, "bank a": {whole, version, size, sha256, attempts}, ...}"""
    found = variables(path)
    state: dict[str, dict[str, Any]] = {
        "boot": {
            "active": found["ota_active"],
            "next": found["BOOT_ORDER"][0].lower(),
            "trial": found.get("ota_trial", ""),
        }
    }
    for bank in "ab":
        record = {key: found.get(f"ota_{bank}_{key}", "") for key in ("version", "size", "sha256")}
        record["whole"] = "1" if record["sha256"] else "0"
        record["attempts"] = found[f"BOOT_{bank.upper()}_LEFT"]
        state[f"bank {bank}"] = record
    return state
