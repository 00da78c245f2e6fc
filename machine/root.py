# SPDX-License-Identifier: MIT
"""The root file system of a node: Debian's packages, the project, and what this board adds."""

import pathlib
import shutil
import subprocess

from machine.architecture import Architecture
from machine.cache import Cache, fingerprint
from machine.debian import fetch_kernel, make_system, run_to_the_end
from machine.project import Project
from machine.trimming import MASKED, copy_trimmed
from rig.failure import Failure

_HERE = pathlib.Path(__file__).parent
_PACKAGES = [
    "busybox-static", "dbus", "iproute2", "kmod", "libcjson1", "libcurl4", "libinih1",
    "libmosquitto1", "libssl3", "libubootenv-tool", "libubootenv0.1", "mawk", "procps", "systemd",
    "systemd-sysv",
]  # fmt: skip
_ENABLED = ("otad", "bridge", "control", "ready")
FILE_SERVER = "files.example.net"
FILE_SERVER_ADDRESS = "10.0.2.100"
GROUP = "otaswagent"
USERS = {"operator": 1000, "stranger": 1001}  # the first is of the group


class Sources:
    """What a root is made from and does not change with the project."""

    def __init__(self, cache: Cache, architecture: Architecture) -> None:
        name = architecture.debian
        self.architecture = architecture
        self.system = cache.made(
            f"system-{name}",
            fingerprint(_HERE / "debian.py", _PACKAGES),
            "a small Debian system (a minute)",
            lambda folder: make_system(folder / "root", _PACKAGES, name),
        )
        self.kernel = cache.made(
            f"kernel-{name}",
            fingerprint(_HERE / "debian.py", architecture.kernel_package),
            "the kernel",
            lambda folder: fetch_kernel(folder, architecture.kernel_package, name),
        )


def make_tree(
    cache: Cache, sources: Sources, project: Project, trust: pathlib.Path
) -> pathlib.Path:
    """The folder of a healthy node's root; `trust`: with ca.pem and signers.pem."""
    key = fingerprint(
        sources.system.name, sources.kernel.name, sources.architecture, project.fingerprint(), trust,
        _HERE / "root.py", _HERE / "trimming.py", _HERE / "overlay", _HERE / "board",
    )  # fmt: skip

    def make(folder: pathlib.Path) -> None:
        _make(folder, sources, project, trust)

    return cache.made(f"tree-{sources.architecture.name}", key, "the node's root", make)


def _make(tree: pathlib.Path, sources: Sources, project: Project, trust: pathlib.Path) -> None:
    whole = tree.with_name(f"{tree.name}.whole")
    run_to_the_end(["rm", "-rf", whole], "clearing an earlier root")
    run_to_the_end(["cp", "-a", sources.system / "root", whole], "copying the system")
    project.install(whole)
    copy_trimmed(whole, tree)
    run_to_the_end(["rm", "-rf", whole], "clearing the whole root")
    for name in ("boot", "dev", "proc", "sys", "run", "tmp", "var"):
        (tree / name).mkdir(exist_ok=True)
    shutil.copytree(_HERE / "overlay", tree, dirs_exist_ok=True)
    for file in ("ca.pem", "signers.pem"):
        shutil.copy(trust / file, tree / "etc/otaSwAgent" / file)
    _name_the_node(tree)
    _add_users(tree)
    _choose_units(tree)
    _add_kernel(tree, sources)


def _name_the_node(tree: pathlib.Path) -> None:
    (tree / "etc/hostname").write_text("node\n")
    (tree / "etc/machine-id").write_text(f"{7:032d}\n")
    (tree / "etc/hosts").write_text(f"127.0.0.1 localhost\n{FILE_SERVER_ADDRESS} {FILE_SERVER}\n")


def _add_users(tree: pathlib.Path) -> None:
    with open(tree / "etc/passwd", "a", encoding="utf-8") as file:
        for name, number in USERS.items():
            file.write(f"{name}:x:{number}:{number}::/tmp:/bin/sh\n")
    groups = (tree / "etc/group").read_text().splitlines()
    member = next(iter(USERS))
    groups = [line + member if line.startswith(f"{GROUP}:") else line for line in groups]
    if not any(line.startswith(f"{GROUP}:") for line in groups):
        raise Failure(f"the project made no group {GROUP}: sysusers.d is missing in {tree}")
    groups += [f"{name}:x:{number}:" for name, number in USERS.items()]
    (tree / "etc/group").write_text("\n".join(groups) + "\n")


def _choose_units(tree: pathlib.Path) -> None:
    units = [f"{name}.service" for name in _ENABLED] + ["cfgmgr.socket"]
    systemctl = ["systemctl", f"--root={tree}"]
    run_to_the_end([*systemctl, "enable", *units], "enabling the node's units")
    run_to_the_end([*systemctl, "mask", *MASKED], "masking what no node needs")


def _add_kernel(tree: pathlib.Path, sources: Sources) -> None:
    package = sources.kernel
    (kernel,) = (package / "boot").glob(f"{sources.architecture.kernel_file}*")
    shutil.copy(kernel, tree / "boot/kernel")
    release = kernel.name.removeprefix(sources.architecture.kernel_file)
    modules = _in_order(package / "lib/modules" / release, sources.architecture.modules)
    initramfs = tree / "boot/initramfs.files"
    for name in ("bin", "dev", "lib", "new", "proc", "sys"):
        (initramfs / name).mkdir(parents=True)
    shutil.copy(sources.system / "root/bin/busybox", initramfs / "bin/busybox")
    shutil.copy(_HERE / "board/initramfs-init", initramfs / "init")
    for module in modules:
        shutil.copy(module, initramfs / "lib" / module.name)
    names = "\n".join(module.stem for module in modules)
    (initramfs / "modules").write_text(names + "\n")
    with open(tree / "boot/initramfs", "wb") as file:
        packed = subprocess.run(
            "find . | sort | cpio --quiet -o -H newc -R 0:0", shell=True, cwd=initramfs,
            stdout=file, check=False,
        )  # fmt: skip
    if packed.returncode != 0:
        raise Failure("cpio could not pack the initramfs")
    shutil.rmtree(initramfs)


def _in_order(folder: pathlib.Path, wanted: tuple[str, ...]) -> list[pathlib.Path]:
    """The modules' files, each behind those that it needs; what is built in is left out."""
    files = {path.stem.replace("-", "_"): path for path in (folder / "kernel").rglob("*.ko")}
    builtin = {
        pathlib.Path(line).stem.replace("-", "_")
        for line in (folder / "modules.builtin").read_text().splitlines()
    }
    ordered: list[pathlib.Path] = []

    def take(name: str) -> None:
        if name in builtin:
            return
        if name not in files:
            raise Failure(f"the kernel of {folder} has no module {name}")
        told = run_to_the_end(["modinfo", "-F", "depends", files[name]], "reading a module")
        for needed in told.strip().split(","):
            if needed:
                take(needed.replace("-", "_"))
        if files[name] not in ordered:
            ordered.append(files[name])

    for name in wanted:
        take(name)
    return ordered
