# SPDX-License-Identifier: MIT
"""Checks that a unit's name in the log is the place of its sources in the tree."""

import pathlib
import re
import sys

UNITS = {
    "main",
    "ota_ext_intf",
    "intf/cfgm_intf",
    "intf/otaSwAgent_signal",
    "otaswmgnt_path_parse",
    "swmgmtitf",
    "upgrade",
}
UNIT_NAME = re.compile(r'\bkUnit\[\]\s*=\s*"([^"]*)"')
UNIT_HEADER = re.compile(r'#include "((?:[^"]*/)?unit\.h)"')
LOG_CALL = re.compile(r"\bOTA_(?:PLATFORM_|DEBUG_FIRST_)?(?:NOTICE|ERROR|TRACE)\w*\(")


def place_of(path):
    """The unit that a file's path says: its folder for a unit.h, itself for a source."""
    return path.parent.as_posix() if path.name == "unit.h" else path.with_suffix("").as_posix()


def unit_names(sources):
    """Every file that names a unit, and the differences from its place."""
    names, differences = {}, []
    for path, text in sources.items():
        for name in UNIT_NAME.findall(text):
            names[path] = name
            if name != place_of(path):
                differences.append(f"{path}: names the unit {name}, its place is {place_of(path)}")
    for missing in UNITS - set(names.values()):
        differences.append(f"{missing}: no file names this unit")
    for unknown in set(names.values()) - UNITS:
        differences.append(f"{unknown}: not a unit of the log")
    return names, differences


def unit_of_logger(path, text, names):
    """What is wrong with the unit under which a file logs, or nothing."""
    headers = [pathlib.PurePosixPath(header) for header in UNIT_HEADER.findall(text)]
    units = [names.get(header) for header in headers] + ([names[path]] if path in names else [])
    if len(units) != 1:
        return f"{path}: logs under {len(units)} units: include the one unit.h above it"
    place = path.with_suffix("").as_posix()
    if units[0] is None or not (place == units[0] or place.startswith(units[0] + "/")):
        return f"{path}: logs under {units[0]}, which is not above it"
    return None


def main():
    root = pathlib.Path(sys.argv[1])
    sources = {
        pathlib.PurePosixPath(path.relative_to(root).as_posix()): path.read_text()
        for path in sorted(root.rglob("*"))
        if path.suffix in (".h", ".cpp")
    }
    names, differences = unit_names(sources)
    loggers = 0
    for path, text in sources.items():
        if not LOG_CALL.search(text) or path == pathlib.PurePosixPath("support/log.h"):
            continue
        loggers += 1
        if path.parts[0] in ("json", "support"):
            differences.append(f"{path}: logs, although it serves every unit")
        elif wrong := unit_of_logger(path, text, names):
            differences.append(wrong)
    if loggers < len(UNITS):
        differences.append(f"{root}: only {loggers} files log; is this the library's source?")
    print("\n".join(differences))
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
