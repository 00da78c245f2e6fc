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

# The tests that a page calls proof.
security = (root / "docs/security.md").read_text()
tables = "\n".join(line for line in security.splitlines() if line.startswith("|"))
unit_tests = "\n".join(path.read_text() for path in (root / "tests/unit").rglob("*.cpp"))
PROOF = r"`([a-z_]+): ([a-z_0-9]+)`|`([A-Z]\w+)\.(\w+)`"
proofs = re.findall(PROOF, tables)
if len(proofs) < 15:
    mistakes.append("docs/security.md: its tests are not where they were; mend this check")
for topic, test, suite, name in proofs:
    if suite:
        found = re.search(rf"TEST(_F|_P)?\({suite}, {name}\)", unit_tests)
    else:
        page = root / f"tests/system/service_{topic}.py"
        found = page.exists() and f"    def test_{test}(self):" in page.read_text()
    if not found:
        mistakes.append(f"docs/security.md: no test is called {topic or suite} {test or name}")
for row in tables.splitlines():
    if not re.match(r"\|(---|\s*(Attempt) )", row) and not re.search(PROOF, row.rsplit("|", 2)[1]):
        mistakes.append(f"docs/security.md: a row without a test: {row}")

print("\n".join(mistakes) or "the pages hold")
sys.exit(1 if mistakes else 0)
