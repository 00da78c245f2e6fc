# SPDX-License-Identifier: MIT
"""What the test cases of the service share: the place, and the command line that ctest calls."""

import argparse
import concurrent.futures
import itertools
import pathlib
import time
import traceback
import unittest

from node import Node
from node_place import Place
from node_servers import FileServer

AT_ONCE = 5  # nodes; each fetches from one of the agent's sixteen local ports


class Case(unittest.TestCase):
    """A test of the service, in a place of its own."""

    build = pathlib.Path()
    modules = {}  # libraries to be loaded first, and probes, by name

    def setUp(self):
        # pylint: disable=consider-using-with
        self.place = Place(self.build)
        self.addCleanup(self.place.__exit__)


class FleetCase(Case):
    """A test with many nodes, each of them for one trial."""

    def setUp(self):
        super().setUp()
        self.server = FileServer(self.place)
        self.numbers = itertools.count(1)

    def node(self, **options):
        """The next node, switched on; its processes can be held."""
        number = next(self.numbers)
        return Node(
            self.place,
            f"n{number}",
            self.server,
            number=number,
            preload=self.modules["hold"],
            **options,
        ).start()

    def each_at_once(self, jobs):
        """Runs them side by side and returns the seconds; fails with all that went wrong."""
        wrong = []
        began = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            running = {pool.submit(job): name for name, job in jobs.items()}
            for done in concurrent.futures.as_completed(running):
                try:
                    done.result()
                except Exception as error:  # pylint: disable=broad-exception-caught
                    place = traceback.extract_tb(error.__traceback__)[-2]
                    wrong.append(f"{running[done]}: {place.filename}:{place.lineno}: {error}")
        if wrong:
            self.fail(f"{len(wrong)} of {len(jobs)}:\n" + "\n".join(sorted(wrong)))
        return time.monotonic() - began


def run(owner):
    """The command line: --build-dir DIR [--module NAME=FILE]... TEST... ; returns the exit code."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    parser.add_argument("--module", action="append", default=[])
    parser.add_argument("tests", nargs="*")
    options = parser.parse_args()
    owner.build = options.build_dir.absolute()
    owner.modules = dict(module.split("=", 1) for module in options.module)
    loader = unittest.TestLoader()
    suite = (
        unittest.TestSuite(owner(test) for test in options.tests)
        if options.tests
        else loader.loadTestsFromTestCase(owner)
    )
    result = unittest.TextTestRunner().run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1
