# SPDX-License-Identifier: MIT
"""The interface of the lab as OpenAPI text, made of the table of operations."""

import json
from typing import Any

from lab.operation import Operation
from lab.table import TABLE

_NODES = {
    "type": "array",
    "minItems": 1,
    "items": {"type": "string"},
    "description": "names of nodes, or all, or extenders",
}
_REFUSED = {
    "400": {"description": "a parameter is wrong: an object with the reason"},
    "403": {"description": "the token, the Host or the Origin is not the lab's own"},
}


def _responses(operation: Operation) -> dict[str, Any]:
    if operation.takes_nodes:
        text = "of each node: its code (0: done), its ticket or the reason"
    else:
        text = operation.summary if operation.asks else "code 0: done"
    schema = {"application/json": {"schema": {"type": "object"}}}
    return {"200": {"description": text, "content": schema}, **_REFUSED}


def _asked(operation: Operation) -> dict[str, Any]:
    parameters = [
        {
            "name": one.name,
            "in": "query",
            "required": one.required,
            "description": one.help,
            "schema": {key: value for key, value in one.schema().items() if key != "description"},
        }
        for one in operation.parameters
    ]
    return {"get": {**_head(operation), "parameters": parameters}}


def _done(operation: Operation) -> dict[str, Any]:
    properties: dict[str, Any] = {"nodes": _NODES} if operation.takes_nodes else {}
    properties |= {one.name: one.schema() for one in operation.parameters}
    required = [name for name in properties if name == "nodes"]
    required += [one.name for one in operation.parameters if one.required]
    schema: dict[str, Any] = {"type": "object", "additionalProperties": False}
    schema["properties"] = properties
    if required:
        schema["required"] = required
    body = {"required": True, "content": {"application/json": {"schema": schema}}}
    return {"post": {**_head(operation), "requestBody": body}}


def _head(operation: Operation) -> dict[str, Any]:
    return {
        "operationId": operation.name,
        "summary": operation.summary,
        "tags": [operation.group],
        "responses": _responses(operation),
    }


def description() -> str:
    paths = {f"/api/{one.name}": _asked(one) if one.asks else _done(one) for one in TABLE}
    paths["/api/operations"] = {
        "get": {
            "operationId": "operations",
            "summary": "The operations that change something, for who makes forms of them",
            "tags": ["Questions"],
            "responses": {"200": {"description": "a list"}, "403": _REFUSED["403"]},
        }
    }
    paths["/api/events"] = {
        "get": {
            "operationId": "events",
            "summary": "A stream of server-sent events: a snapshot, then steps of what changed",
            "tags": ["Questions"],
            "responses": {"200": {"description": "text/event-stream"}, "403": _REFUSED["403"]},
        }
    }
    whole = {
        "openapi": "3.0.3",
        "info": {"title": "The lab", "version": "1", "description": "What ./dev lab can do."},
        "servers": [
            {
                "url": "http://127.0.0.1:{port}/{token}",
                "variables": {"port": {"default": "0"}, "token": {"default": ""}},
            }
        ],
        "paths": paths,
    }
    return json.dumps(whole, indent=2) + "\n"
