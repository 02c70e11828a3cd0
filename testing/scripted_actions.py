"""What the scripted server does about commands: as usual, or as a test wants it. See scripted_server.py."""

import threading

from scripted_session import close, reset

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
