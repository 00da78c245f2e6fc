#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws the pictures of the pages: each NAME.txt beside this script becomes NAME.svg.

    draw.py                draw all of them anew
    draw.py --check        fail where an SVG is not what its text gives
    draw.py --record LOG   make demo.txt of what a terminal was sent, as recorded in the clone with
                           script -qefc 'stty cols 100; ./dev demo' LOG

demo.txt is drawn as a terminal. In every other text the characters of _LINES are lines, _HEADS the
heads of arrows, and *words* are bold.
"""
import pathlib
import re
import sys
from xml.sax.saxutils import escape

HERE = pathlib.Path(__file__).resolve().parent
CLONE = HERE.parent.parent
SHOWN_CLONE = "/home/you/otaSwAgent"

WIDTH, HEIGHT, MARGIN = 8, 17, 16
TOP_BAR = 26  # of a terminal
FONT = "ui-monospace, 'DejaVu Sans Mono', Menlo, Consolas, monospace"

# Which sides of its cell a line reaches from the middle: left, right, up, down.
_LINES = {
    "─": "lr",
    "│": "ud",
    "┌": "rd",
    "┐": "ld",
    "└": "ru",
    "┘": "lu",
    "├": "udr",
    "┤": "udl",
    "┬": "lrd",
    "┴": "lru",
    "┼": "lrud",
}
# Where the head of an arrow has its point; the line comes from the other side.
_HEADS = {"►": "r", "◄": "l", "▲": "u", "▼": "d"}

DIAGRAM_STYLE = """
    .paper { fill: #ffffff; stroke: #d0d7de }
    .line { stroke: #57606a; stroke-width: 1.4; fill: none; stroke-linecap: round }
    .head { fill: #57606a }
    text { fill: #1f2328 }
    @media (prefers-color-scheme: dark) {
      .paper { fill: #151b23; stroke: #3d444d }
      .line { stroke: #9198a1 }
      .head { fill: #9198a1 }
      text { fill: #e6edf3 }
    }"""
TERMINAL_STYLE = """
    .paper { fill: #161b22; stroke: #3d444d }
    .knob { fill: #3d444d }
    text { fill: #d1d7e0 }
    .time { fill: #8b949e }
    .good { fill: #56d364 }"""


def text_at(column, y, words, look=""):
    """One piece of text, as wide as its cells, whatever font the reader has."""
    return (
        f'<text x="{MARGIN + column * WIDTH}" y="{y}" textLength="{len(words) * WIDTH}"'
        f' lengthAdjust="spacingAndGlyphs"{look}>{escape(words)}</text>'
    )


def svg(title, width, height, style, elements):
    body = "\n  ".join(elements)
    return f"""<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" \
width="{width}" height="{height}" font-family="{FONT}" font-size="13" role="img" \
aria-labelledby="title" xml:space="preserve">
  <title id="title">{escape(title)}</title>
  <style>{style}
  </style>
  <rect class="paper" x="0.5" y="0.5" width="{width - 1}" height="{height - 1}" rx="8"/>
  {body}
</svg>
"""


def size_of(lines):
    return 2 * MARGIN + WIDTH * max(map(len, lines)), 2 * MARGIN + HEIGHT * len(lines)


def line_of(character, x, y):
    """The path of a line character whose cell begins at x, y."""
    middle = (x + WIDTH / 2, y + HEIGHT / 2)
    ends = {
        "l": (x, middle[1]),
        "r": (x + WIDTH, middle[1]),
        "u": (middle[0], y),
        "d": (middle[0], y + HEIGHT),
    }
    return "".join(
        f"M{middle[0]:g} {middle[1]:g}L{ends[side][0]:g} {ends[side][1]:g}"
        for side in _LINES[character]
    )


def head_of(side, x, y):
    """The triangle of an arrow's head, and the rest of its line."""
    middle_x, middle_y = x + WIDTH / 2, y + HEIGHT / 2
    reach_x, reach_y = (WIDTH / 2, 4) if side in "lr" else (4, HEIGHT / 2)
    sign = 1 if side in "rd" else -1
    if side in "lr":
        tip, back = middle_x + sign * reach_x, middle_x - sign * reach_x
        points = f"{tip:g},{middle_y:g} {back:g},{middle_y - 4:g} {back:g},{middle_y + 4:g}"
        return points, ""
    tip, back = middle_y + sign * reach_y, middle_y
    points = f"{middle_x:g},{tip:g} {middle_x - 4:g},{back:g} {middle_x + 4:g},{back:g}"
    return points, f"M{middle_x:g} {middle_y - sign * reach_y:g}L{middle_x:g} {back:g}"


def diagram(title, lines):
    width, height = size_of(lines)
    path, heads, texts = [], [], []
    for row, line in enumerate(lines):
        y = MARGIN + row * HEIGHT
        for column, character in enumerate(line):
            x = MARGIN + column * WIDTH
            if character in _LINES:
                path.append(line_of(character, x, y))
            elif character in _HEADS:
                points, rest = head_of(_HEADS[character], x, y)
                heads.append(f'<polygon class="head" points="{points}"/>')
                path.append(rest)
        drawn = "".join(_LINES) + "".join(_HEADS)
        for piece in re.finditer(rf"[^{drawn}\s]+(?: [^{drawn}\s]+)*", line):
            words, look, column = piece[0], "", piece.start()
            if words.startswith("*") and words.endswith("*"):
                words, look, column = words[1:-1], ' font-weight="bold"', column + 1
            texts.append(text_at(column, y + 13, words, look))
    lines_drawn = f'<path class="line" d="{"".join(path)}"/>'
    return svg(title, width, height, DIAGRAM_STYLE, [lines_drawn, *heads, *texts])


def terminal(title, lines):
    """As `./dev demo` colours it: title, names of steps and verdict are bold."""
    width, height = size_of(lines)
    knobs = [f'<circle class="knob" cx="{18 + 18 * place}" cy="15" r="5"/>' for place in range(3)]
    texts = []
    for row, line in enumerate(lines):
        y = TOP_BAR + MARGIN + row * HEIGHT + 13
        step = re.match(r"(  )(\d\d:\d\d:\d\d) (\S.{12})", line)
        if row == 1:
            pieces = [(0, line, ' font-weight="bold"')]
        elif row == len(lines) - 1:
            pieces = [(0, line, ' class="good" font-weight="bold"')]
        elif step:
            name = step[3].rstrip()
            pieces = [(2, step[2], ' class="time"'), (11, name, ' font-weight="bold"')]
            pieces.append((24, line[24:], ""))
        else:
            pieces = [(len(line) - len(line.lstrip()), line.lstrip(), "")]
        texts += [text_at(column, y, words, look) for column, words, look in pieces if words]
    return svg(title, width, height + TOP_BAR, TERMINAL_STYLE, knobs + texts)


def picture(text):
    """The SVG of a source: its first line is the title, the picture follows an empty one."""
    title, empty, *lines = source_lines(text)
    assert empty == ""
    is_terminal = lines[0].startswith("$ ")
    return terminal(title, lines) if is_terminal else diagram(title, lines)


def source_lines(text):
    return [line.rstrip() for line in text.rstrip("\n").split("\n")]


def shown_by(log):
    """The lines that stand on a terminal in the end: redrawn ones once, without colours."""
    lines = []
    for line in log.replace("\r\n", "\n").split("\n"):
        line = re.split(r"\r(?:\x1b\[K)?", line.rstrip("\r"))[-1]
        line = re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", line).rstrip()
        lines.append(line.replace(str(CLONE), SHOWN_CLONE))
    return lines


def record(log):
    lines = shown_by(pathlib.Path(log).read_bytes().decode())
    shown = [line for line in lines if line and not line.startswith("Script ")]
    title = "./dev demo in a terminal: one upgrade, from the offer to the commit"
    text = "\n".join([title, "", "$ ./dev demo", *shown])
    (HERE / "demo.txt").write_text(text + "\n", encoding="utf-8")


def main():
    if sys.argv[1:2] == ["--record"]:
        record(sys.argv[2])
    sources = sorted(HERE.glob("*.txt"))
    wrong = []
    for source in sources:
        drawn = picture(source.read_text(encoding="utf-8"))
        target = source.with_suffix(".svg")
        if sys.argv[1:] != ["--check"]:
            target.write_text(drawn, encoding="utf-8")
        elif not target.exists() or target.read_text(encoding="utf-8") != drawn:
            wrong.append(
                f"{target.name} is not what {source.name} gives; run docs/pictures/draw.py"
            )
    wrong += [
        f"{target.name} has no text that it is made of"
        for target in sorted(HERE.glob("*.svg"))
        if not target.with_suffix(".txt").exists()
    ]
    print("\n".join(wrong) or f"{len(sources)} pictures are what their texts give")
    return 1 if wrong or not sources else 0


if __name__ == "__main__":
    sys.exit(main())
