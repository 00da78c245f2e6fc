#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Packs Python into one file that runs by itself; the same files give the same bytes.

    pack.py PROGRAM INTERPRETER FOLDER FILE...
"""
import os
import pathlib
import sys
import zipfile


def main() -> None:
    program, interpreter, folder = pathlib.Path(sys.argv[1]), sys.argv[2], pathlib.Path(sys.argv[3])
    new = program.with_name(program.name + ".new")
    with new.open("wb") as file:
        file.write(f"#!{interpreter}\n".encode())
        with zipfile.ZipFile(file, "w") as archive:
            for name in sys.argv[4:]:
                # Of the first day that the format knows: neither the day nor the zone of the build.
                archive.writestr(zipfile.ZipInfo(name), (folder / name).read_bytes())
    new.chmod(0o755)
    # One that runs keeps the file that it was.
    os.replace(new, program)


if __name__ == "__main__":
    main()
