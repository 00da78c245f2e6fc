#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Builds the Debian packages in a clean chroot, into build/packages, and tries them in another one.
./dev package installs what this needs and starts it.

    package.py            built twice with the same bytes, lintian, installed, upgraded, removed and
                          purged, and a desk node upgraded by what was installed
    package.py --ci       built once, lintian, installed, upgraded, removed and purged
    package.py --twice    built twice and compared
    package.py --build    built
    package.py --try      what was built before is tried as above

The chroots are kept in build/package until their list of packages changes; ./dev clean removes them.
"""
import argparse
import fcntl
import filecmp
import os
import re
import shutil
import sys
import time

from chroot import TOP, WORK, Chroot, Failure, run, said, say

PACKAGES = TOP / "build/packages"
DEBIAN = TOP / "packaging/debian"
CONTROL = (DEBIAN / "control").read_text()
OWN = re.findall(r"^Package: (.*)$", CONTROL, re.M)
LIFE = TOP / "tests/packaging/life.sh"

# What two builds may differ in, and their packages not: where, in which zone, language and mask.
HERE = "place=/build; export TZ=UTC LC_ALL=C.UTF-8; umask 022"
ELSEWHERE = "place=/srv/again/build; export TZ=Asia/Tokyo LC_ALL=POSIX; umask 002"
BUILD = """
mkdir -p $place
cd $place
(umask 022 && tar -xf /in/source.tar)
cd source
mv packaging/debian debian
DEB_BUILD_OPTIONS="nocheck parallel={jobs}" dpkg-buildpackage -us -uc
find .. -maxdepth 1 -type f -exec cp {{}} /out \\;
"""


def first_names(field):
    """The packages of a list of dependencies; of alternatives the first."""
    names = [re.split(r"[ :|(]", one.strip())[0] for one in field.split(",")]
    return sorted({name for name in names if name and name not in OWN and "$" not in name})


def build_chroot():
    field = re.search(r"^Build-Depends:\n((?: .*\n)+)", CONTROL, re.M)[1]
    names = [name.replace("debhelper-compat", "debhelper") for name in first_names(field)]
    names = [name for name in names if not name.startswith("dh-sequence-")]
    return Chroot("build", "buildd", names)


def source_archive():
    """What git knows of this tree, and what it would add, as it stands; all of one day, so that each
    clone gives the same bytes."""
    if said("git", "-C", TOP, "rev-parse", "--show-prefix").strip():
        raise Failure("package needs git's list of files: use a clone")
    listed = said("git", "-C", TOP, "ls-files", "-z", "--cached", "--others", "--exclude-standard")
    files = sorted(name for name in set(listed.split("\0")) if name and os.path.lexists(TOP / name))
    names = WORK / "source.names"
    names.write_text("".join(f"{name}\0" for name in files))
    archive = WORK / "source.tar"
    as_roots = "--owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX".split()
    words = ["tar", "-C", TOP, "-cf", archive, *as_roots, "--transform=s,^,source/,S"]
    date = re.search("^ -- .*>  (.*)$", (DEBIAN / "changelog").read_text(), re.M)[1]
    said(*words, f"--mtime={date}", "--null", "--no-recursion", f"--files-from={names}")
    return archive


def build(name, circumstances, source, folder):
    arrived = WORK / "arrived"
    shutil.rmtree(arrived, ignore_errors=True)
    arrived.mkdir()
    script = circumstances + BUILD.format(jobs=os.cpu_count() or 1)
    build_chroot().use(name, script, bring=[source], fetch=arrived)
    shutil.rmtree(folder, ignore_errors=True)
    (arrived / "out").rename(folder)
    arrived.rmdir()


def compare(first, second):
    """Everything but the notes on how and where they were built."""
    names = {
        path.name
        for folder in (first, second)
        for path in folder.iterdir()
        if path.suffix not in (".buildinfo", ".changes")
    }
    _, different, missing = filecmp.cmpfiles(first, second, sorted(names), shallow=False)
    if different or missing:
        raise Failure(
            f"two builds differ in {', '.join([*different, *missing])}; see {first} and {second}"
        )
    say(f"twice the same: {len(names)} files")


def build_twice():
    source, second = source_archive(), WORK / "second"
    build("build", HERE, source, PACKAGES)
    build("build-again", ELSEWHERE, source, second)
    compare(PACKAGES, second)
    shutil.rmtree(second)


def lint():
    changes = list(PACKAGES.glob("*.changes"))
    said_by_lintian = run(
        "lintian", ["lintian", "--fail-on=error,warning", "--display-info", *changes]
    )
    complaints = [line for line in said_by_lintian.splitlines() if re.match("[EWI]:", line)]
    say("\n".join(complaints) if complaints else "lintian: nothing to say")


def packages(*names):
    found = [next(PACKAGES.glob(f"{name}_*.deb"), None) for name in names]
    if None in found:
        raise Failure(f"{PACKAGES} lacks {names[found.index(None)]}: run ./dev package --build")
    return found


def chroot_for(name, files, *more):
    """A root with what these packages depend on, and without them."""
    field = ",".join(said("dpkg-deb", "-f", file, "Depends") for file in files)
    return Chroot(name, "minbase", sorted({*first_names(field), *more}))


def check_library():
    """What is packaged is the library that the tests know: its names, its needs, its size."""
    unpacked = WORK / "library"
    shutil.rmtree(unpacked, ignore_errors=True)
    said("dpkg-deb", "-x", *packages("libotaswagent"), unpacked)
    library = next(unpacked.rglob("libotaSwAgent.so"))
    checks = [
        ["exports", "--list", TOP / "abi/otaSwAgent.map"],
        ["imports", "--list", TOP / "abi/imports.txt"],
        ["needed"],
    ]
    if said("dpkg", "--print-architecture").strip() == "amd64":
        checks.append(["size", "--largest", "64"])
    for check, *options in checks:
        said("python3", "-B", TOP / "tests/abi/check_library.py", check, library, *options)
    say(f"library: {library.stat().st_size} bytes, with the names it has to have")


def live():
    files = packages("libotaswagent", "ota-tools", "otactl", "otad")
    told = chroot_for("node", files).use("life", "sh -eu /in/life.sh /in", bring=[*files, LIFE])
    say("\n".join(line for line in told.splitlines() if line.startswith("life: ")))


def upgrade_desk_node():
    """The test that the packages bring, as their archive would run it."""
    files = packages(*OWN)
    source = next(PACKAGES.glob("*.dsc"))
    script = """
ip link set lo up
dpkg -i /in/*.deb
cd /in
dpkg-source -x *.dsc /tmp/source
useradd --create-home tester
autopkgtest --no-built-binaries --user=tester /tmp/source -- null
"""
    wanted = re.findall("^Depends: (.*)$", (DEBIAN / "tests/control").read_text(), re.M)
    tools = ["autopkgtest", "dpkg-dev", "iproute2", *first_names(",".join(wanted))]
    chroot = chroot_for("desk", files, *tools)
    told = chroot.use("desk", script, bring=[*files, source, *PACKAGES.glob("*.tar.xz")])
    ends = re.findall(r"^\S+ +(?:PASS|FAIL|SKIP)\b.*$", told.partition("@@ summary")[2], re.M)
    say("\n".join(f"desk: {end}" for end in ends))


def main():
    parser = argparse.ArgumentParser(prog="./dev package", description="Build the Debian packages.")
    how = parser.add_mutually_exclusive_group()
    how.add_argument("--ci", action="store_true", help="built once, lintian, installed to purged")
    how.add_argument("--twice", action="store_true", help="built twice and compared, and no more")
    how.add_argument("--build", action="store_true", help="built, and no more")
    how.add_argument(
        "--try", action="store_true", dest="trial", help="what was built before is tried, not built"
    )
    options = parser.parse_args()
    WORK.mkdir(parents=True, exist_ok=True)
    lock = (WORK / "lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except OSError:
        say("package: another one runs in this tree; wait for its end")
        return 1
    shutil.rmtree(WORK / "roots", ignore_errors=True)  # of one that was killed
    begin = time.monotonic()
    try:
        if options.ci or options.build:
            build("build", HERE, source_archive(), PACKAGES)
        elif not options.trial:
            build_twice()
        if not options.twice and not options.build:
            lint()
            check_library()
            live()
        if not options.twice and not options.build and not options.ci:
            upgrade_desk_node()
    except Failure as failure:
        say(f"package: {failure}")
        return 1
    say(f"packages in {PACKAGES}: {time.monotonic() - begin:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
