#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The library's own folders, built where only libcurl and cJSON are to be found, installed, and used
by a host in C.

    library_alone.py SOURCE-FOLDER CMAKE C-COMPILER C++-COMPILER
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, CMAKE, CC, CXX = pathlib.Path(sys.argv[1]), *sys.argv[2:5]
FOLDERS = "abi", "cmake", "include", "packaging", "src"
NOT_NEEDED = "GTest", "OpenSSL", "Python3", "Threads", "ZLIB"
PACKAGES = "libcjson", "libcurl"

HOST_CMAKE = """
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(otaSwAgent 0.1 REQUIRED)
add_executable(host {sources})
target_link_libraries(host PRIVATE otaSwAgent::otaSwAgent)
"""
HOST = """
#include <otaSwAgent/agent.h>
#include <platform/evbus.h>
#include <platform/nal.h>
#include <platform/nwa.h>
#include <platform/timers.h>
#include <stdio.h>

int main(void) {
    initOTAlib();
    printf("%s %d\\n", getCfgmgrSocketPath(), (int)sizeof swInfo);
    return 0;
}
"""


def run(*command, **options):
    done = subprocess.run(
        [str(part) for part in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
        timeout=600,
        **options,
    )
    assert done.returncode == 0, f"{command}: {done.stdout}"
    return done.stdout


def installed_files(root):
    return {str(path.relative_to(root)) for path in root.rglob("*") if not path.is_dir()}


class LibraryAlone(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="library-alone-")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.top = pathlib.Path(cls.folder.name)
        tree = cls.top / "tree"
        tree.mkdir()
        shutil.copy(SOURCE / "CMakeLists.txt", tree)
        for name in FOLDERS:
            shutil.copytree(SOURCE / name, tree / name)
        described = cls.top / "packages"
        described.mkdir()
        for name in PACKAGES:
            place = run("pkg-config", "--variable=pcfiledir", name).strip()
            shutil.copy(pathlib.Path(place, f"{name}.pc"), described)
        cls.only_these = os.environ | {"PKG_CONFIG_LIBDIR": str(described), "PKG_CONFIG_PATH": ""}
        cls.build = cls.top / "build"
        run(
            CMAKE,
            "-S",
            tree,
            "-B",
            cls.build,
            f"-DCMAKE_C_COMPILER={CC}",
            f"-DCMAKE_CXX_COMPILER={CXX}",
            "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_INSTALL_LIBDIR=lib",
            "-DOTA_BUILD_PLATFORM=OFF",
            "-DBUILD_TESTING=OFF",
            "-DOTA_DEBUG_FILES=ON",
            *(f"-DCMAKE_DISABLE_FIND_PACKAGE_{name}=ON" for name in NOT_NEEDED),
            env=cls.only_these,
        )
        run(CMAKE, "--build", cls.build, env=cls.only_these)
        cls.root = cls.top / "root"
        run(CMAKE, "--install", cls.build, "--prefix", cls.root / "usr")

    def test_nothing_else_is_built_and_every_file_is_in_its_place(self):
        headers = {
            str("usr/include/otaSwAgent" / header.relative_to(SOURCE / "include"))
            for header in (SOURCE / "include").rglob("*.h")
        }
        number = re.search(
            r"Build ID: (..)(\w+)", run("readelf", "-n", self.root / "usr/lib/libotaSwAgent.so")
        )
        self.assertEqual(
            installed_files(self.root),
            headers
            | {
                "usr/lib/libotaSwAgent.so",
                "usr/lib/pkgconfig/otaSwAgent.pc",
                "usr/lib/cmake/otaSwAgent/otaSwAgentConfig.cmake",
                "usr/lib/cmake/otaSwAgent/otaSwAgentConfigVersion.cmake",
                f"usr/lib/debug/.build-id/{number[1]}/{number[2]}.debug",
            },
        )

    def test_the_symbols_lie_apart_from_the_library_and_fit_it(self):
        library = self.root / "usr/lib/libotaSwAgent.so"
        self.assertNotRegex(run("readelf", "-SW", library), r"\.symtab|\.debug_")
        symbols = next(self.root.rglob("*.debug"))
        exported = run("nm", "-D", "--defined-only", library)
        address = re.search(r"^(\w+) T initOTAlib$", exported, re.M)[1]
        self.assertRegex(
            run("addr2line", "-f", "-e", symbols, address),
            r"\AinitOTAlib\n.*otaswmgnt_path_parse\.cpp:\d+",
        )

    def test_each_component_is_installed_by_itself(self):
        for component, wanted in (
            ("library", r"usr/lib/libotaSwAgent\.so"),
            ("development", r"usr/(include/otaSwAgent/|lib/pkgconfig/|lib/cmake/otaSwAgent/).*"),
            ("debug", r"usr/lib/debug/.*"),
        ):
            root = self.top / component
            run(CMAKE, "--install", self.build, "--prefix", root / "usr", "--component", component)
            files = installed_files(root)
            self.assertTrue(files)
            for file in files:
                self.assertRegex(file, f"^{wanted}$")
        library = self.top / "library/usr/lib/libotaSwAgent.so"
        self.assertNotIn(".symtab", run("readelf", "-SW", library))

    def host_sources(self):
        folder = self.top / "host"
        folder.mkdir(exist_ok=True)
        (folder / "host.c").write_text(HOST)
        # Its answers are a whole platform.
        return [folder / "host.c", SOURCE / "tests/abi/c_host_platform.c"]

    def check_host(self, program):
        self.assertEqual(
            run(program, env=os.environ | {"LD_LIBRARY_PATH": str(self.root / "usr/lib")}),
            "./cfgmgr_socket 8360\n",
        )

    def test_a_host_is_built_by_pkg_config(self):
        packages = os.environ | {"PKG_CONFIG_PATH": str(self.root / "usr/lib/pkgconfig")}
        flags = run("pkg-config", "--cflags", "--libs", "otaSwAgent", env=packages).split()
        program = self.top / "by-pkg-config"
        run(CC, "-std=c99", "-Wall", "-Werror", *self.host_sources(), *flags, "-o", program)
        self.check_host(program)

    def test_a_host_is_built_by_the_package_of_cmake(self):
        sources = " ".join(map(str, self.host_sources()))
        (self.top / "host/CMakeLists.txt").write_text(HOST_CMAKE.format(sources=sources))
        build = self.top / "by-cmake"
        run(
            CMAKE,
            "-S",
            self.top / "host",
            "-B",
            build,
            f"-DCMAKE_C_COMPILER={CC}",
            f"-DCMAKE_PREFIX_PATH={self.root / 'usr'}",
        )
        run(CMAKE, "--build", build)
        self.check_host(build / "host")


if __name__ == "__main__":
    del sys.argv[1:]
    unittest.main()
