# SPDX-License-Identifier: MIT
"""What an operation of the lab is, and what it takes."""

import dataclasses
import re
from collections.abc import Awaitable, Callable
from typing import Any

Answer = dict[str, Any]


class WrongCall(Exception):
    """One line for who called: what was wrong, and what was expected."""


@dataclasses.dataclass(frozen=True)
class Parameter:
    """Of an operation."""

    name: str
    kind: str  # string, integer or boolean
    help: str
    default: Any = None
    required: bool = False
    choices: tuple[Any, ...] = ()
    pattern: str = ""
    least: int = 0  # of an integer
    most: int = 2**31 - 1

    def schema(self) -> dict[str, Any]:
        schema: dict[str, Any] = {"type": self.kind, "description": self.help}
        if self.choices:
            schema["enum"] = list(self.choices)
        if self.pattern:
            schema["pattern"] = f"^(?:{self.pattern})$"
        if self.kind == "integer" and not self.choices:
            schema |= {"minimum": self.least, "maximum": self.most}
        if self.default is not None:
            schema["default"] = self.default
        return schema

    def checked(self, value: Any) -> Any:
        kinds: dict[str, type] = {"string": str, "integer": int, "boolean": bool}
        if type(value) is not kinds[self.kind]:
            raise WrongCall(f"{self.name}: expected a value of the kind {self.kind}")
        if self.choices and value not in self.choices:
            raise WrongCall(f"{self.name}: expected one of {', '.join(map(str, self.choices))}")
        if self.pattern and not re.fullmatch(self.pattern, value):
            raise WrongCall(f"{self.name}: {self.help}")
        if self.kind == "integer" and not self.choices and not self.least <= value <= self.most:
            raise WrongCall(f"{self.name}: expected a number from {self.least} to {self.most}")
        return value

    def read(self, text: str) -> Any:
        """From a text of a command line or an address."""
        if self.kind == "string":
            return self.checked(text)
        if self.kind == "boolean":
            if text not in ("true", "false"):
                raise WrongCall(f"{self.name}: expected true or false")
            return text == "true"
        if not re.fullmatch(r"-?[0-9]{1,10}", text):
            raise WrongCall(f"{self.name}: expected a number")
        return self.checked(int(text))


@dataclasses.dataclass(frozen=True)
class Operation:
    """One that asks changes nothing, and takes its parameters from the address."""

    name: str
    group: str  # where the page shows it
    summary: str
    call: Callable[..., Awaitable[Answer]]
    parameters: tuple[Parameter, ...] = ()
    takes_nodes: bool = False
    asks: bool = False

    def checked(self, given: dict[str, Any], known_nodes: list[str]) -> dict[str, Any]:
        """The parameters of the call: each is there, and as it must be."""
        given = dict(given)
        found: dict[str, Any] = {}
        if self.takes_nodes:
            found["nodes"] = nodes_of(given.pop("nodes", None), known_nodes)
        for parameter in self.parameters:
            value = given.pop(parameter.name, None)
            if value is not None:
                value = parameter.checked(value)
            elif parameter.required:
                raise WrongCall(f"{parameter.name} is missing: {parameter.help}")
            else:
                value = parameter.default
            found[parameter.name.replace("-", "_")] = value
        if given:
            raise WrongCall(f"{self.name} knows no {', '.join(sorted(map(str, given)))}")
        return found


def nodes_of(names: Any, known: list[str]) -> list[str]:
    """In the order of the mesh; "all" and "extenders" name several."""
    if not isinstance(names, list) or not names:
        raise WrongCall("nodes is missing: a list of names, or all, or extenders")
    wanted: set[str] = set()
    for name in names:
        if name == "all":
            wanted.update(known)
        elif name == "extenders":
            wanted.update(known[1:])
        elif isinstance(name, str) and name in known:
            wanted.add(name)
        else:
            raise WrongCall(f"nodes: there is no {name!s:.40}; there are {', '.join(known)}")
    return [name for name in known if name in wanted]
