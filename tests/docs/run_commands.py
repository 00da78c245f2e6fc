#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the commands of a page one after the other in a temporary folder, and checks what they made."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

page = pathlib.Path(sys.argv[1])
tools = [str(pathlib.Path(tool).parent) for tool in sys.argv[2:]]


class Commands(unittest.TestCase):
    def run_in(self, folder, script):
        environment = {
            **os.environ,
            "LC_ALL": "C",
            "PATH": os.pathsep.join([*tools, os.environ["PATH"]]),
        }
        return subprocess.run(
            ["sh", "-eu", "-c", script],
            cwd=folder,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            timeout=300,
            check=False,
        )

    def test_do_what_the_page_says(self):
        blocks = re.findall(r"^```sh\n(.*?)^```$", page.read_text(), re.S | re.M)
        self.assertGreater(len(blocks), 5, "the page's commands are not where they were")
        with tempfile.TemporaryDirectory() as folder:
            # The blocks share their variables, as in one terminal.
            ended = self.run_in(folder, "".join(blocks))
            self.assertEqual(ended.returncode, 0, ended.stdout)
            self.assertEqual(
                ended.stdout.count("signer      O = Example, CN = Release signer 1\n"),
                4,
                ended.stdout,
            )
            self.assertEqual(
                ended.stdout.count("signer      O = Example, CN = Release signer 2\n"),
                2,
                ended.stdout,
            )
            manifest = (pathlib.Path(folder) / "manifest").read_text()
            self.assertTrue(manifest.startswith("version=4QZ2.1.0\nmodel=Example-1\nsize=100000\n"))
            # Who trusts the old authority alone refuses the image that the new one signed.
            ended = self.run_in(folder, "otactl verify 4QZ2.1.0 --ca authority.pem")
            self.assertEqual(ended.returncode, 11, ended.stdout)


unittest.main(argv=sys.argv[:1])
