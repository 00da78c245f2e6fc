# SPDX-License-Identifier: MIT
"""Everything that a machine needs around it: loader, root, images, cards, and the file server."""

import datetime
import pathlib
import shutil
from collections.abc import Callable

from machine.architecture import Architecture
from machine.boot_loader import boot_loader
from machine.cache import Cache, fingerprint
from machine.card import CardMaker
from machine.image_shelf import ImageShelf
from machine.project import Project
from machine.root import FILE_SERVER, Sources, make_tree
from rig.certificates import Certificates, make_signer, signer_in
from rig.file_server import FileServer
from rig.images import Image

_HERE = pathlib.Path(__file__).parent


def _make_keys(folder: pathlib.Path) -> None:
    signer = make_signer(folder / "signer")
    server = Certificates(folder / "server", "Machine CA", f"DNS:{FILE_SERVER}")
    trust = folder / "trust"  # what the node's root holds of them
    trust.mkdir()
    shutil.copy(signer.authority, trust / "signers.pem")
    shutil.copy(server.authority, trust / "ca.pem")


class Factory:
    """Of one architecture; `run` is the folder of this run."""

    def __init__(
        self,
        architecture: Architecture,
        top: pathlib.Path,
        project: Project,
        kept: pathlib.Path,
        run: pathlib.Path,
        say: Callable[[str], None],
    ) -> None:
        self.architecture = architecture
        cache = Cache(kept, say)
        self.loader = boot_loader(cache, architecture)
        sources = Sources(cache, architecture)
        # Certificates are good for 30 days: new ones every week.
        week = "-".join(str(part) for part in datetime.date.today().isocalendar()[:2])
        key = fingerprint(_HERE / "factory.py", week)
        keys = cache.made("keys", key, "keys and certificates", _make_keys)
        tree = make_tree(cache, sources, project, keys / "trust")
        self.programs = project.programs
        self.shelf = ImageShelf(self.programs, tree, signer_in(keys / "signer"), kept)
        self.cards = CardMaker(
            self.programs, architecture, self.loader, top / "docs/boot.cmd", run / "cards"
        )
        self.files = FileServer(run / "server", Certificates.made_in(keys / "server"))

    def publish(self, image: Image) -> str:
        """Its address for a node."""
        self.files.publish(image.path, f"gw/{image.path.name}")
        return f"https://{FILE_SERVER}/gw/{image.path.name}"

    def close(self) -> None:
        self.files.stop()
