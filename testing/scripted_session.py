"""One control connection of the scripted server, with its data connections: what actions are written with."""

import dataclasses
import hashlib
import select
import socket
import struct
import threading
import time

_NEVER = 3600


@dataclasses.dataclass(frozen=True)
class Command:
    connection: int  # from 0, in the order of the clients' connecting
    line: bytes  # without its line feed, and without the carriage return before it
    raw: bytes
    time: float

    @property
    def verb(self):
        return self.line.split(b" ")[0].decode("latin-1").upper()

    @property
    def argument(self):
        return self.line.partition(b" ")[2].decode("utf-8", "surrogateescape")


@dataclasses.dataclass(frozen=True)
class Transfer:
    """What has arrived on one data connection. `ended` tells whether the client closed it in good order."""

    path: str
    size: int
    digest: str
    ended: bool
    connection: int


class Session:
    """One control connection, served by a thread of its own. What it sends and reads fails silently once it is gone."""

    def __init__(self, server, client, number):
        self.server = server
        self.number = number
        self.user = None
        self.logged_in = False
        self.renamed = None
        self.piece = 1 << 20
        self._control = client
        self._rest = b""  # of what has come, after the line that is being served
        self._control.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._owned = []  # data sockets and listeners, closed with the session
        self._listener = None
        self._accepted = None
        self._active_address = None
        self.thread = threading.Thread(target=self._run, daemon=True)

    def is_alive(self):
        return self.thread.is_alive()

    def _run(self):
        try:
            self.server.next_action("GREETING")(self, "")
            for raw in self._lines():
                command = Command(self.number, raw.rstrip(b"\n").removesuffix(b"\r"), raw, time.monotonic())
                self.server.commands.append(command)
                self.server.next_action(command.verb)(self, command.argument)
        except (OSError, ValueError):
            pass  # The client, or the test's end, has closed a socket under our hands.
        finally:
            self.close()

    def _lines(self):
        while block := self._control.recv(65536):
            self._rest += block
            while b"\n" in self._rest:
                line, _, self._rest = self._rest.partition(b"\n")
                yield line + b"\n"

    # Control connection.

    def reply(self, text):
        """Sends one line, with its line end."""
        if self.server.drops_what_comes_ahead_of_its_reply:
            self._drop_input()
        self.send(text + b"\r\n")

    def _drop_input(self):
        try:
            while block := self._control.recv(65536, socket.MSG_DONTWAIT):
                self._rest += block
        except BlockingIOError:
            pass
        if self._rest:
            self.server.dropped.append(self._rest)
            self._rest = b""

    def send(self, data, pause=0.0):
        """Sends the bytes as they are, `self.piece` at a time, each piece in a packet of its own."""
        for start in range(0, len(data), self.piece):
            self._control.sendall(data[start:start + self.piece])
            if pause:
                self.wait(pause)

    def wait(self, seconds=_NEVER):
        """Does nothing for a while, at the most until the test's end."""
        self.server.closing.wait(seconds)

    def close(self):
        for item in [self._control, *self._owned]:
            close(item)

    def reset(self):
        """Ends the control connection the hard way: the client's next read or write fails."""
        reset(self._control)
        self.close()

    def has_input(self):
        """Whether something has come behind the command that is being served."""
        return bool(self._rest) or bool(select.select([self._control], [], [], 0)[0])

    # Data connections.

    def drop_data(self):
        """Ends the data connections that have been made and not been used yet."""
        if self._listener:
            close(self._listener)

    def listen(self):
        """Opens a port for the next data connection and returns its number."""
        self._listener = socket.socket(self.server._family, socket.SOCK_STREAM)
        self._owned.append(self._listener)
        if self.server._receive_buffer:
            self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, self.server._receive_buffer)
        self._listener.bind((self.server.host, 0))
        self._listener.listen(4)
        self._active_address = None
        return self._listener.getsockname()[1]

    def keep_listening(self):
        """As listen(), but the port of the session's first data connection serves all of them."""
        if self._listener:
            return self._listener.getsockname()[1]
        return self.listen()

    def closed_port(self):
        """A port of the server's on which connections are refused for as long as the session lasts."""
        held = socket.socket(self.server._family, socket.SOCK_STREAM)
        held.bind((self.server.host, 0))
        self._owned.append(held)
        return held.getsockname()[1]

    def use_active(self, host, port):
        self._active_address = (host, port)

    def open_data(self, timeout=30):
        """The data connection as agreed before, or None when it does not come about in time."""
        try:
            if self._active_address:
                data = socket.create_connection(self._active_address, timeout)
            elif self._accepted:
                data, self._accepted = self._accepted, None
            elif self._listener:
                self._listener.settimeout(timeout)
                data, _ = self._listener.accept()
            else:
                return None
        except OSError:
            return None
        data.settimeout(None)
        self._owned.append(data)
        self.server.data_peers.append(data.getpeername())
        return data

    def data_that_comes_early(self, seconds):
        """Waits for a data connection with something on it; None when none comes before the client's next command.

        A data connection without anything on it stays for open_data().
        """
        ready, _, _ = select.select([self._listener, self._control], [], [])
        if self._listener not in ready:
            ready, _, _ = select.select([self._listener], [], [], 0.05)
            if not ready:
                return None
        data, _ = self._listener.accept()
        self._owned.append(data)
        if select.select([data], [], [], seconds)[0]:
            return data
        self._accepted = data
        return None

    def receive(self, path, data, limit=None):
        """Reads the data connection to its end, or until at least `limit` bytes have come, and records the file."""
        digest, size, blocks, ended = hashlib.sha256(), 0, [], False
        try:
            while limit is None or size < limit:
                block = data.recv(65536 if limit is None else min(65536, limit - size))
                if not block:
                    ended = True
                    break
                digest.update(block)
                size += len(block)
                if self.server._keep_content:
                    blocks.append(block)
        except OSError:
            pass
        self.server.transfers.append(Transfer(path, size, digest.hexdigest(), ended, self.number))
        if ended and self.server._keep_content:
            self.server.files[path] = b"".join(blocks)
        return size


def close(item):
    """Closes a socket, also for a thread that is blocked on it."""
    try:
        item.shutdown(socket.SHUT_RDWR)
    except OSError:
        pass
    item.close()


def reset(item):
    """Makes the peer see a connection reset instead of an end."""
    try:
        item.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    except OSError:
        pass
    item.close()
