"""Servers with rules of their own: where nothing may be written over, everything has another name, one data port serves
all, a command ends the transfer, and so on. Every file is sent exactly once, and arrives."""

import contextlib
import os
import random
import socket

import pytest

import servers
import tree
from far import ROUND_TRIP, far, scripted
from network_namespace import NetworkNamespace
from scripted_server import close, store

FILES = 12


@pytest.fixture
def source(tmp_path):
    result = tree.Tree(tmp_path / "Site")
    for number in range(FILES):
        result.file(f"{number:02}.txt", b"%02d" % number * 1000)  # all of the same size
    return result


def contents(source):
    """What a ScriptedServer has to have of them."""
    return {f"/Site/{path.name}": path.read_bytes() for path in source.path.iterdir()}


# Real servers.


class Careful(servers.ProFTPD):
    """Lets nothing be written over, which is its default."""

    settings = "AllowOverwrite off\n"


class Hidden(servers.ProFTPD):
    """Gives a file its name when it is complete."""

    settings = "AllowOverwrite on\nHiddenStores on\n"


class Renaming(servers.PureFTPd):
    options = ("--autorename",)


class Keeping(servers.PureFTPd):
    options = ("--keepallfiles",)


class DropBox(servers.Vsftpd):
    """Takes new files into one folder and lets none of them be written over."""

    settings = """\
anonymous_enable=YES
anon_upload_enable=YES
anon_other_write_enable=NO
anon_umask=022
"""

    def __init__(self, **parameters):
        super().__init__(**parameters)
        # An anonymous visitor must not be able to write to the root.
        os.chown(self.root, 0, 0)
        (self.root / "Site").mkdir()
        servers.own(self.root / "Site")
        self.username, self.password = "anonymous", "me@example.com"


class Deleting(servers.Vsftpd):
    settings = "delete_failed_uploads=YES\n"


# All data connections go to one port, which is free in a network of the test's own.


class OnePortVsftpd(servers.Vsftpd):
    settings = "pasv_min_port=40000\npasv_max_port=40000\n"


class OnePortPureFTPd(servers.PureFTPd):
    options = ("--passiveportrange", "40000:40000")


class TwoPortsProFTPD(servers.ProFTPD):
    """It does not do with one."""

    settings = "AllowOverwrite on\nPassivePorts 40000 40001\n"


class OnePortPyftpdlib(servers.Pyftpdlib):
    settings = {"FTPHandler.passive_ports": "40000-40000"}


PARTICULAR = (Careful, Hidden, Renaming, Keeping, DropBox, Deleting, *servers.REAL)
FEW_PORTS = (OnePortVsftpd, OnePortPureFTPd, TwoPortsProFTPD, OnePortPyftpdlib)


@pytest.mark.parametrize("kind", [*PARTICULAR, *FEW_PORTS], ids=lambda kind: kind.__name__)
def test_every_file_is_sent_once_and_arrives(owner, source, kind):
    with far(kind, round_trip=0.06) as way:
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []
        assert sorted(way.traffic.stored()) == sorted(contents(source))
        assert way.traffic.resets == 0
        assert way.traffic.faults() == []


@pytest.mark.parametrize("kind", [Hidden, Deleting, *FEW_PORTS, *servers.REAL], ids=lambda kind: kind.__name__)
def test_files_of_the_same_size_are_replaced(owner, source, kind):
    with far(kind) as way:
        (way.server.root / "Site").mkdir()
        for path in source.path.iterdir():
            (way.server.root / "Site" / path.name).write_bytes(b"x" * 2000)
        if way.server.needs_root:
            for path in (way.server.root / "Site", *(way.server.root / "Site").iterdir()):
                servers.own(path)
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []


def test_a_server_that_finds_no_free_port_now_and_then(owner, tmp_path):
    """vsftpd tries nine ports, and ends the session when all of them are taken."""
    source = tmp_path / "Site"
    tree.make_empty_files(source, folders=4, files_each=500)
    ports = range(40000, 40200)

    class FewFreePorts(servers.Vsftpd):
        settings = f"pasv_min_port={ports[0]}\npasv_max_port={ports[-1]}\n"

    with NetworkNamespace() as network, contextlib.ExitStack() as taken:
        for port in random.sample(ports, k=len(ports) * 55 // 100):
            listener = taken.enter_context(network.run(socket.socket))
            listener.bind(("127.0.0.1", port))
            listener.listen()
        with FewFreePorts(side=network) as server:
            owner.upload(source, server, prefix=network.prefix)
            assert server.log.read_text().count("OK LOGIN") > 1
            assert len(list(server.root.rglob("*.txt"))) == 2000


# Servers that there may be.


def test_a_server_with_one_session_and_one_listener(owner, source, scripted_anywhere):
    """The listener stays open, so that a connection that nobody has asked for would be taken for the next one."""
    server, launch = scripted_anywhere

    def one_session(session, _argument):
        if any(other is not session for other in server.sessions()):
            session.reply(b"421 One session at a time.")
            session.close()
        else:
            session.reply(b"220 Ready.")

    def slow_store(session, argument):
        """Confirms about a round trip late, and once is so slow that a client might ask again."""
        session.reply(b"150 Go ahead.")
        if argument.endswith("/05.txt"):
            session.wait(4)  # more than a moment
        data = session.open_data()
        blocks = []
        try:
            while block := data.recv(65536):
                blocks.append(block)
        except OSError:
            pass
        server.files[argument] = b"".join(blocks)
        close(data)
        session.wait(ROUND_TRIP)
        session.reply(b"226 Stored.")

    server.always("GREETING", one_session)
    server.always("EPSV", lambda session, _: session.reply(b"229 Here (|||%d|)" % session.keep_listening()))
    server.always("STOR", slow_store)
    owner.upload(source.path, **launch)
    assert server.files == contents(source)
    assert server.verbs().count("STOR") == FILES


def test_older_files_of_the_same_size(owner, source, scripted_anywhere):
    """The server keeps an older file until a newer one has come whole, and loses data that comes before STOR."""
    server, launch = scripted_anywhere
    server.files.update({path: b"x" * 2000 for path in contents(source)})

    def impatient(session, _argument):
        session.reply(b"229 Here (|||%d|)" % session.listen())
        session.early = session.data_that_comes_early(0.05)

    def store_unless_lost(session, argument):
        if session.early is None:
            store()(session, argument)
        else:
            session.reply(b"150 Go ahead.")
            close(session.early)
            session.reply(b"226 Done with.")

    server.always("EPSV", impatient)
    server.always("STOR", store_unless_lost)
    owner.upload(source.path, **launch)
    assert server.files == contents(source)


@pytest.mark.parametrize("delay", [0.02, 0.1, 0.5])
def test_late_confirmations(owner, source, scripted_anywhere, delay):
    server, launch = scripted_anywhere
    server.always("STOR", store(final_delay=delay))
    owner.upload(source.path, **launch)
    assert server.files == contents(source)
    assert server.verbs().count("STOR") == FILES
    assert all(transfer.ended for transfer in server.transfers)


def test_transfers_that_end_with_the_next_command(owner, tmp_path, scripted_anywhere):
    """Servers that transfer in the background take a command meanwhile, and break off what is under way for it."""
    server, launch = scripted_anywhere
    source = tree.Tree(tmp_path / "Site")
    for number in range(4):
        source.file(f"{number}.txt", b"%d" % number * 2000)
    source.big_file("large.bin", 60_000_000)

    def background_store(session, argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        session.wait(0.1)
        blocks = []
        while not session.has_input():
            block = data.recv(1 << 20)
            if not block:
                server.files[argument] = b"".join(blocks)
                session.wait(0.1)
                break
            blocks.append(block)
        close(data)
        session.reply(b"426 Transfer aborted for another command." if session.has_input() else b"226 Stored.")

    server.always("STOR", background_store)
    owner.upload(source.path, **launch)
    assert server.files == contents(source)
    assert server.verbs().count("STOR") == 5


def test_a_server_that_closes_connections_which_are_not_used(owner, tmp_path):
    """While one file takes its time, the others' connections are prepared in vain."""
    source = tree.Tree(tmp_path / "Site")
    for number in range(FILES):
        source.file(f"{number:02}.txt", b"%02d" % number * 1000)

    with far(scripted) as way:
        def slow(session, argument):
            if argument.endswith(("/03.txt", "/07.txt")):
                session.wait(0.5)
                for other in way.server.sessions():
                    if other is not session:
                        other.drop_data() if argument.endswith("/03.txt") else other.close()
                session.wait(0.2)
            store()(session, argument)

        way.server.always("STOR", slow)
        owner.upload(source.path, **way.launch)
        assert way.server.files == contents(source)
        assert way.server.verbs().count("STOR") == FILES
        assert way.traffic.faults() == []


class ShortOfPatience(servers.ProFTPD):
    settings = "AllowOverwrite on\nTimeoutIdle 1\nTimeoutNoTransfer 1\nTransferRate STOR 200\n"


class ShortVsftpd(servers.Vsftpd):
    settings = "idle_session_timeout=1\ndata_connection_timeout=30\naccept_timeout=1\nlocal_max_rate=200000\n"


class ShortPyftpdlib(servers.Pyftpdlib):
    settings = {"FTPHandler.timeout": 1, "PassiveDTP.timeout": 1}


@pytest.mark.parametrize("kind", [ShortOfPatience, ShortVsftpd, ShortPyftpdlib], ids=lambda kind: kind.__name__)
def test_connections_that_have_waited_too_long_are_replaced(owner, tmp_path, kind):
    source = tree.Tree(tmp_path / "Site")
    for number in range(3):
        source.file(f"{number}/small.txt", b"%02d" % number * 1000)
        source.file(f"{number}/other.txt", b"%02d" % number * 1000)
        source.file(f"{number}/slow.bin", os.urandom(700_000))
    with far(kind) as way:
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []
        assert way.traffic.faults() == []
