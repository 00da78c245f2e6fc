# SPDX-License-Identifier: MIT
"""What a node speaks to: file servers, the root's broker, a message bus."""

import os
import pathlib
import shutil
import socket
import subprocess
import threading
import time

from node_place import PATIENCE, Process, free_port, is_listening, wait_for

OPENSSL = """[req]
distinguished_name = name
prompt = no
[name]
CN = localhost
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
[client]
basicConstraints = CA:FALSE
[server]
basicConstraints = CA:FALSE
subjectAltName = DNS:localhost, IP:127.0.0.1
"""


class Certificates:
    """An authority and a server certificate of it, for loopback; and others that it signs."""

    NEW_KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
               "-config", "openssl.cnf"]

    def __init__(self, folder, name="Test CA"):
        folder.mkdir()
        self.folder = folder
        (folder / "openssl.cnf").write_text(OPENSSL)
        self._openssl("req", "-x509", *self.NEW_KEY, "-subj", f"/CN={name}", "-extensions",
                      "authority", "-days", "2", "-keyout", "ca.key", "-out", "ca.pem")
        self.authority = folder / "ca.pem"
        self.certificate, self.key = self._sign("server", "localhost")

    def _openssl(self, *words):
        subprocess.run(["openssl", *words], cwd=self.folder, check=True, capture_output=True)

    def _sign(self, use, name):
        file = name.replace(":", "-") if use == "client" else use
        self._openssl("req", *self.NEW_KEY, "-subj", f"/CN={name}", "-keyout", f"{file}.key",
                      "-out", f"{file}.csr")
        self._openssl("x509", "-req", "-in", f"{file}.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
                      "-CAcreateserial", "-extfile", "openssl.cnf", "-extensions", use,
                      "-days", "2", "-out", f"{file}.pem")
        return self.folder / f"{file}.pem", self.folder / f"{file}.key"

    def client(self, name):
        """Certificate and key of this common name."""
        file = self.folder / (name.replace(":", "-") + ".pem")
        return (file, file.with_suffix(".key")) if file.exists() else self._sign("client", name)


NGINX = """daemon off;
master_process off;
pid nginx.pid;
error_log error.log;
events {{ worker_connections 64; }}
http {{
    log_format short '$uri $status $body_bytes_sent';
    access_log access.log short;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    default_type application/octet-stream;
    # The server closes first: the agent comes from sixteen local ports only.
    keepalive_timeout 0;
    server {{
        listen 127.0.0.1:{port} ssl;
        ssl_certificate {certificate};
        ssl_certificate_key {key};
        root www;
        location ~ ^/(?<whose>[^/]+)/ {{
            if (-f {folder}/refuse/$whose) {{ return 503; }}
            if (-f {folder}/crawl/$whose) {{ set $limit_rate 32k; }}
        }}
    }}
}}
"""


class FileServer:
    """nginx with TLS. Each node fetches below its own name: it can be slowed, and counted."""

    def __init__(self, place):
        self.place = place
        self.certificates = Certificates(place.folder / "https")
        self.folder = place.folder / "nginx"
        for name in ("www", "crawl", "refuse"):
            (self.folder / name).mkdir(parents=True)
        self.folder.chmod(0o755)
        self.port = free_port()
        (self.folder / "nginx.conf").write_text(NGINX.format(
            port=self.port, folder=self.folder, certificate=self.certificates.certificate,
            key=self.certificates.key))
        nginx = shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin")
        self.process = Process([nginx, "-p", ".", "-c", "nginx.conf", "-e", "error.log"],
                               self.folder, self.folder / "nginx.log")
        place.closes(self.process.end)
        wait_for("nginx listens", lambda: is_listening(self.port))

    def url(self, whose, version):
        """Where this node finds the image of this version."""
        folder = self.folder / "www" / whose
        folder.mkdir(exist_ok=True)
        link = folder / f"{version}.img"
        if not link.exists():
            link.symlink_to(self.place.images[version])
        return f"https://127.0.0.1:{self.port}/{whose}/{version}.img"

    def _mark(self, kind, whose, wanted):
        mark = self.folder / kind / whose
        if wanted:
            mark.touch()
        else:
            mark.unlink(missing_ok=True)

    def crawl(self, whose, wanted=True):
        """Downloads of this node that begin from now on are slow."""
        self._mark("crawl", whose, wanted)

    def refuse(self, whose, wanted=True):
        """They are answered with 503."""
        self._mark("refuse", whose, wanted)

    def fetched(self, whose):
        """The answers that this node was given, each with its status and bytes."""
        log = (self.folder / "access.log").read_text().splitlines()
        rows = (line.split() for line in log)
        return [(int(status), int(size)) for path, status, size in rows
                if path.startswith(f"/{whose}/")]


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


ACCESS_LIST = """user gateway
topic read otaSwAgent/#
pattern write otaSwAgent/%u/report
pattern write otaSwAgent/%u/file-server
"""


class Broker:
    """mosquitto with TLS on loopback, the root's, set up as docs/root.md says."""

    def __init__(self, place):
        self.place = place
        self.folder = place.folder / "mqtt"
        self.certificates = Certificates(self.folder)
        self.port = free_port()
        self.process = None
        lines = [f"listener {self.port} 127.0.0.1", "cafile ca.pem", "certfile server.pem",
                 "keyfile server.key", "require_certificate true", "use_identity_as_username true",
                 "use_username_as_clientid true", "acl_file acl", "message_size_limit 65536",
                 "max_packet_size 69632", "persistence false", "log_dest stderr"]
        if os.geteuid() == 0:
            lines.append("user root")
        (self.folder / "acl").write_text(ACCESS_LIST)
        (self.folder / "mosquitto.conf").write_text("\n".join(lines) + "\n")
        self.start()
        place.closes(self.stop)

    def start(self):
        program = shutil.which("mosquitto", path=os.environ.get("PATH", "") + ":/usr/sbin")
        self.process = Process([program, "-c", "mosquitto.conf"], self.folder,
                               self.folder / "mosquitto.log")
        wait_for("the broker listens", lambda: is_listening(self.port))

    def stop(self):
        self.process.end()

    def client_of(self, mac, program="mosquitto_pub"):
        """The command line of an MQTT client that has the certificate of this node."""
        certificate, key = self.certificates.client(mac)
        return [program, "-h", "127.0.0.1", "-p", str(self.port), "-q", "1",
                "--cafile", str(self.certificates.authority), "--cert", str(certificate),
                "--key", str(key)]

    def publish(self, topic, text):
        """As the node whose topic it is."""
        subprocess.run([*self.client_of(topic.split("/")[1]), "-t", topic, "-s" if text else "-n"],
                       input=text if isinstance(text, bytes) else text.encode(), check=True,
                       timeout=PATIENCE)


# For the user that it runs as, and nobody else: without a word about users the bus lets no other in.
OPEN_POLICY = """<policy context="default">
  <allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
</policy>"""

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


class Bus:
    """A dbus-daemon of its own."""

    def __init__(self, folder, policy=OPEN_POLICY):
        self.folder = folder
        self.process = None
        self.socket = folder / "bus"
        self.address = f"unix:path={self.socket}"
        (folder / "bus.conf").write_text(
            '<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"\n'
            ' "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">\n<busconfig>\n'
            f"<listen>{self.address}</listen><auth>EXTERNAL</auth>\n{policy}\n</busconfig>\n")

    def start(self):
        self.socket.unlink(missing_ok=True)
        self.process = Process(["dbus-daemon", "--config-file=bus.conf", "--nofork", "--nopidfile",
                                "--nosyslog"], self.folder, self.folder / "bus.log")
        wait_for("the bus listens", self.socket.exists)

    def stop(self):
        if self.process:
            self.process.end()
