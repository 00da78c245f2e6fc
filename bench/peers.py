# SPDX-License-Identifier: MIT
"""The updaters that Debian packages, as further rows: SWUpdate, streamed, and RAUC. The same payload,
key, certificate authority, file server and bank; what each one does is in docs/bench.md."""

import os
import pathlib
import subprocess

from node_place import Place
from rig.files import MIB, digest_of

HERE = pathlib.Path(__file__).resolve().parent
SWUPDATE, RAUC = "swupdate", "rauc"
PROGRAMS = ("swupdate", "rauc", "mksquashfs", "dbus-daemon", "dbus-send", "unshare", "losetup")

_DESCRIPTION = """software = {{
    version = "{version}";
    hardware-compatibility: [ "1.0" ];
    images: ({{
        filename = "image.raw";
        device = "{bank}";
        type = "raw";
        installed-directly = true;
        sha256 = "{sha256}";
    }});
}}
"""
_MANIFEST = """[update]
compatible={model}
version={version}
[bundle]
format=plain
[image.rootfs]
filename=rootfs.img
"""
_SYSTEM = """[system]
compatible={model}
bootloader=noop
mountprefix={folder}/mount
statusfile={folder}/status
bundle-formats=plain
max-bundle-download-size={most}
[keyring]
path={authority}
check-purpose=codesign
[slot.rootfs.0]
device={a}
type=raw
bootname=a
[slot.rootfs.1]
device={b}
type=raw
bootname=b
"""
_BUS = """<busconfig><type>system</type><listen>unix:path={folder}/bus</listen>
<auth>EXTERNAL</auth><policy context="default"><allow user="*"/><allow own="*"/>
<allow send_destination="*"/><allow receive_sender="*"/></policy></busconfig>
"""


def archive_header(number, name, size):
    """Of one file in a cpio archive of the new format, its name padded."""
    mode = 0o100644 if size or number else 0
    fields = (number, mode, 0, 0, 1, 0, size, 0, 0, 0, 0, len(name) + 1, 0)
    head = b"070701" + b"".join(b"%08X" % field for field in fields) + name.encode() + b"\0"
    return head + b"\0" * (-len(head) % 4)


def write_archive(path, files):
    """A cpio archive of these files by their names, in this order."""
    with open(path, "wb") as output:
        for number, file in enumerate(files, 1):
            size = file.stat().st_size
            output.write(archive_header(number, file.name, size))
            with open(file, "rb") as content:
                while piece := content.read(MIB):
                    output.write(piece)
            output.write(b"\0" * (-size % 4))
        output.write(archive_header(0, "TRAILER!!!", 0))
        output.write(b"\0" * (-output.tell() % 512))


class Peers:
    """Their commands, by their names; they need root, for loop devices and a view of the authorities
    of their own: neither of them can be told whom to trust for https."""

    def __init__(self, contest):
        if os.geteuid() != 0:
            raise SystemExit("bench: --peers needs root: RAUC mounts its bundle")
        self.contest = contest
        self.folder = contest.place.folder / "peers"
        self.folder.mkdir()
        self.commands = {SWUPDATE: self._swupdate(), RAUC: self._rauc()}

    def _command(self, name, file):
        authority = self.contest.server.certificates.authority
        log = self.contest.log(name)
        url = self.contest.url(name, file).replace("127.0.0.1", "localhost")
        folder = self.folder / name
        return ["unshare", "-m", HERE / f"peer_{name}", folder, authority, url, log,
                self.contest.signer.authority]  # fmt: skip

    def _payload_as(self, name):
        """The payload alone, which our image ends in a manifest."""
        path = self.folder / name
        with open(path, "wb") as output, open(self.contest.place.images[Place.NEW], "rb") as image:
            for _ in range(self.contest.payload // MIB):
                output.write(image.read(MIB))
        return path

    def _run(self, *words):
        done = subprocess.run(
            list(map(str, words)), cwd=self.folder, capture_output=True, text=True, check=False
        )
        if done.returncode != 0:
            raise SystemExit(f"bench: {words[0]} ended with {done.returncode}: {done.stderr}")

    def _swupdate(self):
        folder = self.folder / SWUPDATE
        folder.mkdir()
        payload = self._payload_as("image.raw")
        description = self.folder / "sw-description"
        description.write_text(
            _DESCRIPTION.format(
                version=Place.NEW,
                bank=self.contest.node.bank("b").resolve(),
                sha256=digest_of(payload, "sha256"),
            )
        )
        signer = self.contest.signer
        signature = self.folder / "sw-description.sig"
        self._run("openssl", "cms", "-sign", "-in", description, "-out", signature,
                  "-signer", signer.certificate, "-inkey", signer.key, "-outform", "DER",
                  "-nosmimecap", "-binary", "-md", "sha256")  # fmt: skip
        update = self.folder / "update.swu"
        write_archive(update, [description, signature, payload])
        payload.unlink()
        return self._command(SWUPDATE, update)

    def _rauc(self):
        folder = self.folder / RAUC
        (folder / "mount").mkdir(parents=True)
        content = self.folder / "bundle"
        content.mkdir()
        payload = self._payload_as("bundle/rootfs.img")
        texts = {
            content / "manifest.raucm": _MANIFEST,
            folder / "system.conf": _SYSTEM,
            folder / "bus.conf": _BUS,
        }
        for path, text in texts.items():
            path.write_text(
                text.format(
                    model="bench", version=Place.NEW, folder=folder, most=1 << 40,
                    authority=self.contest.signer.authority, a=self.contest.node.bank("a").resolve(),
                    b=self.contest.node.bank("b").resolve(),
                )
            )  # fmt: skip
        bundle = self.folder / "update.raucb"
        # Random bytes do not shrink, and on a gateway the image is compressed itself.
        self._run("rauc", "bundle", "--cert", self.contest.signer.certificate,
                  "--key", self.contest.signer.key, "--mksquashfs-args=-noD -noI -noF -noX",
                  content, bundle)  # fmt: skip
        payload.unlink()
        return self._command(RAUC, bundle)
