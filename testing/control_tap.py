"""Stands between a client and an FTP server's control port, passes everything on, and notes what it sees.

Data connections do not pass through it: both sides are on the same host, so a client that connects to the address it
knows the server by and the port of the EPSV or PASV reply reaches the server itself.
"""

import socket
import threading

from lock_step import Line


class ControlTap:
    """`lines` holds all that has passed; what a client could know of when it sent a line stands before it.

    `hold` is called with every line before it is passed on, and may take its time.
    """

    def __init__(self, server, hold=None):
        self.lines = []
        self.connections = 0
        self._hold = hold or (lambda line: None)
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

    @property
    def commands(self):
        """(number of the connection, line) in order."""
        return [(line.connection, line.text) for line in list(self.lines) if line.from_client]

    @property
    def replies(self):
        return [(line.connection, line.text) for line in list(self.lines) if not line.from_client]

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
            for source, target, from_client in ((client, server, True), (server, client, False)):
                threading.Thread(target=self._pass_on, args=(number, source, target, from_client), daemon=True).start()

    def _pass_on(self, number, source, target, from_client):
        rest = b""
        try:
            while block := source.recv(65536):
                *complete, rest = (rest + block).split(b"\n")
                # Noted before it is passed on, so that whoever sees its effect finds it here.
                for text in complete:
                    line = Line(number, from_client, text.rstrip(b"\r"))
                    self.lines.append(line)
                    self._hold(line)
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
