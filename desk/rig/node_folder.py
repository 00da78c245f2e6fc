# SPDX-License-Identifier: MIT
"""What a node is made of: configuration, banks, boot state; and its boot loader.

Paths in a node's configuration are short and relative, and its temporary directory is its folder.
"""

import dataclasses
import os
import pathlib
import shutil
from typing import Any

from rig import boot_environment
from rig.certificates import Pair
from rig.failure import Failure
from rig.files import copy_file, digest_of, write_file
from rig.folder_lock import FolderLock
from rig.images import Image
from rig.processes import Words, run
from rig.programs import Programs

# What the agent keeps in its temporary directory, beside the images themselves.
_TEMPORARY = (
    "tmpImage", "software_download", "ota_dwld_prog", "ota_agent_data", "otaMD5.txt",
    "upgrade_status", "upgrade_done_reboot",
)  # fmt: skip
_IMAGES = "4QZ*"
BOOTED = (0, 3)  # of the boot loader: as it was told, or with something to say


def counts_as_gateway(mode: str, role: str) -> bool:
    """As the agent classifies them: a bridge that is the controller counts as the gateway."""
    return mode == "RGW" or role == "Controller"


def other_bank(bank: str) -> str:
    return "b" if bank == "a" else "a"


@dataclasses.dataclass(frozen=True)
class RootAccess:
    """The message broker of the root, as a node knows it."""

    address: str  # host:port
    authority: pathlib.Path  # that its certificate is signed by
    node: Pair  # who the node is to it
    topic: str = ""  # the same on every node of a mesh; empty: the usual one


@dataclasses.dataclass
class NodePlan:
    """What is to be made."""

    mac: str
    serial: str
    model: str
    mode: str
    role: str
    bank_bytes: int
    factory: Image  # runs from bank a
    passive: Image | None = None  # in bank b, where it holds one
    authority: pathlib.Path | None = None  # that it trusts for file servers
    signer_authority: pathlib.Path | None = None  # none: images need no signature
    root: RootAccess | None = None
    preferred_time: str = "03:00"
    logs: str = "logs"
    boot_state: str = "boot_state"
    trial: str = ""  # lines of these sections
    service: str = ""
    address: str = ""  # that its downloads come from; empty: as the machine chooses
    config: pathlib.Path | None = None  # used as it is, instead of what is written here

    def text(self) -> str:
        """The node configuration."""
        sections = {
            "node": f"model = {self.model}\nserial = {self.serial}\nwork_mode = {self.mode}\n"
            f"work_role = {self.role}\nonboarding = 0\n"
            f"preferred_activation_time = {self.preferred_time}",
            "paths": f"tmp = .\nconfigs = configs\nlogs = {self.logs}\nca_certificate = ca.pem",
            "banks": f"a = banks/a\nb = banks/b\nsize = {self.bank_bytes}\n"
            f"boot_state = {self.boot_state}",
            "images": "signature = required\nsigner_ca = signer-ca.pem"
            if self.signer_authority
            else "signature = optional",
            "trial": self.trial,
            "service": self.service,
            "root": f"broker = {self.root.address}\nca_certificate = root-ca.pem\n"
            "certificate = root-node.pem\nkey = root-node.key"
            + (f"\ntopic = {self.root.topic}" if self.root.topic else "")
            if self.root
            else "",
        }
        return "\n".join(f"[{name}]\n{lines}\n" for name, lines in sections.items() if lines)


@dataclasses.dataclass
class Booted:
    """How a boot went."""

    bank: str
    version: str
    passed_over: list[str]  # a line for each attempt and bank that did not come up


class NodeFolder:
    """The folder that a node's paths begin at."""

    def __init__(self, programs: Programs, folder: pathlib.Path, plan: NodePlan) -> None:
        self.programs, self.folder, self.plan = programs, folder, plan
        self.reboot_file = folder / "reboot-asked"  # is there once the agent asked for one
        self.config = folder / "node.conf"
        self.agent_data = folder / "ota_agent_data"
        self.mark = folder / plan.logs / "ota_act_success"
        self.boot_state_file = folder / plan.boot_state

    def make(self) -> None:
        """Everything in the folder, which must not be there yet."""
        plan = self.plan
        for name in ("banks", plan.logs, "configs"):
            (self.folder / name).mkdir(parents=True)
        self.let_in()
        if not plan.config:
            self.write_config()
        self._make_banks()
        # The socket of the configuration manager, which the agent waits for.
        os.mknod(self.folder / "cfgmgr_socket", 0o600 | 0o140000)

    def let_in(self) -> None:
        """Whom it trusts and who it is, as the plan says now."""
        plan = self.plan
        for source, name in (
            (plan.authority, "ca.pem"),
            (plan.signer_authority, "signer-ca.pem"),
            (plan.root and plan.root.authority, "root-ca.pem"),
            (plan.root and plan.root.node.certificate, "root-node.pem"),
            (plan.root and plan.root.node.key, "root-node.key"),
            (plan.config, "node.conf"),
        ):
            if source:
                (self.folder / name).unlink(missing_ok=True)
                copy_file(source, self.folder / name)
        if plan.root:
            (self.folder / "root-node.key").chmod(0o600)

    def write_config(self) -> None:
        """As the plan says now."""
        write_file(self.config, self.plan.text())

    def _make_banks(self) -> None:
        plan = self.plan
        copy_file(plan.factory.path, self.bank("a"), plan.bank_bytes)
        if plan.passive:
            copy_file(plan.passive.path, self.bank("b"), plan.bank_bytes)
        else:
            self.bank("b").touch()
            os.truncate(self.bank("b"), plan.bank_bytes)
        words: Words = [
            "--active",
            "a",
            "--image",
            plan.factory.path,
            "--output",
            self.boot_state_file,
        ]
        self.programs.run_tool("ota-boot-state", "init", *words)
        if plan.passive:
            boot_environment.set_variables(
                self.boot_state_file,
                ota_b_version=plan.passive.version,
                ota_b_size=plan.passive.size,
                ota_b_sha256=digest_of(plan.passive.path, "sha256"),
            )

    def bank(self, name: str) -> pathlib.Path:
        return self.folder / "banks" / name

    def boot_state(self) -> dict[str, Any]:
        """{"active": ..., "next": ..., "trial": ..., "a": {"whole": ..., "version": ...}, "b": ...,
        "failed": {"<version>": {"trials": ..., "last": ...}}}"""
        shown = self.programs.run_tool("ota-boot-state", "show", self.boot_state_file)
        state: dict[str, Any] = {"failed": {}}
        for line in shown.splitlines():
            if line.startswith("failed: "):
                version, *rest = line.split()[1:]
                state["failed"][version] = dict(pair.split("=", 1) for pair in rest)
            elif ":" in line:
                bank, text = line.split(":", 1)
                state[bank] = dict(pair.split("=", 1) for pair in text.split())
            else:
                key, value = line.split("=", 1)
                state[key] = value
        return state

    def is_off(self) -> bool:
        """No host process runs the node: it holds this lock for as long as it lives."""
        lock = FolderLock(self.boot_state_file.with_name(self.boot_state_file.name + ".lock"))
        try:
            return lock.try_lock()
        finally:
            lock.close()

    def damage_bank(self, running: bool = False) -> None:
        """Changes a byte in the middle of what the passive bank holds, or the running one; nothing
        else notices."""
        state = self.boot_state()
        bank = state["active"] if running else other_bank(state["active"])
        middle = int(state[bank].get("size") or 0) // 2
        try:
            with open(self.bank(bank), "r+b") as file:
                file.seek(middle)
                byte = file.read(1)
                file.seek(middle)
                file.write(bytes([byte[0] ^ 0xFF]))
        except (OSError, IndexError) as error:
            raise Failure(f"cannot change a byte of {self.bank(bank)}") from error

    def downloaded_bytes(self) -> int:
        """Of the image that is being downloaded; 0 where there is none."""
        for image in self.folder.glob(_IMAGES):
            try:
                return image.stat().st_size
            except FileNotFoundError:
                continue
        return 0

    # The boot loader.

    def lose_memory(self) -> None:
        """What an empty temporary directory makes of a node that is off."""
        self.reboot_file.unlink(missing_ok=True)
        for path in (self.folder / name for name in _TEMPORARY):
            if path.is_dir() and not path.is_symlink():
                shutil.rmtree(path)
            else:
                path.unlink(missing_ok=True)
        for image in self.folder.glob(_IMAGES):
            image.unlink()

    def boot_loader(self) -> list[str]:
        """Its command line."""
        words: Words = [
            self.programs.program("ota-boot-state"), "boot", "--a", self.bank("a"),
            "--b", self.bank("b"), "--state", self.boot_state_file,
        ]  # fmt: skip
        return [str(word) for word in words]

    def run_boot_loader(self) -> Booted:
        """The bank that is to boot becomes the running one, if its bytes are good. What lies in the
        temporary directory is lost, as where that is memory."""
        self.lose_memory()
        finished = run(self.boot_loader(), cwd=self.folder)
        said = [line.removeprefix("ota-boot-state: ") for line in finished.stderr.splitlines()]
        if finished.returncode not in BOOTED:
            raise Failure(f"the node cannot boot: {'; '.join(said)}")
        bank = finished.stdout.strip().removeprefix("active=")
        return Booted(bank, self.boot_state()[bank]["version"], said)
