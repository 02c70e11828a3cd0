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
is to do about it, replying included. The actions of scripted_actions.py, reached through this module too, cover what
tests need most; others are written with the functions of Session in scripted_session.py.
"""

import collections
import socket
import threading

from scripted_actions import (Pause, delayed, drop, drop_hard, in_pieces, pasv_reply, refused_data_port, reply, send,
                              silence, store, then, usual)
from scripted_session import Command, Session, Transfer, close, reset

__all__ = ["BlackHole", "Command", "Pause", "ScriptedServer", "Session", "Transfer", "close", "delayed", "drop",
           "drop_hard", "in_pieces", "pasv_reply", "refused_data_port", "reply", "reset", "send", "silence", "store",
           "then", "usual"]


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
