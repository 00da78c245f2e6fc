# SPDX-License-Identifier: MIT
"""What standard output can show, and writing where nobody reads."""

import os
import pty
import subprocess
import sys
import unittest

SHOW = (
    "from demo.terminal import standard_output; import sys; s = standard_output();"
    "sys.stderr.write(f'{s.colour} {s.redraws} {s.columns()}')"
)
WRITE = (
    "from demo.terminal import write; write('x' * 100000 + '\\udcff'); print('on', file=sys.stderr)"
)


class Terminal(unittest.TestCase):
    def shown(self, output: int, **environment: str) -> str:
        """Colour, redraws, columns."""
        return self.said(SHOW, output, **environment)

    def said(self, script: str, output: int, **environment: str) -> str:
        inherited = {key: value for key, value in os.environ.items() if key != "COLUMNS"}
        done = subprocess.run(
            [sys.executable, "-B", "-c", "import sys;" + script],
            stdout=output,
            stderr=subprocess.PIPE,
            text=True,
            check=True,
            env={**inherited, "PYTHONPATH": os.pathsep.join(sys.path), **environment},
        )
        return done.stderr.strip()

    def test_a_pipe_takes_neither_colour_nor_bars_and_lines_of_any_length(self) -> None:
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        self.addCleanup(os.close, writing)
        self.assertEqual(self.shown(writing, TERM="xterm", NO_COLOR=""), "False False 0")
        self.assertEqual(self.shown(writing, COLUMNS="100"), "False False 100")
        self.assertEqual(self.shown(writing, COLUMNS="many"), "False False 0")

    def test_a_terminal_takes_what_the_person_wants(self) -> None:
        terminal, output = pty.openpty()
        self.addCleanup(os.close, terminal)
        self.addCleanup(os.close, output)
        self.assertEqual(self.shown(output, TERM="xterm", NO_COLOR=""), "True True 80")
        self.assertEqual(self.shown(output, TERM="xterm", NO_COLOR="1"), "False True 80")
        self.assertEqual(self.shown(output, TERM="dumb", NO_COLOR=""), "False False 80")

    def test_where_nobody_reads_nothing_is_changed_by_that(self) -> None:
        reading, writing = os.pipe()
        os.close(reading)
        self.addCleanup(os.close, writing)
        self.assertEqual(self.said(WRITE, writing), "on")
        with open("/dev/full", "wb") as full:
            self.assertEqual(self.said(WRITE, full.fileno()), "on")


if __name__ == "__main__":
    unittest.main()
