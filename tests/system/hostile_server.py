# SPDX-License-Identifier: MIT
"""A file server of the user nobody that means harm, over TLS: CERTIFICATE KEY; it prints its port.

The path chooses what it does: /endless sends until nobody reads, /claims announces more than anybody
can hold, /headers answers with what a terminal would obey, /many with more
headers than anybody wants to read.
"""

import contextlib
import os
import socket
import ssl
import sys

NOBODY = 65534
BLOCK = b"x" * 65536
CLAIMED = 10 ** 13
HEADERS = (b"HTTP/1.1 404 Not \x1b[31mFound\r\nX-Title: \x1b]0;owned\x07\r\nX-C1: \x9b2J\xc2\x9b2J\r\n"
           b"X-Line: a\x0berror: otad: forged\r\nX-Long: " + b"\x1b" * 2000 + b"\r\n"
           b"Content-Length: 0\r\nConnection: close\r\n\r\n")


def serve(connection):
    path = connection.recv(65536).split()[1].split(b"?")[0]
    if path == b"/headers":
        connection.sendall(HEADERS)
        return
    if path == b"/many":
        many = b"".join(b"X-%d: x\r\n" % number for number in range(2000))
        connection.sendall(b"HTTP/1.1 404 Not Found\r\n" + many + b"Content-Length: 0\r\n\r\n")
        return
    length = b"Content-Length: %d\r\n" % CLAIMED if path == b"/claims" else b""
    connection.sendall(b"HTTP/1.1 200 OK\r\n" + length + b"Connection: close\r\n\r\n")
    while True:
        connection.sendall(BLOCK)


def main():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(*sys.argv[1:])
    os.setgroups([])
    os.setresgid(NOBODY, NOBODY, NOBODY)
    os.setresuid(NOBODY, NOBODY, NOBODY)
    listening = socket.create_server(("127.0.0.1", 0))
    print(listening.getsockname()[1], flush=True)
    while True:
        plain, _ = listening.accept()
        with contextlib.suppress(OSError), context.wrap_socket(plain, server_side=True) as connection:
            serve(connection)


main()
