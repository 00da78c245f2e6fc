# SPDX-License-Identifier: MIT
"""Images: a payload with a manifest behind it, signed or not."""

import dataclasses
import pathlib

from rig.certificates import Signer
from rig.programs import Programs


@dataclasses.dataclass(frozen=True)
class Image:
    """A whole image in a file."""

    path: pathlib.Path
    version: str  # what its manifest says

    @property
    def size(self) -> int:
        return self.path.stat().st_size


def make_image(
    programs: Programs, payload: pathlib.Path, version: str, model: str, path: pathlib.Path
) -> Image:
    programs.run_tool(
        "ota-image", "make", "--payload", payload, "--version", version, "--model", model,
        "--output", path,
    )  # fmt: skip
    return Image(path, version)


def sign_image(programs: Programs, image: Image, path: pathlib.Path, signer: Signer) -> Image:
    """The image as the signer signs it, in another file."""
    programs.run_tool(
        "ota-image", "sign", image.path, "--output", path, "--key", signer.key,
        "--certificate", signer.certificate,
    )  # fmt: skip
    return Image(path, image.version)
