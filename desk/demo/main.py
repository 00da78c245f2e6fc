# SPDX-License-Identifier: MIT
"""From the command line to the exit code."""

import contextlib
import os
import pathlib
import sys
from collections.abc import Sequence

from demo.command_line import OptionError
from demo.desk import BAD_OPTION, COMMITTED, FAILED, Desk
from demo.display import Display
from demo.options import demo_help, read_options
from demo.scenarios import choose_scenario, combinations
from demo.terminal import standard_output, write
from rig import interrupt

_HELP = ("--help", "-h")


def _complain(text: str) -> None:
    """One line on standard error, whoever reads it or does not."""
    with contextlib.suppress(OSError):
        os.write(2, f"ota-desk: {text}\n".encode(errors="surrogateescape"))


def _demo(words: Sequence[str], own_build: pathlib.Path) -> int:
    # Whatever this user's is: a node that others may write to does not start.
    os.umask(0o022)
    try:
        options = read_options(words)
        if options.help:
            write(demo_help(combinations()))
            return COMMITTED
        scenario = choose_scenario(options)
    except OptionError as error:
        _complain(str(error))
        return BAD_OPTION
    interrupt.install()
    display = Display(standard_output())
    desk = Desk(options, scenario, display)
    try:
        with contextlib.closing(desk):
            return desk.run(own_build)
    except Exception as error:  # whatever it is, a person wants one line
        display.leave_bars()
        logs = f"; the logs are in {desk.folder}" if desk.folder else ""
        _complain(f"failed: {error}{logs}")
        return FAILED


def main(own_build: pathlib.Path) -> int:
    """`own_build`: the build folder that this program is in."""
    words = sys.argv[1:]
    if words[:1] == ["demo"]:
        return _demo(words[1:], own_build)
    if words[:1] and words[0] in _HELP:
        return _demo(["--help"], own_build)  # there is nothing else to do
    _complain("the verb demo is missing; see ota-desk --help")
    return BAD_OPTION
