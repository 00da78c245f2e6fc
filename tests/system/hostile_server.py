# SPDX-License-Identifier: MIT
"""A file server of the user nobody that means harm, over TLS: CERTIFICATE KEY; it prints its port.

The path chooses what it does: /endless sends until nobody reads, /claims announces more than anybody
can hold, /headers answers with what a terminal would obey, /many with more headers than anybody wants to
read, /trailers and /interim send them without end, behind the file and before an answer; /busy answers
with 503 once and with 504 from then on.
"""

import contextlib
import os
import socket
import ssl
import sys

NOBODY = 65534
BLOCK = b"x" * 65536
CLAIMED = 10**13
HEADERS = (
    b"HTTP/1.1 404 Not \x1b[31mFound\r\nX-Title: \x1b]0;owned\x07\r\nX-C1: \x9b2J\xc2\x9b2J\r\n"
    b"X-Line: a\x0berror: otad: forged\r\nX-Long: " + b"\x1b" * 2000 + b"\r\n"
    b"Content-Length: 0\r\nConnection: close\r\n\r\n"
)

MANY_HEADERS = b"X-Line: abcdefghijklmnopqrstuvwxyz\r\n" * 500
TRAILERS = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n"
INTERIM = b"HTTP/1.1 103 Early Hints\r\nLink: </a>\r\n\r\n" * 500
busy = iter([b"HTTP/1.1 503 Busy\r\nContent-Length: 0\r\n\r\n"])


def send_for_ever(connection, first, block):
    connection.sendall(first)
    while True:
        connection.sendall(block)


def serve(connection):
    path = connection.recv(65536).split()[1].split(b"?")[0]
    if path == b"/headers":
        connection.sendall(HEADERS)
        return
    if path == b"/many":
        many = b"".join(b"X-%d: x\r\n" % number for number in range(2000))
        connection.sendall(b"HTTP/1.1 404 Not Found\r\n" + many + b"Content-Length: 0\r\n\r\n")
        return
    if path == b"/trailers":
        send_for_ever(connection, TRAILERS, MANY_HEADERS)
    if path == b"/interim":
        send_for_ever(connection, b"", INTERIM)
    if path == b"/busy":
        late = b"HTTP/1.1 504 Late\r\nContent-Length: 4\r\n\r\nlate"
        connection.sendall(next(busy, late))
        return
    length = b"Content-Length: %d\r\n" % CLAIMED if path == b"/claims" else b""
    send_for_ever(connection, b"HTTP/1.1 200 OK\r\n" + length + b"Connection: close\r\n\r\n", BLOCK)


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
        with contextlib.suppress(OSError), context.wrap_socket(
            plain, server_side=True
        ) as connection:
            serve(connection)


main()
