# SPDX-License-Identifier: MIT
"""What of a Debian system a node does not need: emulated, every file and every unit costs seconds."""

import fnmatch
import os
import pathlib
import shutil

# Packages that are there to install packages, to log in, or to look after disks that a node has not.
_PACKAGES = (
    "adduser", "apt", "busybox-static", "debconf", "debian-archive-keyring", "diffutils", "dmsetup",
    "dpkg", "e2fsprogs", "fdisk", "gcc-*-base", "gpgv", "gzip", "libapt-pkg*", "libcryptsetup*",
    "libdevmapper*", "libext2fs*", "libfdisk*", "libperl*", "libsemanage*", "libss2", "login",
    "logsave", "ncurses-*", "passwd", "perl*", "sysvinit-utils", "tar", "usr-is-merged",
    "util-linux-extra", "libcom-err2", "bsdutils", "libpam-modules-bin",
)  # fmt: skip
_KEPT = ("libcom-err2",)  # a library of libcurl's
_PATHS = (
    "boot/*", "dev/*", "proc/*", "sys/*", "run/*", "tmp/*", "var/*", "etc/apt/*", "etc/cron*/*",
    "etc/init.d/*", "etc/rc?.d/*", "etc/systemd/system/*.wants/*",
    "usr/share/doc/*", "usr/share/man/*", "usr/share/locale/*", "usr/share/info/*",
    "usr/share/lintian/*", "usr/share/zoneinfo/*", "usr/share/bash-completion/*", "usr/share/zsh/*",
    "usr/share/common-licenses/*", "usr/share/i18n/*", "usr/share/polkit-1/*", "usr/share/perl*/*",
    "usr/lib/*/gconv/*", "usr/lib/*/perl*/*", "usr/lib/udev/*", "usr/lib/modules/*",
    "usr/lib/systemd/system-generators/*", "usr/lib/systemd/catalog/*", "lib/systemd/system-generators/*",
    "lib/systemd/catalog/*", "lib/udev/*",
)  # fmt: skip
# Of systemd's own units these are wanted at every boot, and do nothing on a node with a root that
# cannot be written, without udev, and without anybody who logs in.
MASKED = (
    "console-getty.service", "dev-hugepages.mount", "dev-mqueue.mount", "getty.target",
    "kmod-static-nodes.service", "ldconfig.service", "proc-sys-fs-binfmt_misc.automount",
    "sys-fs-fuse-connections.mount", "sys-kernel-config.mount", "sys-kernel-debug.mount",
    "sys-kernel-tracing.mount", "systemd-ask-password-console.path",
    "systemd-ask-password-wall.path", "systemd-binfmt.service", "systemd-boot-system-token.service",
    "systemd-firstboot.service", "systemd-hwdb-update.service",
    "systemd-journal-catalog-update.service", "systemd-journal-flush.service",
    "systemd-logind.service", "systemd-machine-id-commit.service", "systemd-modules-load.service",
    "systemd-pcrphase.service", "systemd-pcrphase-sysinit.service",
    "systemd-pstore.service", "systemd-random-seed.service", "systemd-remount-fs.service",
    "systemd-sysusers.service", "systemd-tmpfiles-setup-dev.service", "systemd-udevd.service",
    "systemd-udev-trigger.service", "systemd-update-done.service", "systemd-update-utmp.service",
    "systemd-update-utmp-runlevel.service", "systemd-user-sessions.service",
    "systemd-tmpfiles-clean.timer", "modprobe@.service", "systemd-sysctl.service",
)  # fmt: skip


def _matches(name: str, patterns: tuple[str, ...]) -> bool:
    return any(fnmatch.fnmatch(name, pattern) for pattern in patterns)


def _left_out(system: pathlib.Path) -> set[str]:
    """The files of packages that a node does not need, from the root on without the first "/"."""
    found = set()
    for listed in (system / "var/lib/dpkg/info").glob("*.list"):
        package = listed.name.removesuffix(".list").split(":")[0]
        if _matches(package, _PACKAGES) and package not in _KEPT:
            found.update(line.removeprefix("/") for line in listed.read_text().splitlines())
    # The same file may be listed by its place of before /usr was merged.
    return found | {f"usr/{name}" for name in found if not name.startswith("usr/")}


def copy_trimmed(system: pathlib.Path, tree: pathlib.Path) -> None:
    """The system without all that, into a new folder."""
    left_out = _left_out(system)

    def ignored(folder: str, names: list[str]) -> set[str]:
        below = os.path.relpath(folder, system)
        gone = set()
        for name in names:
            path = os.path.normpath(os.path.join(below, name))
            is_file = not os.path.isdir(system / path)
            if _matches(path, _PATHS) or (is_file and path in left_out):
                gone.add(name)
        return gone

    shutil.copytree(system, tree, symlinks=True, ignore=ignored, dirs_exist_ok=True)
