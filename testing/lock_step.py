"""What an FTP client does in which order, and whether it goes in lock step."""

import dataclasses
import re

_PORT = re.compile(rb"^229 .*\(\|\|\|(\d+)\|\)|^227 .*?(?:\d+,){4}(\d+),(\d+)")
_FINAL = re.compile(rb"[2-5]\d\d( |$)")
_TRANSFERS = (b"STOR", b"MKD")
MOST_CONNECTIONS = 3


@dataclasses.dataclass(frozen=True)
class Line:
    """A command or a reply's line, without its line end."""

    connection: int  # from 0
    from_client: bool
    text: bytes

    @property
    def verb(self):
        return self.text.split(b" ")[0].upper()

    @property
    def argument(self):
        return self.text.partition(b" ")[2].decode("utf-8", "replace")

    def __str__(self):
        return self.text.decode("utf-8", "replace")


def port_in(text):
    """The port that a reply to EPSV or PASV names; none for other lines."""
    named = _PORT.match(text)
    if not named:
        return None
    extended, high, low = (int(group or 0) for group in named.groups())
    return extended or high * 256 + low


def arguments(lines, verb):
    return [line.argument for line in lines if line.from_client and line.verb == verb.encode()]


def faults(lines):
    """Where a client did not go in lock step, as lines of text; none for one that does.

    Lock step is: on a control connection no command before the greeting or before the final reply to the last command,
    and on all connections together one folder or file at a time. The lines stand in the order in which the client
    could know of them.
    """
    found = []
    due = {}  # connection: what a final reply is still due for
    for line in lines:
        if line.from_client:
            found += _faults_of(line, due)
            due[line.connection] = line
        elif _FINAL.match(line.text):
            due[line.connection] = None
    return found


def _faults_of(command, due):
    # Neither waits for anything: the one breaks off what is under way, the other says goodbye.
    if command.verb in (b"ABOR", b"QUIT"):
        return
    before = due.get(command.connection, "the connection")
    if before is not None:
        yield f"{command} before the reply to {before}"
    if command.verb in _TRANSFERS:
        for connection, waiting in due.items():
            if connection != command.connection and waiting and waiting.verb in _TRANSFERS:
                yield f"{command} during {waiting}"


@dataclasses.dataclass
class DataConnection:
    """One that the client has made to a port of the server's."""

    port: int
    bytes_sent: int = 0
    is_up: bool = False
    was_reset: bool = False  # by the client


class Traffic:
    """Watches a LatencyLink at the client's end: what passes on the control connections to a port, and in which order
    with the data connections.

    `lines` are those of the control connections. `faults()` adds to those of the lines: STOR without a data connection
    that is up, and data that did not wait for the preliminary reply on a connection whose greeting `may_hurry` is not
    true of.
    """

    def __init__(self, may_hurry):
        self.control_port = None
        self.lines = []
        self.connections = 0
        self.most_at_a_time = 0
        self.data = []
        self._may_hurry = may_hurry
        self._faults = []
        self._numbers = {}  # client's port of a control connection: its number
        self._open = set()
        self._streams = {}  # (client's port, to server): number of the next byte, and the line that is not complete
        self._named = {}  # number of a control connection: the port that the server named last
        self._greetings = {}
        self._by_ports = {}  # (client's port, server's port): data connection

    def __call__(self, packet):
        client = packet.source if packet.to_server else packet.target
        if packet.server_port == self.control_port:
            self._see_control(client, packet)
        elif packet.to_server or (client, packet.server_port) in self._by_ports:
            self._see_data(client, packet)

    def faults(self):
        found = faults(self.lines) + self._faults
        if self.most_at_a_time > MOST_CONNECTIONS:
            found.append(f"{self.most_at_a_time} control connections at a time")
        return found

    def stored(self):
        """Paths, as often as they were asked to be stored."""
        return arguments(self.lines, "STOR")

    @property
    def resets(self):
        """How many data connections that had been used the client has broken off."""
        return sum(each.was_reset and each.bytes_sent > 0 for each in self.data)

    def _see_control(self, client, packet):
        if packet.is_request and packet.to_server and client not in self._numbers:
            self._numbers[client] = self.connections
            self.connections += 1
            self._open.add(client)
            self.most_at_a_time = max(self.most_at_a_time, len(self._open))
        if packet.is_end or packet.is_reset:
            self._open.discard(client)
        for text in self._new_lines((client, packet.to_server), packet):
            self._note(Line(self._numbers[client], packet.to_server, text))

    def _new_lines(self, stream, packet):
        if packet.is_request:
            self._streams[stream] = (packet.number + 1, b"")
            return []
        expected, rest = self._streams[stream]
        # What was sent again is known already; packets never overtake each other here.
        new = packet.data[(expected - packet.number) % 2**32:] if packet.length else b""
        *complete, rest = (rest + new).split(b"\n")
        self._streams[stream] = ((expected + len(new)) % 2**32, rest)
        return [text.rstrip(b"\r") for text in complete]

    def _note(self, line):
        self.lines.append(line)
        if line.from_client:
            if line.verb == b"STOR" and not self._has_data_connection(line.connection):
                self._faults.append(f"{line} without a data connection")
            return
        self._greetings.setdefault(line.connection, line.text)
        if port := port_in(line.text):
            self._named[line.connection] = port

    def _has_data_connection(self, control):
        port = self._named.get(control)
        return any(each.port == port and each.is_up for each in self.data)

    def _see_data(self, client, packet):
        ports = (client, packet.server_port)
        if ports not in self._by_ports:
            if not packet.is_request or packet.server_port not in self._named.values():
                return  # in active mode the server makes them
            self._by_ports[ports] = DataConnection(packet.server_port)
            self.data.append(self._by_ports[ports])
        connection = self._by_ports[ports]
        if not packet.to_server:
            # The server's consent makes it; its end or reset means that it is of no use any more.
            connection.is_up = packet.is_request or (connection.is_up and not packet.is_end and not packet.is_reset)
            return
        connection.was_reset |= packet.is_reset
        if packet.length and not connection.bytes_sent:
            self._expect_leave_for(connection)
        connection.bytes_sent += packet.length

    def _expect_leave_for(self, data):
        control = next((number for number, port in reversed(self._named.items()) if port == data.port), None)
        own = [line for line in self.lines if line.connection == control]
        commands = [line.verb for line in own if line.from_client]
        if commands[-1:] != [b"STOR"]:
            self._faults.append(f"data to port {data.port} before STOR")
        elif own[-1].from_client and not self._may_hurry(self._greetings[control]):
            self._faults.append(f"data ahead of the preliminary reply to {own[-1]}")
