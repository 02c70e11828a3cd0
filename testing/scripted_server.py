"""An FTP server in memory that behaves well until a test tells it otherwise: for whole runs of the helper, with
thousands of files or very large ones, and for the benchmarks.

    with ScriptedServer() as server:
        server.on("STOR", reply(b"452 disk full"))  # the first STOR; later ones are served as usual
        server.on("MKD", None, drop)  # the first folder is made as usual, the second ends the connection
        server.always("EPSV", reply(b"500 what?"))
        ...
        assert server.files == {"/a.txt": b"..."}

Next to the verbs of the protocol there is "GREETING", which is due when a client has connected.

An action is a function that is called with the session and the command's argument and does everything that the server
is to do about it, replying included. The actions at the end of this file cover what tests need most; others are
written with the functions of Session.
"""

import collections
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


class ScriptedServer:
    """`commands`, `transfers`, `files` (path to content) and `folders` tell what has happened so far."""

    username = "telvo"
    password = "secret"

    def __init__(self, host="127.0.0.1", keep_content=True, receive_buffer=None):
        self.host = host
        self.commands = []
        self.transfers = []
        self.files = {}
        self.folders = {"/"}
        self.control_peers = []  # addresses of the clients, in the order of their connecting
        self.data_peers = []  # addresses from which data connections came, or to which they were made
        self.drops_what_comes_ahead_of_its_reply = False
        self.dropped = []  # because of that
        self.closing = threading.Event()
        self._keep_content = keep_content
        self._receive_buffer = receive_buffer
        self._actions = collections.defaultdict(collections.deque)
        self._standing_actions = {}
        self._sessions = []
        self._lock = threading.Lock()
        self._family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self._listener = socket.create_server((host, 0), family=self._family, backlog=64)
        self.port = self._listener.getsockname()[1]
        self.address = f"[{host}]:{self.port}" if ":" in host else f"{host}:{self.port}"
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    # The script.

    def on(self, verb, *actions):
        """The n-th action is for the n-th occurrence of the verb from now on; None stands for the usual behaviour."""
        self._actions[verb].extend(actions)

    def always(self, verb, action):
        """For every occurrence for which on() says nothing."""
        self._standing_actions[verb] = action

    # What has happened.

    @property
    def connections(self):
        return len(self._sessions)

    @property
    def open_connections(self):
        return len(self.sessions())

    def sessions(self):
        """Those that are not over."""
        return [session for session in list(self._sessions) if session.is_alive()]

    def verbs(self, connection=None):
        return [command.verb for command in list(self.commands) if connection in (None, command.connection)]

    # Running.

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.closing.set()
        close(self._listener)
        for session in list(self._sessions):
            session.close()
        for session in list(self._sessions):
            session.thread.join(10)

    def _serve(self):
        while not self.closing.is_set():
            try:
                client, address = self._listener.accept()
            except OSError:
                return
            self.control_peers.append(address)
            session = Session(self, client, len(self._sessions))
            self._sessions.append(session)
            session.thread.start()

    def next_action(self, verb):
        with self._lock:
            action = self._actions[verb].popleft() if self._actions[verb] else self._standing_actions.get(verb)
        return action or usual(verb)


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


class BlackHole:
    """A port that never answers: its queue is full, so that the kernel drops further requests to connect."""

    def __init__(self, host="127.0.0.1"):
        family = socket.AF_INET6 if ":" in host else socket.AF_INET
        self._listener = socket.socket(family, socket.SOCK_STREAM)
        self._listener.bind((host, 0))
        self._listener.listen(0)
        self.port = self._listener.getsockname()[1]
        self.address = f"[{host}]:{self.port}" if ":" in host else f"{host}:{self.port}"
        self._fillers = []
        while True:
            filler = socket.socket(family, socket.SOCK_STREAM)
            filler.settimeout(0.3)
            self._fillers.append(filler)
            try:
                filler.connect((host, self.port))
            except OSError:
                break

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for item in [self._listener, *self._fillers]:
            item.close()


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


# The usual behaviour.


def _not_understood(session, _argument):
    session.reply(b"502 Command not implemented.")


def _log_in_first(session, _argument):
    session.reply(b"530 Log in first.")


def _says(text):
    return lambda session, _argument: session.reply(text)


def _user(session, argument):
    session.user = argument
    session.reply(b"331 Password, please.")


def _pass(session, argument):
    server = session.server
    session.logged_in = session.user == "anonymous" or (session.user, argument) == (server.username, server.password)
    session.reply(b"230 Logged in." if session.logged_in else b"530 Not logged in.")


def _quit(session, _argument):
    session.reply(b"221 Goodbye.")
    session.close()


def _epsv(session, _argument):
    session.reply(b"229 Entering Extended Passive Mode (|||%d|)" % session.listen())


def _pasv(session, _argument):
    session.reply(pasv_reply(session.server.host, session.listen()))


def _eprt(session, argument):
    _, _, host, port, _ = argument.split("|")
    session.use_active(host, int(port))
    session.reply(b"200 EPRT command successful.")


def _port(session, argument):
    *host, high, low = argument.split(",")
    session.use_active(".".join(host), int(high) * 256 + int(low))
    session.reply(b"200 PORT command successful.")


def _mkd(session, argument):
    if argument in session.server.folders:
        session.reply(b"550 File exists.")
        return
    session.server.folders.add(argument)
    session.reply(b'257 "%s" created.' % argument.encode("utf-8", "surrogateescape"))


def _size(session, argument):
    content = session.server.files.get(argument)
    session.reply(b"550 No such file." if content is None else b"213 %d" % len(content))


def _dele(session, argument):
    known = session.server.files.pop(argument, None) is not None
    session.reply(b"250 Removed." if known else b"550 No such file.")


def _rmd(session, argument):
    is_empty = not any(path.startswith(argument + "/") for path in [*session.server.files, *session.server.folders])
    if argument not in session.server.folders or not is_empty:
        session.reply(b"550 No.")
        return
    session.server.folders.remove(argument)
    session.reply(b"250 Removed.")


def _rnfr(session, argument):
    session.renamed = argument if argument in session.server.files else None
    session.reply(b"350 To what?" if session.renamed else b"550 No such file.")


def _rnto(session, argument):
    if session.renamed not in session.server.files:
        session.reply(b"503 Say RNFR first.")
        return
    session.server.files[argument] = session.server.files.pop(session.renamed)
    session.reply(b"250 Renamed.")


def _stor(session, argument):
    store()(session, argument)


_FOR_EVERYBODY = ("GREETING", "USER", "PASS", "NOOP", "QUIT")
_USUAL = {
    "GREETING": _says(b"220 Ready."),
    "USER": _user,
    "PASS": _pass,
    "TYPE": _says(b"200 Type set."),
    "MODE": _says(b"200 Mode set."),
    "STRU": _says(b"200 Structure set."),
    "NOOP": _says(b"200 Still here."),
    "SYST": _says(b"215 UNIX Type: L8"),
    "PWD": _says(b'257 "/" is the current folder.'),
    "CWD": _says(b"250 Changed."),
    "ABOR": _says(b"226 Aborted."),
    "EPSV": _epsv,
    "PASV": _pasv,
    "EPRT": _eprt,
    "PORT": _port,
    "MKD": _mkd,
    "DELE": _dele,
    "RMD": _rmd,
    "RNFR": _rnfr,
    "RNTO": _rnto,
    "STOR": _stor,
    "SIZE": _size,
    "QUIT": _quit,
}


def usual(verb):
    """What the server does about a command when no script says otherwise."""
    action = _USUAL.get(verb, _not_understood)
    if verb in _FOR_EVERYBODY:
        return action
    return lambda session, argument: (action if session.logged_in else _log_in_first)(session, argument)


# Ready-made actions.


def reply(text):
    """Answers with this text (without its line end) and does nothing else about the command."""
    return _says(text)


def send(data, pause=0.0):
    """Answers with exactly these bytes; pauses after each piece, see in_pieces."""
    return lambda session, _argument: session.send(data, pause)


def delayed(seconds, action):
    def run(session, argument):
        session.wait(seconds)
        action(session, argument)
    return run


def then(*actions):
    """One after the other."""
    def run(session, argument):
        for action in actions:
            action(session, argument)
    return run


def silence(session, _argument):
    """No answer, ever."""
    session.wait()


class Pause:
    """An action that holds the server up until released."""

    def __init__(self, action):
        self._action = action
        self._released = threading.Event()
        self.reached = threading.Event()

    def __call__(self, session, argument):
        self.reached.set()
        self._released.wait(120)
        self._action(session, argument)

    def release(self):
        self._released.set()


def drop(session, _argument):
    session.close()


def drop_hard(session, _argument):
    session.reset()


def in_pieces(action, piece=1):
    """The same bytes as the action sends, but so many at a time."""
    def run(session, argument):
        session.piece, before = piece, session.piece
        action(session, argument)
        session.piece = before
    return run


def pasv_reply(host, port):
    numbers = host.replace(".", ",")
    return b"227 Entering Passive Mode (%s,%d,%d)." % (numbers.encode(), *divmod(port, 256))


def refused_data_port(session, _argument):
    """For EPSV: names a port on which nobody listens."""
    session.reply(b"229 Entering Extended Passive Mode (|||%d|)" % session.closed_port())


def store(
    preliminary=b"150 Go ahead.", final=b"226 Stored.", limit=None, ending="close", final_first=False, final_delay=0.0
):
    """For STOR: receives the file, with deviations.

    preliminary, final   the replies before and after, None for none
    limit                stop reading after so many bytes, and then end the data connection by `ending`
    ending               "close", "reset" or "stall", which is to leave it open without reading on
    final_first          send the final reply before anything was read
    """
    def run(session, argument):
        if preliminary is not None:
            session.reply(preliminary)
        data = session.open_data()
        if data is None:
            session.reply(b"425 No data connection.")
            return
        if final_first:
            session.reply(final)
        session.receive(argument, data, limit)
        if ending == "stall":
            session.wait()
        (reset if ending == "reset" else close)(data)
        session.wait(final_delay)
        if final is not None and not final_first:
            session.reply(final)
    return run
