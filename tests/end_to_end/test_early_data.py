"""Data right behind STOR: only on a control connection whose own greeting names a server that leaves the data alone
until it has read the command. Here is what that rests on."""

import os
import pathlib
import time

import pytest

import servers
import tree
from control_tap import ControlTap
from far import far
from lock_step import faults, port_in
from scripted_server import store

SIZES = {"empty.bin": 0, "small.bin": 2000, "just.bin": 511_999, "buffer.bin": 512_000, "large.bin": 3_000_000}
PATIENT = (servers.Vsftpd, servers.PureFTPd, servers.ProFTPD)


@pytest.fixture
def source(tmp_path):
    result = tree.Tree(tmp_path / "Site")
    for name, size in SIZES.items():
        result.file(name, os.urandom(size))
    return result


class HeldBack:
    """Holds every STOR back, and notes how much data has then come ahead of it."""

    def __init__(self, seconds=0.4):
        self.waiting = {}  # path: bytes that lie in the server's system, or None without a data connection
        self._seconds = seconds
        self._ports = {}

    def __call__(self, line):
        if port := port_in(line.text):
            self._ports[line.connection] = port
        if line.from_client and line.verb == b"STOR":
            time.sleep(self._seconds)
            self.waiting[line.argument] = _bytes_waiting_at(self._ports[line.connection])


def _bytes_waiting_at(port):
    sockets = map(str.split, pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:])
    waiting = [int(fields[4].partition(":")[2], 16) for fields in sockets
               if int(fields[1].partition(":")[2], 16) == port and fields[3] in ("01", "08")]
    return sum(waiting) if waiting else None


@pytest.mark.parametrize("kind", PATIENT, ids=lambda kind: kind.name)
def test_servers_that_are_named_take_data_that_comes_first(owner, source, kind):
    held = HeldBack()
    with kind() as server, ControlTap(server, held) as tap:
        owner.upload(source.path, host=tap.address, username=server.username, password=server.password)
        assert source.differences(server.root) == []
        assert faults(tap.lines) == []
        for name, size in SIZES.items():
            assert held.waiting[f"/Site/{name}"] >= min(size, 2000), name


@pytest.mark.parametrize("kind", [servers.Pyftpdlib, servers.InetutilsFtpd], ids=lambda kind: kind.name)
def test_on_others_the_data_waits(owner, source, kind):
    held = HeldBack()
    with kind() as server, ControlTap(server, held) as tap:
        owner.upload(source.path, host=tap.address, username=server.username, password=server.password)
        assert source.differences(server.root) == []
        assert faults(tap.lines) == []
        assert set(held.waiting.values()) == {0}


class Masked(servers.Vsftpd):
    settings = "ftpd_banner=Welcome.\n"


def test_a_server_that_does_not_say_its_name_is_none_of_them(owner, source):
    with far(Masked) as way:
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []
        assert way.traffic.faults() == []


@pytest.mark.parametrize("files_a_connection", [1, 3])
def test_two_machines_behind_one_name(owner, tmp_path, scripted_anywhere, files_a_connection):
    """Every second connection leads to the other one, which has no name that is known, and loses early data."""
    server, launch = scripted_anywhere
    source = tree.Tree(tmp_path / "Site")
    for number in range(9):
        source.file(f"{number}.txt", b"%d" % number * 2000)
    source.file("large.bin", os.urandom(1_000_000))

    def greet(session, _argument):
        session.is_patient = session.number % 2 == 0
        session.stored = 0
        session.reply(b"220 (vsFTPd 3.0.5)" if session.is_patient else b"220 Ready.")

    def name_port(session, _argument):
        session.reply(b"229 Here (|||%d|)" % session.listen())
        session.early = None if session.is_patient else session.data_that_comes_early(0.1)

    def take(session, argument):
        if session.early is None:
            store()(session, argument)
        else:
            session.reply(b"150 Go ahead.")
            session.early.recv(1 << 20)
            session.early.close()
            server.files[argument] = b""
            session.reply(b"226 Stored.")
        session.stored += 1
        if session.stored == files_a_connection:
            session.reply(b"421 Enough.")
            session.close()

    server.always("GREETING", greet)
    server.always("EPSV", name_port)
    server.always("STOR", take)
    owner.upload(source.path, **launch)
    assert server.files == {f"/Site/{path.name}": path.read_bytes() for path in source.path.iterdir()}
    assert server.connections > 1
