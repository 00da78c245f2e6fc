# SPDX-License-Identifier: MIT
"""Checks that a transfer's options reach libcurl only through overloads of the right width.

libcurl takes a long where a plain number is easily an int; on this machine that goes unnoticed.
"""

import pathlib
import re
import sys

SETTER = re.compile(
    r"void setOption\(const TransferHandle &handle, CURLoption option, (?P<type>[^{;]*?)\) \{\s*"
    r"curl_easy_setopt\(handle\.get\(\), option, (?:value|function)\);\s*\}"
)
WIDTHS = {"long value", "const void *value", "Result (*function)(Arguments...)"}


def differences_in(sources):
    calls = sum(len(re.findall(r"\bcurl_easy_setopt\b", text)) for text in sources.values())
    widths = [match["type"] for text in sources.values() for match in SETTER.finditer(text)]
    differences = []
    if calls != len(widths):
        differences.append(f"{calls} calls of curl_easy_setopt, {len(widths)} of them in setOption")
    if set(widths) != WIDTHS or len(widths) != len(WIDTHS):
        differences.append(f"setOption takes {sorted(widths)}, not {sorted(WIDTHS)}")
    return differences


def main():
    root = pathlib.Path(sys.argv[1])
    sources = {path: path.read_text() for path in sorted(root.rglob("*.[ch]*"))}
    differences = differences_in(sources)
    print("\n".join(differences))
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
