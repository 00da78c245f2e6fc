#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the pages say exists: the example that is compiled, every link, every room of the tree."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
readme = (root / "README.md").read_text()
mistakes = []

example = re.search(r"```c\n(.*?)\n```", readme, re.S)
if example is None or example.group(1) not in (root / "docs/example_host.c").read_text():
    mistakes.append("README.md: its C example is not the one of docs/example_host.c; copy it anew")

tree = readme.split("## The tree")[1].split("\n## ")[0]
rooms = re.findall(r"^    (  )?([\w./]+)  ", tree, re.M)
if len(rooms) < 10:
    mistakes.append("README.md: the tree is not where it was; mend this check")
for inner, room in rooms:
    if not (root / ("src" if inner else "") / room).exists():
        mistakes.append(f"README.md: the tree names {room}, which is not there")

for page in [*root.glob("*.md"), *root.glob("docs/*.md")]:
    for link in re.findall(r"\]\(([^)#]+)\)", page.read_text()):
        if "://" not in link and not (page.parent / link).exists():
            mistakes.append(f"{page.name}: links to {link}, which is not there")

print("\n".join(mistakes) or "the pages hold")
sys.exit(1 if mistakes else 0)
