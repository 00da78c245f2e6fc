# SPDX-License-Identifier: MIT
"""The scenarios that a demonstration can run, a row each: the options that choose it, node, offer,
steps, and what it promises in the end."""

import dataclasses
import enum

from demo.command_line import OptionError
from demo.options import ADVICE, Options
from rig.files import MIB

MODEL = "DeskNode-1"
OLD_VERSION = "4QZ2.0.0"
NEW_VERSION = "4QZ2.1.0"
OTHER_VERSION = "4QZ2.0.9"

_ATTEMPTS = 7

ACTIVATION_COMPLETE = "OTA_SW_ACTIVATION_COMPLETE"
COMMIT_COMPLETE = "OTA_SW_COMMIT_COMPLETE"
COMMIT_FAILED = "OTA_SW_COMMIT_FAILED"
ACTIVATION_FAILED = "OTA_SW_ACTIVATION_FAILED"
FLASH_WRITE_FAILED = "OTA_SW_FLASH_WRITE_FAILED"
CRC_CHECK_FAILED = "OTA_CRC_CHECK_FAILED"
RECONNECT = "OTA_RECONNECT_BUE"
SWAP_PASSIVE = "OTA_SW_SWAP_PASSIVE"
REBOOT_COMPLETE = "OTA_SW_ACTIVATION_REBOOT_COMPLETE"


class Step(enum.Enum):
    """What is put to the node once it is idle, one after the other."""

    OFFER = enum.auto()  # the new image
    OFFER_THEN_CUT = enum.auto()  # from a very slow server, which hurries once the power went
    MOBILE_TRIGGER = enum.auto()  # the mobile app's trigger
    ACTIVATION_TIME = enum.auto()  # the activation is moved to a few seconds from now
    DAMAGE_BANK = enum.auto()  # bytes of the passive bank change behind the agent's back


class End(enum.Enum):
    """How the node stands in the end: whether the new version runs, and whether the other version's
    bank is whole."""

    COMMITTED = enum.auto()  # the new version runs, its bank is the image byte for byte
    SWITCHED = enum.auto()  # the same, without a commit
    WRITTEN = enum.auto()  # the old version runs, the passive bank holds the image whole
    NOT_WHOLE = enum.auto()  # the old version runs, the passive bank is not bootable
    UNTOUCHED = enum.auto()  # the old version runs, the passive bank holds what it held before

    @property
    def new_runs(self) -> bool:
        return self in (End.COMMITTED, End.SWITCHED)

    @property
    def whole(self) -> bool:
        return self is not End.NOT_WHOLE


@dataclasses.dataclass(frozen=True)
class Scenario:
    """One row."""

    name: str  # of the run folder
    selector: str  # the option that chooses it; empty: the policy alone does
    policies: str  # those it makes sense with
    steps: tuple[Step, ...]
    words: tuple[str, ...]  # every status word, in order
    end: End
    ending: str  # the last line, in plain words
    gateway_only: bool = False
    mesh: bool = False  # a gateway and two extenders run it at once
    always_fast: bool = False  # it has waits of minutes

    # the node
    passive_holds_image: bool = False
    passive_holds_old: bool = False  # as the running one: a change would show
    small_banks: bool = False
    node_file_limit: int = 0
    cuts_at_a_change: bool = False  # the power goes at a change of the storage, and comes back
    damage_at_reboot: bool = False  # of the bank that was just activated
    unhealthy: bool = False  # its health command fails on the new version

    # the offer
    wrong_checksum: bool = False
    server_refuses: bool = False
    strange_authority: bool = False
    strange_signer: bool = False
    other_version_inside: bool = False
    offload: bool = False
    first_poll: bool = False

    # what it promises beside words and end
    boots: tuple[str, ...] = ()  # versions; empty: the old one, then what the end says
    failed_downloads: int = 0
    because: str = ""  # in the node's own reason of each failed download, or of a refusal
    trial_fails: str = ""  # "boot" or "health"


_COMMITTED = (ACTIVATION_COMPLETE, COMMIT_COMPLETE)
_NOT_COMMITTED = (ACTIVATION_COMPLETE, COMMIT_FAILED)
_OFFER = (Step.OFFER,)
_OFFER_AND_TIME = (Step.OFFER, Step.ACTIVATION_TIME)

SCENARIOS = (
    Scenario("policy-0", "", "0", _OFFER_AND_TIME, _COMMITTED, End.COMMITTED,
             "activated at the activation time and committed"),
    Scenario("policy-1", "", "1", _OFFER, _COMMITTED, End.COMMITTED,
             "activated at once and committed"),
    Scenario("policy-2", "", "2", _OFFER, (ACTIVATION_COMPLETE,), End.WRITTEN,
             "written to the passive bank only, as policy 2 asks; nothing was activated"),
    # The handler goes on behind its reboot command and finds the image in the passive bank.
    Scenario("policy-3", "", "3", _OFFER, (REBOOT_COMPLETE, SWAP_PASSIVE), End.SWITCHED,
             "activated on arrival; policy 3 leaves no mark, so nothing is committed",
             passive_holds_image=True),
    Scenario("offload", "--offload", "012", _OFFER, (), End.NOT_WHOLE,
             "handed over to the gateway; the node itself downloaded nothing", offload=True),
    Scenario("first-poll", "--first-poll", "0",
             (Step.OFFER, Step.MOBILE_TRIGGER, Step.ACTIVATION_TIME), _COMMITTED, End.COMMITTED,
             "triggered by the mobile app, activated at the activation time and committed",
             gateway_only=True, first_poll=True),
    Scenario("first-poll", "--first-poll", "1", (Step.OFFER, Step.MOBILE_TRIGGER), _COMMITTED,
             End.COMMITTED, "triggered by the mobile app and committed",
             gateway_only=True, first_poll=True),
    Scenario("first-poll", "--first-poll", "2", (Step.OFFER, Step.MOBILE_TRIGGER),
             (ACTIVATION_COMPLETE,), End.WRITTEN,
             "triggered by the mobile app and written to the passive bank only",
             gateway_only=True, first_poll=True),
    Scenario("power-cut", "--power-cut", "1", (Step.OFFER_THEN_CUT,), _COMMITTED, End.COMMITTED,
             "lost power, took the download up again by itself and committed",
             boots=(OLD_VERSION, OLD_VERSION, NEW_VERSION)),
    # Which words come, and how often, depends on where the power goes.
    Scenario("cut-power", "--cut-power", "1", _OFFER, (), End.COMMITTED,
             "lost power at that very call, and committed all the same",
             gateway_only=True, cuts_at_a_change=True),
    Scenario("mesh", "--mesh", "0", _OFFER_AND_TIME, _COMMITTED, End.COMMITTED,
             "all three activated at the activation time and committed; the root knows", mesh=True),
    Scenario("mesh", "--mesh", "1", _OFFER, _COMMITTED, End.COMMITTED,
             "all three activated at once and committed; the root knows", mesh=True),
    Scenario("fail-checksum", "--fail checksum", "012", _OFFER, (CRC_CHECK_FAILED,), End.NOT_WHOLE,
             "refused: the image's checksum is not the one offered", wrong_checksum=True),
    Scenario("fail-flash", "--fail flash", "012", _OFFER, (FLASH_WRITE_FAILED,), End.NOT_WHOLE,
             "refused: the image does not fit the bank",
             small_banks=True, because="the bank banks/b only"),
    # Damaged while the reboot timer runs; its end finds out.
    Scenario("fail-activate", "--fail activate", "0",
             (Step.OFFER, Step.DAMAGE_BANK, Step.ACTIVATION_TIME), (ACTIVATION_FAILED,),
             End.NOT_WHOLE, "refused: the passive bank is damaged, the old version runs on",
             because="is damaged"),
    Scenario("fail-activate", "--fail activate", "1", (Step.DAMAGE_BANK, Step.OFFER),
             (SWAP_PASSIVE, ACTIVATION_FAILED), End.NOT_WHOLE,
             "refused: the passive bank is damaged, the old version runs on",
             passive_holds_image=True, because="is damaged"),
    Scenario("fail-boot", "--fail boot", "1", _OFFER, _NOT_COMMITTED, End.NOT_WHOLE,
             "not committed: the new version does not boot, its attempts are used up, the old "
             "version boots again",
             damage_at_reboot=True, boots=(OLD_VERSION, OLD_VERSION), trial_fails="boot"),
    Scenario("fail-health", "--fail health", "1", _OFFER, _NOT_COMMITTED, End.WRITTEN,
             "not committed: the new version is not healthy, the old version boots again",
             unhealthy=True, boots=(OLD_VERSION, NEW_VERSION, OLD_VERSION), trial_fails="health"),
    Scenario("fail-server", "--fail server", "012", _OFFER, (RECONNECT,), End.NOT_WHOLE,
             "gave up after seven attempts: the server answers 503",
             always_fast=True, server_refuses=True, failed_downloads=_ATTEMPTS,
             because="the server answers 503"),
    Scenario("fail-certificate", "--fail certificate", "012", _OFFER, (RECONNECT,), End.NOT_WHOLE,
             "gave up after seven attempts: the server's certificate is of another CA",
             always_fast=True, strange_authority=True, failed_downloads=_ATTEMPTS,
             because="certificate"),
    Scenario("fail-version", "--fail version", "012", _OFFER, (FLASH_WRITE_FAILED,), End.UNTOUCHED,
             "refused: the image is of another version than the one offered",
             passive_holds_old=True, other_version_inside=True,
             because="is not the one that was offered"),
    Scenario("fail-signature", "--fail signature", "012", _OFFER, (FLASH_WRITE_FAILED,),
             End.UNTOUCHED, "refused: the image is signed by one whom the node does not trust",
             passive_holds_old=True, strange_signer=True, because="is not of an authority"),
    Scenario("fail-disk", "--fail disk", "012", _OFFER, (RECONNECT,), End.NOT_WHOLE,
             "gave up after seven attempts: the disk is full",
             always_fast=True, node_file_limit=4 * MIB, failed_downloads=_ATTEMPTS,
             because="Failed writing received data"),
)  # fmt: skip


def _selectors_of(options: Options) -> list[str]:
    """In the order in which a mistake names them."""
    chosen = {
        "--offload": options.offload,
        "--first-poll": options.first_poll,
        "--power-cut": options.power_cut,
        "--cut-power": options.cut_power_at,
        "--mesh": options.mesh,
        f"--fail {options.fail}": options.fail,
    }
    return [selector for selector, is_chosen in chosen.items() if is_chosen]


def combinations() -> str:
    """What choose_scenario() refuses, a line each."""
    lines = [
        "two of --offload, --first-poll, --power-cut, --cut-power, --mesh and --fail",
        "--mesh and --mode, --role or --node-conf",
    ]
    for selector in dict.fromkeys(row.selector for row in SCENARIOS if row.selector):
        rows = [row for row in SCENARIOS if row.selector == selector]
        policies = "".join(row.policies for row in rows)
        others = ", ".join(policy for policy in "0123" if policy not in policies)
        line = f"{selector} and --policy {others}"
        line += ", or an extender" if rows[0].gateway_only else ""
        line += ", or --plain-http" if rows[0].strange_authority else ""
        lines.append(line)
    return "".join(f"  {line}\n" for line in lines)


def choose_scenario(options: Options) -> Scenario:
    selectors = _selectors_of(options)
    if len(selectors) > 1:
        raise OptionError(f"{selectors[0]} and {selectors[1]} do not go together{ADVICE}")
    selector = selectors[0] if selectors else ""
    rows = [row for row in SCENARIOS if row.selector == selector]
    scenario = next((row for row in rows if options.policy in row.policies), None)
    if scenario is None:
        allowed = ", ".join("".join(row.policies for row in rows))
        raise OptionError(
            f"{selector} does not go with --policy {options.policy}, only with {allowed}{ADVICE}"
        )
    if scenario.gateway_only and not options.gateway:
        raise OptionError(
            f"{selector} is a gateway's road: use --mode RGW or --role Controller{ADVICE}"
        )
    if scenario.strange_authority and options.plain_http:
        raise OptionError(f"{selector} needs https: leave --plain-http out{ADVICE}")
    return scenario
