# SPDX-License-Identifier: MIT
"""Waiting for states, never for durations."""

import time
from collections.abc import Callable
from typing import TypeVar

from rig import interrupt
from rig.failure import Failure

PATIENCE = 120.0  # seconds; a machine under load is slow, a hang is longer
GLANCE = 0.01

Found = TypeVar("Found")


def wait_until(condition: Callable[[], Found], patience: float, late: str) -> Found:
    """Waits until condition() gives something and returns it; `late` is said where it never does."""
    deadline = time.monotonic() + patience
    while True:
        found = condition()
        if found:
            return found
        interrupt.check()
        if time.monotonic() > deadline:
            raise Failure(late)
        time.sleep(GLANCE)


def wait_for(what: str, condition: Callable[[], Found], patience: float = PATIENCE) -> Found:
    return wait_until(condition, patience, f"waited {patience:.0f} s in vain: {what}")
