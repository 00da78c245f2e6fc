# SPDX-License-Identifier: MIT
"""The images of the lab, good ones and bad ones, made when they are wanted first."""

import pathlib
import random
import shutil
import threading

from rig.certificates import Signer, make_signer, signer_in
from rig.files import MIB
from rig.images import Image, make_image, sign_image
from rig.programs import Programs

PAYLOAD = 8 * MIB
BANK = PAYLOAD + MIB

GOOD = "good"
WRONG_CHECKSUM = "wrong-checksum"  # the image is good, the offer is not
KINDS = {
    GOOD: "signed, whole, and what the offer says",
    "unsigned": "nobody signed it",
    "strange-signer": "signed by one whom the nodes do not trust",
    "bit-flipped": "a bit of it changed after it was signed",
    "too-large": "larger than a bank",
    "other-version": "its manifest names another version than the offer",
    WRONG_CHECKSUM: "the offer has another MD5 sum than the image",
}


class ImageShelf:
    """Keeps them in the folder."""

    def __init__(self, programs: Programs, folder: pathlib.Path, model: str) -> None:
        self._programs, self._folder, self._model = programs, folder, model
        self._lock = threading.Lock()
        folder.mkdir(exist_ok=True)
        self.signer = self._signer("signer")

    def image(self, version: str, kind: str = GOOD) -> Image:
        kind = GOOD if kind == WRONG_CHECKSUM else kind
        path = self._folder / (f"{version}.img" if kind == GOOD else f"{version}.{kind}.img")
        with self._lock:
            if not path.exists():
                unfinished = self._folder / "unfinished"
                unfinished.mkdir(exist_ok=True)
                self._make(unfinished, version, kind).path.rename(path)
        return Image(path, version)

    def _make(self, folder: pathlib.Path, version: str, kind: str) -> Image:
        plain = folder / "plain.img"
        plain.unlink(missing_ok=True)
        payload = folder / "payload"
        size = BANK + MIB if kind == "too-large" else PAYLOAD
        payload.write_bytes(random.Random(f"{version} {kind}").randbytes(size))
        inside = f"{version}-other" if kind == "other-version" else version
        image = make_image(self._programs, payload, inside, self._model, plain)
        payload.unlink()
        if kind == "unsigned":
            return image
        signer = self._signer("stranger") if kind == "strange-signer" else self.signer
        signed = folder / "signed.img"
        signed.unlink(missing_ok=True)
        image = sign_image(self._programs, image, signed, signer)
        if kind == "bit-flipped":
            _flip_a_bit(image.path)
        return image

    def _signer(self, name: str) -> Signer:
        """Kept; a folder that is not whole is made anew."""
        folder = self._folder / name
        if not (folder / "whole").exists():
            shutil.rmtree(folder, ignore_errors=True)
            make_signer(folder)
            (folder / "whole").touch()
        return signer_in(folder)


def _flip_a_bit(path: pathlib.Path) -> None:
    with open(path, "r+b") as file:
        file.seek(PAYLOAD // 2)
        byte = file.read(1)
        file.seek(PAYLOAD // 2)
        file.write(bytes([byte[0] ^ 1]))
