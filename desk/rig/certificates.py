# SPDX-License-Identifier: MIT
"""Certificate authorities of the rig's own: for its servers and their clients, for who signs images."""

import pathlib
from typing import NamedTuple

from rig.files import write_file
from rig.processes import run_program

_CONFIGURATION = """[req]
distinguished_name = name
prompt = no
[name]
CN = unnamed
[authority]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[server]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth
subjectAltName = {server_names}
[client]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = clientAuth
[signer]
basicConstraints = CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = critical, codeSigning
"""
_DESK_NAMES = "DNS:localhost, IP:127.0.0.1"
_DAYS = "30"
_NEW_KEY = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes"]


class Pair(NamedTuple):
    """A certificate, and the key to it."""

    certificate: pathlib.Path
    key: pathlib.Path


class Authority:
    """Made in the folder, with what it signs; good for some days."""

    def __init__(self, folder: pathlib.Path, name: str, server_names: str = _DESK_NAMES) -> None:
        folder.mkdir(parents=True, exist_ok=True)
        self.folder = folder
        text = _CONFIGURATION.replace("{server_names}", server_names)
        write_file(folder / "openssl.cnf", text)
        self.authority = self._make("ca", name, "authority").certificate

    def sign(self, file: str, name: str, use: str) -> Pair:
        """FILE.pem and FILE.key of this common name; the use is a section of the configuration."""
        return self._make(file, name, use, "-CA", "ca.pem", "-CAkey", "ca.key")

    def _make(self, file: str, name: str, use: str, *signed_by: str) -> Pair:
        how = [*_NEW_KEY, "-config", "openssl.cnf", *signed_by, "-days", _DAYS]
        what = ["-subj", f"/CN={name}", "-extensions", use]
        files = ["-keyout", f"{file}.key", "-out", f"{file}.pem"]
        words = ["openssl", "req", "-x509", *how, *what, *files]
        run_program(words, self.folder, self.folder / "openssl.log")
        return Pair(self.folder / f"{file}.pem", self.folder / f"{file}.key")


class Certificates(Authority):
    """With a server certificate for these names, and clients of that server."""

    def __init__(
        self, folder: pathlib.Path, name: str = "Desk CA", server_names: str = _DESK_NAMES
    ) -> None:
        super().__init__(folder, name, server_names)
        self.certificate, self.key = self.sign("server", "localhost", "server")

    @classmethod
    def made_in(cls, folder: pathlib.Path) -> "Certificates":
        """Those that were made in the folder earlier."""
        found = cls.__new__(cls)
        found.folder, found.authority = folder, folder / "ca.pem"
        found.certificate, found.key = folder / "server.pem", folder / "server.key"
        return found

    def client(self, name: str, file: str = "") -> Pair:
        """Of this common name."""
        file = file or name.replace(":", "-")
        found = Pair(self.folder / f"{file}.pem", self.folder / f"{file}.key")
        return found if found.certificate.exists() else self.sign(file, name, "client")


class Signer(NamedTuple):
    """Who signs images."""

    authority: pathlib.Path  # what a node trusts
    certificate: pathlib.Path
    key: pathlib.Path


def signer_in(folder: pathlib.Path) -> Signer:
    return Signer(folder / "ca.pem", folder / "signer.pem", folder / "signer.key")


def make_signer(folder: pathlib.Path) -> Signer:
    Authority(folder, "Desk image CA").sign("signer", "Desk signer", "signer")
    return signer_in(folder)
