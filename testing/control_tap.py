"""Stands between a client and an FTP server's control port, passes everything on, and notes what it sees.

Data connections do not pass through it: both sides are on the same host, so a client that connects to the address it
knows the server by and the port of the EPSV or PASV reply reaches the server itself.
"""

import socket
import threading


class ControlTap:
    """`commands` and `replies` hold (number of the connection from 0, line without its line end) in order."""

    def __init__(self, server):
        self.commands = []
        self.replies = []
        self.connections = 0
        self._server = (server.host, server.port)
        self._sockets = []
        family = socket.AF_INET6 if ":" in server.host else socket.AF_INET
        self._listener = socket.create_server((server.host, 0), family=family, backlog=64)
        self.port = self._listener.getsockname()[1]
        self.address = f"[{server.host}]:{self.port}" if ":" in server.host else f"{server.host}:{self.port}"
        threading.Thread(target=self._serve, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for item in [self._listener, *self._sockets]:
            _close(item)

    def verbs(self):
        return [line.split(b" ")[0].decode("latin-1").upper() for _, line in self.commands]

    @property
    def logins(self):
        """Number of logins that the server has accepted."""
        return sum(line.startswith(b"230 ") for _, line in self.replies)

    def _serve(self):
        while True:
            try:
                client, _ = self._listener.accept()
            except OSError:
                return
            server = socket.create_connection(self._server)
            number = self.connections
            self.connections += 1
            self._sockets += [client, server]
            for item in (client, server):
                item.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)  # as direct connections have it
            for source, target, lines in ((client, server, self.commands), (server, client, self.replies)):
                threading.Thread(target=self._pass_on, args=(number, source, target, lines), daemon=True).start()

    def _pass_on(self, number, source, target, lines):
        rest = b""
        try:
            while block := source.recv(65536):
                *complete, rest = (rest + block).split(b"\n")
                # Noted before it is passed on, so that whoever sees its effect finds it here.
                lines += [(number, line.rstrip(b"\r")) for line in complete]
                target.sendall(block)
        except OSError:
            pass
        try:
            target.shutdown(socket.SHUT_WR)
        except OSError:
            pass


def _close(item):
    try:
        item.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass
    item.close()
