# SPDX-License-Identifier: MIT
"""The command line of `ota-desk demo`."""

import dataclasses
import pathlib
from collections.abc import Sequence

from demo.command_line import Option, OptionError, Reader, help_text, number, one_of
from rig.node_folder import counts_as_gateway

FAILURES = (
    "checksum", "flash", "activate", "boot", "health", "server", "certificate", "signature",
    "version", "disk",
)  # fmt: skip
ADVICE = "; see ota-desk demo --help"
_SUMMARY = "Upgrades a node on this desk over the air, from the offer to the commit."
_MOST_CHANGES = 2**63 - 1
_LONGEST_ROLE = 31

_ROWS = (
    Option("--policy", "policy",
           "0 activate at the activation time, 1 at once (default), 2 write only, 3 activate on "
           "arrival what the passive bank holds", **one_of("0", "1", "2", "3")),
    Option("--mode", "mode", "gateway (default) or mesh extender", **one_of("RGW", "AP_Bridge")),
    Option("--role", "role",
           "the node's role; an AP_Bridge that is Controller acts as gateway", shown="ROLE"),
    Option("--plain-http", "plain_http", "serve the image over http, without certificates"),
    Option("--offload", "offload", "the node hands download and activation to the gateway"),
    Option("--first-poll", "first_poll",
           "a gateway's first poll: the download waits for the mobile app"),
    Option("--power-cut", "power_cut",
           "the node loses power during the download, and takes it up again"),
    Option("--cut-power", "cut_power_at",
           "the node loses power at the N-th change of its storage, counted over its lives; what "
           "was not synced by then is gone", **number("N", 1, _MOST_CHANGES)),
    # The three nodes have modes, roles and configurations of their own.
    Option("--mesh", "mesh",
           "a gateway and two extenders at once; the extenders' reports arrive at the gateway, as "
           "the root; takes policy 0 or 1, and no mode, role or node-conf",
           excludes=("--mode", "--role", "--node-conf")),
    Option("--fail", "fail", "let this go wrong, and see what the agent makes of it",
           **one_of(*FAILURES)),
    Option("--fast", "fast",
           "sleeps and retries pass at once, the server sends as fast as it can"),
    Option("--build-dir", "build_folder",
           "where the project was built (default: where this program is)",
           shown="DIR", read=pathlib.Path),
    Option("--run-dir", "run_folder",
           "everything of this run goes here (default: BUILD/demo/SCENARIO, or "
           "~/.cache/ota-desk/SCENARIO where it is installed): a folder that is new "
           "or empty; the next run in it empties it again", shown="DIR", read=pathlib.Path),
    Option("--limit", "limit", "give up after so long (1 to 9999, default 120)",
           **number("SECONDS", 1, 9999)),
    Option("--library", "library", "the agent to run (default: the one of the build)",
           shown="FILE", read=pathlib.Path),
    Option("--node-conf", "node_config", "configure the node with this file instead",
           shown="FILE", read=pathlib.Path),
)  # fmt: skip


@dataclasses.dataclass
class Options:
    """What the command line says."""

    policy: str = "1"
    mode: str = "RGW"
    role: str = ""  # read_options() puts the one there that goes with the mode
    plain_http: bool = False
    offload: bool = False
    first_poll: bool = False
    power_cut: bool = False
    cut_power_at: int = 0  # changes of its storage; 0: never
    mesh: bool = False
    fail: str = ""
    fast: bool = False
    help: bool = False
    limit: int = 120  # seconds, of the whole run
    build_folder: pathlib.Path | None = None  # none: where this program was built
    run_folder: pathlib.Path | None = None  # none: one of its own for each scenario
    library: pathlib.Path | None = None  # none: the one of the build folder
    node_config: pathlib.Path | None = None  # none: one is written

    @property
    def gateway(self) -> bool:
        return counts_as_gateway(self.mode, self.role)


def read_options(words: Sequence[str]) -> Options:
    reader = Reader(_ROWS, words)
    options = Options(help=reader.help, **reader.values)
    if not options.help and reader.wrong:
        raise OptionError(reader.wrong + ADVICE)
    options.role = options.role or ("Controller" if options.mode == "RGW" else "Agent")
    # The node configuration is a line a key: a role of several lines would be several keys.
    if len(options.role) > _LONGEST_ROLE or any(mark in options.role for mark in "\r\n;#"):
        raise OptionError(
            f"--role takes at most {_LONGEST_ROLE} characters on one line, without ; and #{ADVICE}"
        )
    return options


def demo_help(combinations: str) -> str:
    """`combinations`: what does not go together, a line each."""
    return help_text(
        "ota-desk demo",
        _SUMMARY,
        _ROWS,
        f"""What does not go together:
{combinations}
exit codes: 0 committed, and the running bank holds the image byte for byte;
            3 ended as it should, but not in a commit; 2 bad option;
            1 anything else
""",
    )
