#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The files of a room are compiled together: fails where a call in one of them could reach a
function that another one has for itself.

    check_names.py SOURCE-FOLDER
"""
import pathlib
import re
import sys

OWN = re.compile(r"^namespace \{$(.*?)^\} // namespace$", re.M | re.S)
FUNCTION = re.compile(
    r"^(?!using |class |struct |enum )[a-zA-Z\[][\w:<>,*&\[\] ]*[ *&](\w+)\(", re.M
)
COMMENT_OR_TEXT = re.compile(r'//[^\n]*|"(?:\\.|[^"\\\n])*"')
BY_TYPE = {"PrintTo"}  # one for each type, wherever that stands
FEWEST_ROOMS = 20
root = pathlib.Path(sys.argv[1])


def room_of(file):
    """The folder whose CMakeLists.txt names the file."""
    return next(folder for folder in file.parents if (folder / "CMakeLists.txt").exists())


def own_functions(text):
    return {name for block in OWN.findall(text) for name in FUNCTION.findall(block)} - BY_TYPE


def called(text):
    """Names that are called as they stand: no members, nothing behind a namespace."""
    return set(re.findall(r"(?<![\w.:>~])(\w+)\(", COMMENT_OR_TEXT.sub("", text)))


def mistakes_of(files):
    texts = {file: file.read_text() for file in files}
    own = {file: own_functions(text) for file, text in texts.items()}
    for file, names in own.items():
        for other, text in texts.items():
            if other != file:
                for name in sorted(names & called(text)):
                    yield f"{file.relative_to(root)}: {name} is called in {other.name} too"


def are_joined(room):
    """Whether the files of the folder make one program or library."""
    return re.search(r"^ota_add_(room|suite)\(", room, re.M)


def alone(room):
    """Files that are compiled by themselves all the same."""
    listed = re.findall(r"set_source_files_properties\((.*?) PROPERTIES SKIP_UNITY", room)
    return set(" ".join(listed).split())


def main():
    rooms = {}
    for top in ("base", "node", "platform", "host", "guard", "service", "cli", "tools", "desk",
                "tests/unit"):  # fmt: skip
        for file in sorted((root / top).rglob("*.cpp")):
            room = room_of(file)
            listed = (room / "CMakeLists.txt").read_text()
            if are_joined(listed) and file.name not in alone(listed):
                rooms.setdefault(room, []).append(file)
    mistakes = [mistake for files in rooms.values() for mistake in mistakes_of(files)]
    if len(rooms) < FEWEST_ROOMS:
        mistakes.append(f"only {len(rooms)} rooms were found")
    for mistake in mistakes:
        print(mistake)
    return 1 if mistakes else 0


if __name__ == "__main__":
    sys.exit(main())
