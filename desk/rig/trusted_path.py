# SPDX-License-Identifier: MIT
"""Whether nobody but root and this process's user decides what lies at a path.

The rule is the one of a node's own programs, which refuse to run where others may change something;
the rig asks before it makes or removes anything there.
"""

import dataclasses
import grp
import os
import pathlib
import pwd
import stat

_MOST_LINKS = 40  # as the kernel follows
_ROOT = 0
_NOT_OWN = (
    "belongs to neither root nor the service's user: name a path that does not lead through it, or "
    "give it to root with chown"
)
_WRITABLE = (
    "may be written by its group or by others: take that away with chmod go-w, or name a path that "
    "does not lead through it"
)


def _own_group(user: int) -> int | None:
    """The group that bears the user's name and has no other member: what a directory of a user is
    given on systems whose users begin with the umask 0002. Root's is other daemons' too."""
    if user == _ROOT:
        return None
    try:
        entry = pwd.getpwuid(user)
        group = grp.getgrgid(entry.pw_gid)
    except KeyError:
        return None
    others = [one for one in pwd.getpwall() if one.pw_gid == entry.pw_gid and one.pw_uid != user]
    alone = group.gr_name == entry.pw_name and set(group.gr_mem) <= {entry.pw_name}
    return entry.pw_gid if alone and not others else None


@dataclasses.dataclass
class _Walk:
    """One directory path on its way to what it names."""

    user: int = dataclasses.field(default_factory=os.geteuid)
    at: str = "/"  # absolute and without links
    links: int = 0

    def flaw_of(self, path: str, above: bool) -> str:
        """What is wrong with a directory or a link itself; `above`: the path leads on from it."""
        status = os.lstat(path)
        flaw = ""
        others_may_write = bool(status.st_mode & (stat.S_IWGRP | stat.S_IWOTH))
        if status.st_uid not in (_ROOT, self.user):
            flaw = _NOT_OWN
        elif others_may_write and not stat.S_ISLNK(status.st_mode):
            # What lies in it is renamed and removed by its owner and root alone.
            sticky = above and status.st_mode & stat.S_ISVTX and status.st_uid == _ROOT
            private = (
                above
                and not status.st_mode & stat.S_IWOTH
                and status.st_uid == self.user
                and status.st_gid == _own_group(self.user)
            )
            flaw = "" if sticky or private else _WRITABLE
        if not flaw:
            return ""
        mode = stat.S_IMODE(status.st_mode)
        return f"{path} (owner {status.st_uid}, mode {mode:04o}) {flaw}"

    def take(self, names: list[str]) -> str:
        """Follows all of them, links too; the first flaw, or nothing."""
        while names:
            if flaw := self.flaw_of(self.at, above=True):
                return flaw
            name = names.pop(0)
            path = os.path.dirname(self.at) if name == ".." else os.path.join(self.at, name)
            try:
                is_link = stat.S_ISLNK(os.lstat(path).st_mode)
            except (FileNotFoundError, NotADirectoryError):
                # Whoever may write the last directory that is there decides what will be there.
                return ""
            if not is_link:
                self.at = path
                continue
            if flaw := self.flaw_of(path, above=True):
                return flaw
            self.links += 1
            if self.links > _MOST_LINKS:
                return f"{path}: is a link that leads nowhere; name what it should lead to"
            target = os.readlink(path)
            self.at = "/" if target.startswith("/") else self.at
            names[:0] = _names_of(target)
        return ""


def _names_of(path: str) -> list[str]:
    return [name for name in path.split("/") if name not in ("", ".")]


def _judge(path: pathlib.Path, above: bool) -> str:
    walk = _Walk()
    try:
        return walk.take(_names_of(str(path))) or walk.flaw_of(walk.at, above)
    except OSError as error:
        return (
            f"{error.filename}: cannot be looked at: {error.strerror}; do this as the service's "
            "user, or let that user reach it"
        )


def why_not_trusted(folder: pathlib.Path) -> str:
    """Of an absolute path: empty where nobody else decides what lies there; else one line with the
    path of what is wrong, its owner, its mode and what to do. Of a folder that does not exist, the
    directories that are there are judged."""
    return _judge(folder, above=False)


def why_not_trusted_above(folder: pathlib.Path) -> str:
    """The same of the directories alone that the path leads through."""
    return _judge(folder.parent, above=True)
