#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A web server on the loopback interface that answers as badly as its path asks for.

/status/<code>  that code with a short body; 301 points to /status/200
/image          the file "gate.img" of the working directory
/short          the same with half of its body missing
/stall          half of it, then nothing until the client leaves

Each request is noted in the file "requests" as "<path> <client port> <segment size>". The server
always closes first, so that the client's port is free again at once.
"""

import socket
import ssl
import struct
import sys

RESET = struct.pack("ii", 1, 0)


def read_request(connection):
    request = b""
    while b"\r\n\r\n" not in request:
        more = connection.recv(4096)
        if not more:
            return None
        request += more
    return request.split(b" ")[1].decode()


def note(connection, path):
    segment = connection.getsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG)
    with open("requests", "a", encoding="ascii") as requests:
        requests.write(f"{path} {connection.getpeername()[1]} {segment}\n")


def head(code, length, more=""):
    lines = f"HTTP/1.1 {code} Answer\r\nContent-Length: {length}\r\nConnection: close\r\n{more}\r\n"
    return lines.encode()


def image():
    with open("gate.img", "rb") as file:
        return file.read()


def wait_for_the_client(connection):
    try:
        while connection.recv(4096):
            pass
    except OSError:
        pass


def answer(connection, path):
    """Sends the answer; True where the connection is to end in good order."""
    if path == "/image":
        connection.sendall(head(200, len(image())) + image())
    elif path == "/short":
        connection.sendall(head(200, len(image())) + image()[: len(image()) // 2])
    elif path == "/stall":
        # The client leaves first here: a reset keeps its port from waiting.
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, RESET)
        connection.sendall(head(200, len(image())) + image()[: len(image()) // 2])
        wait_for_the_client(connection)
        return False
    else:
        code = int(path.rsplit("/", 1)[1])
        body = f"answer {code}\n".encode()
        more = "Location: /status/200\r\n" if code == 301 else ""
        connection.sendall(head(code, len(body), more) + body)
    return True


def serve(connection):
    path = read_request(connection)
    if path is None:
        return
    note(connection, path)
    # Corked, the last bytes and the end of the stream travel together.
    stalls = path == "/stall"
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_CORK, 0 if stalls else 1)
    if answer(connection, path):
        socket.socket.shutdown(connection, socket.SHUT_WR)
        wait_for_the_client(connection)


def secured(plain, context):
    try:
        return context.wrap_socket(plain, server_side=True)
    except (OSError, ssl.SSLError):
        # The client refused the certificate.
        return None


def main():
    port = int(sys.argv[1])
    context = None
    if len(sys.argv) > 2:
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(sys.argv[2], sys.argv[3])
    with socket.create_server(("127.0.0.1", port)) as listener:
        while True:
            connection, _ = listener.accept()
            connection.settimeout(30)
            if context is not None:
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, RESET)
                connection = secured(connection, context)
            if connection is not None:
                with connection:
                    serve(connection)


if __name__ == "__main__":
    main()
