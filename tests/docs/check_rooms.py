#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Which room includes which: fails on an arrow upward, a circle, or a header that is a room's own.

    check_rooms.py SOURCE-FOLDER
"""
import graphlib
import pathlib
import re
import sys

# Each room and those that it may include. "api" is include/, the library's public headers.
ROOMS = {
    "api": [],
    "src": ["api"],
    "base": ["api"],
    "node": ["api", "base"],
    "platform": ["api", "base", "node"],
    "host": ["api", "base"],
    "guard": ["api", "base"],
    "service/state": ["api", "base", "guard", "node", "service/bus"],
    "service/bus": ["api", "base", "guard", "node"],
    "service/uplink": ["api", "base", "guard", "node"],
    "service": ["api", "base", "guard", "node", "service/state", "service/bus", "service/uplink"],
    "cli": ["api", "base", "service/bus"],
    "report": ["api", "base", "node", "cli", "service/bus"],
    "tools": ["api", "base", "node"],
    "tools/platform_check": ["api", "base"],
    "desk": ["api", "base", "node", "host"],
    "bench": ["api", "base"],
}

# Where a room is entered by these headers alone: (from, to).
DOORS = {
    ("cli", "service/bus"): ["handles.h", "names.h", "node_status.h", "record_message.h"],
    ("report", "service/bus"): ["names.h"],
    ("service/state", "service/bus"): ["node_status.h"],
    ("desk", "host"): ["agent_calls.h", "run.h"],
}

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+"([^"]+)"', re.M)
FEWEST_FILES = 200
root = pathlib.Path(sys.argv[1])


def room_of(path):
    """The innermost room that a file of the tree lies in, or None."""
    if path.parts[0] == "include":
        return "api"
    folders = ["/".join(path.parts[:depth]) for depth in range(len(path.parts) - 1, 0, -1)]
    return next((folder for folder in folders if folder in ROOMS), None)


def included(file, name):
    """The file that the compiler finds by this name, relative to the tree."""
    for place in (file.parent, root, root / "include", root / "src"):
        if (place / name).is_file():
            return (place / name).resolve().relative_to(root.resolve())
    return None


def mistake(file, name):
    here = room_of(file.relative_to(root))
    target = included(file, name)
    if target is None:
        return f'includes "{name}", which is not there'
    there = room_of(target)
    if there == here:
        return None
    if there not in ROOMS[here]:
        return f"includes {name}: {here} stands on {', '.join(ROOMS[here])}, not on {there}"
    doors = DOORS.get((here, there))
    if doors and target.name not in doors:
        return f"includes {name}: {here} knows {there} by {', '.join(doors)} alone"
    return None


def main():
    mistakes = []
    try:
        graphlib.TopologicalSorter(ROOMS).prepare()
    except graphlib.CycleError as error:
        mistakes.append(f"the table of rooms has a circle: {' -> '.join(error.args[1])}")
    for room in ROOMS:
        if not (root / ("include" if room == "api" else room)).is_dir():
            mistakes.append(f"the table of rooms names {room}, which is not there")
    files = [
        file
        for room in ["include", *ROOMS]
        for file in sorted((root / room).rglob("*"))
        if file.suffix in (".c", ".cpp", ".h") and file.is_file()
    ]
    if len(set(files)) < FEWEST_FILES:
        mistakes.append(f"only {len(set(files))} files were found; mend this check")
    for file in sorted(set(files)):
        for name in INCLUDE.findall(file.read_text()):
            wrong = mistake(file, name)
            if wrong:
                mistakes.append(f"{file.relative_to(root)}: {wrong}")
    print("\n".join(mistakes) or f"{len(set(files))} files keep to their rooms")
    return 1 if mistakes else 0


if __name__ == "__main__":
    sys.exit(main())
