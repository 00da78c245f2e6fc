#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Does what the page says: saves its files, runs its commands, and compares what comes with what it
shows.

    first_port.py PAGE SOURCE-FOLDER BUILD-FOLDER
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77
NAMESPACES = [
    "unshare",
    "--mount",
    "--net",
    "--uts",
    "--pid",
    "--fork",
    "--kill-child",
    "--mount-proc",
]
LONGEST = 600

page, agent, build = map(pathlib.Path, sys.argv[1:])


def blocks():
    """Language, name of the file that it is to be saved as or none, text; in the page's order."""
    found = re.findall(r"((?:^[^\n]+\n)*)\n^```(\w+)\n(.*?)^```$", page.read_text(), re.S | re.M)
    for before, language, text in found:
        name = re.search(r"Save (?:it|this) as `([\w.]+)`:\n\Z", before)
        yield language, name and name[1], text


class FirstPort(unittest.TestCase):
    def run_in(self, folder, script):
        # Library and program where the script can see them, too, wherever they were built.
        built = pathlib.Path(folder) / "built"
        (built / "src").mkdir(parents=True)
        (built / "tools/platform_check").mkdir(parents=True)
        for made in ("src/libotaSwAgent.so", "tools/platform_check/ota-platform-check"):
            shutil.copy(build / made, built / made)
        environment = {
            **os.environ,
            "LC_ALL": "C",
            "agent": str(agent),
            "build": str(built),
            "CFLAGS": "",
        }
        return subprocess.run(
            ["sh", "-eu", "-c", script],
            cwd=folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=LONGEST,
            check=False,
        )

    def test_does_what_the_page_says(self):
        files = {name: text for _, name, text in blocks() if name}
        commands = "".join(
            text for language, name, text in blocks() if language == "sh" and not name
        )
        shown = [text for language, _, text in blocks() if language == "text"]
        self.assertEqual((sorted(files), len(shown)), (["platform.c", "try.sh"], 2))
        host_name = os.uname().nodename
        # Not below /tmp, which the script covers.
        place = "/var/tmp" if build.resolve().is_relative_to("/tmp") else build
        with tempfile.TemporaryDirectory(dir=place, prefix="first-port.") as folder:
            for name, text in files.items():
                (pathlib.Path(folder) / name).write_text(text)
            ended = self.run_in(folder, commands)
            self.assertEqual(ended.returncode, 0, ended.stdout)
            self.assertNotIn("warning", ended.stdout)
            lines = [line.rstrip() for line in ended.stdout.splitlines()]
            wanted = [line.rstrip() for line in "".join(shown).splitlines()]
            self.assertEqual([line for line in lines if line in wanted], wanted, ended.stdout)
            self.check_outside(folder, host_name)

    def check_outside(self, folder, host_name):
        """What was done in there is seen in there alone."""
        self.assertEqual(os.uname().nodename, host_name)
        mounts = pathlib.Path("/proc/self/mountinfo").read_text()
        self.assertNotIn(pathlib.Path(folder).name, mounts)
        alone = subprocess.run(
            ["sh", "-eu", "try.sh"], cwd=folder, capture_output=True, text=True, check=False
        )
        self.assertEqual((alone.returncode, alone.stdout), (1, ""))


def main():
    permitted = subprocess.run([*NAMESPACES, "true"], capture_output=True, text=True, check=False)
    # For root it is the page that is wrong where it cannot be followed.
    if permitted.returncode != 0 and os.geteuid() != 0:
        print(f"skipped: {permitted.stderr.strip()}; run it as root")
        return SKIPPED
    result = unittest.TextTestRunner().run(FirstPort("test_does_what_the_page_says"))
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
