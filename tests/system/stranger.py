# SPDX-License-Identifier: MIT
"""The user nobody, who attacks a node: what he does is done in processes of his own."""

import grp
import os
import pathlib
import signal
import subprocess

from rig.processes import own_environment
from rig.waiting import PATIENCE

NOBODY = 65534
# Of a process that is started, see subprocess: without this user's groups too.
AS_NOBODY = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
# He may call the service where the bus policy names this group, one of every Debian's.
GROUP = "daemon"
AS_MEMBER = {**AS_NOBODY, "extra_groups": [grp.getgrnam(GROUP).gr_gid]}


def _become_nobody():
    os.setgroups([])
    os.setresgid(NOBODY, NOBODY, NOBODY)
    os.setresuid(NOBODY, NOBODY, NOBODY)


def tries(action):
    """Calls it as nobody, in a process of its own. The name of what it raised; none: it worked."""
    read, write = os.pipe()
    child = os.fork()
    if child == 0:
        said = "it ended without a word"
        try:
            _become_nobody()
            action()
            said = ""
        except BaseException as error:  # pylint: disable=broad-exception-caught
            said = type(error).__name__
        finally:
            os.write(write, said.encode())
            os._exit(0)  # pylint: disable=protected-access
    os.close(write)
    with os.fdopen(read, encoding="utf-8") as told:
        raised = told.read()
    os.waitpid(child, 0)
    return raised or None


class Nuisance:
    """Tries all of these over and over, until it is ended."""

    def __init__(self, actions):
        read, write = os.pipe()
        self.child = os.fork()
        if self.child == 0:
            try:
                os.close(read)
                _become_nobody()
                self._try_for_ever(actions, write)
            finally:
                os._exit(1)  # pylint: disable=protected-access
        os.close(write)
        self.told = os.fdopen(read, encoding="utf-8")
        self.worked = []  # before it has tried all of them once
        while (line := self.told.readline().strip()) != "begun":
            self.worked.append(line)

    @staticmethod
    def _try_for_ever(actions, write):
        first = True
        while True:
            for name, action in actions.items():
                try:
                    action()
                    os.write(write, f"{name} worked\n".encode())
                except OSError:
                    pass
            if first:
                os.write(write, b"begun\n")
            first = False

    def end(self):
        """What of it worked, a line each time."""
        os.kill(self.child, signal.SIGKILL)
        os.waitpid(self.child, 0)
        with self.told:
            return self.worked + self.told.read().splitlines()


def runs(*words):
    """A program of his, and what came of it."""
    return subprocess.run(
        [str(word) for word in words],
        check=False,
        capture_output=True,
        text=True,
        stdin=subprocess.DEVNULL,
        env=own_environment(),
        timeout=PATIENCE,
        **AS_NOBODY,
    )


def must_run(test, program):
    """Skips the test where nobody cannot run the program."""
    program = pathlib.Path(program).absolute()
    if not all(part.stat().st_mode & 0o001 for part in (program, *program.parents)):
        test.skipTest(f"the user nobody cannot run {program}: build where everybody may read")
