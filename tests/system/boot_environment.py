# SPDX-License-Identifier: MIT
"""Reads a node's boot state from its bytes, without any of the node's own code."""

import zlib

COPY = 8192


def variables(path):
    """The variables of the newer whole copy."""
    data = path.read_bytes()
    whole = {}
    for number in (0, 1):
        copy = data[number * COPY:(number + 1) * COPY]
        if zlib.crc32(copy[5:]) == int.from_bytes(copy[:4], "little"):
            whole[number] = copy
    if not whole:
        raise ValueError(f"{path}: no copy is whole")
    newest = max(whole)
    if len(whole) == 2:
        newest = 1 if (whole[1][4] - whole[0][4]) % 256 < 128 else 0
    entries = whole[newest][5:].split(b"\0\0")[0].split(b"\0")
    return dict(entry.decode().split("=", 1) for entry in entries if entry)


def read_state(path):
    """{"boot": {active, next, trial}, "bank a": {whole, version, size, sha256, attempts}, ...}"""
    found = variables(path)
    state = {"boot": {"active": found["ota_active"], "next": found["BOOT_ORDER"][0].lower(),
                      "trial": found.get("ota_trial", "")}}
    for bank in "ab":
        record = {key: found.get(f"ota_{bank}_{key}", "") for key in ("version", "size", "sha256")}
        record["whole"] = "1" if record["sha256"] else "0"
        record["attempts"] = found[f"BOOT_{bank.upper()}_LEFT"]
        state[f"bank {bank}"] = record
    return state
