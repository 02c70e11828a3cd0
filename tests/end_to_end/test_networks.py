"""The roads to a server: both families, active mode, logins, and hosts that cannot be found or reached."""

import pytest

import processes
import servers
from network_namespace import NameServer, NetworkNamespace
from scripted_server import ScriptedServer


@pytest.fixture
def network():
    with NetworkNamespace() as own:
        yield own


# Hosts.


@pytest.mark.parametrize("host, text", [("127.0.0.1", "127.0.0.1"), ("::1", "[::1]"), ("127.0.0.1", "localhost")])
def test_without_a_port_it_is_21(owner, network, sample_tree, host, text):
    with servers.Pyftpdlib(host=host, port=21, side=network) as server:
        owner.upload(sample_tree.path, host=text, username=server.username, password=server.password,
               prefix=network.prefix)
        assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("host, text", [("127.0.0.1", "localhost"), ("::1", "localhost"), ("::1", "[0:0:0:0:0:0:0:1]"),
                                        ("127.0.0.1", "[::ffff:127.0.0.1]")])
def test_a_name_leads_to_the_address_that_answers(owner, sample_tree, host, text):
    with servers.Vsftpd(host=host) as server:
        owner.upload(sample_tree.path, server, host=f"{text}:{server.port}")
        assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_the_login_may_stand_in_the_host(owner, small_tree, host):
    with ScriptedServer(host=host) as server:
        server.password = "p@ss/w:rd"
        owner.upload(small_tree.path, host=f"telvo:p%40ss%2Fw%3Ard@{server.address}")
        assert server.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_another_login_counts_more_than_the_one_in_the_host(owner, small_tree, host):
    with ScriptedServer(host=host) as server:
        owner.upload(small_tree.path, server, host=f"somebody:else@{server.address}")
        assert server.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


def test_the_anonymous_login_gives_an_address_as_its_password(owner, small_tree):
    with ScriptedServer() as server:
        owner.upload(small_tree.path, host=server.address)
        logins = [command.line for command in server.commands if command.verb in ("USER", "PASS")]
        assert logins == [b"USER anonymous", b"PASS anonymous@"]
        assert server.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


# Active mode.


@pytest.mark.parametrize("kind", servers.ALL, ids=lambda kind: kind.name)
@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_a_tree_arrives_in_active_mode(owner, kind, host, sample_tree):
    with kind(host=host) as server:
        owner.upload(sample_tree.path, server, environment={"FTP_PASSIVE_MODE": "no"})
        assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_in_active_mode_the_server_makes_the_data_connections(owner, small_tree, host):
    with ScriptedServer(host=host) as server:
        owner.upload(small_tree.path, server, environment={"FTP_PASSIVE_MODE": "0"})
        assert server.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
        assert {"EPSV", "PASV"}.isdisjoint(server.verbs())
        assert server.verbs().count("EPRT") == 2
        assert {peer for peer, *_ in server.data_peers} == {host}


def test_a_server_that_does_not_know_eprt_is_told_the_port(owner, small_tree):
    with ScriptedServer() as server:
        server.always("EPRT", lambda session, _argument: session.reply(b"500 What?"))
        owner.upload(small_tree.path, server, environment={"FTP_PASSIVE_MODE": "no"})
        assert server.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
        # It is not asked twice.
        assert server.verbs().count("EPRT") == 1
        assert server.verbs().count("PORT") == 2


# Hosts that cannot be found or reached: every item fails and has its record, and the run ends by itself.


def test_a_name_that_nobody_knows_fails_the_items(owner, small_tree, tmp_path):
    with NameServer(tmp_path, answers=True) as network:
        notifications = owner.upload(small_tree.path, host="ftp.example.test", prefix=network.prefix)
        assert network.questions() > 0
    assert len(notifications) == 3


def test_without_a_network_the_items_fail(owner, small_tree, network):
    notifications = owner.upload(small_tree.path, host="ftp.example.test", prefix=network.prefix)
    assert len(notifications) == 3


@pytest.mark.parametrize("host", ["a..b", "a" * 300, "-", "[::1", "[::zz]", "127.0.0.1:0", "127.0.0.1:65536",
                                  "127.0.0.1:21x", "127.0.0.1:99999999999999999999", "0.0.0.0:1", "256.1.1.1:21"])
def test_a_host_that_cannot_be_one_fails_the_items(owner, small_tree, host):
    notifications = owner.upload(small_tree.path, host=host)
    assert len(notifications) == 3


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_a_port_that_refuses_fails_the_items(owner, small_tree, host):
    port = processes.ReservedPort()
    try:
        address = f"[{host}]:{port.number}" if ":" in host else f"{host}:{port.number}"
        notifications = owner.upload(small_tree.path, host=address)
    finally:
        port.release()
    assert len(notifications) == 3
