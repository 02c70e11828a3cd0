"""Stands between a client and an FTP server, on the control connection and on the data connections, and tampers with
what passes.

Client and server are in a network of the test's own, where the server has few ports for data; the man has an address of
his own there, listens at all of the server's ports, and passes on to the server what he is not told to do otherwise
with. A client that goes to his address for the control connection comes to him for the data, too.
"""

import contextlib
import socket
import ssl
import struct
import threading

# Below those that the tests and the kernel hand out.
DATA_PORTS = range(14000, 14032)
_RECORD_TYPES = (20, 21, 22, 23)
_HEADER = 5


class Unit:
    """A TLS record, or a line in the clear."""

    def __init__(self, content, number, is_data, from_client):
        self.content, self.number, self.is_data, self.from_client = content, number, is_data, from_client

    @property
    def is_record(self):
        return self.content[0] in _RECORD_TYPES


class ManInTheMiddle:
    """`tamper(unit, connection)` is called for each Unit in the order in which they come, and returns the bytes to pass
    on; it may call the connection's methods. `units` counts them, apart for the control connections (False) and the
    data connections (True)."""

    def __init__(self, network, server, address="127.0.0.66", tamper=None):
        self.address = f"{address}:{server.port}"
        self.units = {False: 0, True: 0}
        self._tamper = tamper or (lambda unit, _connection: unit.content)
        self._network, self._server = network, (server.host, server.port)
        self._lock = threading.Lock()
        self._connections = []
        self._listeners = network.run(lambda: [
            socket.create_server((address, port), backlog=64) for port in (server.port, *DATA_PORTS)
        ])
        for listener in self._listeners:
            threading.Thread(target=self._serve, args=(listener,), daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for listener in self._listeners:
            with contextlib.suppress(OSError):
                listener.shutdown(socket.SHUT_RDWR)
            listener.close()
        for connection in self._connections:
            connection.cut()

    def _serve(self, listener):
        port = listener.getsockname()[1]
        while True:
            try:
                client, _ = listener.accept()
            except OSError:
                return
            try:
                server = self._network.run(lambda: socket.create_connection((self._server[0], port)))
            except OSError:
                client.close()
                continue
            connection = Connection(client, server, port != self._server[1])
            self._connections.append(connection)
            for from_client in (True, False):
                threading.Thread(target=self._pass_on, args=(connection, from_client), daemon=True).start()

    def _pass_on(self, connection, from_client):
        source, target = connection.sockets if from_client else reversed(connection.sockets)
        with contextlib.suppress(OSError, ValueError):
            for content in _units_of(source):
                with self._lock:
                    number = self.units[connection.is_data]
                    self.units[connection.is_data] += 1
                    passed = self._tamper(Unit(content, number, connection.is_data, from_client), connection)
                if connection.is_taken_over:
                    return
                if passed and not (from_client and connection.swallows):
                    target.sendall(passed)
        with contextlib.suppress(OSError):
            target.shutdown(socket.SHUT_WR)


class Connection:
    """A client's connection to the man, and his to the server."""

    def __init__(self, client, server, is_data):
        self.sockets = (client, server)
        self.is_data = is_data
        self.is_taken_over = False
        self.swallows = False
        for each in self.sockets:
            each.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def cut(self, resets=False):
        """Ends both."""
        for each in self.sockets:
            with contextlib.suppress(OSError):
                if resets:
                    each.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                # A thread that waits for something to read would keep the connection up.
                each.shutdown(socket.SHUT_RD if resets else socket.SHUT_RDWR)
            if resets:
                each.close()

    def swallow_the_rest(self):
        """From now on, the server sees an end, and the client nothing of that."""
        self.swallows = True
        self.sockets[1].shutdown(socket.SHUT_WR)

    def take_over(self, context, answers):
        """Speaks with the client himself, in TLS; `answers` is called with the secured socket, in another thread."""
        self.is_taken_over = True

        def speak():
            with contextlib.suppress(OSError), context.wrap_socket(self.sockets[0], server_side=True) as secured:
                answers(secured)

        threading.Thread(target=speak, daemon=True).start()


def _units_of(source):
    rest = b""
    while block := source.recv(1 << 16):
        rest += block
        while size := _unit_size(rest):
            content, rest = rest[:size], rest[size:]
            yield content
    if rest:
        yield rest


def _unit_size(content):
    """Of the first unit; 0 while it is not complete."""
    if not content:
        return 0
    if content[0] not in _RECORD_TYPES:
        return content.find(b"\n") + 1
    if len(content) < _HEADER:
        return 0
    size = _HEADER + struct.unpack_from(">H", content, 3)[0]
    return size if len(content) >= size else 0
