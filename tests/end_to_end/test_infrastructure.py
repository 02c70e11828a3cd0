"""What the other tests rest on, proven with a client that is not ours."""

import ftplib
import io
import socket
import subprocess
import time
import urllib.parse

import pytest
from gi.repository import GLib

import bus as buses
import owner as owners
import processes
import scripted_server as scripts
import server_program
import servers
import tree
from control_tap import ControlTap
from far import far
from latency_link import LatencyLink
from lock_step import Line, faults
from scripted_server import BlackHole, ScriptedServer


def log_in(server):
    client = ftplib.FTP(timeout=20, encoding="utf-8")
    client.connect(server.host, server.port)
    client.login(server.username, server.password)
    return client


def upload(client, source):
    for path in [source.path, *sorted(source.path.rglob("*"))]:
        remote = urllib.parse.unquote("/" + str(path.relative_to(source.path.parent)))
        if path.is_dir():
            client.mkd(remote)
        else:
            with open(path, "rb") as file:
                client.storbinary(f"STOR {remote}", file)


def test_a_tree_uploaded_to_a_real_server_compares_equal(server, sample_tree):
    upload(log_in(server), sample_tree)
    assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("kind", servers.ALL, ids=lambda kind: kind.name)
def test_a_real_server_is_reached_over_ipv6(kind, sample_tree):
    with kind(host="::1") as server:
        upload(log_in(server), sample_tree)
        assert sample_tree.differences(server.root) == []


def test_a_real_server_refuses_a_wrong_password(server):
    with pytest.raises(ftplib.error_perm, match="530"):
        client = ftplib.FTP(timeout=20)
        client.connect(server.host, server.port)
        client.login(server.username, "wrong")


@pytest.mark.parametrize("kind", [kind for kind in servers.ALL if kind.allows_anonymous], ids=lambda kind: kind.name)
def test_servers_that_allow_it_take_anonymous_uploads(kind):
    with kind() as server:
        client = ftplib.FTP(timeout=20)
        client.connect(server.host, server.port)
        client.login()
        client.storbinary("STOR /a", io.BytesIO(b"content"))
        assert (server.root / "a").read_bytes() == b"content"


@pytest.mark.parametrize("folder", ["usr/lib/riscv64-linux-gnu", "lib/x86_64-linux-gnu", "usr/lib"])
def test_unpacked_programs_find_the_libraries_beside_them_on_every_architecture(tmp_path, monkeypatch, folder):
    library = tmp_path / "vsftpd" / folder / "libwrap.so.0"
    library.parent.mkdir(parents=True)
    library.touch()
    monkeypatch.setattr(server_program, "SERVERS_FOLDER", tmp_path)
    monkeypatch.setenv("LD_LIBRARY_PATH", "/the/test's/own")
    assert servers.Vsftpd.environment()["LD_LIBRARY_PATH"] == f"{library.parent}:/the/test's/own"
    # Nothing is added for a program without libraries: an empty entry would stand for the current folder.
    monkeypatch.delenv("LD_LIBRARY_PATH")
    assert "LD_LIBRARY_PATH" not in servers.PureFTPd.environment()
    assert "LD_LIBRARY_PATH" not in servers.Pyftpdlib.environment()


def test_servers_leave_nothing_behind():
    with servers.ProFTPD() as server:
        folder, port = server.folder, server.port
    assert not folder.exists()
    with pytest.raises(ConnectionRefusedError):
        socket.create_connection(("127.0.0.1", port), 1)


def test_a_tree_tells_every_kind_of_difference(tmp_path):
    local = tree.Tree(tmp_path / "local" / "Site")
    for name in ("same", "missing", "longer", "altered", "became-folder"):
        local.file(name, b"content")
    local.file("renamed%20here", b"content", remote="renamed here")
    remote = tmp_path / "remote" / "Site"
    (remote / "became-folder").mkdir(parents=True)
    for name, content in (("same", b"content"), ("longer", b"content+"), ("altered", b"conTent"),
                          ("renamed here", b"content"), ("extra", b"")):
        (remote / name).write_bytes(content)
    assert sorted(local.differences(tmp_path / "remote")) == [
        "Site/altered differs", "Site/became-folder differs", "Site/extra arrived unasked", "Site/longer differs",
        "Site/missing did not arrive",
    ]


def test_the_tap_counts_logins_and_records_commands(server):
    with ControlTap(server) as tap:
        for _ in range(2):
            client = ftplib.FTP(timeout=20)
            client.connect(server.host, tap.port)
            client.login(server.username, server.password)
            client.storbinary("STOR /a", io.BytesIO(b"content"))
            client.quit()
    assert tap.logins == 2
    assert tap.connections == 2
    assert tap.verbs().count("STOR") == 2
    assert (0, f"USER {server.username}".encode()) in tap.commands
    assert (server.root / "a").read_bytes() == b"content"


def test_the_link_delays_every_packet_the_opening_ones_included():
    with LatencyLink(round_trip=0.1) as link, servers.Pyftpdlib(host=link.server.address, side=link.server) as server:
        def connect():
            started = time.monotonic()
            connection = socket.create_connection((server.host, server.port), 20)
            connected = time.monotonic()
            assert connection.recv(3) == b"220"
            return connected - started, time.monotonic() - started

        # Never less than the way takes, however slow the machine is; the greeting can only come after the opening.
        opening, greeting = link.client.run(connect)
        assert opening >= 0.1
        assert greeting >= 0.1

        def store():
            log_in(server).storbinary("STOR /big", io.BytesIO(b"x" * 3_000_000))

        link.client.run(store)
        assert (server.root / "big").stat().st_size == 3_000_000


# The bus and the owner.


def test_applications_hear_each_other_as_the_wire_format_says(bus):
    info = {"LocalPath": GLib.Variant("s", "/a/ü"), "Nth": GLib.Variant("t", 1), "IsMore": GLib.Variant("b", True)}
    with owners.Application(bus) as one, owners.Application(bus) as other:
        one.post(owners.PROGRESS, "token", info)
        one.post(owners.STOP)
        one.post(owners.STOP, "")
        other.wait_until(lambda: len(other.heard) == 3)
    first, second, third = other.heard
    assert (first.name, first.object) == (owners.PROGRESS, "token")
    assert first.record == {"LocalPath": "/a/ü", "Nth": 1, "IsMore": True}
    assert first.record_types == {"LocalPath": "s", "Nth": "t", "IsMore": "b"}
    assert not first.is_last
    assert (second.name, second.object, second.record) == (owners.STOP, None, None)
    assert second.is_last
    assert third.object is None


def test_a_signal_from_the_command_line_is_heard(bus):
    with owners.Application(bus) as application:
        subprocess.run(
            ["gdbus", "emit", "--session", "--object-path", owners.OBJECT_PATH,
             "--signal", f"{owners.INTERFACE}.Posted", owners.STOP, "token-1", "{'HasObject': <true>}"],
            env=bus.environment, check=True,
        )
        application.wait_until(lambda: application.heard)
        assert application.heard[0].name == owners.STOP
        assert application.heard[0].object == "token-1"


def test_a_quit_is_a_name_without_an_owner(bus):
    with owners.Application(bus) as watcher:
        with owners.Application(bus, "com.example.Owner") as application:
            assert watcher.has_owner("com.example.Owner")
            application.release_name()
            assert not watcher.has_owner("com.example.Owner")
        with owners.Application(bus, "com.example.Owner"):
            assert watcher.has_owner("com.example.Owner")
        watcher.wait_until(lambda: not watcher.has_owner("com.example.Owner"))


def test_buses_do_not_hear_each_other(bus):
    with buses.SessionBus() as other_bus, owners.Application(bus) as one, owners.Application(other_bus) as other:
        one.post(owners.STOP, "token")
        one.wait_until(lambda: one.heard)
        assert other.heard == []


def test_the_owner_gathers_arguments_log_lines_and_exit_status(bus, tmp_path):
    program = tmp_path / "helper"
    program.write_text(
        """#!/bin/sh
printf '2026-01-02 03:04:05.678 TelvoFTPHelper[%d] %s\\n' $$ "$*" >&2
exit 3
"""
    )
    program.chmod(0o755)
    with ScriptedServer() as server, owners.Owner(bus, program, tmp_path, token=None) as owner:
        helper = owner.launch(tmp_path / "Site", server, debug=None, cachedInfoPath="")
        assert helper.wait() == 3
        assert helper.log() == [
            f"-bundleIdentifier com.example.Owner -sourcePath {tmp_path}/Site -host 127.0.0.1:{server.port} "
            "-username telvo -password secret -cachedInfoPath "
        ]


# The scripted server.


def store(client, name="/a", content=b"content"):
    return client.storbinary(f"STOR {name}", io.BytesIO(content))


def test_without_a_script_it_behaves(sample_tree):
    with ScriptedServer() as server:
        client = log_in(server)
        upload(client, sample_tree)
        client.quit()
        assert len(server.files) + len(server.folders) - 1 == sample_tree.items()
        assert server.files["/Site/a b.txt"] == b"escaped space\n"
        assert server.verbs()[:2] == ["USER", "PASS"]
        assert server.verbs(connection=1) == []
        assert all(transfer.ended for transfer in server.transfers)
        processes.wait_until(lambda: server.open_connections == 0)


def test_it_takes_ipv6_passive_and_active_transfers():
    for host in ("127.0.0.1", "::1"):
        for passive in (True, False):
            with ScriptedServer(host) as server:
                client = log_in(server)
                client.set_pasv(passive)
                store(client)
                assert server.files == {"/a": b"content"}


def test_it_wants_a_login_and_the_right_one():
    with ScriptedServer() as server:
        client = ftplib.FTP(timeout=20)
        client.connect("127.0.0.1", server.port)
        with pytest.raises(ftplib.error_perm, match="530"):
            client.mkd("/a")
        with pytest.raises(ftplib.error_perm, match="530"):
            client.login("telvo", "wrong")
        client.login("anonymous")
        client.mkd("/a")


def test_actions_are_used_up_in_order_and_then_it_behaves():
    with ScriptedServer() as server:
        server.on("STOR", scripts.reply(b"550 no"), None, scripts.drop)
        client = log_in(server)
        with pytest.raises(ftplib.error_perm, match="550 no"):
            store(client)
        store(client)
        with pytest.raises((EOFError, OSError)):
            store(client)
        store(log_in(server))
        assert server.connections == 2


def test_a_standing_action_stays():
    with ScriptedServer() as server:
        server.always("MKD", scripts.reply(b"550 File exists."))
        client = log_in(server)
        for _ in range(3):
            with pytest.raises(ftplib.error_perm, match="exists"):
                client.mkd("/a")


def test_greetings_can_refuse_and_be_late_and_in_pieces():
    with ScriptedServer() as server:
        server.on(
            "GREETING", scripts.reply(b"421 Too many."), scripts.delayed(0.2, scripts.reply(b"220 At last.")),
            scripts.in_pieces(scripts.send(b"220-Welcome\r\n to this\r\n220 server\r\n")),
            scripts.send(b"x" * 100_000 + b"\0\r\n"), scripts.drop_hard,
        )
        client = ftplib.FTP(timeout=20)
        with pytest.raises(ftplib.error_temp, match="421"):
            client.connect("127.0.0.1", server.port)
        assert ftplib.FTP(timeout=20).connect("127.0.0.1", server.port) == "220 At last."
        assert ftplib.FTP(timeout=20).connect("127.0.0.1", server.port) == "220-Welcome\n to this\n220 server"
        with pytest.raises(ftplib.Error):
            ftplib.FTP(timeout=20).connect("127.0.0.1", server.port)
        with pytest.raises(ConnectionResetError):
            ftplib.FTP(timeout=20).connect("127.0.0.1", server.port)


def test_silence_ends_with_the_test():
    with ScriptedServer() as server:
        server.on("NOOP", scripts.silence)
        client = log_in(server)
        client.sock.settimeout(0.2)
        with pytest.raises(TimeoutError):
            client.sendcmd("NOOP")
    processes.wait_until(lambda: server.open_connections == 0)


def test_several_replies_can_share_a_packet():
    with ScriptedServer() as server:
        server.on("NOOP", scripts.send(b"200 One.\r\n200 Two.\r\n"))
        client = log_in(server)
        assert client.sendcmd("NOOP") == "200 One."
        assert client.getresp() == "200 Two."


def test_data_ports_can_be_closed_or_black_holes():
    with ScriptedServer("::1") as server:
        server.on("EPSV", scripts.refused_data_port)
        with pytest.raises(ConnectionRefusedError):
            store(log_in(server))
    with BlackHole() as hole, pytest.raises(TimeoutError):
        socket.create_connection(("127.0.0.1", hole.port), 0.3)


def test_a_transfer_can_be_cut_off():
    with ScriptedServer() as server:
        server.on("STOR", scripts.store(limit=1000, ending="reset", final=b"426 Cut."))
        with pytest.raises((ConnectionError, ftplib.error_temp)):
            store(log_in(server), content=b"x" * 50_000_000)
        transfer = server.transfers[0]
        assert (transfer.path, transfer.size, transfer.ended) == ("/a", 1000, False)
        assert server.files == {}


def test_a_transfer_can_stall():
    with ScriptedServer(receive_buffer=4096) as server:
        server.on("STOR", scripts.store(limit=1000, ending="stall"))
        client = log_in(server)
        client.timeout = 0.5
        with pytest.raises(TimeoutError):
            store(client, content=b"x" * 50_000_000)


def test_final_replies_can_come_early_late_or_never():
    with ScriptedServer() as server:
        server.on(
            "STOR", scripts.store(final_first=True), scripts.store(final_delay=0.2), scripts.store(final=None),
        )
        client = log_in(server)
        store(client)
        store(client)
        client.sock.settimeout(0.3)
        with pytest.raises(TimeoutError):
            store(client)
        assert [transfer.ended for transfer in server.transfers] == [True] * 3


def test_own_actions_have_the_session_at_hand():
    def lie(session, _argument):
        session.reply(scripts.pasv_reply("192.0.2.1", session.listen()))

    with ScriptedServer() as server:
        server.on("PASV", lie)
        client = log_in(server)
        client.trust_server_pasv_ipv4_address = False
        store(client)
        assert server.files == {"/a": b"content"}
        assert server.data_peers[0][0] == "127.0.0.1"


# What watches FTP clients for the tests notices one that does not go in lock step, and no other.


def lines(text):
    """"0> USER a" is a command on the connection 0, "0< 331 Yes" a reply."""
    return [Line(int(line[0]), line[1] == ">", line[3:].encode()) for line in text]


LOGIN = ["0< 220-Hello", "0< 220 Ready", "0> USER a", "0< 331 Password", "0> PASS b", "0< 230 In"]
OTHER = [line.replace("0", "1", 1) for line in LOGIN]


@pytest.mark.parametrize("rest", [
    [],
    ["0> STOR /a", "0< 150 Go", "0< 226-Stored", "0< 226 Stored", "0> STOR /b", "0< 550 No"],
    ["0> STOR /a", *OTHER, "1> EPSV", "0< 226 Stored", "1< 229 There", "1> STOR /b"],
    ["0> STOR /a", "0> ABOR"],
])
def test_lock_step_has_no_faults(rest):
    assert faults(lines([*LOGIN, *rest])) == []


@pytest.mark.parametrize("wrong, fault", [
    (["0> USER a"], "USER a before the reply to the connection"),
    (["0< 220-Hello", "0> USER a"], "USER a before the reply to the connection"),
    ([*LOGIN, "0> TYPE I", "0> EPSV"], "EPSV before the reply to TYPE I"),
    ([*LOGIN, "0> STOR /a", "0< 150 Go", "0> EPSV"], "EPSV before the reply to STOR /a"),
    ([*LOGIN, *OTHER, "0> STOR /a", "0< 150 Go", "1> STOR /b"], "STOR /b during STOR /a"),
    ([*LOGIN, *OTHER, "0> MKD /a", "1> STOR /a/b"], "STOR /a/b during MKD /a"),
])
def test_everything_else_is_one(wrong, fault):
    assert faults(lines(wrong)) == [fault]


@pytest.fixture(scope="module")
def way():
    with far(servers.Pyftpdlib) as running:
        yield running


def new_faults(way, client):
    """Those of what the function does on the client's side of the link."""
    before = len(way.traffic.faults())
    way.link.client.run(lambda: client(way.server) or True)
    return way.traffic.faults()[before:]


def patient_client(server):
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        client.storbinary("STOR /a", io.BytesIO(b"content" * 1000))
        client.storbinary("STOR /b", io.BytesIO(b"content"))


def hasty_client(server):
    """Sends the data right behind STOR, and what it wants next in the same packet."""
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        with socket.create_connection(client.makepasv(), 10) as data:
            client.sock.sendall(b"STOR /c\r\nNOOP\r\n")
            data.sendall(b"content")
        for _ in range(3):
            client.getmultiline()


def client_without_data_connection(server):
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        address = client.makepasv()
        client.putcmd("STOR /d")
        socket.create_connection(address, 10).close()
        client.getmultiline()


def test_the_traffic_of_a_client_in_lock_step_has_no_faults(way):
    assert new_faults(way, patient_client) == []
    assert way.traffic.stored()[:2] == ["/a", "/b"]
    assert [each.bytes_sent for each in way.traffic.data[:2]] == [7000, 7]


def test_hurry_is_noticed(way):
    found = new_faults(way, hasty_client)
    assert "NOOP before the reply to STOR /c" in found
    assert any(fault.startswith("data") for fault in found)


def test_a_missing_data_connection_is_noticed(way):
    assert "STOR /d without a data connection" in new_faults(way, client_without_data_connection)
