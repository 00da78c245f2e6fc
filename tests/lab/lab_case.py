# SPDX-License-Identifier: MIT
"""What the tests of the lab share: a small lab that runs, and the command line that ctest calls."""

import argparse
import http.client
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

from rig.waiting import PATIENCE, wait_for

TREE = pathlib.Path(__file__).resolve().parents[2]
LAB = TREE / "desk/lab"
COMMITTED = "OTA_SW_COMMIT_COMPLETE"


def command(build: pathlib.Path, *words: object) -> list[str]:
    return [sys.executable, "-B", str(LAB), *map(str, words), "--build-dir", str(build)]


def processes_below(folder: pathlib.Path) -> list[str]:
    """What runs in this folder or below."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if os.readlink(entry / "cwd").startswith(str(folder)):
                found.append((entry / "comm").read_text().strip())
        except OSError:
            continue
    return found


class Lab:
    """As ./dev lab starts it, in a folder of its own that is kept from one start to the next."""

    def __init__(self, build: pathlib.Path, extenders: int) -> None:
        self.build, self.extenders = build, extenders
        os.umask(0o022)
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="ota-lab-"))
        self.folder = self.place / "lab"
        self.url = ""
        self.process: subprocess.Popen[str] | None = None

    def start(self) -> "Lab":
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen(
            command(self.build, "--extenders", self.extenders, "--keep", self.folder),
            stdout=subprocess.PIPE,
            text=True,
        )
        self.url = self.line_with("the lab is open:").split()[-1]
        return self

    def line_with(self, text: str) -> str:
        assert self.process and self.process.stdout
        for line in self.process.stdout:
            if text in line:
                return line
        raise AssertionError(f"the lab ended without saying: {text}")

    def wait_until_up(self) -> "Lab":
        self.line_with("Ctrl-C")
        names = ["gateway", *(f"ext-{number + 1}" for number in range(self.extenders))]
        self.wait_for_nodes("idle and at the root", names, self._is_ready)
        return self

    @staticmethod
    def _is_ready(node) -> bool:
        return node["stage"] == "idle" and node["root_connected"]

    def wait_for_nodes(self, what, names, condition) -> dict:
        def all_of_them():
            nodes = self.ask("status")["nodes"]
            return all(condition(nodes[name]) for name in names) and nodes

        return wait_for(what, all_of_them)

    def stop(self) -> str:
        """As Ctrl-C does; what it said."""
        if not self.process:
            return ""
        self.process.send_signal(signal.SIGINT)
        output, _ = self.process.communicate(timeout=PATIENCE)
        code, self.process = self.process.returncode, None
        assert code == 0, f"the lab ended with {code}: {output}"
        return output

    def close(self) -> None:
        try:
            self.stop()
        finally:
            if self.process:
                self.process.kill()
                self.process.wait()
            shutil.rmtree(self.place)

    def processes(self) -> list[str]:
        return processes_below(self.place)

    # Its interface.

    def request(self, method, path, body=None, headers=None, token=None):
        """Status and text; the path begins behind the token."""
        parts = urllib.parse.urlsplit(self.url)
        token = parts.path.strip("/") if token is None else token
        connection = http.client.HTTPConnection(parts.hostname, parts.port, timeout=PATIENCE)
        try:
            connection.request(method, f"/{token}{path}", body, headers or {})
            response = connection.getresponse()
            return response.status, response.read().decode()
        finally:
            connection.close()

    def ask(self, name, **parameters):
        query = "?" + urllib.parse.urlencode(parameters) if parameters else ""
        status, text = self.request("GET", f"/api/{name}{query}")
        assert status == 200, text
        return json.loads(text)

    def tell(self, name, **body):
        status, text = self.request(
            "POST", f"/api/{name}", json.dumps(body), {"Content-Type": "application/json"}
        )
        assert status == 200, text
        return json.loads(text)

    def marks(self, **wanted):
        return [
            mark
            for mark in self.ask("timeline")["marks"]
            if all(mark[key] == value for key, value in wanted.items())
        ]


class Case(unittest.TestCase):
    """Tests of one lab, one after the other."""

    build = pathlib.Path()
    extenders = 2
    lab: Lab

    @classmethod
    def setUpClass(cls):
        cls.lab = Lab(cls.build, cls.extenders)
        cls.addClassCleanup(cls.lab.close)
        cls.lab.start().wait_until_up()
        cls.lab.tell("file-server", rate=0)

    def offer(self, nodes, version, **more):
        answer = self.lab.tell("offer", nodes=nodes, version=version, **more)["nodes"]
        for name, one in answer.items():
            self.assertEqual(one["code"], 0, f"{name}: {one}")
        return answer

    def wait_for_commit(self, nodes, version):
        return self.lab.wait_for_nodes(
            f"{version} is committed",
            nodes,
            lambda node: node["running_version"] == version
            and any(bank["running"] and bank["version"] == version for bank in node["banks"])
            and node["status_word"] == COMMITTED
            and node["stage"] == "idle",
        )


def run(owner) -> int:
    """The command line: --build-dir DIR [TEST...]; returns the exit code."""
    parser = argparse.ArgumentParser()
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    parser.add_argument("--pictures", type=pathlib.Path, default=None)
    parser.add_argument("tests", nargs="*")
    options = parser.parse_args()
    owner.build = options.build_dir.absolute()
    owner.pictures = options.pictures or owner.build / "tests/lab/pictures"
    loader = unittest.TestLoader()
    suite = (
        unittest.TestSuite(owner(test) for test in options.tests)
        if options.tests
        else loader.loadTestsFromTestCase(owner)
    )
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1
