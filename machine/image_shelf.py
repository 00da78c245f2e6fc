# SPDX-License-Identifier: MIT
"""Signed images of a bootable root, good ones and bad ones."""

import pathlib

from machine.cache import fingerprint
from machine.debian import run_to_the_end
from rig.certificates import Signer
from rig.images import Image, make_image, sign_image
from rig.programs import Programs

MODEL = "GW-1000"
GOOD, UNHEALTHY, PANICS, NO_KERNEL = "good", "unhealthy", "panics", "no-kernel"
# What makes an image bad: more words for mksquashfs.
_FLAWS: dict[str, list[str]] = {
    GOOD: [],
    UNHEALTHY: ["-p", "etc/unhealthy f 644 0 0 true"],
    PANICS: ["-e", "usr/lib/systemd/systemd", "lib/systemd/systemd"],
    NO_KERNEL: ["-e", "boot/kernel"],
}


class ImageShelf:
    """Images of one root; each is made when it is first wanted, and kept."""

    def __init__(
        self, programs: Programs, tree: pathlib.Path, signer: Signer, folder: pathlib.Path
    ) -> None:
        self._programs, self._tree, self._signer = programs, tree, signer
        self._folder = folder / f"images-{fingerprint(tree.name, pathlib.Path(__file__))}"
        for older in folder.glob("images-*"):
            if older != self._folder:
                run_to_the_end(["rm", "-rf", older], "removing images of another root")
        self._folder.mkdir(exist_ok=True)

    def image(self, version: str, flaw: str = GOOD) -> Image:
        signed = self._folder / f"{version}-{flaw}"
        if signed.exists():
            return Image(signed, version)
        payload, plain, new = (self._folder / name for name in ("payload", "plain", "new"))
        for scrap in (payload, plain, new):
            scrap.unlink(missing_ok=True)
        words = [
            "mksquashfs", self._tree, payload, "-all-root", "-no-progress", "-quiet", "-comp",
            "zstd", "-Xcompression-level", "10", "-p", f"etc/version f 644 0 0 echo {version}",
            *_FLAWS[flaw],
        ]  # fmt: skip
        run_to_the_end(words, f"packing the image {version}")
        image = make_image(self._programs, payload, version, MODEL, plain)
        sign_image(self._programs, image, new, self._signer)
        new.rename(signed)
        for scrap in (payload, plain):
            scrap.unlink()
        return Image(signed, version)
