#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The recipes for Yocto and OpenWrt, compared with what the build has: no such build system is here.

    recipes_test.py SOURCE-FOLDER BUILD-FOLDER CMAKE
"""
import fnmatch
import hashlib
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD, CMAKE = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
YOCTO, OPENWRT = SOURCE / "packaging/yocto", SOURCE / "packaging/openwrt"
RECIPE = next(YOCTO.rglob("*.bb"))
MAKEFILE = next(OPENWRT.rglob("Makefile"))
# What the build looks for, and what Yocto and OpenWrt call it. None: it is of every toolchain.
LIBRARIES = {
    "CURL": ("curl", "+libcurl"),
    "libcjson": ("cjson", "+cJSON"),
    "inih": ("inih", ""),
    "libmosquitto": ("mosquitto", ""),
    "bus_library": ("${BUS_LIBRARY}", ""),
    "libubootenv": ("libubootenv", ""),
    "OpenSSL": ("openssl", ""),
    "ZLIB": ("zlib", ""),
    "PkgConfig": None,
    "Python3": None,
    "Threads": None,
}
VARIABLE = re.compile(r'([A-Z][\w:${}\[\]-]*(?:\[\w+\])?) (\?\?=|\?=|:=|\+=|=|\.=) "([^"]*)"')
OE_FOLDERS = {
    "prefix": "/usr",
    "bindir": "/usr/bin",
    "sbindir": "/usr/sbin",
    "libdir": "/usr/lib",
    "libexecdir": "/usr/libexec",
    "includedir": "/usr/include",
    "datadir": "/usr/share",
    "docdir": "/usr/share/doc",
    "mandir": "/usr/share/man",
    "systemd_system_unitdir": "/usr/lib/systemd/system",
    "STARTED_BY": "/usr/lib/systemd/system/otad.service",
}
# OpenWrt's own files, as far as this package calls them.
OPENWRT_STANDS_FOR = {
    "rules.mk": "CP=cp -fpR\nINSTALL_DIR=install -d -m0755\nINSTALL_BIN=install -m0755\n"
    "INSTALL_DATA=install -m0644\nINCLUDE_DIR=$(TOPDIR)\n",
    "package.mk": "define BuildPackage\n$(eval $(call Package/$(1)))\n"
    "prepare:\n\t$$(call Build/Prepare)\n"
    "stage:\n\t$$(call Build/InstallDev,$$(STAGE))\n"
    "install:\n\t$$(call Package/$(1)/install,$$(ROOT))\n"
    "show:\n\t@echo $$(PKG_VERSION)\n\t@echo $$(DEPENDS)\n\t@echo $$(CMAKE_OPTIONS)\nendef\n",
    "cmake.mk": "",
}


def version_of_build():
    return re.search(r"project\(otaSwAgent VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[
        1
    ]


def needs_of(*folders):
    """What find_package and pkg_check_modules look for in these rooms."""
    files = [file for folder in folders for file in (SOURCE / folder).rglob("CMakeLists.txt")]
    text = "\n".join(file.read_text() for file in files)
    found = set(re.findall(r"find_package\((\w+)", text))
    found |= set(re.findall(r"pkg_check_modules\(.* \W*(\w+)\W*\)", text))
    return {LIBRARIES[name] for name in found} - {None}


def installed(root, *components):
    for component in components:
        done = subprocess.run(
            [CMAKE, "--install", BUILD, "--prefix", "/usr", "--component", component],
            env=os.environ | {"DESTDIR": str(root)},
            capture_output=True,
            text=True,
            check=False,
        )
        assert done.returncode == 0, done.stderr
    library = next(root.rglob("libotaSwAgent.so")).parent
    if library != root / "usr/lib":  # that of one processor among several
        for path in list(library.iterdir()):
            path.rename(root / "usr/lib" / path.name)
        library.rmdir()
    return files_below(root)


def files_below(root):
    return {f"/{path.relative_to(root)}" for path in root.rglob("*") if path.is_file()}


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="recipes-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def check_options(self, text, fewest):
        known = (BUILD / "CMakeCache.txt").read_text()
        options = re.findall(r"-D(\w+)=", text)
        self.assertGreaterEqual(len(options), fewest)
        for option in options:
            self.assertRegex(known, rf"(?m)^{option}:", option)


class Yocto(Case):
    def variables(self, file):
        """Every line is one that bitbake knows; what it says, unexpanded."""
        joined = re.sub(r" *\\\n *", " ", file.read_text())
        values = {}
        for line in joined.splitlines():
            if not line or line.startswith("#"):
                continue
            if re.fullmatch(r"inherit( [a-z_.-]+)+", line):
                values["inherit"] = line.split()[1:]
                continue
            match = VARIABLE.fullmatch(line)
            self.assertTrue(match, f"{file}: {line}")
            values[match[1]] = match[3]
        return values

    def test_the_recipe_is_of_this_version_and_licence(self):
        self.assertEqual(RECIPE.name, f"otaswagent_{version_of_build()}.bb")
        digest = hashlib.md5((SOURCE / "LICENSE").read_bytes()).hexdigest()
        self.assertEqual(self.variables(RECIPE)["LIC_FILES_CHKSUM"], f"file://LICENSE;md5={digest}")

    def test_the_layer_finds_the_recipe_and_the_recipe_the_tree(self):
        layer = self.variables(YOCTO / "conf/layer.conf")
        pattern = layer["BBFILES"].strip().replace("${LAYERDIR}", str(YOCTO))
        self.assertTrue(fnmatch.fnmatchcase(str(RECIPE), pattern))
        collection = layer["BBFILE_COLLECTIONS"].strip()
        for name in ("BBFILE_PATTERN", "BBFILE_PRIORITY", "LAYERDEPENDS", "LAYERSERIES_COMPAT"):
            self.assertIn(f"{name}_{collection}", layer)
        up = re.search(r"\+ '(/[./]+)'", self.variables(RECIPE)["EXTERNALSRC"])[1]
        self.assertEqual(os.path.realpath(f"{RECIPE.parent}{up}"), os.path.realpath(SOURCE))

    def test_every_option_is_one_of_the_build(self):
        values = self.variables(RECIPE)
        texts = [value for value in values.values() if isinstance(value, str)]
        self.check_options(" ".join(texts), 9)

    def test_the_needs_are_those_of_the_build(self):
        values = self.variables(RECIPE)

        def needs(name):
            return set(values[f"PACKAGECONFIG[{name}]"].split(",")[2].split())

        self.assertEqual(set(values["DEPENDS"].split()), {yocto for yocto, _ in needs_of("src")})
        rooms = "base", "guard", "host", "node", "platform", "tools"
        self.assertEqual(needs("platform"), {yocto for yocto, _ in needs_of(*rooms)})
        self.assertEqual(needs("service"), {yocto for yocto, _ in needs_of("service", "cli")})

    def test_every_file_is_in_one_package(self):
        values = self.variables(RECIPE)
        order = [*values["PACKAGE_BEFORE_PN"].split(), "${PN}-dev", "${PN}-doc"]
        taken = {}
        for name in order:
            text = re.sub(
                r"\$\{(\w+)\}", lambda match: OE_FOLDERS[match[1]], values[f"FILES:{name}"]
            )
            taken[name] = text.split()
        used = set()
        files = installed(self.folder, "library", "development", "tools", "service")
        self.assertGreater(len(files), 20)
        for file in files:
            owners = {
                (name, pattern)
                for name, patterns in taken.items()
                for pattern in patterns
                if fnmatch.fnmatchcase(file, pattern) or file.startswith(f"{pattern}/")
            }
            self.assertEqual(len(owners), 1, f"{file}: {owners}")
            used |= owners
        self.assertEqual({(name, one) for name in order for one in taken[name]} - used, set())

    def test_the_group_is_the_one_of_the_bus_policy(self):
        group = re.search(r"OTA_BUS_GROUP (\w+)", (SOURCE / "packaging/service.cmake").read_text())[
            1
        ]
        self.assertEqual(self.variables(RECIPE)["GROUPADD_PARAM:otad"], f"--system {group}")


class OpenWrt(Case):
    def setUp(self):
        super().setUp()
        self.top = self.folder / "openwrt"
        self.top.mkdir()
        for name, text in OPENWRT_STANDS_FOR.items():
            (self.top / name).write_text(text)

    def make(self, *words):
        done = subprocess.run(
            ["make", "-s", "-C", MAKEFILE.parent, f"TOPDIR={self.top}", *words],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout.splitlines()

    def test_version_needs_and_options_are_those_of_the_build(self):
        version, needs, options = self.make("show")
        self.assertEqual(version, version_of_build())
        self.assertEqual(set(needs.split()), {openwrt for _, openwrt in needs_of("src")})
        self.check_options(options, 4)
        self.assertIn("-DOTA_BUILD_PLATFORM=OFF", options.split())

    def test_the_library_is_configured_in_what_it_takes_of_the_tree(self):
        place = self.folder / "tree"
        self.make("prepare", f"PKG_BUILD_DIR={place}")
        options = self.make("show")[2].split()
        done = subprocess.run(
            [CMAKE, "-S", place, "-B", self.folder / "build", *options],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        self.assertEqual(done.returncode, 0, done.stdout)

    def procd(self, config):
        """What the init script asks procd for: its functions write down how they are called."""
        script = (OPENWRT / "otad/files/otad.init").read_text()
        for folder in ("/etc/ota", "/tmp/o", "/var/log", "/etc/otaSwAgent"):
            script = re.sub(rf"(?<![\w/]){folder}\b", f"{self.folder}{folder}", script)
        (self.folder / "tmp").mkdir(exist_ok=True)
        if config:
            config = self.folder / "etc/otaSwAgent/node.conf"
            config.parent.mkdir(parents=True)
            config.touch()
        note = "printf '%s ' \"$@\"; echo"
        functions = "".join(
            f"procd_{name}() {{ printf '{name} '; {note}; }}\n"
            for name in ("open_instance", "set_param", "close_instance")
        )
        done = subprocess.run(
            ["sh", "-euc", f"{functions}{script}\nstart_service"],
            capture_output=True,
            text=True,
            check=True,
        )
        return [line.strip() for line in done.stdout.splitlines()]

    def test_procd_starts_what_is_installed_and_never_gives_it_up(self):
        self.assertEqual(self.procd(config=False), [])
        asked = self.procd(config=True)
        self.assertEqual((asked[0], asked[-1]), ("open_instance", "close_instance"))
        self.assertIn("set_param respawn 3600 5 0", asked)
        (command,) = [line.split()[2:] for line in asked if line.startswith("set_param command")]
        self.assertLessEqual({"--syslog", "--watchdog"}, set(command))
        files = installed(self.folder / "given", "library", "service")
        for word in command:
            if word.startswith("/usr/"):
                self.assertIn(word, files)
        for name, mode in (("etc/ota", 0o750), ("etc/ota/log", 0o750), ("tmp/o", 0o755)):
            self.assertEqual((self.folder / name).stat().st_mode & 0o777, mode, name)

    def test_what_is_installed_is_what_the_build_gives(self):
        given = self.folder / "given"
        files = installed(given, "library", "development")
        stage, root = self.folder / "stage", self.folder / "root"
        self.make("stage", f"PKG_INSTALL_DIR={given}", f"STAGE={stage}")
        self.assertEqual(files_below(stage), files)
        self.make("install", f"PKG_INSTALL_DIR={given}", f"ROOT={root}")
        self.assertEqual(files_below(root), {"/usr/lib/libotaSwAgent.so"})


class Labels(unittest.TestCase):
    def test_each_says_what_was_not_tried(self):
        for folder in (YOCTO, OPENWRT):
            text = (folder / "README.md").read_text()
            self.assertIn("**Not tried:**", text)
            for link in re.findall(r"\]\(([^)#]+)", text):
                self.assertTrue((folder / link).exists(), link)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
