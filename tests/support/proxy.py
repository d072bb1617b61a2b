"""Stands between the program and the database, reads the protocol, and does harm where told."""

import contextlib
import pathlib
import re
import select
import shutil
import socket
import struct
import tempfile
import threading
import time
from collections.abc import Callable


def _read(stream: socket.socket, size: int) -> bytes:
    data = b""
    while len(data) < size:
        piece = stream.recv(size - len(data))
        if not piece:
            raise ConnectionError
        data += piece
    return data


def _error(number: int, code: int) -> bytes:
    body = b"\xff" + code.to_bytes(2, "little") + b"#HY000Injected"
    return len(body).to_bytes(3, "little") + bytes([number]) + body


class Proxy:
    """Harms the statement that `pattern` is found in, or, where that is "greeting", the start of
    the connection: by an error of a number, "deadlock" (the first time), "lose" (the connection ends
    instead of an answer), "gone" (it ends behind the answer), "slow", "ask PLUGIN" (the login is to be
    made by that plugin; `told` is what came), or a function that is called with the program's process
    id before the statement goes its way."""

    def __init__(self, server: pathlib.Path) -> None:
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="ovk-proxy-"))
        self.server = server
        self.pattern: str | None = None
        self.harm: str | int | Callable[[int], object] = ""
        self.hits = 0
        self.told = b""
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(str(self.folder / "mysqld.sock"))
        self.listener.listen()
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def close(self) -> None:
        self.listener.shutdown(socket.SHUT_RDWR)
        self.thread.join()
        self.listener.close()
        shutil.rmtree(self.folder)

    def _serve(self) -> None:
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:  # closed
                return
            with client, contextlib.suppress(OSError), socket.socket(socket.AF_UNIX) as server:
                server.connect(str(self.server))
                self._relay(client, server)

    def _relay(self, client: socket.socket, server: socket.socket) -> None:
        harm = self._meet(client, "greeting")
        if isinstance(harm, int):
            client.sendall(_error(0, harm))
        if isinstance(harm, int) or harm == "lose":
            return
        if harm.startswith("ask "):
            client.sendall(server.recv(1 << 16))
            _read(client, int.from_bytes(_read(client, 4)[:3], "little"))
            plugin = harm[4:].encode() + b"\0" + b"12345678901234567890\0"
            if harm == "ask mysql_old_password":
                plugin = b""
            client.sendall((1 + len(plugin)).to_bytes(3, "little") + b"\2\xfe" + plugin)
            self.told = client.recv(1 << 16)
            return
        while True:
            if server in select.select([client, server], [], [])[0]:
                answer = server.recv(1 << 20)
                if harm == "gone":
                    client.shutdown(socket.SHUT_RD)  # first, so that no statement slips in
                client.sendall(answer)
                if harm == "gone" or not answer:
                    return
                continue
            header = _read(client, 4)
            body = _read(client, int.from_bytes(header[:3], "little"))
            QUERY = 3
            if header[3] == 0 and body[0] == QUERY:
                harm = self._meet(client, body[1:].decode(errors="replace"))
            if harm == "lose":
                return
            if harm == "deadlock" and self.hits == 1:
                harm = 1213
            if isinstance(harm, int):
                client.sendall(_error(1, harm))
            else:
                server.sendall(header + body)

    def _meet(self, client: socket.socket, text: str) -> str | int:
        """What is to happen to this statement."""
        if self.pattern is None or re.search(self.pattern, text) is None:
            return ""
        self.hits += 1
        if self.harm == "slow":
            time.sleep(0.1)
        if isinstance(self.harm, (str, int)):
            return self.harm
        self.harm(struct.unpack("3i", client.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED,
                                                        12))[0])
        return ""
