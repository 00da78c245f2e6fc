#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Builds for every processor that has a toolchain file, for musl and with a newer compiler, tests there
or under qemu's user emulation, and shows what came out; and for this machine's without systemd, as a
whole node. ./dev matrix installs what this needs and starts it.

    matrix.py [--ci | --product] [TARGET...]
"""
import argparse
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
TARGETS = "arm64", "armhf", "mipsel", "i386", "s390x", "musl"
COMPILERS = ("clang-16",)
PACKAGES = """libc6-dev libcjson-dev libcurl4-openssl-dev libgmock-dev libgtest-dev libinih-dev
    libmosquitto-dev libssl-dev libstdc++6 libsystemd-dev libubootenv-dev zlib1g-dev"""
NO_SYSTEMD = "no-systemd"
LIBRARY_CHECKS = r"^abi\.(exports|imports|needed|system_calls|size|c_host)$"
SUITE_LIMIT = 900  # seconds
# The whole matrix. The tests of programs start other programs, and want the processor itself.
WHOLE = {
    "arm64": {"suites"},
    "armhf": {"suites", "programs"},
    "mipsel": {"suites"},
    "i386": {"suites"},
    "s390x": {"suites"},
    "musl": {"suites", "programs"},
    "clang-16": {"suites", "programs", "everything"},
    NO_SYSTEMD: {"nodes"},
}
# What a continuous check has time for.
CI = {
    "arm64": set(),
    "armhf": {"programs"},
    "mipsel": set(),
    "i386": {"suites"},
    "s390x": {"suites"},
    NO_SYSTEMD: {"node"},
}
# This machine runs their programs itself.
NATIVE = "i386", "musl", "clang-16"
# Without a library of the bus.
WITHOUT_SERVICE = ("musl",)
CI_NODE = "otad otactl ota-host ota-desk-host otaSwAgent otaSwPlatform ota-image ota-boot-state"


class Failed(Exception):
    pass


class Target:
    """One processor: its build, and a row of the table."""

    def __init__(self, name, jobs):
        self.name = name
        self.jobs = jobs
        self.build = ROOT / "build" / name
        self.log = ROOT / "build" / f"{name}.log"
        self.sysroot = ROOT / "build/sysroot" / name
        self.tests = 0
        self.programs = ""
        self.failed = []
        self.start = time.monotonic()
        self.log.parent.mkdir(exist_ok=True)
        self.log.write_text("")

    def run(self, *command):
        with self.log.open("a") as log:
            print("$", *command, file=log, flush=True)
            code = subprocess.run(
                [str(word) for word in command], cwd=ROOT, stdout=log, stderr=log, check=False
            ).returncode
        if code != 0:
            raise Failed(f"{self.name}: {command[0]} failed; the whole log is {self.log}")

    def cached(self, name):
        return re.search(rf"^{name}:\w+=(.*)$", (self.build / "CMakeCache.txt").read_text(), re.M)[
            1
        ]

    def lay_out(self):
        tools = ROOT / "cmake/targets"
        if self.name == "musl":
            self.run(tools / "musl_sysroot.sh", self.sysroot, self.jobs)
        elif self.name in TARGETS:
            self.run(tools / "sysroot.sh", self.name, self.sysroot, *PACKAGES.split())

    def configure(self, programs):
        self.run(
            *("cmake", "--preset", self.name, "-B", self.build, "-DBUILD_TESTING=ON"),
            f"-DOTA_BUILD_PLATFORM={'ON' if programs else 'OFF'}",
            f"-DOTA_BUILD_SERVICE={'OFF' if self.name in WITHOUT_SERVICE else 'ON'}",
            *(self.at_home() if self.name == "i386" else ()),
        )

    def at_home(self):
        """Programs start by the loader of the sysroot and find its libraries: no emulator is needed."""
        libraries = [self.sysroot / folder / "i386-linux-gnu" for folder in ("lib", "usr/lib")]
        loader = self.sysroot / "lib/ld-linux.so.2"
        linked = f"-Wl,--dynamic-linker={loader},--disable-new-dtags"
        return (
            "-DOTA_EMULATOR=",
            f"-DCMAKE_EXE_LINKER_FLAGS={linked},-rpath,{libraries[0]},-rpath,{libraries[1]}",
        )

    def make(self, *targets):
        self.run("cmake", "--build", self.build, "-j", self.jobs, "--target", *targets)

    def check(self, what, fewest, *choice):
        with self.log.open("a") as log:
            done = subprocess.run(
                ["ctest", "--test-dir", self.build, "--output-on-failure", *choice],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                check=False,
            )
            log.write(done.stdout)
        counted = re.search(r"(\d+) tests failed out of (\d+)", done.stdout)
        if not counted or int(counted[2]) < fewest or "***Skipped" in done.stdout:
            self.failed.append(f"{what} did not run")
            return
        self.tests += int(counted[2])
        if done.returncode != 0:
            self.failed += re.findall(r"^\s*\d+ - (\S+)", done.stdout, re.M)

    def run_suites(self):
        """How many of their tests passed."""
        emulated = []
        if self.name not in NATIVE:
            emulated = [self.cached("OTA_EMULATOR"), "-L", self.sysroot]
        tests = 0
        for suite in map(pathlib.Path, (self.build / "suites.txt").read_text().split()):
            log = suite.with_suffix(".log")
            command = [*emulated, suite]
            # The agent comes from sixteen local ports: those of a network of its own.
            if os.geteuid() == 0:
                command = [
                    "unshare",
                    "-n",
                    "sh",
                    "-c",
                    'ip link set lo up; exec "$@"',
                    "sh",
                    *command,
                ]
            with log.open("w") as output:
                try:
                    code = subprocess.run(
                        [str(word) for word in command],
                        cwd=suite.parent,
                        stdout=output,
                        stderr=output,
                        stdin=subprocess.DEVNULL,
                        timeout=SUITE_LIMIT,
                        check=False,
                    ).returncode
                except subprocess.TimeoutExpired:
                    code = "a time limit"
            text = log.read_text(errors="replace")
            passed = re.search(r"^\[  PASSED  \] (\d+) tests?\.", text, re.M)
            tests += int(passed[1]) if passed else 0
            wrong = re.findall(r"^\[  FAILED  \] (\w+\.\w+)$", text, re.M)
            self.failed += [f"{suite.name}: {test}" for test in wrong]
            if (code != 0 or not passed) and not wrong:
                self.failed.append(f"{suite.name} ended with {code}: {log}")
        return tests

    def size(self):
        with tempfile.TemporaryDirectory() as folder:
            stripped = pathlib.Path(folder, "stripped.so")
            library = self.build / "src/libotaSwAgent.so"
            subprocess.run([self.cached("CMAKE_STRIP"), "-o", stripped, library], check=True)
            return stripped.stat().st_size

    def row(self):
        verdict = f"{len(self.failed)} failed" if self.failed else "passed"
        seconds = time.monotonic() - self.start
        size = f"{self.size() / 1024:.1f} KiB"
        return COLUMNS.format(
            self.name, size, self.tests, self.programs, verdict, f"{seconds:.0f} s"
        )


COLUMNS = "{:10} {:>10} {:>6} {:>14} {:>10} {:>8}"


class NodeWithoutSystemd(Target):
    """This machine's processor; elogind's library beside the machine's own, which it would replace."""

    def lay_out(self):
        machine = subprocess.run(
            ["dpkg", "--print-architecture"], check=True, capture_output=True, text=True
        ).stdout.strip()
        self.run(ROOT / "cmake/targets/sysroot.sh", machine, self.sysroot, "libelogind-dev")
        # Apart from that sysroot's C library, which no program of this machine may load.
        folder = self.sysroot / "elogind"
        folder.mkdir(exist_ok=True)
        library = next(self.sysroot.glob("lib/*/libelogind.so.0"))
        shutil.copy(library, folder / library.name)
        shutil.copy(library, folder / "libelogind.so")
        described = next(self.sysroot.glob("usr/lib/*/pkgconfig/libelogind.pc")).read_text()
        described = re.sub(r"(?m)^libdir=.*", f"libdir={folder}", described)
        described = re.sub(r"(?m)^includedir=", f"includedir={self.sysroot}", described)
        (folder / "libelogind.pc").write_text(described)


def node_without_systemd(extent, jobs):
    target = NodeWithoutSystemd(NO_SYSTEMD, jobs)
    target.lay_out()
    target.run("cmake", "--preset", NO_SYSTEMD)
    target.make(*(["all"] if "nodes" in extent else CI_NODE.split()))
    if "nodes" in extent:
        target.check("the nodes", 50, "-L", "system", "-LE", "long")
    else:
        target.check("the node", 1, "-R", r"^system\.service\.init$")
    return target


def one_target(name, extent, jobs):
    if name == NO_SYSTEMD:
        return node_without_systemd(extent, jobs)
    target = Target(name, jobs)
    target.lay_out()
    target.configure("programs" in extent)
    target.make("otaSwAgent", "ota_abi_layout", "ota_c_host")
    if "everything" in extent:
        target.make("all")
    if "programs" in extent:
        target.make("shipped", "ota-host")
        target.programs = "compiled"
    if "suites" in extent:
        target.make("library_suites")
    target.check("the checks of the library", 5, "-R", LIBRARY_CHECKS)
    if "suites" in extent:
        target.tests += target.run_suites()
    return target


def main():
    parser = argparse.ArgumentParser(prog="./dev matrix", description=__doc__.split("\n\n")[0])
    parser.add_argument("targets", nargs="*", metavar="TARGET", help=" ".join(WHOLE))
    how_far = parser.add_mutually_exclusive_group()
    how_far.add_argument("--product", action="store_true", help="compile the programs everywhere")
    how_far.add_argument(
        "--ci",
        action="store_true",
        help="the library of five processors with size, imports and C host; the programs of armhf "
        "compiled; the library's suites on s390x and i386; one test of a node without systemd",
    )
    parser.add_argument("--jobs", "-j", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    extents = CI if arguments.ci else WHOLE
    for name in arguments.targets:
        if name not in extents:
            parser.error(f"no target '{name}': there are {' '.join(extents)}")

    rows, mistakes = [], []
    for name in arguments.targets or extents:
        print(f"matrix: {name} (log: build/{name}.log)", file=sys.stderr, flush=True)
        extent = extents[name] | ({"programs"} if arguments.product else set())
        try:
            target = one_target(name, extent, arguments.jobs)
            rows.append(target.row())
            mistakes += [f"{name}: {mistake}" for mistake in target.failed]
        except Failed as failure:
            rows.append(COLUMNS.format(name, "not built", "", "", "", "").rstrip())
            mistakes.append(str(failure))
    print(COLUMNS.format("target", "library", "tests", "programs", "", "time"))
    print("\n".join(rows))
    print("\n".join(mistakes), file=sys.stderr)
    return 1 if mistakes else 0


if __name__ == "__main__":
    sys.exit(main())
