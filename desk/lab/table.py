# SPDX-License-Identifier: MIT
"""All operations of the lab: those of its nodes and servers, and those of scenarios."""

from typing import Any

from lab.operations import OPERATIONS
from lab.play.operations import SCENARIO_OPERATIONS

TABLE = (*OPERATIONS, *SCENARIO_OPERATIONS)


def described() -> list[dict[str, Any]]:
    """For the page, which makes its forms of them."""
    return [
        {
            "name": one.name,
            "group": one.group,
            "summary": one.summary,
            "takes_nodes": one.takes_nodes,
            "parameters": [
                {
                    "name": parameter.name,
                    "required": parameter.required,
                    "schema": parameter.schema(),
                }
                for parameter in one.parameters
            ],
        }
        for one in OPERATIONS
        if not one.asks
    ]
