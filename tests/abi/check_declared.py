# SPDX-License-Identifier: MIT
"""Checks that every exported name but main is declared by the public header."""

import argparse
import pathlib
import subprocess
import sys

from check_library import exported_by_map


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("map", type=pathlib.Path)
    parser.add_argument("compiler", nargs=argparse.REMAINDER, help="the C compiler and its flags")
    arguments = parser.parse_args()
    names = [name for name in exported_by_map(arguments.map) if name != "main"]
    uses = "".join(f"    (void)&{name};\n" for name in names)
    source = f'#include "otaSwAgent/agent.h"\nvoid use(void);\nvoid use(void) {{\n{uses}}}\n'
    command = [*arguments.compiler, "-fsyntax-only", "-Wall", "-Werror", "-x", "c", "-"]
    return subprocess.run(command, input=source, text=True, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
