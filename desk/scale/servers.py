# SPDX-License-Identifier: MIT
"""What all meshes share: certificates, images, one broker, one file server."""

import json
import pathlib
import random
from collections.abc import Sequence

from rig.broker import Broker
from rig.certificates import Certificates, make_signer
from rig.file_server import FileServer
from rig.files import digest_of
from rig.images import Image, make_image, sign_image
from rig.programs import Programs
from rig.usage import processor_seconds_of
from scale.seats import FACTORY, MODEL, NEW, Seat, access_list

# Sessions and what waits in them survive a restart; and every message is in its log.
_BROKER = "persistence true\npersistence_location ./\nlog_type all\n"


class Servers:
    """They run from the beginning."""

    def __init__(
        self, programs: Programs, folder: pathlib.Path, seats: Sequence[Seat], image_bytes: int
    ) -> None:
        self.certificates = Certificates(folder / "certificates", "Scale CA")
        self.signer = make_signer(folder / "signer")
        images = folder / "images"
        images.mkdir()
        self.factory, self.new = (
            self._image(programs, images, version, image_bytes) for version in (FACTORY, NEW)
        )
        self._processor = {"broker": 0.0, "file server": 0.0}
        connections = len(seats) + 100
        self.file_server = FileServer(folder / "server", self.certificates, connections=connections)
        self.url = self.file_server.publish(self.new.path, self.new.path.name)
        self._sum = digest_of(self.new.path, "md5")
        self.broker = Broker(folder / "broker", self.certificates, access_list(seats), _BROKER)

    def _image(self, programs: Programs, folder: pathlib.Path, version: str, size: int) -> Image:
        payload = folder / f"{version}.payload"
        payload.write_bytes(random.Random(version).randbytes(size))
        plain = make_image(programs, payload, version, MODEL, folder / f"{version}.plain")
        return sign_image(programs, plain, folder / f"{version}.img", self.signer)

    def descriptor(self, seat: Seat) -> str:
        """An offer of the new image to this node, to activate at once."""
        offer = {
            "model": MODEL, "nxtMSVersion": self.new.version, "fileServerURL": self.url,
            "checksum": self._sum, "mac": seat.mac, "policy": 1,
        }  # fmt: skip
        return json.dumps(offer)

    # What becomes of them.

    def restart_broker(self) -> None:
        self.stop_broker()
        self.broker.start()

    def stop_broker(self) -> None:
        if self.broker.process and self.broker.process.is_running():
            self._processor["broker"] += processor_seconds_of(self.broker.process.pid)
            self.broker.stop()

    def stop_file_server(self) -> None:
        if self.file_server.process.is_running():
            self._processor["file server"] += processor_seconds_of(self.file_server.process.pid)
            self.file_server.stop()

    def stop(self) -> None:
        self.stop_file_server()
        self.stop_broker()

    @property
    def processor(self) -> dict[str, float]:
        """Seconds, once they ended."""
        return self._processor
