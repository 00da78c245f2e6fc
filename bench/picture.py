# SPDX-License-Identifier: MIT
"""The figures as a picture: a bar for each command, a group for each image size."""

from xml.sax.saxutils import escape

LEFT, RIGHT, BAR, GAP, HEAD = 150, 190, 18, 8, 34
WIDTH = 760
# Colours of the page around it, which a reader has light or dark.
STYLE = """<style>
text { font: 13px system-ui, sans-serif; fill: #24292f }
.title { font-weight: 600 }
.own { fill: #0969da } .other { fill: #8c959f } .line { stroke: #8c959f; stroke-dasharray: 3 3 }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3 } .own { fill: #58a6ff } .other { fill: #6e7681 }
}
</style>"""


def bar(top, row, scale, is_own):
    """One command: its name, a bar as long as its ratio, and the figures."""
    length = row.ratio * scale
    kind = "own" if is_own else "other"
    middle = top + BAR - 5
    label = f"{row.ratio:.2f} ({row.lowest:.2f} to {row.highest:.2f})"
    return (
        f'<text x="{LEFT - 10}" y="{middle}" text-anchor="end">{escape(row.name)}</text>\n'
        f'<rect class="{kind}" x="{LEFT}" y="{top}" width="{length:.1f}" height="{BAR}" rx="2"/>\n'
        f'<text x="{LEFT + length + 8:.1f}" y="{middle}">{label}</text>\n'
    )


def picture(groups, own):
    """An SVG of [(title, figures)]; the rows whose names are in `own` are the agent's."""
    longest = max(row.ratio for _, rows in groups for row in rows)
    scale = (WIDTH - LEFT - RIGHT) / max(longest, 1.0)
    parts, top = [], 10
    for title, rows in groups:
        parts.append(f'<text class="title" x="{LEFT}" y="{top + 16}">{escape(title)}</text>\n')
        first = top = top + HEAD - GAP
        for row in rows:
            parts.append(bar(top, row, scale, row.name in own))
            top += BAR + GAP
        x = f"{LEFT + scale:.1f}"
        parts.append(f'<line class="line" x1="{x}" x2="{x}" y1="{first - 4}" y2="{top}"/>\n')
        top += GAP
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{top}" '
        f'viewBox="0 0 {WIDTH} {top}" role="img">\n{STYLE}\n{"".join(parts)}</svg>\n'
    )
