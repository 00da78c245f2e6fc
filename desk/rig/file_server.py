# SPDX-License-Identifier: MIT
"""The file server: an nginx of its own on loopback."""

import os
import pathlib

from rig.certificates import Certificates
from rig.files import write_file
from rig.network import LOOPBACK, free_port, is_listening
from rig.processes import Process, system_program, wait_until_listening

# One process without a master: nothing changes its user, and one process id stops it. nginx takes
# "$" in a path for a variable, so its paths begin at its own folder, where only names of the rig
# follow.
_CONFIGURATION = """daemon off;
master_process off;
pid nginx.pid;
error_log error.log;
events {{ worker_connections {connections}; }}
http {{
    log_format short '$uri $status $body_bytes_sent';
    access_log access.log short;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    default_type application/octet-stream;
    # The server closes first, so that the wait of a closed connection stays on this side: the
    # agent comes from sixteen local ports only.
    keepalive_timeout 0;
    server {{
        listen 127.0.0.1:{port}{tls};
        root www;
        limit_rate {rate};
        location / {{
            if (-f refuse/all) {{ return 503; }}
            if (-f answer/301) {{ return 301 $scheme://$http_host/elsewhere$uri; }}
            if (-f answer/404) {{ return 404; }}
        }}
        location ~ ^/(?<whose>[^/]+)/ {{
            if (-f refuse/all) {{ return 503; }}
            if (-f answer/301) {{ return 301 $scheme://$http_host/elsewhere$uri; }}
            if (-f answer/404) {{ return 404; }}
            if (-f refuse/$whose) {{ return 503; }}
            if (-f crawl/$whose) {{ set $limit_rate {crawl}; }}
        }}
    }}
}}
"""
_TLS = """ ssl;
        ssl_certificate {folder}/server.pem;
        ssl_certificate_key {folder}/server.key"""
EVERYBODY = "all"


class FileServer:
    """Who fetches below a name of his own can be slowed, refused and counted."""

    def __init__(
        self,
        folder: pathlib.Path,
        certificates: Certificates | None,
        *,
        rate: int = 0,
        crawl: str = "32k",
        connections: int = 256,
    ) -> None:
        """Without certificates over plain http; `rate` in bytes a second, 0: as fast as it can."""
        self.folder = folder
        self.certificates = certificates
        self.port = free_port()
        self.scheme = "https" if certificates else "http"
        for name in ("www", "crawl", "refuse", "answer"):
            (folder / name).mkdir(parents=True)
        tls = ""
        if certificates:
            tls = _TLS.format(folder=os.path.relpath(certificates.folder, folder))
        text = _CONFIGURATION.format(
            port=self.port, tls=tls, rate=rate, crawl=crawl, connections=connections
        )
        write_file(folder / "nginx.conf", text)
        self.start()

    def start(self) -> None:
        folder = self.folder
        words = [system_program("nginx"), "-p", ".", "-c", "nginx.conf", "-e", "error.log"]
        self.process = Process(words, folder, folder / "nginx.log")
        wait_until_listening(
            self.process,
            lambda: is_listening(self.port),
            "the file server (nginx)",
            f"{LOOPBACK}:{self.port}",
            folder / "error.log",
        )

    @property
    def address(self) -> str:
        return f"{self.scheme}://{LOOPBACK}:{self.port}"

    def publish(self, file: pathlib.Path, name: str) -> str:
        """Its address from now on; the name may have a folder before it, which is whose it is."""
        link = self.folder / "www" / name
        link.parent.mkdir(exist_ok=True)
        if not link.exists():
            link.symlink_to(file)
        return f"{self.address}/{name}"

    def crawl(self, whose: str, wanted: bool = True) -> None:
        """Downloads below this name that begin from now on are slow."""
        self._mark("crawl", whose, wanted)

    def refuse(self, whose: str, wanted: bool = True) -> None:
        """They are answered with 503."""
        self._mark("refuse", whose, wanted)

    def answer(self, code: int) -> None:
        """Everything is answered with 301, 404 or 503 from now on; 200: as it should be."""
        for known in (301, 404):
            self._mark("answer", str(known), code == known)
        self.refuse(EVERYBODY, code == 503)

    def _mark(self, kind: str, whose: str, wanted: bool) -> None:
        mark = self.folder / kind / whose
        if wanted:
            mark.touch()
        else:
            mark.unlink(missing_ok=True)

    def fetched(self, whose: str) -> list[tuple[int, int]]:
        """The answers that were given below this name, each with its status and bytes."""
        log = (self.folder / "access.log").read_text().splitlines()
        rows = (line.split() for line in log)
        return [
            (int(status), int(size)) for path, status, size in rows if path.startswith(f"/{whose}/")
        ]

    def stop(self) -> None:
        self.process.stop()
