#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the pages name exists: every link, file, room of the tree, code, reason and test."""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
readme = (root / "README.md").read_text()
mistakes = []

LONGEST_README = 120
if len(readme.splitlines()) > LONGEST_README:
    mistakes.append(f"README.md: has more than {LONGEST_README} lines")
for page in sorted((root / "docs").glob("*.md")):
    if f"| [docs/{page.name}](docs/{page.name}) |" not in readme:
        mistakes.append(f"README.md: its table does not lead to docs/{page.name}")

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

# Files and folders of the tree that a page names.
ROOMS = "abi|base|bench|cli|desk|docs|guard|host|include|node|packaging|platform|service|src|tests|tools"
for page in [root / "README.md", root / "CONTRIBUTING.md", *root.glob("docs/*.md")]:
    for name in re.findall(rf"`((?:{ROOMS})/[\w./]*)`", page.read_text()):
        if not (root / name).exists() and not list(root.glob(f"{name}.*")):
            mistakes.append(f"{page.name}: names {name}, which is not there")

# Every status word has its row, every reason can be looked up, and nothing is named that has none.
codes = (root / "docs/codes.md").read_text()
trouble = (root / "docs/troubleshooting.md").read_text()
words = set(re.findall(r'"(\w+)"', (root / "include/otaSwAgent/status_words.h").read_text()))
outcomes = dict(
    re.findall(
        r'^OUTCOME\(\w+, \d+, "(\w+)", "(\w*)"', (root / "base/outcome.def").read_text(), re.M
    )
)
reasons = set(
    re.findall(r'^REASON\(\w+, "([a-z-]+)"', (root / "base/reason.def").read_text(), re.M)
)
if len(words) < 10 or len(outcomes) < 40 or len(reasons) < 50:
    mistakes.append("base/*.def: the tables are not where they were; mend this check")
for name in sorted(words | set(outcomes) | reasons):
    if f"`{name}` |" not in codes:
        mistakes.append(f"docs/codes.md: has no row for {name}")
EVENTS_AND_TIMERS = {
    "agent-waits",
    "attempt-failed",
    "request-waits",
    "root-failed",
    "reboot-overdue",
    "host-crashed",
    "downloadRetryTimer",
}
shown = trouble.split("## otactl or otad ends at once")[1]
known = words | set(outcomes) | set(outcomes.values()) | reasons | EVENTS_AND_TIMERS
for name in re.findall(
    r"`([a-z]+(?:-[a-z]+)+|[A-Za-z]+[a-z][A-Z]\w*|O?N?[A-Z]+(?:_[A-Z]+)+)`", shown
):
    if name not in known:
        mistakes.append(f"docs/troubleshooting.md: names {name}, which is no code, reason or word")

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
        pages = (
            root / f"tests/system/service_{topic}.py",
            root / f"tests/unit/desk/test_{topic}.py",
        )
        texts = [page.read_text() for page in pages if page.exists()]
        found = any(f"    def test_{test}(self)" in text for text in texts)
    if not found:
        mistakes.append(f"docs/security.md: no test is called {topic or suite} {test or name}")
for row in tables.splitlines():
    if not re.match(r"\|(---|\s*(Attempt) )", row) and not re.search(PROOF, row.rsplit("|", 2)[1]):
        mistakes.append(f"docs/security.md: a row without a test: {row}")

print("\n".join(mistakes) or "the pages hold")
sys.exit(1 if mistakes else 0)
