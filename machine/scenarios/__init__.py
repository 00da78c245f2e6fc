# SPDX-License-Identifier: MIT
"""What a machine can be shown to do, a function each."""

from collections.abc import Callable

from machine.scenarios import found, power, rollback, service, upgrade
from machine.stage import Stage

# In the order in which --all plays them.
SCENARIOS: dict[str, Callable[[Stage], None]] = {
    "start": service.start,
    "stopped": service.stopped,
    "killed": service.killed,
    "watchdog": service.watchdog,
    "policy-0": upgrade.at_its_time,
    "policy-1": upgrade.at_once,
    "policy-2-and-3": upgrade.written_then_activated,
    "unhealthy": rollback.unhealthy,
    "panics": rollback.panics,
    "no-kernel": rollback.no_kernel,
    "cut-writing": power.cut_writing,
    "cut-activating": power.cut_activating,
    "cut-boot-loader": power.cut_boot_loader,
    "cut-committing": power.cut_committing,
    "cut-at-random": power.cut_at_random,
    "commit-word": found.commit_word,
    "late-address": found.late_address,
    "device-not-allowed": found.device_not_allowed,
}
# What fits into six minutes on two cores and still crosses every part.
SMOKE = ("start", "policy-1", "unhealthy", "cut-activating")
DEMONSTRATION = "policy-1"
