"""Encrypted uploads to real servers, which take nothing in the clear."""

import os

import pytest

import certificates
import limited_servers
import proxies
import secure_servers
import tree
from capture import Capture
from far import far
from lock_step import MOST_CONNECTIONS
from network_namespace import NetworkNamespace
from tracked_upload import outcomes, track


def pytest_generate_tests(metafunc):
    if "kind" in metafunc.fixturenames:
        metafunc.parametrize("kind", secure_servers.ALL, ids=lambda kind: kind.name)


@pytest.fixture
def server(kind):
    with kind() as running:
        yield running
        print(running.output()[-20000:])


@pytest.fixture
def many(tmp_path):
    source = tree.Tree(tmp_path / "Many")
    for number in range(100):
        source.file(f"{number % 4}/{number}.txt", b"%02d" % number * 1000)
    return source


def test_a_tree_arrives_byte_by_byte(owner, server, sample_tree):
    notifications = owner.upload(sample_tree.path, server, **server.launch)
    assert sample_tree.differences(server.root) == []
    assert [notification.record["Nth"] for notification in notifications] == list(range(1, sample_tree.items() + 1))


@pytest.mark.parametrize("implicit", secure_servers.IMPLICIT, ids=lambda implicit: implicit.name)
def test_a_tree_arrives_with_implicit_encryption(owner, implicit, sample_tree):
    with implicit(is_implicit=True) as server:
        assert set(outcomes(track(owner, sample_tree.path / "img", server, **server.launch))) == {"sent"}
        owner.upload(sample_tree.path, server, **server.launch)
        (server.root / "img").rename(server.folder / "img")
        assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("implicit", secure_servers.IMPLICIT, ids=lambda implicit: implicit.name)
def test_without_a_port_implicit_encryption_has_990(owner, implicit, small_tree):
    with NetworkNamespace() as network, implicit(is_implicit=True, port=990, side=network) as server:
        owner.upload(small_tree.path, server, host="127.0.0.1", prefix=network.prefix, **server.launch)
        assert small_tree.differences(server.root) == []


def test_without_a_port_explicit_encryption_has_21(owner, small_tree):
    with NetworkNamespace() as network, secure_servers.SecureVsftpd(port=21, side=network) as server:
        owner.upload(small_tree.path, server, host="127.0.0.1", prefix=network.prefix, **server.launch)
        assert small_tree.differences(server.root) == []


def test_a_deep_tree_arrives(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Deep")
    source.file("/".join("abcdefghijklmnopqrstuvwxyz") + "/leaf.txt", b"leaf")
    owner.upload(source.path, server, **server.launch)
    assert source.differences(server.root) == []


def test_empty_files_and_folders_arrive(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Empty")
    for number in range(5):
        source.file(f"{number}.txt")
        source.folder(f"folder{number}")
    assert set(outcomes(track(owner, source.path, server, **server.launch))) == {"sent"}
    assert source.differences(server.root) == []


def test_a_file_of_several_hundred_megabytes_arrives_byte_by_byte(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Big")
    source.big_file("big.bin", 300_000_001)
    owner.upload(source.path, server, **server.launch)
    assert source.differences(server.root) == []


# Sizes around what a record (16 KiB), a buffer (512,000 bytes) and a round of either hold.
@pytest.mark.parametrize("only", ["TLSv1.2", "TLSv1.3"])
def test_files_of_all_sizes_arrive_by_either_version(owner, tmp_path, only):
    class Server(secure_servers.SecureProFTPD):
        versions = only

    source = tree.Tree(tmp_path / "Sizes")
    for size in (0, 1, 16_383, 16_384, 16_385, 32_768, 511_999, 512_000, 512_001, 2_000_000):
        source.file(f"{size}.bin", os.urandom(size))
    with Server() as server:
        assert set(outcomes(track(owner, source.path, server, **server.launch))) == {"sent"}
        assert source.differences(server.root) == []
        assert f"{only} connection accepted" in (server.folder / "tls").read_text()


@pytest.mark.parametrize("host", ["127.0.0.1", "::1"])
def test_a_tree_arrives_in_active_mode(owner, kind, host, sample_tree):
    with kind(host=host) as server:
        owner.upload(sample_tree.path, server, environment={"FTP_PASSIVE_MODE": "no"}, **server.launch)
        assert sample_tree.differences(server.root) == []


@pytest.mark.parametrize("proxied", proxies.ALL, ids=lambda proxied: proxied.name)
def test_a_tree_arrives_through_a_proxy(owner, proxied, server, sample_tree):
    with proxied() as proxy:
        owner.upload(sample_tree.path, server, environment={"ftp_proxy": proxy.url}, **server.launch)
        assert sample_tree.differences(server.root) == []
        assert str(server.port) in proxy.output()


@pytest.mark.parametrize("proxied", proxies.ALL, ids=lambda proxied: proxied.name)
def test_the_name_that_only_the_proxy_knows_is_the_one_that_is_checked(owner, proxied, small_tree):
    certificate = certificates.authority().issue(["ftp.telvo.invalid"])
    with (
        proxied(names={"ftp.telvo.invalid": "127.0.0.1", "other.telvo.invalid": "127.0.0.1"}) as proxy,
        secure_servers.SecureVsftpd(certificate=certificate) as server,
    ):
        parameters = {"environment": {"ftp_proxy": proxy.url}, **server.launch}
        assert set(outcomes(track(owner, small_tree.path, server, host=f"ftp.telvo.invalid:{server.port}",
                                  **parameters))) == {"sent"}
        (record,) = track(owner, small_tree.path, server, host=f"other.telvo.invalid:{server.port}", **parameters)
        assert (record["Outcome"], record["Aborted"]) == ("failed", True)


@pytest.mark.parametrize("demanding", secure_servers.TAKE_CLIENTS, ids=lambda demanding: demanding.name)
@pytest.mark.parametrize("files", ["one file", "two files"])
def test_a_client_may_have_a_certificate(owner, demanding, files, small_tree):
    client = certificates.authority().issue_for_client()
    own = ({"tlsCertificate": client.both_path, "tlsKey": client.both_path} if files == "one file" else
           {"tlsCertificate": client.path, "tlsKey": client.key_path})
    with demanding(clients=certificates.authority()) as server:
        assert set(outcomes(track(owner, small_tree.path, server, **server.launch, **own))) == {"sent"}
        assert small_tree.differences(server.root) == []


# Several connections, each of whose data connections go on with its own session.


@pytest.mark.parametrize("demanding", secure_servers.DEMAND_REUSE, ids=lambda demanding: demanding.name)
def test_data_connections_go_on_with_their_own_control_connections_session(owner, demanding, many):
    with far(demanding) as way:
        assert set(outcomes(track(owner, many.path, **way.launch, **way.server.launch))) == {"sent"}
        assert many.differences(way.server.root) == []
        assert 1 < way.traffic.connections <= MOST_CONNECTIONS
        if demanding is secure_servers.SecureVsftpd:
            told = way.server.output()
            assert told.count(", reused,") == 100
            assert 1 < told.count(", not reused,") <= way.traffic.connections


@pytest.mark.parametrize("usual", [secure_servers.SecurePureFTPd, secure_servers.SecurePyftpdlib],
                         ids=lambda usual: usual.name)
def test_many_files_arrive_over_a_link(owner, usual, many):
    with far(usual) as way:
        owner.upload(many.path, **way.launch, **way.server.launch)
        assert many.differences(way.server.root) == []
        assert 1 < way.traffic.connections <= MOST_CONNECTIONS


@pytest.mark.parametrize("limited", limited_servers.SECURE, ids=lambda limited: limited.name)
def test_a_server_that_allows_one_connection_gets_everything(owner, limited, tmp_path):
    source = tree.Tree(tmp_path / "Few")
    for number in range(12):
        source.file(f"{number}.txt", b"%d" % number * 2000)
    with far(limited) as way:
        notifications = owner.upload(source.path, **way.launch, **way.server.launch)
        assert [each.record["Nth"] for each in notifications] == list(range(1, 14))
        assert source.differences(way.server.root) == []


# What can be read on the way.


@pytest.mark.parametrize("security", ["none", "tls", "implicit"])
def test_nothing_can_be_read_on_the_way_unless_encryption_is_not_asked_for(owner, security, tmp_path):
    """With none it can, which shows that the capture has it all."""
    source = tree.Tree(tmp_path / "Name-of-the-folder")
    source.file("name-of-the-file.txt", b"what is in the file")
    secret = (b"correct-horse-battery", b"name-of-the-login", b"Name-of-the-folder", b"name-of-the-file.txt",
              b"what is in the file")
    kind = {"none": secure_servers.servers.Vsftpd}.get(security, secure_servers.SecureVsftpd)
    options = {"is_implicit": True} if security == "implicit" else {}
    with (
        NetworkNamespace() as network,
        kind(side=network, username="name-of-the-login", password="correct-horse-battery", **options) as server,
        Capture(network) as capture,
    ):
        launch = {} if security == "none" else server.launch
        owner.upload(source.path, server, prefix=network.prefix, **launch)
        assert source.differences(server.root) == []
        assert capture.size() > 0
        assert [capture.holds(text) for text in secret] == [security == "none"] * len(secret)


# Stops and quits.


@pytest.mark.parametrize("ending", ["stop", "quit"])
def test_a_run_can_be_ended_in_the_middle(owner, server, tmp_path, ending):
    source = tree.Tree(tmp_path / "Site")
    source.file("a.txt", b"a")
    source.big_file("b.bin", 20_000_000)
    source.file("c.txt", b"c")
    helper = owner.launch(source.path, server, reportOutcomes="YES", bytesPerSecond=500_000, **server.launch)
    arriving = server.root / "Site" / "b.bin"
    owner.wait_until(lambda: arriving.exists() and arriving.stat().st_size > 0, what="the first bytes")
    if ending == "stop":
        owner.stop_upload()
        records = [heard.record for heard in owner.wait_for_last_record()]
        assert "b.bin" not in [os.path.basename(each["LocalPath"]) for each in records if each["Outcome"] == "sent"]
        assert (records[-1]["Outcome"], records[-1]["IsMore"]) == ("failed", False)
        helper.terminate()
    else:
        owner.release_name()
    assert helper.wait() == 0
    assert arriving.stat().st_size < 20_000_000
