"""How servers end a transfer: a whole file is never reported as failed, and one that is not whole always is."""

import os
import pathlib
import subprocess

import pytest

from scripted_server import ScriptedServer, close, reply, reset

TERMINATED, ERROR, ENDED = "streamDataConnectionTerminated:", "streamData:errorOccurred:", "streamDataEnded:"
SIZES = (0, 2000, 511_999, 5_000_000)


@pytest.fixture(scope="session")
def reports_path():
    default = pathlib.Path(__file__).resolve().parents[2] / "build" / "dev" / "tests" / "stream_reports"
    return pathlib.Path(os.environ.get("TELVO_STREAM_REPORTS", default))


@pytest.fixture
def reports_of(reports_path, tmp_path):
    """Sends files to a server; for each the names of the reports of its connection, in order."""
    def run(server, paths):
        environment = {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}
        result = subprocess.run([reports_path, server.address, server.username, server.password, "/", *paths],
                                env={**environment, "HOME": str(tmp_path)}, capture_output=True, text=True, timeout=100,
                                check=True)
        lines = [line.split("\t") for line in result.stdout.splitlines()]
        return [[line[1] for line in lines if line[0] == str(path)] for path in paths]

    return run


@pytest.fixture
def files(tmp_path):
    """One of each size, and a small one behind it."""
    paths = []
    for number, size in enumerate((*SIZES, 10)):
        paths.append(tmp_path / f"{number}.bin")
        paths[-1].write_bytes(os.urandom(size))
    return paths


def ending(*steps):
    """For STOR: takes the whole data, and then does the steps with the session and the data connection."""
    def run(session, argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        session.receive(argument, data)
        for step in steps:
            step(session, data)
    return run


def confirm(session, _data):
    session.reply(b"226 Stored.")


def end(_session, data):
    close(data)


def cut(_session, data):
    reset(data)


def after(seconds):
    return lambda session, _data: session.wait(seconds)


def say_more(session, data):
    data.sendall(b"x" * 100_000)


GOOD = {
    "ended and confirmed": (end, confirm),
    "confirmed and ended": (confirm, end),
    "confirmed and ended later": (confirm, after(0.4), end),
    "confirmed and never ended": (confirm,),
    "reset and confirmed": (cut, confirm),
    "confirmed and reset": (confirm, cut),
    "confirmed and reset later": (confirm, after(0.4), cut),
    "reset and confirmed much later": (cut, after(2.5), confirm),
    "ended and confirmed much later": (end, after(2.5), confirm),
    "something said and confirmed": (say_more, end, confirm),
}
NO_SIZE = {"unknown": reply(b"502 What?"), "refused": reply(b"550 No such file."), "wrong": reply(b"213 1")}


@pytest.mark.parametrize("size", NO_SIZE)
@pytest.mark.parametrize("name", GOOD)
def test_a_whole_file_is_never_reported_as_failed(reports_of, files, name, size):
    with ScriptedServer() as server:
        server.always("STOR", ending(*GOOD[name]))
        server.always("SIZE", NO_SIZE[size])
        for path, reports in zip(files, reports_of(server, files)):
            assert ERROR not in reports, path
            assert reports[-2:] == [TERMINATED, ENDED]
            assert server.files[f"/{path.name}"] == path.read_bytes()
        assert server.verbs().count("STOR") == len(files)


def part(*steps):
    """For STOR: takes so little of the data that the client cannot be done, and then does the steps."""
    def run(session, argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        session.receive(argument, data, limit=1000)
        for step in steps:
            step(session, data)
    return run


BAD = {
    "reset and confirmed": (cut, confirm),
    "confirmed and reset": (confirm, cut),
    "confirmed and reset later": (confirm, after(0.4), cut),
    "ended and confirmed": (end, confirm),
    "confirmed and ended": (confirm, end),
    "confirmed and never ended": (confirm,),
    "reset and confirmed later": (cut, after(0.4), confirm),
}


@pytest.mark.parametrize("name", BAD)
def test_a_file_of_which_not_all_was_taken_is_reported_as_failed(reports_of, tmp_path, name):
    large, small = tmp_path / "large.bin", tmp_path / "small.bin"
    large.write_bytes(os.urandom(30_000_000))
    small.write_bytes(b"small")
    with ScriptedServer(receive_buffer=4096) as server:
        server.on("STOR", part(*BAD[name]))
        # Whatever it says about the size: it has an older file of the same one.
        server.always("SIZE", reply(b"213 30000000"))
        of_large, of_small = reports_of(server, [large, small])
        assert ERROR in of_large
        assert of_large[-1] == ENDED and TERMINATED not in of_large
        assert of_small[-2:] == [TERMINATED, ENDED] and ERROR not in of_small
        assert server.files == {"/small.bin": b"small"}


@pytest.mark.parametrize("name", ["reset and confirmed", "confirmed and reset"])
def test_a_small_file_that_was_reset_unread_is_reported_as_failed(reports_of, tmp_path, name):
    """The server's system has acknowledged nothing of it when it cuts the connection right after its making."""
    large = tmp_path / "a.bin"
    large.write_bytes(os.urandom(400_000))

    def unread(session, _argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        for step in BAD[name]:
            step(session, data)

    with ScriptedServer(receive_buffer=4096) as server:
        server.always("STOR", unread)
        server.always("SIZE", reply(b"213 400000"))
        (reports,) = reports_of(server, [large])
        assert ERROR in reports
