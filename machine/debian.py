# SPDX-License-Identifier: MIT
"""What comes from Debian, by apt and from where this machine has it: a system, a kernel, a source."""

import pathlib
import re

from rig.failure import Failure
from rig.processes import run

_LONG = 1800.0  # seconds
_RELEASE = "bookworm"


def run_to_the_end(words: list[object], what: str, **options: object) -> str:
    """Its output; a failure shows the last lines."""
    done = run([str(word) for word in words], patience=_LONG, **options)
    if done.returncode != 0:
        said = "\n".join((done.stdout + done.stderr).splitlines()[-8:])
        raise Failure(f"{what} failed: {words[0]} ended with {done.returncode}:\n{said}")
    return done.stdout


def package_lists() -> list[pathlib.Path]:
    """apt's lists of sources that are of the release."""
    folder = pathlib.Path("/etc/apt")
    found = [folder / "sources.list", *sorted(folder.glob("sources.list.d/*.sources"))]
    found += sorted(folder.glob("sources.list.d/*.list"))
    lists = [one for one in found if one.is_file() and _RELEASE in one.read_text()]
    if not lists:
        raise Failure(f"no list of sources in {folder} names {_RELEASE}")
    return lists


def make_system(folder: pathlib.Path, packages: list[str], architecture: str) -> None:
    """A small system with these packages, configured as an installation is."""
    run_to_the_end(
        [
            "mmdebstrap", "--variant=minbase", f"--architectures={architecture}",
            f"--include={','.join(packages)}", '--aptopt=APT::Install-Recommends "false"',
            _RELEASE, folder, *package_lists(),
        ],
        "making a small Debian system",
    )  # fmt: skip


def fetch_kernel(folder: pathlib.Path, package: str, architecture: str) -> None:
    """The kernel that the package depends on, unpacked."""
    named = run_to_the_end(["apt-cache", "depends", package], "finding the kernel")
    found = re.search(r"Depends: (linux-image-\S+)", named)
    if not found:
        raise Failure(f"{package} depends on no kernel; run apt-get update")
    name = found[1].split(":")[0]
    run_to_the_end(
        ["apt-get", "-qq", "download", f"{name}:{architecture}"], "fetching the kernel", cwd=folder
    )
    (archive,) = folder.glob("*.deb")
    run_to_the_end(["dpkg-deb", "-x", archive, folder], "unpacking the kernel")
    archive.unlink()


def fetch_source(folder: pathlib.Path, package: str) -> pathlib.Path:
    """The unpacked source, with Debian's changes."""
    parts, lists = folder / "apt", folder / "apt-lists"
    parts.mkdir()
    (lists / "partial").mkdir(parents=True)
    for one in package_lists():
        text = one.read_text()
        text = re.sub(r"^Types: deb$", "Types: deb-src", text, flags=re.M)
        (parts / one.name).write_text(re.sub(r"^deb ", "deb-src ", text, flags=re.M))
    apt = [
        "apt-get", "-qq", "-o", "Dir::Etc::sourcelist=/dev/null",
        "-o", f"Dir::Etc::sourceparts={parts}", "-o", f"Dir::State::lists={lists}",
    ]  # fmt: skip
    run_to_the_end([*apt, "update"], "reading Debian's list of sources")
    run_to_the_end([*apt, "source", package], f"fetching the source of {package}", cwd=folder)
    (tree,) = (one for one in folder.glob(f"{package}-*") if one.is_dir())
    return tree
