"""Whole uploads by the built helper, and what then lies on the server."""

import os

import pytest

import owner as owners
import servers
import tree
from control_tap import ControlTap
from latency_link import LatencyLink
from lock_step import MOST_CONNECTIONS
from scripted_server import ScriptedServer


def through(tap, server):
    return {"host": tap.address, "username": server.username, "password": server.password}


def test_a_tree_arrives_byte_by_byte(owner, server, sample_tree):
    notifications = owner.upload(sample_tree.path, server)
    assert sample_tree.differences(server.root) == []
    assert [notification.record["Nth"] for notification in notifications] == list(range(1, sample_tree.items() + 1))
    assert notifications[-1].record["Percent"] == 100


def test_a_file_of_several_hundred_megabytes_arrives_byte_by_byte(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Big")
    source.big_file("big.bin", 300_000_001)
    owner.upload(source.path, server)
    assert source.differences(server.root) == []


@pytest.mark.parametrize("kind", servers.ALL, ids=lambda kind: kind.name)
def test_a_tree_arrives_over_ipv6(owner, kind, sample_tree):
    with kind(host="::1") as server:
        owner.upload(sample_tree.path, server)
        assert sample_tree.differences(server.root) == []


def test_a_run_logs_in_once_for_each_connection(owner, server, sample_tree):
    """There is one, or a few on a system that is so busy that even this host seems far away."""
    with ControlTap(server) as tap:
        owner.upload(sample_tree.path, None, **through(tap, server))
        assert 1 <= tap.logins == tap.connections <= MOST_CONNECTIONS
        assert tap.verbs().count("STOR") + tap.verbs().count("MKD") == sample_tree.items()


def test_a_single_file_lands_in_the_root(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "folder").file("report.txt", b"content")
    notifications = owner.upload(source, server)
    assert [path.name for path in server.root.iterdir()] == ["report.txt"]
    assert (server.root / "report.txt").read_bytes() == b"content"
    assert notifications[0].record["RemoteDirectory"] == "/"


def test_an_empty_file_and_an_empty_folder_arrive(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("empty.txt")
    source.folder("empty")
    owner.upload(source.path, server)
    assert source.differences(server.root) == []


def test_folders_that_exist_are_kept_and_files_that_exist_are_replaced(owner, server, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    file = source.file("a.txt", b"a long first version")
    owner.upload(source.path, server)
    (server.root / "Site" / "b.txt").write_bytes(b"somebody else's")
    file.write_bytes(b"short")
    owner.upload(source.path, server)
    assert (server.root / "Site" / "a.txt").read_bytes() == b"short"
    assert (server.root / "Site" / "b.txt").read_bytes() == b"somebody else's"


def test_with_a_cache_only_what_is_new_or_modified_is_sent(owner, server, sample_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    with ControlTap(server) as tap:
        parameters = through(tap, server) | {"cachedInfoPath": cache}
        owner.upload(sample_tree.path, None, **parameters)
        assert sample_tree.differences(server.root) == []
        first_cache, connections = cache.read_bytes(), tap.connections

        (nothing,) = owner.upload(sample_tree.path, None, **parameters)
        assert nothing.record is None
        assert cache.read_bytes() == first_cache
        assert tap.connections == connections

        modified = sample_tree.path / "img" / "photo.jpg"
        modified.write_bytes(b"another picture")
        os.utime(modified, (1_000_000_000, 1_000_000_000))
        (only,) = owner.upload(sample_tree.path, None, **parameters)
        assert only.record == {"LocalPath": str(modified), "RemoteDirectory": "/Site/img", "Nth": 1, "Total": 1,
                               "Percent": 100, "IsMore": False}
        assert sample_tree.differences(server.root) == []

        sample_tree.file("img/new.txt", b"new")
        owner.upload(sample_tree.path, None, **parameters)
        assert sample_tree.differences(server.root) == []


def test_the_cache_is_written_before_anything_is_sent(owner, sample_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    with ScriptedServer() as server:
        known = []

        def greet(session, _argument):
            known.append(cache.read_bytes())
            session.reply(b"220 Ready.")

        server.on("GREETING", greet)
        owner.upload(sample_tree.path, server, cachedInfoPath=cache)
    assert known == [cache.read_bytes()]
    assert known[0].count(b"<dict>") == sample_tree.items()


def test_names_that_no_url_allows_are_passed_over(owner, server, tmp_path):
    refused = ("with space", "pipe|", "less<", "greater>", 'quote"', "back\\slash", "hat^", "tick`", "{braces}",
               "umlaut-ü", "50%", "%zz", "%2")
    sent = ("plus+", "amper&and", "semi;colon", "at@", "tilde~", "(round)", "ex!clamation", "equals=", "dollar$",
            "comma,", "colon:", "star*", "apostrophe'")
    folder = tmp_path / "Site"
    folder.mkdir()
    for name in refused + sent:
        (folder / name).write_bytes(name.encode())
    notifications = owner.upload(folder, server)
    assert len(notifications) == 1 + len(refused) + len(sent)
    assert sorted(path.name for path in (server.root / "Site").iterdir()) == sorted(sent)
    for name in sent:
        assert (server.root / "Site" / name).read_bytes() == name.encode()


@pytest.mark.parametrize("kind", [kind for kind in servers.ALL if kind.allows_anonymous], ids=lambda kind: kind.name)
def test_without_a_login_it_is_anonymous(owner, kind, sample_tree):
    with kind() as server:
        owner.upload(sample_tree.path, server, username=None, password=None)
        assert sample_tree.differences(server.root) == []


def test_a_login_in_the_host_counts_when_no_other_was_given(owner, server, sample_tree):
    owner.upload(sample_tree.path, None, host=f"{server.username}:{server.password}@{server.address}")
    assert sample_tree.differences(server.root) == []


def test_a_refused_login_shows_only_on_the_server(owner, server, tmp_path):
    # Few items, because the servers answer every wrong password only after some seconds.
    source = tree.Tree(tmp_path / "Site")
    source.file("a.txt", b"content")
    notifications = owner.upload(source.path, server, password="wrong")
    assert [notification.record["Percent"] for notification in notifications] == [50, 100]
    assert list(server.root.iterdir()) == []


def test_a_missing_source_is_one_item_that_fails(owner, server, tmp_path):
    (only,) = owner.upload(tmp_path / "nowhere.txt", server)
    assert (only.record["Nth"], only.record["Total"], only.record["IsMore"]) == (1, 1, False)
    assert list(server.root.iterdir()) == []


def test_without_a_source_the_one_record_has_no_path(owner, server):
    (only,) = owner.upload(None, server)
    assert (only.record["LocalPath"], only.record["RemoteDirectory"]) == ("", "/")
    assert list(server.root.iterdir()) == []


def test_a_tree_arrives_over_a_slow_link(helper_path, bus, tmp_path, sample_tree):
    with (
        LatencyLink(round_trip=0.02) as link,
        servers.Vsftpd(host=link.server.address, side=link.server) as server,
        owners.Owner(bus, helper_path, tmp_path) as owner,
    ):
        owner.upload(sample_tree.path, server, prefix=link.client.prefix)
        assert sample_tree.differences(server.root) == []


def test_a_file_costs_two_commands(owner, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    for number in range(50):
        source.file(f"{number}.txt", b"content")
    with ScriptedServer() as server:
        owner.upload(source.path, server)
        verbs = server.verbs()
        assert len(server.files) == 50
        assert verbs.count("STOR") == 50
        assert verbs.count("MKD") == 1
        # On each connection a port may be asked for ahead of the file that needs it, so some may stay unused.
        assert 50 <= verbs.count("EPSV") <= 50 + MOST_CONNECTIONS
        assert set(verbs) <= {"USER", "PASS", "TYPE", "MKD", "EPSV", "STOR", "QUIT"}
        assert [verbs.count(verb) for verb in ("USER", "PASS", "TYPE")] == [server.connections] * 3
        assert server.connections <= MOST_CONNECTIONS
