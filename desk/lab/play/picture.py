# SPDX-License-Identifier: MIT
"""A timeline as one page of HTML that needs nothing else: a drawing, and the same as a list."""

import html
import time
from collections.abc import Iterable
from typing import Any

from lab.timeline import Mark

_LANE, _TOP, _NAMES, _WIDTH = 30, 24, 96, 1500
_MOST_TICKS = 12
_TICKS = (1, 2, 5, 10, 15, 30, 60, 120, 300, 600)
_SHAPES = {
    "word": "M0,-6 A6,6 0 1 1 0,6 A6,6 0 1 1 0,-6Z",
    "end": "M0,-7 L7,0 L0,7 L-7,0Z",
    "fault": "M0,-7 L7,6 L-7,6Z",
    "failure": "M-6,-6 L6,6 M6,-6 L-6,6",
    "boot": "M0,-9 L0,9",
    "event": "M-5,-5 H5 V5 H-5Z",
}
_STYLE = """
:root { color-scheme: light dark; font: 14px/1.5 system-ui, sans-serif; }
body { margin: 1.5rem; max-width: 1560px; }
svg { width: 100%; height: auto; font-size: 12px; fill: currentColor; }
.lane, .tick { stroke: currentColor; stroke-opacity: .2; }
.bar { fill: #7a8ba6; fill-opacity: .45; }
.bar.idle, .bar.off { fill-opacity: .12; }
.bar.downloading { fill: #2f7ed8; } .bar.writing { fill: #b8860b; }
.bar.activating, .bar.rebooting, .bar.booting { fill: #8a4fbf; } .bar.committing { fill: #2e8b57; }
.mark { stroke: currentColor; fill: none; stroke-width: 1.5; }
.word { fill: #2e8b57; } .fault, .failure { stroke: #c0392b; } .fault { fill: #c0392b; }
table { border-collapse: collapse; } td, th { padding: .1rem .7rem .1rem 0; text-align: left;
vertical-align: top; } .failed { font-weight: bold; color: #c0392b; } .passed { font-weight: bold; }
code { white-space: pre-wrap; }
"""


class _Scale:
    """From moments to places."""

    def __init__(self, begin: float, end: float) -> None:
        self.begin, self.end = begin, max(end, begin + 1)

    def x(self, at: float) -> float:
        part = (min(max(at, self.begin), self.end) - self.begin) / (self.end - self.begin)
        return round(_NAMES + part * (_WIDTH - _NAMES - 12), 1)

    def ticks(self) -> Iterable[tuple[float, str]]:
        """Seconds from the beginning."""
        whole = self.end - self.begin
        step = next((one for one in _TICKS if whole / one <= _MOST_TICKS), _TICKS[-1])
        for number in range(int(whole / step) + 1):
            yield self.x(self.begin + number * step), f"{number * step} s"


def page(shown: dict[str, Any], lanes: list[str], marks: list[Mark], end: float) -> str:
    """What `shown` tells of the playing, and the marks until this moment."""
    begin = marks[0]["at"] if marks else end
    title = html.escape(f"{shown['name']}: {shown['verdict']}")
    parts = [
        '<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">\n',
        f"<title>{title}</title>\n<style>{_STYLE}</style>\n</head>\n<body>\n",
        f"<h1>{title}</h1>\n<p>{html.escape(shown['title'])}</p>\n",
        f'<p class="failed">{html.escape(shown["reason"])}</p>\n' if shown["reason"] else "",
        _picture(_Scale(begin, end), lanes, marks),
        "\n<h2>Steps</h2>\n<table>\n",
        *(_row(one["line"], one["state"], one["text"], one["found"],
               kind=one["state"]) for one in shown["steps"]),
        "</table>\n<h2>What happened</h2>\n<table>\n",
        *(_row(_moment(mark["at"], begin), mark["node"] or "lab", mark["kind"], _told(mark))
          for mark in marks),
        "</table>\n</body>\n</html>\n",
    ]  # fmt: skip
    return "".join(parts)


def _moment(at: float, begin: float) -> str:
    clock = time.strftime("%H:%M:%S", time.gmtime(at))
    return f"{clock} +{at - begin:.1f} s"


def _told(mark: Mark) -> str:
    return f"{mark['text']}: {mark['detail']}" if mark["detail"] else str(mark["text"])


def _row(*cells: Any, kind: str = "") -> str:
    text = "".join(f"<td>{html.escape(str(cell))}</td>" for cell in cells)
    return f'<tr class="{kind}">{text}</tr>\n' if kind == "failed" else f"<tr>{text}</tr>\n"


def _picture(scale: _Scale, lanes: list[str], marks: list[Mark]) -> str:
    high = _TOP + _LANE * len(lanes) + 6
    parts = [f'<svg viewBox="0 0 {_WIDTH} {high}" role="img" aria-label="The list below says it">']
    for x, text in scale.ticks():
        parts.append(f'<line class="tick" x1="{x}" x2="{x}" y1="{_TOP - 4}" y2="{high}"/>')
        parts.append(f'<text x="{x}" y="14">{text}</text>')
    for number, lane in enumerate(lanes):
        own = [mark for mark in marks if mark["node"] == lane]
        y = _TOP + _LANE * number
        parts.append(
            f'<line class="lane" x1="0" x2="{_WIDTH}" y1="{y + _LANE}" y2="{y + _LANE}"/>'
            f'<text x="4" y="{y + 19}">{html.escape(lane)}</text>'
        )
        parts += _bars(scale, own, y)
        parts += _marks(scale, own, y)
    return "\n".join([*parts, "</svg>"])


def _bars(scale: _Scale, own: list[Mark], y: int) -> Iterable[str]:
    stages = [mark for mark in own if mark["kind"] == "stage"]
    ends = [mark["at"] for mark in stages[1:]] + [scale.end]
    for mark, end in zip(stages, ends, strict=False):
        x, stage = scale.x(mark["at"]), html.escape(mark["text"])
        wide = round(max(1.0, scale.x(end) - x), 1)
        yield (
            f'<rect class="bar {stage}" x="{x}" y="{y + 7}" width="{wide}" height="{_LANE - 14}">'
            f"<title>{stage}, {end - mark['at']:.1f} s</title></rect>"
        )
        if wide > 12 + 7 * len(stage):
            yield f'<text x="{x + 6}" y="{y + 19}">{stage}</text>'


def _marks(scale: _Scale, own: list[Mark], y: int) -> Iterable[str]:
    for mark in own:
        if shape := _SHAPES.get(mark["kind"]):
            text = html.escape(f"{mark['kind']}: {_told(mark)}")
            yield (
                f'<path class="mark {mark["kind"]}" d="{shape}" '
                f'transform="translate({scale.x(mark["at"])},{y + _LANE / 2})">'
                f"<title>{text}</title></path>"
            )
