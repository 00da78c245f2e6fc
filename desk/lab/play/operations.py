# SPDX-License-Identifier: MIT
"""What can be done with scenarios in a lab that runs."""

from lab.mesh import Mesh
from lab.operation import Answer, Operation, Parameter
from lab.play import shelf
from lab.play.script import MOST_BYTES, read_scenario

GROUP = "Scenarios"


async def _play(mesh: Mesh, scenario: str, text: str) -> Answer:
    mesh.director.begin(read_scenario(scenario, text) if text else shelf.shipped(scenario))
    return {"code": 0}


async def _stop(mesh: Mesh) -> Answer:
    await mesh.director.stop()
    return {"code": 0}


async def _record(mesh: Mesh, state: str) -> Answer:
    if state == "end":
        return {"code": 0, "text": mesh.director.end_recording()}
    await mesh.director.begin_recording()
    return {"code": 0}


async def _scenarios(_mesh: Mesh) -> Answer:
    found = [shelf.shipped(name) for name in shelf.names()]
    return {
        "scenarios": [
            {"name": one.name, "title": one.title, "extenders": one.extenders} for one in found
        ]
    }


async def _scenario(mesh: Mesh) -> Answer:
    return dict(mesh.director.shown())


SCENARIO_OPERATIONS = (
    Operation(
        "play", GROUP, "Play a scenario; every node begins anew", _play,
        parameters=(
            Parameter("scenario", "string", "the name of one that ships, or of the text", required=True,
                      pattern=r"[A-Za-z0-9][A-Za-z0-9.\-]{0,60}"),
            Parameter("text", "string", "of a scenario, where it is not one that ships", default="",
                      pattern=rf"(?s:.){{0,{MOST_BYTES}}}"),
        ),
    ),
    Operation("stop-playing", GROUP, "Stop the scenario that is played", _stop),
    Operation(
        "record", GROUP, "Record what is done from now on as a scenario; every node begins anew",
        _record,
        parameters=(Parameter("state", "string", "of the recording", required=True,
                              choices=("begin", "end")),),
    ),
    Operation("scenarios", "Questions", "The scenarios that ship", _scenarios, asks=True),
    Operation("scenario", "Questions", "The one that is played, step by step, and what is recorded",
              _scenario, asks=True),
)  # fmt: skip
