# SPDX-License-Identifier: MIT
"""Cuts a node's power at every call that changes its disk, and sees it through to its end.

    python3 tests/system/sweep.py --build DIR [--quick]      every call, or a choice of them
    python3 tests/system/sweep.py --build DIR --road commit --mode tear --point 17 --seed 19
"""

import argparse
import collections
import concurrent.futures
import pathlib
import sys
import time

from node_servers import FileServer
from rig.failure import Failure
from sweep_node import SmallPlace, must_come
from sweep_roads import NOT_MET, ROADS, Point, Runner

AT_ONCE = 2
MODES = ("drop", "tear")
BEYOND = 4  # calls behind the last one that was counted: no two lives are quite the same
FIRST_RANDOM_SEED = 2
MOST_TOLD = 5  # failures, in full


def seeds(mode, number, quick):
    """A tear has two for each call: all or nothing by turns, and one that nothing else has."""
    if mode == "drop":
        return [0]
    fixed, random = number % FIRST_RANDOM_SEED, number + FIRST_RANDOM_SEED
    return [random if number % 3 else fixed] if quick else [fixed, random]


def chosen(road, calls, quick):
    """Numbers of the calls to cut at."""
    numbers = range(1, len(calls) + 1)
    if not quick:
        return [*numbers, *range(len(calls) + 1, len(calls) + BEYOND + 1)]
    return [
        number
        for number in numbers
        if (road.stride and number % road.stride == 0)
        or any(word in calls[number - 1] for word in road.essential)
    ]


def say(text):
    print(text, flush=True)


class Sweep:
    """All the points of a road in a mode."""

    def __init__(self, runner, options):
        self.runner, self.options = runner, options
        self.failures = []

    def repeat(self, point):
        return f"python3 {sys.argv[0]} --build {self.options.build} {point}"

    def cut(self, point, calls):
        """Returns what became of the node; a cut that had to be met and was not is none."""
        outcome, _ = self.runner.cut(point)
        if outcome == NOT_MET and must_come(point.number, len(calls)):
            raise AssertionError(f"the power was not cut; there were {len(calls)} calls without it")
        return outcome

    def run(self, road, mode, calls):
        numbers = chosen(road, calls, self.options.quick)
        points = [
            Point(road.name, mode, number, seed)
            for number in numbers
            for seed in seeds(mode, number, self.options.quick)
        ]
        outcomes = collections.Counter()
        failures = []
        began = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            running = {pool.submit(self.cut, point, calls): point for point in points}
            for done in concurrent.futures.as_completed(running):
                try:
                    outcomes[done.result()] += 1
                except Exception as error:  # pylint: disable=broad-exception-caught
                    failures.append((running[done], error))
        met = sum(count for outcome, count in outcomes.items() if outcome != NOT_MET)
        ends = ", ".join(f"{count} {outcome}" for outcome, count in sorted(outcomes.items()))
        say(
            f"{road.name}, {mode}: {len(calls)} calls, {len(set(numbers))} of them and "
            f"{len(points)} cuts taken, {met + len(failures)} met: {ends or 'none'}, "
            f"{len(failures)} failed ({time.monotonic() - began:.0f} s)"
        )
        self.tell(failures)
        if met == 0:
            say("  no cut was met")
            self.failures.append("no cut was met")

    def tell(self, failures):
        failures.sort(key=lambda failure: failure[0].number)
        self.failures += failures
        for point, error in failures[:MOST_TOLD]:
            say(f"\n  {self.repeat(point)}\n  {type(error).__name__}: {error}\n")
        for point, _ in failures[MOST_TOLD:]:
            say(f"  {self.repeat(point)}")


def sweep_all(runner, options):
    """Returns the exit code."""
    sweep = Sweep(runner, options)
    began = time.monotonic()
    for road in [ROADS[options.road]] if options.road else ROADS.values():
        calls = runner.count(road)
        for mode in [options.mode] if options.mode else MODES:
            sweep.run(road, mode, calls)
    say(
        f"{'failed' if sweep.failures else 'all nodes came to their end'} "
        f"({time.monotonic() - began:.0f} s)"
    )
    return 1 if sweep.failures else 0


def single(runner, options):
    """One point, told in full; returns the exit code."""
    point = Point(options.road, options.mode, options.point, options.seed)
    try:
        outcome, call = runner.cut(point)
    except (AssertionError, Failure) as error:
        say(f"{point}: {error}\nthe node's folder: {runner.place.folder}")
        return 1
    say(f"{point}: cut at {call or 'nothing'}: {outcome}")
    return 1 if outcome == NOT_MET else 0


def read_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", type=pathlib.Path, required=True, help="where it was built")
    parser.add_argument(
        "--quick",
        action="store_true",
        help="what says which bank boots call by call, the rest by a stride",
    )
    parser.add_argument("--road", choices=ROADS)
    parser.add_argument("--mode", choices=MODES)
    parser.add_argument("--point", type=int, help="number of a single call to cut at")
    parser.add_argument("--seed", type=int, default=0)
    options = parser.parse_args()
    if options.point and not (options.road and options.mode):
        parser.error("--point needs --road and --mode")
    return options


def main():
    options = read_options()
    with SmallPlace(options.build.absolute()) as place:
        runner = Runner(place, FileServer(place))
        return single(runner, options) if options.point else sweep_all(runner, options)


if __name__ == "__main__":
    sys.exit(main())
