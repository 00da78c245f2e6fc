# SPDX-License-Identifier: MIT
"""./dev lab play: scenarios in the lab that runs, or as tests without one."""

import argparse
import asyncio
import contextlib
import pathlib
import time
from collections.abc import Callable, Sequence

from lab.mesh import PARTS, environment_is_fit
from lab.play import shelf
from lab.play.headless import Result, Runner, nodes_at_once
from lab.play.report import TIMELINE_HTML, junit, table
from lab.play.script import Scenario, WrongScenario, read_scenario
from rig import interrupt
from rig.failure import Failure
from rig.files import absolute_path, write_file
from rig.programs import Programs
from rig.run_folder import RunFolder

_PASSED, _FAILED = 0, 1
_NONE_NAMED = "name a scenario, or say --all; --list tells those that ship"


def parser() -> argparse.ArgumentParser:
    parser_ = argparse.ArgumentParser(
        prog="./dev lab play",
        description="Play scenarios: in the lab that runs, or each in a mesh of its own.",
        epilog="exit code: 0 where all of them passed, else 1",
        allow_abbrev=False,
    )
    parser_.add_argument(
        "scenarios", nargs="*", metavar="FILE", help="or the name of one that ships"
    )
    parser_.add_argument("--headless", action="store_true", help="as a test, without a lab")
    parser_.add_argument("--all", action="store_true", help="every one that ships, as tests")
    parser_.add_argument("--list", action="store_true", help="those that ship, and what happens")
    parser_.add_argument("--junit", metavar="FILE", help="of the tests; junit.xml in their folder")
    parser_.add_argument("--nodes", type=int, metavar="N",
                         help="at once; as many as the machine holds")  # fmt: skip
    parser_.add_argument("--folder", help="of the lab, or that the tests leave their files in")
    parser_.add_argument("--build-dir", help=argparse.SUPPRESS)
    return parser_


def _read(words: Sequence[str], every: bool) -> list[Scenario]:
    names = [*words, *(shelf.names() if every else ())]
    scenarios = [read_scenario(*shelf.file_or_name(word)) for word in names]
    if not scenarios:
        raise WrongScenario(_NONE_NAMED)
    seen: set[str] = set()
    for scenario in scenarios:
        if scenario.name in seen:
            raise WrongScenario(f"{scenario.name} is there twice: name it once")
        seen.add(scenario.name)
    return scenarios


def _tell(result: Result) -> None:
    reason = f": {result.reason}" if result.reason else ""
    print(f"{result.name} {result.verdict} ({result.seconds:.1f} s){reason}", flush=True)


def play_headless(options: argparse.Namespace) -> int:
    scenarios = _read(options.scenarios, options.all)
    build = absolute_path(options.build_dir or "build/release")
    programs = Programs(build)
    programs.require(*PARTS)
    environment_is_fit()
    try:
        run_folder = RunFolder(pathlib.Path(options.folder or build / "lab-scenarios"))
    except Failure as failure:
        raise Failure(str(failure).replace("--run-dir", "--folder")) from failure
    began = time.monotonic()
    try:
        results = asyncio.run(_run(programs, run_folder.path, scenarios, options.nodes))
    finally:
        run_folder.close()
    seconds = time.monotonic() - began
    print(f"\n{table(results)}")
    failed = [result for result in results if not result.passed]
    print(f"\n{len(results) - len(failed)} of {len(results)} passed in {seconds:.0f} s;"
          f" timelines: {run_folder.path}/NAME/{TIMELINE_HTML}")  # fmt: skip
    write_file(absolute_path(options.junit or run_folder.path / "junit.xml"),
               junit(results, seconds))  # fmt: skip
    return _FAILED if failed else _PASSED


async def _run(
    programs: Programs, folder: pathlib.Path, scenarios: list[Scenario], nodes: int | None
) -> list[Result]:
    runner = Runner(programs, folder, _tell)
    return await interrupt.cancelling(runner.run(scenarios, nodes or nodes_at_once()))


def _list() -> int:
    names = shelf.names()
    wide = max(map(len, names))
    # Whoever reads it may have seen enough.
    with contextlib.suppress(BrokenPipeError):
        for name in names:
            print(f"{name:{wide}}  {shelf.shipped(name).title}", flush=True)
    return _PASSED


def play(words: Sequence[str], in_the_lab: Callable[[argparse.Namespace], int]) -> int:
    options = parser().parse_args(words)
    if options.list:
        return _list()
    if options.nodes is not None and options.nodes < 1:
        raise Failure("--nodes: expected a number from 1 on")
    if options.headless or options.all:
        return play_headless(options)
    if not options.scenarios:
        raise WrongScenario(_NONE_NAMED)
    return in_the_lab(options)
