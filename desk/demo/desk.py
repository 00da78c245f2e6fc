# SPDX-License-Identifier: MIT
"""Sets the desk up for a scenario, has it run, and judges the end."""

import contextlib
import os
import pathlib
import time

from demo.demonstration import Demonstration
from demo.display import Display
from demo.image_store import ImageStore
from demo.node_log import ERROR
from demo.observed import Context, NodeSetup, Observed
from demo.options import Options
from demo.powered_node import PoweredNode
from demo.scenarios import MODEL, NEW_VERSION, OTHER_VERSION, End, Scenario
from demo.verdict import check_ending
from rig import interrupt
from rig.broker import Broker
from rig.bus import Bus
from rig.certificates import Certificates, make_signer
from rig.failure import Failure
from rig.file_server import EVERYBODY, FileServer
from rig.files import MIB, absolute_path, readable_size, require_space
from rig.images import Image, sign_image
from rig.network import AGENT_PORTS, free_agent_ports
from rig.node import Node
from rig.node_folder import NodePlan, RootAccess
from rig.otactl import words_for_a_shell
from rig.processes import last_said
from rig.programs import Programs
from rig.run_folder import RunFolder

COMMITTED, FAILED, BAD_OPTION, ENDED_OTHERWISE = 0, 1, 2, 3

_BANK_SLACK = 4 * MIB
# Long enough to watch the download.
_DOWNLOAD_SECONDS = 4
_CRAWL = "16k"  # a second: the download blocks for many minutes
_SLOW = "slow"
# As many local ports as the attempts of one series, or as the nodes at once.
_PORTS_NEEDED = 7
_PORT_WAIT = 70.0  # seconds
_GATEWAY = ("RGW", "Controller")
_EXTENDER = ("AP_Bridge", "Agent")
# What a run needs beside the agent's library.
_PARTS = ("otad", "otactl", "ota-desk-host", "ota-power", "ota-image", "ota-boot-state")


def programs_of(options: Options, own_build: pathlib.Path) -> Programs:
    """Those of the build folder; each of them is there."""
    build = absolute_path(options.build_folder) if options.build_folder else own_build
    library = absolute_path(options.library) if options.library else None
    programs = Programs(build, library)
    programs.require(*_PARTS)
    return programs


def run_name(options: Options, scenario: Scenario) -> str:
    """Of the run folder."""
    named_by_policy = options.policy == "1" or not scenario.selector
    name = scenario.name + ("" if named_by_policy else f"-policy-{options.policy}")
    if options.mode != "RGW":
        name += "-controller" if options.gateway else "-extender"
    return name + ("-http" if options.plain_http else "")


def setups_of(options: Options, scenario: Scenario) -> list[NodeSetup]:
    """An extender reports to a gateway, which is there to listen at least."""
    if scenario.mesh:
        return [
            NodeSetup("gateway", 1, *_GATEWAY, True),
            NodeSetup("ext-1", 2, *_EXTENDER, True),
            NodeSetup("ext-2", 3, *_EXTENDER, True),
        ]
    node = NodeSetup("node", 1, options.mode, options.role, True)
    return [node] if options.gateway else [node, NodeSetup("gateway", 2, *_GATEWAY, False)]


class Desk:
    """Whatever it starts is ended by close()."""

    def __init__(self, options: Options, scenario: Scenario, display: Display) -> None:
        self._options, self._scenario, self._display = options, scenario, display
        self._fast = options.fast or scenario.always_fast
        self._setups = setups_of(options, scenario)
        self._started = contextlib.ExitStack()
        self.folder: pathlib.Path | None = None  # where the logs are, once there is a run folder

    def close(self) -> None:
        self._started.close()

    def run(self, own_build: pathlib.Path) -> int:
        """The exit code; fails where the end is not as it should be."""
        self._show_title()
        programs = programs_of(self._options, own_build)
        self.folder = folder = self._make_run_folder(programs)
        authority = None
        if not self._options.plain_http or self._has_root:
            authority = Certificates(folder / "certificates")
            self._display.step(
                "certificates", "a CA and a server certificate for localhost and 127.0.0.1"
            )
        store = self._store(programs, folder)
        offered, factory = self._make_images(programs, store, folder), store.factory()
        self._check_space(folder, offered)
        server = self._start_server(folder, authority, offered)
        broker = self._start_broker(folder, authority) if authority and self._has_root else None
        nodes = []
        for setup in self._setups:
            plan = self._plan(setup, offered, factory)
            plan.signer_authority = store.signer.authority
            if not self._options.plain_http and authority:
                plan.authority = authority.authority
            if broker:
                # As the broker's access list knows them.
                name = "gateway" if setup.gateway else setup.mac
                client = broker.certificates.client(name, setup.name)
                plan.root = RootAccess(broker.address, broker.certificates.authority, client)
            nodes.append(self._make_node(setup, programs, folder / setup.name, plan))
        self._show_how_to_look(nodes)
        self._wait_for_local_ports()
        context = self._context(server, offered)
        powered = list(zip(self._setups, map(self._switch_on, nodes), strict=True))
        seen = Demonstration(context, powered, self._display).run()
        for setup, node, observed in zip(self._setups, nodes, seen, strict=True):
            if setup.runs_scenario:
                self._judge(setup, node, observed, factory, offered)
        return self._show_end()

    @property
    def _has_root(self) -> bool:
        return len(self._setups) > 1

    def _show_title(self) -> None:
        options, scenario = self._options, self._scenario
        who = "mesh of a gateway and two extenders"
        if not scenario.mesh:
            kind = "gateway" if options.gateway else "mesh extender"
            who = f"{kind} ({options.mode}, {options.role})"
        text = f"otaSwAgent on a desk: {who}, policy {options.policy}"
        text += f", {scenario.selector}" if scenario.selector and not scenario.mesh else ""
        text += f" {options.cut_power_at}" if scenario.cuts_at_a_change else ""
        self._display.title(text + (", waits pass at once" if self._fast else ""))

    def _make_run_folder(self, programs: Programs) -> pathlib.Path:
        usual = programs.runs / run_name(self._options, self._scenario)
        run_folder = RunFolder(self._options.run_folder or usual)
        self._started.callback(run_folder.close)
        self._display.step("run folder", str(run_folder.path))
        return run_folder.path

    # Images.

    @property
    def _version_inside(self) -> str:
        return OTHER_VERSION if self._scenario.other_version_inside else NEW_VERSION

    def _store(self, programs: Programs, folder: pathlib.Path) -> ImageStore:
        """The one of the build folder, unless that lacks images and is of another user."""
        kept = ImageStore(programs, programs.runs / "images")
        if kept.has(self._version_inside) or kept.may_build():
            return kept
        return ImageStore(programs, folder / "images")

    def _make_images(self, programs: Programs, store: ImageStore, folder: pathlib.Path) -> Image:
        version = self._version_inside
        build = store.must_build(version)
        if build:
            self._display.step(
                "image", "building a root file system from this machine's programs ..."
            )
        image = store.release(version)
        if self._scenario.strange_signer:
            strange = make_signer(folder / "strange-signer")
            image = sign_image(programs, image, folder / "strange.img", strange)
            self._display.step("image", "signed by one of a CA that the node does not know")
        kept = "" if build else " (kept from an earlier run)"
        self._display.step(
            "image", f"{version}, {readable_size(image.size)}, squashfs and signed manifest{kept}"
        )
        return image

    def _bank_bytes(self, offered: Image) -> int:
        # Too small by little: of an image that is too large by much the node does not even take
        # the rest.
        if self._scenario.small_banks:
            return offered.size - min(offered.size // 2, _BANK_SLACK)
        return offered.size + _BANK_SLACK

    def _check_space(self, folder: pathlib.Path, offered: Image) -> None:
        """Both banks and the download of each node; what else a run writes is small."""
        each = 2 * self._bank_bytes(offered) + offered.size
        require_space(folder, len(self._setups) * each + _BANK_SLACK)

    # Servers.

    def _start_server(
        self, folder: pathlib.Path, authority: Certificates | None, offered: Image
    ) -> FileServer:
        certificates = None if self._options.plain_http else authority
        if self._scenario.strange_authority:
            certificates = Certificates(folder / "strange-certificates")
            self._display.step(
                "certificates", "the server takes one of a CA that the node does not know"
            )
        rate = 0 if self._fast else offered.size // _DOWNLOAD_SECONDS
        server = FileServer(folder / "server", certificates, rate=rate, crawl=_CRAWL)
        self._started.callback(server.stop)
        refuses = self._scenario.server_refuses
        server.refuse(EVERYBODY, refuses)
        server.crawl(_SLOW)
        self._display.step("server", server.address + (", answers 503" if refuses else ""))
        return server

    def _start_broker(self, folder: pathlib.Path, authority: Certificates) -> Broker:
        broker = Broker(folder / "broker", authority)
        self._started.callback(broker.stop)
        self._display.step(
            "root", f"mqtts://{broker.address}, where the gateway listens for its extenders"
        )
        return broker

    # Nodes.

    def _plan(self, setup: NodeSetup, offered: Image, factory: Image) -> NodePlan:
        scenario = self._scenario
        size = self._bank_bytes(offered)
        plan = NodePlan(setup.mac, setup.serial, MODEL, setup.mode, setup.role, size, factory)
        unhealthy = setup.runs_scenario and scenario.unhealthy
        plan.trial = f"health_command = {'false' if unhealthy else 'true'}"
        plan.service = "allow_plain_http = yes" if self._options.plain_http else ""
        if setup.runs_scenario:
            plan.config = self._options.node_config
            plan.passive = offered if scenario.passive_holds_image else None
            plan.passive = factory if scenario.passive_holds_old else plan.passive
        return plan

    def _make_node(
        self, setup: NodeSetup, programs: Programs, folder: pathlib.Path, plan: NodePlan
    ) -> Node:
        folder.mkdir()
        # A proxy of whoever runs the desk would carry the download off this machine.
        environment = {**os.environ, "no_proxy": "*", "NO_PROXY": "*"}
        limit = self._scenario.node_file_limit if setup.runs_scenario else 0
        node = Node(
            programs, folder, plan, Bus(folder), environment, fast=self._fast, file_limit=limit
        )
        node.make()
        held = ""
        if self._scenario.passive_holds_old:
            held = ", the old version is in both"
        elif plan.passive:
            held = ", the image is already in bank B"
        banks = f"two banks of {readable_size(plan.bank_bytes)}{held}"
        self._display.step(setup.name, f"{MODEL} {plan.serial}, br0 {plan.mac}, {banks}")
        return node

    def _switch_on(self, node: Node) -> PoweredNode:
        powered = PoweredNode(node, self._options.cut_power_at)
        self._started.callback(powered.close)
        powered.begin()
        return powered

    def _show_how_to_look(self, nodes: list[Node]) -> None:
        """The bus is there for as long as the scenario runs."""
        node = nodes[0]
        self._display.step("look in", "from another terminal, while this runs:")
        for verb in ("status", "watch"):
            self._display.command([*words_for_a_shell(node.otactl.program, node.bus), verb])
        if nodes[1:]:
            self._display.more(f"and likewise for {', '.join(other.name for other in nodes[1:])}")

    def _wait_for_local_ports(self) -> None:
        deadline = time.monotonic() + _PORT_WAIT
        told = False
        while free_agent_ports() < _PORTS_NEEDED:
            interrupt.check()
            if time.monotonic() > deadline:
                raise Failure(
                    f"the agent's local ports {AGENT_PORTS[0]} to {AGENT_PORTS[-1]} are taken: end "
                    "the programs that use them and try again"
                )
            if not told:
                told = True
                text = "waiting for the agent's local ports to become free ..."
                self._display.step("ports", text)
            time.sleep(0.1)

    def _context(self, server: FileServer, offered: Image) -> Context:
        return Context(
            scenario=self._scenario,
            policy=self._options.policy,
            limit=self._options.limit,
            cut_power_at=self._options.cut_power_at,
            fast=self._fast,
            has_root=self._has_root,
            offered=offered,
            image_url=server.publish(offered.path, offered.path.name),
            slow_image_url=server.publish(offered.path, f"{_SLOW}/{offered.path.name}"),
            crawl_mark=server.folder / "crawl" / _SLOW,
        )

    # The end.

    def _judge(
        self, setup: NodeSetup, node: Node, observed: Observed, factory: Image, offered: Image
    ) -> None:
        try:
            check_ending(self._scenario, setup, observed, node, factory, offered)
        except Failure as failure:
            last = last_said(node.log, ERROR)
            said = f"; the node's last error line: {last}" if last else ""
            who = f"{setup.name}: " if self._scenario.mesh else ""
            raise Failure(f"{who}{failure}{said}") from failure

    def _show_end(self) -> int:
        scenario = self._scenario
        if scenario.end is not End.NOT_WHOLE:
            bank = "bank B of each node" if scenario.mesh else "bank B"
            untouched = scenario.end is End.UNTOUCHED
            holds = "still holds the old version" if untouched else "holds the image"
            self._display.step("compared", f"{bank} {holds}, byte for byte")
        self._display.verdict(True, f"As expected: {scenario.ending}.")
        return COMMITTED if scenario.end is End.COMMITTED else ENDED_OTHERWISE
