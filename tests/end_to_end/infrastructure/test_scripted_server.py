"""The scripted server does what it is told, and behaves otherwise."""

import ftplib
import socket

import pytest

import processes
import scripted_server as scripts
from plain_client import log_in, store, upload
from scripted_server import BlackHole, ScriptedServer


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
