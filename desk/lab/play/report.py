# SPDX-License-Identifier: MIT
"""What is left of a scenario that was played: a table, JUnit's XML, and its timeline as files."""

import json
import pathlib
import time
import xml.etree.ElementTree as xml
from collections.abc import Sequence
from typing import Protocol

from lab.mesh import Mesh
from lab.play.picture import page
from lab.play.player import DONE, PASSED, Play
from rig.files import write_file

TIMELINE_JSON, TIMELINE_HTML = "timeline.json", "timeline.html"


class Row(Protocol):
    """Of the table."""

    name: str
    title: str
    verdict: str
    reason: str
    seconds: float
    play: Play | None


def write_artefacts(folder: pathlib.Path, mesh: Mesh, play: Play) -> None:
    """The timeline as the page of the lab gives it, and as one page that needs nothing else."""
    marks = [mark for mark in mesh.timeline.marks if mark["number"] > play.first_mark]
    shown = play.shown()
    text = json.dumps({"marks": marks, "scenario": shown}, indent=1) + "\n"
    write_file(folder / TIMELINE_JSON, text)
    lanes = [*(setup.name for setup in mesh.setups), *mesh.board.servers]
    write_file(folder / TIMELINE_HTML, page(shown, lanes, marks, time.time()))


def table(rows: Sequence[Row]) -> str:
    wide = max((len(row.name) for row in rows), default=4)
    lines = [f"{'scenario':{wide}}  {'verdict':7}  {'time':>7}"]
    for row in rows:
        reason = f"  {row.reason}" if row.reason else ""
        lines.append(f"{row.name:{wide}}  {row.verdict:7}  {row.seconds:5.1f} s{reason}")
    return "\n".join(lines)


def junit(rows: Sequence[Row], seconds: float) -> str:
    """A case a scenario, in one suite."""
    failed = [row for row in rows if row.verdict != PASSED]
    counts = {"tests": str(len(rows)), "failures": str(len(failed)), "time": f"{seconds:.1f}"}
    suites = xml.Element("testsuites", counts)
    suite = xml.SubElement(suites, "testsuite", {"name": "lab.scenarios", **counts})
    for row in rows:
        case = xml.SubElement(suite, "testcase", {
            "classname": "lab.scenarios", "name": row.name, "time": f"{row.seconds:.1f}",
        })  # fmt: skip
        if row.verdict != PASSED:
            failure = xml.SubElement(case, "failure", {"message": _plain(row.reason)})
            failure.text = _plain("\n".join(_steps(row)))
        xml.SubElement(case, "system-out").text = _plain("\n".join(_steps(row)))
    xml.indent(suites, " ")
    return '<?xml version="1.0" encoding="UTF-8"?>\n' + xml.tostring(suites, "unicode") + "\n"


def _steps(row: Row) -> list[str]:
    """As far as it came."""
    if not row.play:
        return [row.reason]
    lines = [row.title]
    for state in row.play.states:
        found = f"  <- {state.found}" if state.found and state.state != DONE else ""
        lines.append(f"{state.line:4} {state.state:8} {state.text}{found}")
    return lines


def _plain(text: str) -> str:
    """XML has no other control characters, however they are written."""
    return "".join(char if char.isprintable() or char == "\n" else "?" for char in text)
