# SPDX-License-Identifier: MIT
"""Checks one side of the built library's boundary: exports, imports, needed libraries, size."""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

EXPORTS = 121
NEEDED = {"libc", "libcurl", "libcjson"}
WEAK_KINDS = "wv"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exported_by_map(path):
    """The names between "global:" and "local:" of the linker's version script."""
    text = re.sub(r"/\*.*?\*/", "", path.read_text(), flags=re.S)
    names, hidden = re.search(r"global:(.*)local:(.*)\}", text, re.S).groups()
    if hidden.split() != ["*;"]:
        sys.exit(f"{path}: everything but the listed names must be local")
    return [name.strip() for name in names.split(";") if name.strip()]


def dynamic_symbols(arguments, which):
    """Name to kind, version suffixes cut off."""
    symbols = {}
    for line in run(arguments.nm, "-D", which, "-P", arguments.library).splitlines():
        name, kind = line.split()[:2]
        symbols[name.split("@")[0]] = kind
    return symbols


def report(differences):
    for difference in differences:
        print(difference)
    return 1 if differences else 0


def check_exports(arguments):
    listed = exported_by_map(arguments.list)
    exported = dynamic_symbols(arguments, "--defined-only")
    differences = [f"{name}: listed twice" for name in set(listed) if listed.count(name) > 1]
    differences += [f"{name}: listed but not exported" for name in set(listed) - set(exported)]
    differences += [f"{name}: exported but not listed" for name in set(exported) - set(listed)]
    differences += [
        f"{name}: exported as kind {kind}, neither plain function nor variable"
        for name, kind in exported.items()
        if kind not in "TBD"
    ]
    if len(exported) != EXPORTS:
        differences.append(f"{len(exported)} names are exported, not {EXPORTS}")
    if exported.get("main") != "T":
        differences.append("main: not exported as a function")
    return report(differences)


def import_groups(path):
    """Name to the name in whose place it stands, its own as a rule, by group."""
    groups, names = {}, None
    for line in path.read_text().splitlines():
        line = line.split("#")[0].strip()
        if line.startswith("["):
            names = groups.setdefault(line.strip("[]"), {})
        elif line:
            names[line.split()[-1]] = line.split()[0]
    return groups


def check_imports(arguments):
    groups = import_groups(arguments.list)
    undefined = dynamic_symbols(arguments, "--undefined-only")
    # A comma in a group's name stands before the targets that it is for.
    allowed = {
        name: instead
        for group, names in groups.items()
        if "," not in group or group in arguments.also
        for name, instead in names.items()
    }
    for name, instead in list(allowed.items()):
        if instead != name:
            del allowed[instead]
    differences = [
        f"{name}: not called by the library" for name in set(groups["platform"]) - set(undefined)
    ]
    differences += [
        f"{name}: not among the allowed imports" for name in set(undefined) - set(allowed)
    ]
    differences += [
        f"{name}: weak, so a host that lacks it goes unnoticed"
        for name, kind in undefined.items()
        if kind in WEAK_KINDS and name not in groups["toolchain"]
    ]
    return report(differences)


def check_needed(arguments):
    dynamic = run(arguments.readelf, "-d", "-W", arguments.library)
    needed = {name.split(".so")[0] for name in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)}
    differences = [f"{name}: needed by the library" for name in needed - NEEDED]
    differences += [f"{name}: not needed by the library" for name in NEEDED - needed]
    return report(differences)


def check_system_calls(arguments):
    code = run(arguments.objdump, "-d", "--no-show-raw-insn", arguments.library)
    pattern = re.compile(r"^\s*[0-9a-f]+:\s+(?:syscall|sysenter|svc|swi|int\s+\$0x80)\b.*$", re.M)
    return report([f"a raw system call:{line}" for line in pattern.findall(code)])


def check_size(arguments):
    with tempfile.TemporaryDirectory() as folder:
        stripped = pathlib.Path(folder, "stripped.so")
        run(arguments.strip, "-o", str(stripped), arguments.library)
        size = stripped.stat().st_size
    print(f"{size} bytes without symbols")
    largest = arguments.largest * 1024
    return report([f"larger than {largest} bytes"] if size > largest else [])


CHECKS = {
    "exports": check_exports,
    "imports": check_imports,
    "needed": check_needed,
    "system_calls": check_system_calls,
    "size": check_size,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("check", choices=CHECKS)
    parser.add_argument("library")
    parser.add_argument("--list", type=pathlib.Path, help="the names to compare with")
    parser.add_argument("--also", action="append", default=[], help="a group for this target")
    parser.add_argument("--largest", type=int, default=64, help="KiB")
    for tool in ("nm", "readelf", "objdump", "strip"):
        parser.add_argument(f"--{tool}", default=tool)
    arguments = parser.parse_args()
    return CHECKS[arguments.check](arguments)


if __name__ == "__main__":
    sys.exit(main())
