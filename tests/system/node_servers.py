# SPDX-License-Identifier: MIT
"""What a node speaks to: file servers, the root's broker, a message bus with a system's rules."""

import pathlib
import socket
import subprocess
import threading
import time

from rig import broker, file_server
from rig.certificates import Certificates
from rig.waiting import PATIENCE


class FileServer(file_server.FileServer):
    """With the images of the place. Each node fetches below its own name."""

    def __init__(self, place) -> None:
        super().__init__(place.folder / "nginx", Certificates(place.folder / "https"))
        self.place = place
        place.closes(self.stop)

    def url(self, whose: str, version: str) -> str:
        """Where this node finds the image of this version."""
        return self.publish(self.place.images[version], f"{whose}/{version}.img")


class DribblingServer:
    """A plain http server that sends an image byte by byte, one a second."""

    def __init__(self, place, size):
        self.size = size
        self.sent = 0
        self.listening = socket.create_server(("127.0.0.1", 0))
        self.port = self.listening.getsockname()[1]
        self._over = threading.Event()
        threading.Thread(target=self._serve, daemon=True).start()
        place.closes(self.close)

    def close(self):
        self._over.set()
        self.listening.close()

    def _serve(self):
        while not self._over.is_set():
            try:
                connection, _ = self.listening.accept()
            except OSError:
                return
            with connection:
                try:
                    connection.recv(65536)
                    head = f"HTTP/1.1 200 OK\r\nContent-Length: {self.size}\r\n\r\n"
                    connection.sendall(head.encode())
                    while not self._over.is_set():
                        connection.sendall(b"x")
                        self.sent += 1
                        time.sleep(1)
                except OSError:
                    pass  # whoever fetched has gone


class Broker(broker.Broker):
    """The root's, and whoever speaks to it beside the nodes."""

    def __init__(self, place) -> None:
        folder = place.folder / "mqtt"
        super().__init__(folder, Certificates(folder))
        place.closes(self.stop)

    def client_of(self, mac: str, program: str = "mosquitto_pub") -> list[str]:
        """The command line of an MQTT client that has the certificate of this node."""
        certificate, key = self.certificates.client(mac)
        return [
            program,
            "-h",
            "127.0.0.1",
            "-p",
            str(self.port),
            "-q",
            "1",
            "--cafile",
            str(self.certificates.authority),
            "--cert",
            str(certificate),
            "--key",
            str(key),
        ]

    def publish(self, topic: str, text: str | bytes) -> None:
        """As the node whose topic it is."""
        subprocess.run(
            [*self.client_of(topic.split("/")[1]), "-t", topic, "-s" if text else "-n"],
            input=text if isinstance(text, bytes) else text.encode(),
            check=True,
            timeout=PATIENCE,
        )


# What a system bus gives and denies to everybody, before the files of the services.
SYSTEM_POLICY = """<policy context="default">
  <allow user="*"/><deny own="*"/><deny send_type="method_call"/>
  <allow send_type="signal"/>
  <allow send_requested_reply="true" send_type="method_return"/>
  <allow send_requested_reply="true" send_type="error"/>
  <allow receive_type="method_call"/><allow receive_type="method_return"/>
  <allow receive_type="error"/><allow receive_type="signal"/>
  <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  <allow send_interface="org.freedesktop.DBus.Introspectable"/>
  <allow send_interface="org.freedesktop.DBus.Properties"/>
</policy>"""


def installed_policy(group):
    """The policy that is installed, for this group."""
    tree = pathlib.Path(__file__).resolve().parents[2]
    text = (tree / "packaging/velmo.otaSwAgent.conf.in").read_text()
    inside = text.split("<busconfig>")[1].split("</busconfig>")[0]
    return SYSTEM_POLICY + inside.replace("@OTA_BUS_GROUP@", group)
