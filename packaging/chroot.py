# SPDX-License-Identifier: MIT
"""Roots of Debian that are made by mmdebstrap from what apt on this machine takes Debian's packages
from. Each is kept as an archive; each use has a fresh copy of it."""
import dataclasses
import hashlib
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

TOP = pathlib.Path(__file__).resolve().parents[1]
WORK = TOP / "build/package"
SUITE = "bookworm"
LAST_LINES = 25


class Failure(Exception):
    """One line for whoever called."""


def say(text):
    print(text, file=sys.stderr, flush=True)


def run(name, words, **options):
    """To its end, all that it says in build/package/NAME.log."""
    log = WORK / f"{name}.log"
    begin = time.monotonic()
    with log.open("w") as output:
        process = subprocess.Popen(
            [str(word) for word in words],
            stdout=output,
            stderr=subprocess.STDOUT,
            **{"stdin": subprocess.DEVNULL} | options,
        )
        try:
            process.wait()
        except KeyboardInterrupt:
            process.terminate()  # at a terminal it knows already; it clears up behind itself
            process.wait()
            raise Failure(f"{name} was interrupted") from None
    if process.returncode != 0:
        say("\n".join(log.read_text(errors="replace").splitlines()[-LAST_LINES:]))
        raise Failure(f"{name} failed; the whole log is {log}")
    say(f"{name}: {time.monotonic() - begin:.0f} s")
    return log.read_text(errors="replace")


def said(*words):
    done = subprocess.run(
        [str(word) for word in words], capture_output=True, text=True, check=False
    )
    if done.returncode != 0:
        raise Failure(f"{words[0]} failed: {(done.stderr or done.stdout).strip()}")
    return done.stdout


def debian_sources():
    """Where apt on this machine takes Debian's packages from."""
    form = "deb $(REPO_URI) $(RELEASE) $(COMPONENT)"
    filters = "Created-By: Packages", "Origin: Debian"
    lines = said("apt-get", "indextargets", "--format", form, *filters).splitlines()
    sources = sorted({line for line in lines if f" {SUITE}" in line})
    if not sources:
        raise Failure(f"apt knows no package of Debian {SUITE}: run apt-get update")
    return "\n".join(sources) + "\n"


def apt_options():
    """How apt on this machine reaches them, by which proxy, and what it is told about dates."""
    wanted = re.compile(r'Acquire::(https?|Check-Date|Check-Valid-Until|Retries)\b.* ".+";')
    return [
        f"--aptopt={line}" for line in said("apt-config", "dump").splitlines() if wanted.match(line)
    ]


def make_root(name, words, **options):
    """mmdebstrap, whose mounts go with it however it ends, and whose roots lie in build/package."""
    roots = WORK / "roots"
    roots.mkdir(exist_ok=True)
    apart = ["unshare", "--mount"] if os.geteuid() == 0 else []
    kept = {key: os.environ[key] for key in os.environ if key in ("PATH", "HOME") or "proxy" in key}
    environment = kept | {"LC_ALL": "C.UTF-8", "TMPDIR": str(roots)}
    return run(name, [*apart, *words], env=environment, **options)


@dataclasses.dataclass
class Chroot:
    """A root with these packages of Debian."""

    name: str
    variant: str
    packages: list

    def archive(self):
        sources = debian_sources()
        key = "\n".join([SUITE, self.variant, *self.packages, sources])
        archive = WORK / f"{self.name}-{hashlib.sha256(key.encode()).hexdigest()[:12]}.tar"
        if archive.exists():
            return archive
        for former in WORK.glob(f"{self.name}-*.tar*"):
            former.unlink()
        new = archive.with_name(archive.name + ".new")
        named = WORK / "sources.list"
        named.write_text(sources)
        words = ["mmdebstrap", f"--variant={self.variant}", "--format=tar", *apt_options()]
        words += [f"--include={','.join(self.packages)}", SUITE, new, "-"]
        with named.open() as stdin:
            make_root(f"chroot-{self.name}", words, stdin=stdin)
        new.rename(archive)
        return archive

    def use(self, name, script, bring=(), fetch=None):
        """Runs a script in a fresh copy, without a network and without services. What it is brought
        lies in /in; what it leaves in /out goes into the folder `fetch`. Answers what it said."""
        archive = self.archive()
        # Who is not root makes no devices, and is given those of this machine.
        without = "" if os.geteuid() == 0 else " --exclude=./dev/*"
        hooks = [
            f'--setup-hook=tar -C "$1"{without} -xf {shlex.quote(str(archive))} && mkdir "$1/in" "$1/out"'
        ]
        hooks += [f"--customize-hook=copy-in {shlex.quote(str(file))} /in" for file in bring]
        hooks += [f'--customize-hook=chroot "$1" unshare -n sh -euc {shlex.quote(script)}']
        if fetch:
            hooks += [f"--customize-hook=copy-out /out {shlex.quote(str(fetch))}"]
        words = ["mmdebstrap", "--variant=custom", "--skip=update,setup,cleanup", "--format=null"]
        return make_root(name, [*words, *hooks, SUITE, "-", "-"])
