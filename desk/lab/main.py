# SPDX-License-Identifier: MIT
"""From the command line to the exit code: starts a lab, or tells the one that runs what to do."""

import argparse
import asyncio
import contextlib
import pathlib
import signal
import sys
from collections.abc import Sequence

from lab.client import run_verb, verbs_help
from lab.description import description
from lab.mesh import PARTS, Mesh, environment_is_fit
from lab.play import shelf
from lab.play.command import play
from lab.play.director import Director
from lab.play.player import Play
from lab.play.remote import play_in, record
from lab.play.script import Scenario, read_scenario
from lab.place import MOST_EXTENDERS, Kept, lab_runs_in, setups
from rig.failure import Failure
from rig.files import absolute_path
from rig.programs import Programs
from rig.run_folder import RunFolder

USUAL_EXTENDERS = 3
_DONE, _FAILED = 0, 1


def _say(text: str = "") -> None:
    """Whoever reads it or does not."""
    with contextlib.suppress(OSError):
        print(text, flush=True)


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="./dev lab",
        description="Run a mesh of real nodes on this desk, to watch, to touch and to break.",
        epilog=verbs_help(),
        formatter_class=argparse.RawDescriptionHelpFormatter,
        allow_abbrev=False,
    )
    parser.add_argument(
        "--extenders", type=int, metavar="N", help="beside the gateway; 3 if not given"
    )
    parser.add_argument(
        "--keep", metavar="FOLDER", help="start again where the lab of this folder stopped"
    )
    parser.add_argument("--port", type=int, default=0, help="of the page; a free one if not given")
    parser.add_argument("--build-dir", help=argparse.SUPPRESS)
    return parser


def usual_folder(build: pathlib.Path) -> pathlib.Path:
    return build / "lab"


def _extenders(wanted: int | None, kept: Kept) -> int:
    count = wanted if wanted is not None else kept.values["extenders"]
    count = USUAL_EXTENDERS if count is None else count
    if not 0 <= count <= MOST_EXTENDERS:
        raise Failure(f"--extenders: expected a number from 0 to {MOST_EXTENDERS}")
    return count


async def _lab(
    programs: Programs, folder: pathlib.Path, options: argparse.Namespace, scenario: Scenario | None
) -> None:
    """`scenario`: is played as soon as every node is up."""
    # Only here is what the tests of the other verbs need not have.
    from lab.server import Server  # pylint: disable=import-outside-toplevel

    stop = asyncio.Event()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        asyncio.get_running_loop().add_signal_handler(number, stop.set)
    kept = Kept(folder)
    kept.values["extenders"] = _extenders(options.extenders, kept)
    mesh = Mesh(programs, folder, kept, setups(kept.values["extenders"]))
    director = mesh.director = Director(mesh)
    server = Server(mesh, kept.values["token"])
    try:
        # Where it was, so that a page that is still open finds it again.
        await server.listen(options.port or kept.values["ports"].get("page", 0), not options.port)
        kept.values["ports"]["page"] = server.port
        kept.values.update(url=server.url, token=server.token)
        kept.write()
        _say(f"the lab is open: {server.url}")
        _say(f"its folder:      {folder}")
        begin = asyncio.create_task(mesh.begin())
        looks = asyncio.create_task(mesh.look_after())
        waits = asyncio.create_task(stop.wait())
        await asyncio.wait({begin, looks, waits}, return_when=asyncio.FIRST_COMPLETED)
        if begin.done() and not stop.is_set():
            begin.result()
            _show_nodes(mesh)
            if scenario:
                director.begin(scenario, _show_verdict)
            await asyncio.wait({looks, waits}, return_when=asyncio.FIRST_COMPLETED)
        if looks.done():
            looks.result()
        for task in (begin, looks, waits):
            task.cancel()
        await asyncio.gather(begin, looks, waits, return_exceptions=True)
    finally:
        _say("closing: every node goes down in order ...")
        await server.close()
        await director.stop()
        await mesh.end()
        _say(f"closed; ./dev lab --keep {folder} goes on from here")


def _show_verdict(play: Play) -> None:
    reason = f": {play.reason}" if play.reason else ""
    _say(f"{play.scenario.name}: {play.verdict}{reason}")


def _show_nodes(mesh: Mesh) -> None:
    _say("every node is up; from another terminal:")
    for node in mesh.nodes.values():
        _say(f"  {node.name:8} {node.view.fields['otactl']} status")
    _say("  ./dev lab offer all --version 4QZ2.0.0     (./dev lab --help lists the other verbs)")
    _say("Ctrl-C ends it.")


def _serve(options: argparse.Namespace, scenario: Scenario | None = None) -> int:
    build = absolute_path(options.build_dir or "build/release")
    programs = Programs(build)
    programs.require(*PARTS)
    environment_is_fit()
    folder = pathlib.Path(options.keep) if options.keep else usual_folder(build)
    try:
        run_folder = RunFolder(folder, keep=bool(options.keep))
    except Failure as failure:
        raise Failure(str(failure).replace("--run-dir", "--keep")) from failure
    try:
        # What lies below is made as a node makes it, for others to read.
        run_folder.path.chmod(0o700)
        asyncio.run(_lab(programs, run_folder.path, options, scenario))
    finally:
        run_folder.close()
    return _DONE


def _play_in_the_lab(given: argparse.Namespace) -> int:
    """In the one that runs, or in one that is started for it and stays open."""
    build = absolute_path(given.build_dir or "build/release")
    folder = absolute_path(given.folder) if given.folder else usual_folder(build)
    if lab_runs_in(folder):
        return play_in(folder, given.scenarios)
    if len(given.scenarios) > 1:
        raise Failure("no lab runs: name one scenario to open a lab for it, or say --headless")
    scenario = read_scenario(*shelf.file_or_name(given.scenarios[0]))
    words = ["--extenders", str(scenario.extenders), "--build-dir", str(build)]
    options = _parser().parse_args([*words, *(["--keep", str(folder)] if given.folder else [])])
    return _serve(options, scenario)


def main(words: Sequence[str]) -> int:
    # How children end must be told, whatever this process was started with.
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)
    try:
        if words and not words[0].startswith("-"):
            if words[0] == "play":
                return play(words[1:], _play_in_the_lab)
            if words[0] == "record":
                return record(words[1:], usual_folder)
            if words[0] == "api":
                _say(description().rstrip("\n"))
                return _DONE
            return run_verb(words, usual_folder)
        return _serve(_parser().parse_args(words))
    except Failure as failure:
        print(f"lab: {failure}", file=sys.stderr)
        return _FAILED
