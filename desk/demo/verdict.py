# SPDX-License-Identifier: MIT
"""Whether a scenario ended as it promises: by what was observed, and by what the disk holds."""

from collections.abc import Sequence
from typing import Any

from demo.observed import NodeSetup, Observed
from demo.scenarios import COMMIT_COMPLETE, NEW_VERSION, OLD_VERSION, End, Scenario, Step
from rig.failure import Failure
from rig.files import begins_with
from rig.images import Image
from rig.node_folder import NodeFolder, other_bank


def _listed(words: Sequence[str]) -> str:
    return ", ".join(words) or "none"


def _check_words(scenario: Scenario, observed: Observed) -> None:
    words = observed.words
    if not scenario.cuts_at_a_change:
        if list(scenario.words) != words:
            raise Failure(
                f"status words expected: {_listed(scenario.words)}; came: {_listed(words)}"
            )
        return
    # A word may come twice; a failure none of them may be, and a commit one must.
    if any("FAILED" in word for word in words):
        raise Failure(f"no failure was expected; came: {_listed(words)}")
    if COMMIT_COMPLETE not in words:
        raise Failure(f"no commit was reported; came: {_listed(words)}")


def _check_root(scenario: Scenario, setup: NodeSetup, observed: Observed) -> None:
    expected = [] if setup.gateway else list(scenario.words)
    if expected != observed.at_the_root:
        raise Failure(
            f"words on the gateway's bus expected: {_listed(expected)}; came: "
            f"{_listed(observed.at_the_root)}"
        )


def _check_power(scenario: Scenario, observed: Observed) -> None:
    """A cut that did not happen, and a request that was not resumed, show nothing."""
    crawls = Step.OFFER_THEN_CUT in scenario.steps
    if scenario.cuts_at_a_change and not observed.power_cut:
        raise Failure(
            "the power was not cut: the node changed its storage only "
            f"{observed.changes} times; name one of these"
        )
    if crawls and not (observed.power_cut and observed.resumed):
        raise Failure(
            "the node should have lost its power in the download and taken it up again; it "
            + ("took nothing up" if observed.power_cut else "did not lose it")
        )
    if observed.power_cut and not scenario.cuts_at_a_change and not crawls:
        raise Failure("the power should not have been cut")


def _check_boots(scenario: Scenario, observed: Observed) -> None:
    new = [NEW_VERSION] if scenario.end.new_runs else []
    expected = list(scenario.boots) or [OLD_VERSION, *new]
    if not scenario.cuts_at_a_change and expected != observed.boots:
        raise Failure(f"boots expected: {_listed(expected)}; came: {_listed(observed.boots)}")


def _check_reasons(scenario: Scenario, observed: Observed) -> None:
    """What goes wrong must go wrong for the reason that was made for it."""
    reasons = list(observed.failed_downloads)
    if len(reasons) != scenario.failed_downloads:
        raise Failure(
            f"downloads that fail expected: {scenario.failed_downloads}; came: {_listed(reasons)}"
        )
    if not reasons and (scenario.because or observed.refusal):
        reasons.append(observed.refusal)
    for reason in reasons:
        if not scenario.because or scenario.because not in reason:
            raise Failure(f'the node\'s reason should say "{scenario.because}", not "{reason}"')


def _check_trial(scenario: Scenario, state: dict[str, Any]) -> None:
    """The new version's trial failed in the way that was made for it, or no trial failed."""
    if state["trial"] != "none":
        raise Failure(f"bank {state['trial']} is still on trial")
    failed = state["failed"].get(NEW_VERSION, {}).get("last", "")
    if failed != scenario.trial_fails:
        raise Failure(
            f"failed trial expected: {scenario.trial_fails or 'none'}; came: {failed or 'none'}"
        )


def _check_content(state: dict[str, Any], bank: str, node: NodeFolder, image: Image) -> None:
    record = state[bank]
    recorded = (record["whole"], record["size"], record["version"])
    same = recorded == ("1", str(image.size), image.version)
    if not same or not begins_with(node.bank(bank), image.path, image.size):
        raise Failure(f"bank {bank} should equal the image {image.path} byte for byte")


def _bank_to_boot(state: dict[str, Any]) -> str:
    """Where none is on trial: the chosen one, or another one where that is not fit."""
    chosen: str = state["next"]
    return chosen if state[chosen]["whole"] == "1" else other_bank(chosen)


def _check_banks(scenario: Scenario, node: NodeFolder, factory: Image, offered: Image) -> None:
    state = node.boot_state()
    _check_trial(scenario, state)
    runs = "b" if scenario.end.new_runs else "a"
    boots_next = _bank_to_boot(state)
    if (state["active"], boots_next) != (runs, runs):
        raise Failure(
            f"bank {runs} should run and boot next; bank {state['active']} runs and bank "
            f"{boots_next} boots next"
        )
    if (state["b"]["whole"] == "1") != scenario.end.whole:
        raise Failure(f"bank b should {'' if scenario.end.whole else 'not '}be marked as whole")
    # Whatever happens, the bank that ran at the beginning stays as it was.
    _check_content(state, "a", node, factory)
    if scenario.end.whole:
        _check_content(state, "b", node, factory if scenario.end is End.UNTOUCHED else offered)


def check_ending(
    scenario: Scenario,
    setup: NodeSetup,
    observed: Observed,
    node: NodeFolder,
    factory: Image,
    offered: Image,
) -> None:
    """Fails with what is not as it should be."""
    _check_power(scenario, observed)
    _check_words(scenario, observed)
    _check_root(scenario, setup, observed)
    _check_boots(scenario, observed)
    _check_reasons(scenario, observed)
    if observed.early:
        raise Failure("the node activated before the time that was set")
    _check_banks(scenario, node, factory, offered)
    if observed.handed_over != scenario.offload:
        raise Failure(
            f"the image should {'' if scenario.offload else 'not '}have been handed over to the "
            "gateway"
        )
    if node.mark.exists():
        raise Failure(f"the activation mark {node.mark} was left behind")
