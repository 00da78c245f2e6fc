# SPDX-License-Identifier: MIT
"""The text of a scenario, read and checked whole before anything of it is done."""

import dataclasses
import difflib
from collections.abc import Iterable
from typing import Any

from lab.operation import Operation, Parameter, WrongCall, nodes_of
from lab.operations import OPERATIONS
from lab.place import MOST_EXTENDERS, setups
from lab.play.conditions import Condition, condition_of
from lab.play.duration import duration, seconds_of
from rig.failure import Failure

MOST_BYTES = 48 * 1024
MOST_LINES = 500
MOST_COLUMNS = 300
USUAL_WAIT = 120  # seconds
USUAL_LIMIT, MOST_LIMIT = 300, 900  # seconds, of the whole scenario
MOST_NODE_TIME = 30 * 86400
USUAL_EXTENDERS = 0
OTHERS = "others"

STEPS = {one.name: one for one in OPERATIONS if not one.asks}


@dataclasses.dataclass(frozen=True)
class Do:
    """An operation."""

    line: int
    text: str
    operation: Operation
    given: dict[str, Any]
    code: int = 0  # that every node answers with


@dataclasses.dataclass(frozen=True)
class Wait:
    """Until the conditions hold, each of them in each of the nodes."""

    line: int
    text: str
    nodes: tuple[str, ...]
    conditions: tuple[Condition, ...]
    within: int = USUAL_WAIT  # seconds
    on_clock: bool = False  # of the nodes' own time


Step = Do | Wait


@dataclasses.dataclass
class Scenario:
    """What is expected stands behind the steps, wherever the text has it."""

    name: str
    title: str = ""
    extenders: int = USUAL_EXTENDERS
    limit: int = USUAL_LIMIT
    steps: list[Step] = dataclasses.field(default_factory=list)
    ends: list[Wait] = dataclasses.field(default_factory=list)

    @property
    def nodes(self) -> list[str]:
        return [setup.name for setup in setups(self.extenders)]


class WrongScenario(WrongCall, Failure):
    """One line: where, what, and what to do."""


def _lines(name: str, text: str) -> Iterable[tuple[int, str]]:
    """Those that say something, with their numbers."""
    if len(text.encode(errors="surrogateescape")) > MOST_BYTES:
        raise WrongScenario(f"{name}: larger than {MOST_BYTES // 1024} KiB: split it")
    lines = text.splitlines()
    if len(lines) > MOST_LINES:
        raise WrongScenario(f"{name}: more than {MOST_LINES} lines: split it")
    for number, line in enumerate(lines, 1):
        if len(line) > MOST_COLUMNS:
            raise WrongScenario(f"{name}:{number}: longer than {MOST_COLUMNS} characters")
        if not line.replace("\t", " ").isprintable():
            raise WrongScenario(f"{name}:{number}: has characters that cannot be printed")
        said = line.split("#", 1)[0].strip()
        if said:
            yield number, said


def read_scenario(name: str, text: str) -> Scenario:
    """Whole, or the first mistake."""
    scenario = Scenario(name)
    lines = list(_lines(name, text))
    # First how large the mesh is: every other line names nodes of it.
    for number, line in lines:
        _checked(name, number, _take_head, scenario, line)
    for number, line in lines:
        if line.split()[0] not in _HEADS:
            _checked(name, number, _take_step, scenario, number, line)
    _check_whole(scenario)
    return scenario


def _checked(name: str, number: int, take: Any, *words: Any) -> None:
    try:
        take(*words)
    except WrongCall as wrong:
        raise WrongScenario(f"{name}:{number}: {wrong}") from None


def _take_head(scenario: Scenario, line: str) -> None:
    word, _, rest = line.partition(" ")
    if word in _HEADS:
        _HEADS[word](scenario, rest.strip())


def _title(scenario: Scenario, text: str) -> None:
    if not text:
        raise WrongCall("title: say in a few words what happens")
    scenario.title = text


def _extenders(scenario: Scenario, text: str) -> None:
    if not text.isascii() or not text.isdigit() or not 0 <= int(text) <= MOST_EXTENDERS:
        raise WrongCall(f"extenders: expected a number from 0 to {MOST_EXTENDERS}")
    scenario.extenders = int(text)


def _limit(scenario: Scenario, text: str) -> None:
    seconds = seconds_of(text)
    if not 1 <= seconds <= MOST_LIMIT:
        raise WrongCall(f"limit: expected from 1s to {duration(MOST_LIMIT)}")
    scenario.limit = seconds


_HEADS = {"title": _title, "extenders": _extenders, "limit": _limit}


def _take_step(scenario: Scenario, number: int, line: str) -> None:
    word, *rest = line.split()
    if word in ("wait", "expect"):
        taken = _wait(scenario, number, line, rest)
        (scenario.steps if word == "wait" else scenario.ends).append(taken)
    elif word in STEPS:
        scenario.steps.append(_do(scenario, number, line, STEPS[word], rest))
    else:
        known = ["wait", "expect", *_HEADS, *STEPS]
        near = difflib.get_close_matches(word, known, 1)
        advice = f"did you mean {near[0]}?" if near else f"there are {', '.join(known)}"
        raise WrongCall(f"there is no step {word:.30}: {advice}")


# wait NODE... CONDITION VALUE, CONDITION VALUE within DURATION [on its clock]


def _wait(scenario: Scenario, number: int, line: str, words: list[str]) -> Wait:
    within, on_clock = USUAL_WAIT, False
    if words[-3:] == ["on", "its", "clock"]:
        words, on_clock = words[:-3], True
    if "within" in words:
        if words[-2] != "within":
            raise WrongCall('within: expected "within DURATION" or "within DURATION on its clock"')
        within, words = seconds_of(words[-1]), words[:-2]
    elif on_clock:
        raise WrongCall('on its clock: expected "within DURATION" before it')
    most = MOST_NODE_TIME if on_clock else MOST_LIMIT
    if not 1 <= within <= most:
        raise WrongCall(f"within: expected from 1s to {duration(most)}")
    names = []
    while words and (words[0] in (*scenario.nodes, "all", "extenders", OTHERS)):
        names.append(words.pop(0))
    if not names:
        raise WrongCall(
            f"expected a node of {', '.join(scenario.nodes)}, all, extenders or others, not "
            f"{words[0] if words else 'nothing':.30}; more of them: extenders N"
        )
    texts = [part.split() for part in " ".join(words).split(",")]
    if not all(texts):
        raise WrongCall("a condition is missing, before or behind a comma")
    conditions = tuple(condition_of(part) for part in texts)
    nodes = _others(scenario) if names == [OTHERS] else nodes_of(names, scenario.nodes)
    return Wait(number, line, tuple(nodes), conditions, within, on_clock)


def _others(scenario: Scenario) -> list[str]:
    """Of which nothing is expected so far."""
    named = {node for end in scenario.ends for node in end.nodes}
    others = [node for node in scenario.nodes if node not in named]
    if not others:
        raise WrongCall("others: there are none, leave the line out")
    return others


# OPERATION NODE... --PARAMETER VALUE [-> CODE], as ./dev lab takes it


def _do(scenario: Scenario, number: int, line: str, operation: Operation, words: list[str]) -> Do:
    code = 0
    if len(words) >= 2 and words[-2] == "->":
        if not words[-1].isascii() or not words[-1].isdigit() or int(words[-1]) > 255:
            raise WrongCall("->: expected the code that the nodes answer with, see docs/codes.md")
        code, words = int(words[-1]), words[:-2]
    if code and not operation.takes_nodes:
        raise WrongCall(f"-> {code}: {operation.name} is answered by no node")
    given = _given(operation, words)
    operation.checked(given, scenario.nodes)
    return Do(number, line, operation, given, code)


def _given(operation: Operation, words: list[str]) -> dict[str, Any]:
    given: dict[str, Any] = {}
    nodes = []
    while words and not words[0].startswith("--"):
        nodes.append(words.pop(0))
    if operation.takes_nodes:
        given["nodes"] = nodes
    elif nodes:
        raise WrongCall(f"{operation.name} is for no node: leave {nodes[0]:.30} out")
    known = {f"--{one.name}": one for one in operation.parameters}
    while words:
        word = words.pop(0)
        if word not in known or known[word].name in given:
            there = ", ".join(known) or "none"
            raise WrongCall(f"{operation.name} takes no {word:.30} here: there are {there}")
        given[known[word].name] = _value(known[word], words)
    return given


def _value(parameter: Parameter, words: list[str]) -> Any:
    if parameter.kind == "boolean":
        return True
    if not words or words[0].startswith("--"):
        raise WrongCall(f"--{parameter.name}: a value is missing: {parameter.help}")
    return parameter.read(words.pop(0))


def _check_whole(scenario: Scenario) -> None:
    if not scenario.title:
        raise WrongScenario(f"{scenario.name}: has no title: begin with a line title TEXT")
    if not scenario.steps:
        raise WrongScenario(f"{scenario.name}: does nothing: write a step, such as offer all ...")
    named = {node for end in scenario.ends for node in end.nodes}
    missing = [node for node in scenario.nodes if node not in named]
    if missing:
        raise WrongScenario(
            f"{scenario.name}: nothing is expected of {', '.join(missing)}: add a line "
            f"expect {missing[0]} ..., or expect others ..."
        )
