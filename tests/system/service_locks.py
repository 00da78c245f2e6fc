# SPDX-License-Identifier: MIT
"""What another user holds or puts in the place of a lock file holds up no upgrade and no client."""

import os
import shutil
import stat
import subprocess
import sys
import time

import node_case
import unit_sandbox
from node_servers import FileServer
from stranger import NOBODY, tries
from unit_sandbox import SandboxedNode

COMMITTED = 0
ROUNDS = 6
WRITE_FAILED = 52
LOCKS = "/run/lock"  # a directory of this test alone, see main
OF_BOOT_TOOLS = f"{LOCKS}/fw_printenv.lock"
PROMPT = 5  # seconds; the lock is waited for twice as long
# Opens, or makes, the file as the user of the first number, and goes on as that of the second.
HOLD = """
import fcntl, os, sys
path, before, after = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
os.umask(0)
os.seteuid(before)
fcntl.flock(os.open(path, os.O_RDONLY | os.O_CREAT, 0o666), fcntl.LOCK_EX | fcntl.LOCK_NB)
os.seteuid(0)
os.setuid(after)
print("held", flush=True)
sys.stdin.read()
"""
# Puts a full directory and the other thing, in turns, where the lock file is looked for.
SWAP = """
import ctypes, fcntl, os, sys
place, aside, kind, target = sys.argv[1:5]
EXCHANGE = 2
swap = ctypes.CDLL(None).renameat2
names = [-100, aside.encode(), -100, place.encode(), EXCHANGE]
kept = []

def other():
    if kind == "link":
        os.symlink(target, aside)
    elif kind == "pipe":
        os.mkfifo(aside)
    else:
        kept.append(os.open(aside, os.O_RDWR | os.O_CREAT, 0o666))
        fcntl.flock(kept[-1], fcntl.LOCK_EX)

os.umask(0)
os.setgroups([])
os.setgid(int(sys.argv[5]))
os.setuid(int(sys.argv[5]))
os.makedirs(place + "/full")
other()
print("begun", flush=True)
while True:
    if swap(*names) != 0:
        try:
            os.rename(aside, place)
            other()
        except OSError:
            if not os.path.lexists(aside):
                other()
"""


class Locks(node_case.Case):
    """One node, and what others do to its lock files."""

    def setUp(self):
        if not unit_sandbox.has_namespaces():
            self.skipTest("needs namespaces of its own, which this machine does not give")
        super().setUp()
        self.server = FileServer(self.place)
        self.node = SandboxedNode(self.place, "n1", self.server)
        self.clear_locks()

    @staticmethod
    def clear_locks():
        for entry in os.scandir(LOCKS):
            if entry.is_dir(follow_symlinks=False):
                shutil.rmtree(entry)
            else:
                os.unlink(entry)

    @property
    def of_the_node(self):
        return f"{self.node.folder}/boot_state.ini.lock"

    def holder(self, path, before, after):
        """A process that holds the lock until the end of the test."""
        # pylint: disable=consider-using-with
        child = subprocess.Popen(
            [sys.executable, "-c", HOLD, path, str(before), str(after)],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(child.communicate)
        self.assertEqual(child.stdout.readline(), "held\n")
        return child

    def check_safe(self, path):
        """A regular file of root's that no other user can open."""
        found = os.lstat(path)
        self.assertEqual((stat.filemode(found.st_mode), found.st_uid), ("-rw-------", 0), path)
        self.assertTrue(os.path.exists(path))

    def commit(self):
        end = self.node.live_until_end_of(self.node.offer())
        self.assertEqual(end["code"], COMMITTED, end)
        self.assertEqual(self.node.words()[-1], "OTA_SW_COMMIT_COMPLETE")

    def test_held_by_another_user(self):
        """The file of an older release beside the boot state, and one of the user's own."""
        self.holder(self.of_the_node, 0, NOBODY)
        os.chmod(self.of_the_node, 0o644)
        self.holder(OF_BOOT_TOOLS, NOBODY, NOBODY)
        self.assertEqual(os.stat(OF_BOOT_TOOLS).st_uid, NOBODY)
        self.node.start().wait_until_ready()
        self.commit()
        self.check_safe(self.of_the_node)
        self.check_safe(OF_BOOT_TOOLS)

    def test_what_stands_in_their_place(self):
        precious = self.node.folder / "precious"
        precious.write_text("kept")
        os.symlink(precious, OF_BOOT_TOOLS)
        os.lchown(OF_BOOT_TOOLS, NOBODY, NOBODY)
        os.mkfifo(self.of_the_node, 0o666)
        self.node.start().wait_until_ready()
        self.commit()
        self.check_safe(self.of_the_node)
        self.check_safe(OF_BOOT_TOOLS)
        self.assertEqual(precious.read_text(), "kept")

    def test_one_that_a_boot_tool_of_root_left(self):
        """Everybody can open it, and take the names beside it."""
        self.holder(OF_BOOT_TOOLS, 0, NOBODY)
        os.chmod(OF_BOOT_TOOLS, 0o644)
        self.assertIsNone(tries(lambda: os.makedirs(f"{OF_BOOT_TOOLS}.new/full")))
        self.node.start().wait_until_ready()
        self.commit()
        self.check_safe(OF_BOOT_TOOLS)

    def test_no_moment_in_between(self):
        """A tool of root's, while another user changes what stands there all the time."""
        precious = self.place.folder / "precious"
        tool = [
            self.place.program("ota-boot-state"),
            "init",
            "--active",
            "a",
            "--image",
            self.place.images[self.place.OLD],
            "--output",
            self.place.folder / "state",
        ]
        for kind in ["link", "pipe", "held"] * ROUNDS:
            with self.subTest(kind):
                self.clear_locks()
                precious.write_text("kept")
                words = [
                    sys.executable,
                    "-c",
                    SWAP,
                    OF_BOOT_TOOLS,
                    f"{LOCKS}/aside",
                    kind,
                    str(precious),
                    str(NOBODY),
                ]
                with subprocess.Popen(words, stdout=subprocess.PIPE) as swapper:
                    self.assertEqual(swapper.stdout.readline(), b"begun\n")
                    try:
                        subprocess.run(tool, check=True, timeout=60)
                    finally:
                        swapper.kill()
                self.assertEqual(precious.read_text(), "kept")
                self.check_safe(OF_BOOT_TOOLS)

    def test_a_boot_tool_that_hangs(self):
        """Root's own, which nobody can keep from it: told with its number, and only the host waits."""
        self.node.start().wait_until_ready()
        tool = self.holder(OF_BOOT_TOOLS, 0, 0)
        ticket = self.node.offer()
        slowest = 0
        while not (end := self.node.end_of(ticket)):
            began = time.monotonic()
            self.node.status()
            slowest = max(slowest, time.monotonic() - began)
            time.sleep(0.2)
        self.assertEqual(end["code"], WRITE_FAILED, end)
        self.assertLess(slowest, PROMPT, "the daemon waited, too")
        self.assertIn(
            f"{OF_BOOT_TOOLS}: is held by process {tool.pid}; end that one first",
            self.node.log.read_text().replace("/var/lock", "/run/lock"),
        )
        tool.communicate()
        self.commit()


def main():
    """With a lock directory of its own, as anybody may write there."""
    unit_sandbox.enter_namespaces()
    if unit_sandbox.has_namespaces():
        subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=1777", "locks", LOCKS], check=True)
    return node_case.run(Locks)


if __name__ == "__main__":
    sys.exit(main())
