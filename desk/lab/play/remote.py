# SPDX-License-Identifier: MIT
"""Scenarios in the lab that runs: played step by step, recorded into a file."""

import argparse
import pathlib
import sys
import time
from collections.abc import Callable, Sequence
from typing import Any

from lab.client import Client
from lab.operation import Operation
from lab.place import address_in
from lab.play import shelf
from lab.play.player import DONE, FAILED, PASSED, PLAYING, TO_COME
from lab.play.script import read_scenario
from lab.table import TABLE
from rig.failure import Failure
from rig.files import absolute_path, write_file

_GLANCE = 0.2  # seconds


def _operation(name: str) -> Operation:
    return next(one for one in TABLE if one.name == name)


def play_in(folder: pathlib.Path, words: Sequence[str]) -> int:
    """One after the other; each begins with new nodes."""
    client = Client(address_in(folder))
    for word in words:
        name, text = shelf.file_or_name(word)
        read_scenario(name, text)
        client.call(_operation("play"), {"scenario": name, "text": text})
        try:
            shown = _follow(client)
        except KeyboardInterrupt:
            client.call(_operation("stop-playing"), {})
            raise Failure(f"{name}: stopped") from None
        if shown["verdict"] != PASSED:
            raise Failure(f"{name}: {shown['verdict']}: {shown['reason']}")
        print(f"{name}: passed in {shown['seconds']:.1f} s")
    return 0


def _follow(client: Client) -> dict[str, Any]:
    told = 0
    while True:
        shown: dict[str, Any] = client.call(_operation("scenario"), {})["playing"]
        for step in shown["steps"][told:]:
            if step["state"] not in (DONE, FAILED):
                break
            print(f"{step['line']:4}  {step['state']:6}  {step['text']}", flush=True)
            told += 1
        if shown["verdict"] not in (TO_COME, PLAYING):
            return shown
        time.sleep(_GLANCE)


def record(words: Sequence[str], usual_folder: Callable[[pathlib.Path], pathlib.Path]) -> int:
    parser = argparse.ArgumentParser(
        prog="./dev lab record",
        description="Write down what is done in the lab that runs, as a scenario.",
        allow_abbrev=False,
    )
    parser.add_argument("state", choices=("begin", "end"), help="begin: every node begins anew")
    parser.add_argument("file", nargs="?", help="of the recording that ends; standard output")
    parser.add_argument("--folder", type=pathlib.Path, help="of the lab, if not the usual one")
    parser.add_argument("--build-dir", help=argparse.SUPPRESS)
    options = parser.parse_args(words)
    if options.file and options.state == "begin":
        parser.error("begin takes no file: name it at the end")
    build = absolute_path(options.build_dir or "build/release")
    client = Client(address_in(options.folder or usual_folder(build)))
    answer = client.call(_operation("record"), {"state": options.state})
    if options.state == "end":
        if options.file:
            write_file(pathlib.Path(options.file), answer["text"])
        else:
            sys.stdout.write(answer["text"])
    return 0
