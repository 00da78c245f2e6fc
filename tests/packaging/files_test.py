#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What is installed and what the packages take: every file is in one package, every program has a page
that knows its verbs and options, and the versions are one.

    files_test.py SOURCE-FOLDER BUILD-FOLDER CMAKE
"""
import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD, CMAKE = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
DEBIAN = SOURCE / "packaging/debian"
# Each program, and its page.
PAGES = {
    "usr/bin/ota-config": "ota-config.1",
    "usr/bin/ota-desk": "ota-desk.1",
    "usr/bin/ota-image": "ota-image.1",
    "usr/bin/ota-platform-check": "ota-platform-check.1",
    "usr/bin/ota-report": "ota-report.1",
    "usr/bin/otactl": "otactl.1",
    "usr/libexec/otaSwAgent/ota-host": "ota-host.8",
    "usr/sbin/ota-boot-state": "ota-boot-state.8",
    "usr/sbin/otad": "otad.8",
}


def run(*words, **options):
    done = subprocess.run(
        [str(word) for word in words],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
        timeout=300,
        **options,
    )
    assert done.returncode == 0, f"{words}: {done.stdout}"
    return done.stdout


def debian_place(path):
    """Where Debian has what cmake --install puts there: the library out of the way, the unit below /lib."""
    path = re.sub(
        r"^usr/lib/(?:\w+-linux-gnu\w*/)?(libota\w+\.so)$", r"usr/lib/any/otaSwAgent/\1", path
    )
    path = re.sub(r"^usr/lib/(?:\w+-linux-gnu\w*/)?(cmake|pkgconfig)/", r"usr/lib/any/\1/", path)
    return re.sub(r"^usr/lib/systemd/", "lib/systemd/", path)


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="packages-")
        cls.addClassCleanup(folder.cleanup)
        cls.root = pathlib.Path(folder.name)
        for more in ([], ["--component", "desk"]):
            environment = os.environ | {"DESTDIR": folder.name}
            run(CMAKE, "--install", BUILD, "--prefix", "/usr", *more, env=environment)
        cls.files = sorted(
            str(path.relative_to(cls.root))
            for path in cls.root.rglob("*")
            if path.is_symlink() or not path.is_dir()
        )
        cls.control = (DEBIAN / "control").read_text()
        cls.packages = re.findall(r"^Package: (.*)$", cls.control, re.M)

    def test_every_file_belongs_to_exactly_one_package(self):
        patterns = {
            name: (DEBIAN / f"{name}.install").read_text().split() for name in self.packages
        }
        used = set()
        for file in map(debian_place, self.files):
            owners = [
                (name, pattern)
                for name, listed in patterns.items()
                for pattern in listed
                if fnmatch.fnmatchcase(file, pattern)
                or file.startswith(f"{pattern}/")
                or fnmatch.fnmatchcase(file, f"{pattern}/*")
            ]
            self.assertEqual(len(owners), 1, f"{file} is in {owners}")
            used |= set(owners)
        named = {(name, pattern) for name, listed in patterns.items() for pattern in listed}
        self.assertEqual(named - used, set(), "these take no file")

    def test_the_page_says_of_every_package_what_it_has(self):
        page = (SOURCE / "docs/packages.md").read_text()
        self.assertEqual(set(re.findall(r"^\| `([\w-]+)` \|", page, re.M)), set(self.packages))

    def test_every_list_is_that_of_a_package(self):
        for path in DEBIAN.glob("*.*"):
            self.assertIn(path.stem, self.packages, path)

    def test_every_program_has_a_page_of_the_same_package(self):
        programs = {
            file
            for file in self.files
            if re.match(r"usr/(s?bin/|libexec/otaSwAgent/ota-)", file) and "/desk/" not in file
        }
        self.assertEqual(programs, set(PAGES))
        for program, page in PAGES.items():
            place = f"usr/share/man/man{page[-1]}/{page}"
            owners = {
                path.stem
                for path in DEBIAN.glob("*.install")
                if {program, place} <= set(path.read_text().split())
            }
            self.assertEqual(len(owners), 1, f"{program} and {page}")

    def helps(self, program):
        """The verbs, and the options of all of them."""
        command = [self.root / program]
        if program.endswith("ota-desk"):
            command.append("demo")
        shown = run(*command, "--help")
        verbs = re.findall(r"^  ([a-z-]+) ", shown.partition("\nVerbs:\n")[2], re.M)
        # What otactl hands over has its options in the tools.
        own = [verb for verb in verbs if not program.endswith("otactl")]
        texts = [shown, *(run(*command, verb, "--help") for verb in own)]
        options = {
            option
            for text in texts
            for line in re.findall(r"^  (-\S+)", text, re.M)
            for option in line.split(",")
        }
        return verbs, options

    def test_each_page_knows_the_verbs_and_options_of_its_program_and_no_others(self):
        for program, page in PAGES.items():
            if page == "otactl.1":
                continue  # tests/unit/cli compares this one
            verbs, options = self.helps(program)
            text = (SOURCE / "packaging" / page).read_text().replace("\\-", "-").replace('"', "")
            described = set(re.findall(r"^\.SS ([a-z-]+)", text, re.M))
            if len(verbs) == 1:  # the page of a program with one verb is about that
                described = set(re.findall(rf"^\.B \S+ ({verbs[0]})$", text, re.M))
            self.assertEqual(described, set(verbs), page)
            named = set()
            for line in re.findall(r"^\.TP\n(\.B.*)$", text, re.M):
                named |= set(re.findall(r"(?:^|[ ,])(--?[a-z][a-z-]*)", line))
            self.assertEqual(named, options, page)

    def test_packages_and_build_have_one_version(self):
        version = re.search(
            r"project\(otaSwAgent VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text()
        )
        newest = (DEBIAN / "changelog").read_text().splitlines()[0]
        self.assertRegex(newest, rf"^otaswagent \({re.escape(version[1])}\) ")

    def test_the_rules_set_options_that_there_are(self):
        known = (BUILD / "CMakeCache.txt").read_text()
        given = re.findall(r"-D(\w+)=", (DEBIAN / "rules").read_text())
        self.assertGreater(len(given), 5)
        for option in given:
            self.assertRegex(known, rf"(?m)^{option}:", option)

    def test_the_licence_is_the_one_of_the_tree(self):
        def words(text):
            return re.sub(r"\s+|(?m:^ \.$)", " ", text).split()

        licence = (SOURCE / "LICENSE").read_text().partition("Permission is")[2]
        packaged = (DEBIAN / "copyright").read_text().partition("Permission is")[2]
        self.assertEqual(words(re.sub(r"(?m)^ \.$", "", packaged)), words(licence))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
