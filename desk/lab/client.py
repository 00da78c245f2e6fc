# SPDX-License-Identifier: MIT
"""./dev lab VERB: the operations as commands, told to the lab that runs."""

import argparse
import http.client
import json
import pathlib
import urllib.parse
from collections.abc import Callable, Sequence
from typing import Any

from lab.operation import Operation, Parameter
from lab.table import TABLE
from lab.place import address_in
from rig.failure import Failure
from rig.files import absolute_path

_PATIENCE = 120.0  # seconds


def verbs_help() -> str:
    lines = ["verbs, told to the lab that runs (./dev lab VERB --help):"]
    lines += [f"  {one.name:16} {one.summary}" for one in TABLE]
    lines.append(f"  {'api':16} Print the interface as OpenAPI text")
    return "\n".join(lines)


def _kind(parameter: Parameter) -> dict[str, Any]:
    options: dict[str, Any] = {"help": parameter.help, "dest": parameter.name}
    if parameter.kind == "boolean":
        return {**options, "action": "store_true", "default": None}
    options["type"] = int if parameter.kind == "integer" else str
    if parameter.choices:
        options["choices"] = parameter.choices
    return options


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="./dev lab", allow_abbrev=False)
    parser.add_argument("--build-dir", help=argparse.SUPPRESS)
    verbs = parser.add_subparsers(dest="verb", required=True)
    for operation in TABLE:
        verb = verbs.add_parser(
            operation.name, help=operation.summary, description=operation.summary,
            allow_abbrev=False,
        )  # fmt: skip
        if operation.takes_nodes:
            verb.add_argument("nodes", nargs="+", metavar="NODE",
                              help="names, or all, or extenders")  # fmt: skip
        for parameter in operation.parameters:
            verb.add_argument(f"--{parameter.name}", required=parameter.required,
                              **_kind(parameter))  # fmt: skip
        verb.add_argument("--folder", help="of the lab, where it is not the usual one")
        verb.add_argument("--json", action="store_true", help="print the answer as JSON")
        verb.add_argument("--build-dir", help=argparse.SUPPRESS, default=argparse.SUPPRESS)
    return parser


class Client:
    """Of the lab at an address."""

    def __init__(self, url: str) -> None:
        parts = urllib.parse.urlsplit(url)
        self._host, self._port = parts.hostname or "", parts.port or 0
        self._path = parts.path.rstrip("/")

    def call(self, operation: Operation, given: dict[str, Any]) -> dict[str, Any]:
        path, body = f"{self._path}/api/{operation.name}", None
        if operation.asks:
            path += "?" + urllib.parse.urlencode(given) if given else ""
        else:
            body = json.dumps(given)
        connection = http.client.HTTPConnection(self._host, self._port, timeout=_PATIENCE)
        try:
            method = "GET" if operation.asks else "POST"
            connection.request(method, path, body, {"Content-Type": "application/json"})
            response = connection.getresponse()
            answer: dict[str, Any] = json.loads(response.read())
        except (OSError, http.client.HTTPException, ValueError) as error:
            raise Failure(f"the lab does not answer: {error}; is it still there?") from error
        finally:
            connection.close()
        if response.status != 200:
            raise Failure(str(answer.get("reason", response.status)))
        return answer


def _readable(operation: Operation, answer: dict[str, Any]) -> str:
    if operation.name == "log":
        return str(answer["text"]).rstrip("\n")
    if operation.name == "timeline":
        return "\n".join(
            f"{mark['node'] or 'lab':12} {mark['kind']:8} {mark['text']}"
            + (f" | {mark['detail']}" if mark["detail"] else "")
            for mark in answer["marks"]
        )
    if operation.name == "status":
        return "\n".join(map(_node_line, answer["nodes"].values()))
    if operation.takes_nodes:
        return "\n".join(_answer_line(name, one) for name, one in answer["nodes"].items())
    return "done" if set(answer) == {"code"} else json.dumps(answer, indent=1)


def _node_line(node: dict[str, Any]) -> str:
    percent = f" {node['percentage']} %" if node["stage"] == "downloading" else ""
    return (
        f"{node['name']:8} {node.get('running_version', '-'):12} {node['stage']}{percent}"
        f"  {node['status_word']}  {', '.join(node['faults'])}"
    ).rstrip()


def _answer_line(name: str, answer: dict[str, Any]) -> str:
    ticket = f"ticket {answer['ticket']}" if "ticket" in answer else "done"
    return f"{name}: " + (f"{answer['reason']} ({answer['code']})" if answer["code"] else ticket)


def run_verb(words: Sequence[str], usual_folder: Callable[[pathlib.Path], pathlib.Path]) -> int:
    """The exit code: the first of a node that is not 0."""
    options = vars(_parser().parse_args(words))
    operation = next(one for one in TABLE if one.name == options["verb"])
    build = absolute_path(options["build_dir"] or "build/release")
    folder = absolute_path(options["folder"]) if options["folder"] else usual_folder(build)
    names = [parameter.name for parameter in operation.parameters]
    names += ["nodes"] if operation.takes_nodes else []
    given = {name: options[name] for name in names if options[name] is not None}
    answer = Client(address_in(folder)).call(operation, given)
    print(json.dumps(answer) if options["json"] else _readable(operation, answer))
    codes = (
        [one["code"] for one in answer.get("nodes", {}).values()] if operation.takes_nodes else []
    )
    return next((code for code in codes if code), 0)
