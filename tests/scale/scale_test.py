# SPDX-License-Identifier: MIT
"""Two meshes of ten nodes, upgraded by ./dev scale: as they must be, and with a mishap of each kind
that its verdict must see."""

import argparse
import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
from typing import Any

SCALE = pathlib.Path(__file__).resolve().parents[2] / "desk/scale"
NODES, IN_A_MESH = 20, 10
EXTENDERS, WORDS = 18, 40


class Run:
    """Of ./dev scale, in a folder of its own."""

    def __init__(self, build: pathlib.Path, *more: str) -> None:
        os.umask(0o022)
        self.place = pathlib.Path(tempfile.mkdtemp(prefix="ota-scale-"))
        self.folder = self.place / "run"
        words = ["--nodes", NODES, "--mesh-size", IN_A_MESH, "--json", "--run-dir", self.folder,
                 "--build-dir", build, *more]  # fmt: skip
        # pylint: disable=consider-using-with
        self._process = subprocess.Popen(
            [sys.executable, "-B", str(SCALE), *map(str, words)],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        )  # fmt: skip

    def wait_for(self, text: str) -> None:
        assert self._process.stderr
        for line in self._process.stderr:
            if text in line:
                return
        raise AssertionError(f"it ended without saying: {text}")

    def kill(self, name: str, folder: str) -> None:
        """The process of this name that works there."""
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                there = os.readlink(entry / "cwd") == str(self.folder / folder)
                if there and (entry / "comm").read_text().strip() == name:
                    os.kill(int(entry.name), signal.SIGKILL)
                    return
            except OSError:
                continue
        raise AssertionError(f"no {name} runs in {folder}")

    def end(self, code: int) -> dict[str, Any]:
        """What it printed; it must end with this code."""
        output, said = self._process.communicate()
        assert self._process.returncode == code, f"{self._process.returncode}: {said}{output}"
        return dict(json.loads(output))

    def folders_left(self) -> list[str]:
        """Of nodes."""
        return [path.name for path in (self.folder / "nodes").glob("*/*") if path.is_dir()]

    def close(self) -> None:
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGTERM)
            self._process.communicate()
        shutil.rmtree(self.place)


def same(name: str, found: object, expected: object) -> None:
    assert found == expected, f"{name}: {found}, not {expected}"


def whole(run: Run) -> None:
    made = run.end(0)
    same("good", made["good"], True)
    same("meshes", made["meshes"], 2)
    same("words", (made["words"]["told"], made["words"]["flaws"]), (WORDS, []))
    assert made["words"]["heard_once"] + len(made["words"]["told_again"]) == WORDS
    assert made["messages"]["to_the_broker"] >= 2 * EXTENDERS
    assert made["memory_of_a_node_kib"]["most"] > 0 and made["memory_of_all_nodes_kib"] > 0
    assert made["processor_seconds_of_a_node"]["node"] > 0
    same("left", [*made["leftovers"], *run.folders_left()], [])


def disturbed(run: Run) -> None:
    """The broker is restarted, the file server is gone for a while: nobody is lost, no word is."""
    made = run.end(0)
    same("good", made["good"], True)
    assert made["retries"]["downloads"] > 0, made["retries"]
    assert made["messages"]["connections"] > 2 * NODES, made["messages"]
    same("lost", made["lost"], {})


def killed(run: Run) -> None:
    """The daemon of a node, which nobody starts again."""
    run.wait_for("bring up:")
    run.kill("otad", "nodes/mesh-002/ext-03")
    made = run.end(1)
    same("good", made["good"], False)
    same("lost", list(made["lost"]), ["mesh-002/ext-03"])
    assert "signal 9" in made["lost"]["mesh-002/ext-03"]
    same("flawed", list(made["flaws"]), ["mesh-002/ext-03"])
    # Its folder stays for who wants to know why; those of the others do not.
    same("left", run.folders_left(), ["ext-03"])


def unheard(run: Run) -> None:
    """The broker ends, and words with it; the nodes are upgraded all the same."""
    run.wait_for("bring up:")
    run.kill("mosquitto", "broker")
    made = run.end(1)
    same("good", made["good"], False)
    same("lost and flawed", (made["lost"], made["flaws"]), ({}, {}))
    flaws = made["words"]["flaws"]
    assert flaws and len(flaws) <= 2 * EXTENDERS, flaws
    assert all("heard 0 times: " in flaw and "root" in flaw for flaw in flaws), flaws
    same("heard", made["words"]["heard_once"], WORDS - len(flaws))


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("topic", choices=("whole", "disturbed", "killed", "unheard"))
    parser.add_argument("--build-dir", type=pathlib.Path, required=True)
    options = parser.parse_args()
    topics = {
        "whole": (whole, "--at-once", "8"),
        "disturbed": (disturbed, "--at-once", "8", "--disturb"),
        "killed": (killed, "--at-once", "8"),
        # They wait for nothing but a broker that is not there.
        "unheard": (unheard, "--at-once", "20"),
    }
    check, *more = topics[options.topic]
    run = Run(options.build_dir, *more)
    try:
        check(run)
    finally:
        run.close()


main()
