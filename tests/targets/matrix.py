#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Builds for every processor that has a toolchain file, tests under qemu's user emulation, and shows
what came out; and for this machine's without systemd, as a whole node. ./dev matrix installs what this
needs and starts it.

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
TARGETS = "arm64", "armhf", "mipsel", "i386", "s390x"
PACKAGES = """libc6-dev libcjson-dev libcurl4-openssl-dev libgmock-dev libgtest-dev libinih-dev
    libmosquitto-dev libssl-dev libstdc++6 libsystemd-dev libubootenv-dev zlib1g-dev"""
NO_SYSTEMD = "no-systemd"
LIBRARY_CHECKS = r"^abi\.(exports|imports|needed|system_calls|size|c_host)$"
SUITE_LIMIT = 900  # seconds
# What a continuous check has time for.
CI_SUITES = ("s390x",)
CI_PRODUCT = ("armhf",)
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
        self.run(ROOT / "cmake/targets/sysroot.sh", self.name, self.sysroot, *PACKAGES.split())

    def configure(self, product):
        self.run(
            *("cmake", "--preset", self.name, "-B", self.build),
            f"-DOTA_BUILD_PLATFORM={'ON' if product else 'OFF'}",
            "-DBUILD_TESTING=ON",
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
        emulator = self.cached("OTA_EMULATOR")
        for suite in map(pathlib.Path, (self.build / "suites.txt").read_text().split()):
            log = suite.with_suffix(".log")
            command = [emulator, "-L", self.sysroot, suite]
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
            self.tests += int(passed[1]) if passed else 0
            wrong = re.findall(r"^\[  FAILED  \] (\w+\.\w+)$", text, re.M)
            self.failed += [f"{suite.name}: {test}" for test in wrong]
            if (code != 0 or not passed) and not wrong:
                self.failed.append(f"{suite.name} ended with {code}: {log}")

    def size(self):
        with tempfile.TemporaryDirectory() as folder:
            stripped = pathlib.Path(folder, "stripped.so")
            library = self.build / "src/libotaSwAgent.so"
            subprocess.run([self.cached("CMAKE_STRIP"), "-o", stripped, library], check=True)
            return stripped.stat().st_size

    def row(self):
        verdict = f"{len(self.failed)} failed" if self.failed else "passed"
        seconds = time.monotonic() - self.start
        return f"{self.name:10} {self.size() / 1024:9.1f} KiB {self.tests:6} {verdict:>12} {seconds:7.0f} s"


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


def node_without_systemd(arguments):
    target = NodeWithoutSystemd(NO_SYSTEMD, arguments.jobs)
    target.lay_out()
    target.run("cmake", "--preset", NO_SYSTEMD)
    target.make(*(CI_NODE.split() if arguments.ci else ["all"]))
    if arguments.ci:
        target.check("the node", 1, "-R", r"^system\.service\.init$")
    else:
        target.check("the nodes", 50, "-L", "system", "-LE", "long")
    return target


def one_target(name, arguments):
    if name == NO_SYSTEMD:
        return node_without_systemd(arguments)
    target = Target(name, arguments.jobs)
    product = arguments.product or (arguments.ci and name in CI_PRODUCT)
    suites = not arguments.ci or name in CI_SUITES
    target.lay_out()
    target.configure(product)
    target.make("otaSwAgent", "ota_abi_layout", "ota_c_host")
    if product:
        target.make("shipped")
    if suites:
        target.make("library_suites")
    target.check("the checks of the library", 5, "-R", LIBRARY_CHECKS)
    if suites:
        target.run_suites()
    return target


def main():
    parser = argparse.ArgumentParser(prog="./dev matrix", description=__doc__.split("\n\n")[0])
    every = *TARGETS, NO_SYSTEMD
    parser.add_argument("targets", nargs="*", metavar="TARGET", help=" ".join(every))
    extent = parser.add_mutually_exclusive_group()
    extent.add_argument("--product", action="store_true", help="compile the programs, too")
    extent.add_argument(
        "--ci",
        action="store_true",
        help="the library everywhere with size, imports and C host; the programs of armhf "
        "compiled; the library's suites on s390x; one test of a node without systemd",
    )
    parser.add_argument("--jobs", "-j", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    for name in arguments.targets:
        if name not in every:
            parser.error(f"no target '{name}': there are {' '.join(every)}")

    rows, mistakes = [], []
    for name in arguments.targets or every:
        print(f"matrix: {name} (log: build/{name}.log)", file=sys.stderr, flush=True)
        try:
            target = one_target(name, arguments)
            rows.append(target.row())
            mistakes += [f"{name}: {mistake}" for mistake in target.failed]
        except Failed as failure:
            rows.append(f"{name:10} {'not built':>13}")
            mistakes.append(str(failure))
    print(f"{'target':10} {'library':>13} {'tests':>6} {'':12} {'time':>9}")
    print("\n".join(rows))
    print("\n".join(mistakes), file=sys.stderr)
    return 1 if mistakes else 0


if __name__ == "__main__":
    sys.exit(main())
