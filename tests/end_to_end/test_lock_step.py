"""No command leaves before the final reply to the last one, on no server; what is fast is only what was prepared."""

import pytest

import limited_servers
import servers
import tree
from control_tap import ControlTap
from far import far, scripted
from lock_step import MOST_CONNECTIONS, faults
from scripted_server import reply, usual



def pytest_generate_tests(metafunc):
    if "kind" in metafunc.fixturenames:
        metafunc.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)


@pytest.fixture
def site(tmp_path):
    """Files and folders in turn, of all the sizes that are treated differently."""
    source = tree.Tree(tmp_path / "Site")
    for number in range(4):
        source.file(f"{number}/small.txt", b"%d" % number * 2000)
        source.file(f"{number}/empty.txt")
        source.file(f"{number}/deeper/one.txt", b"one")
    source.file("buffer.bin", bytes(range(250)) * 2048)
    source.file("more.bin", bytes(range(250)) * 5000)
    source.folder("nothing")
    return source


def files(folder, count):
    source = tree.Tree(folder / "Few")
    for number in range(count):
        source.file(f"{number}.txt", b"%d" % number * 2000)
    return source


def of_one_run(owner, source, way):
    notifications = owner.upload(source.path, **way.launch)
    assert source.differences(way.server.root) == []
    return notifications


def test_far_away(owner, kind, site):
    with far(kind) as way:
        of_one_run(owner, site, way)
        assert way.traffic.faults() == []
        assert 1 < way.traffic.connections <= MOST_CONNECTIONS
        assert way.traffic.resets == 0
        assert len(way.traffic.stored()) == len(set(way.traffic.stored()))


def test_near(owner, kind, site):
    with kind() as server, ControlTap(server) as tap:
        owner.upload(site.path, host=tap.address, username=server.username, password=server.password)
        assert site.differences(server.root) == []
        assert faults(tap.lines) == []
        assert tap.connections <= MOST_CONNECTIONS


@pytest.mark.parametrize("count", [1, 2])
def test_few_files_need_one_connection(owner, tmp_path, count):
    with far(servers.PureFTPd) as way:
        of_one_run(owner, files(tmp_path, count), way)
        assert way.traffic.faults() == []
        assert way.traffic.connections == 1


def test_a_single_file_needs_one_connection(owner, tmp_path):
    source = files(tmp_path, 1)
    with far(servers.PureFTPd) as way:
        owner.upload(source.path / "0.txt", **way.launch)
        assert (way.server.root / "0.txt").read_bytes() == b"0" * 2000
        assert way.traffic.connections == 1


def test_items_are_begun_in_the_order_of_the_records(owner, kind, site):
    with far(kind) as way:
        notifications = of_one_run(owner, site, way)
        planned = [record["LocalPath"].removeprefix(str(site.path.parent))
                   for record in (each.record for each in notifications)]
        begun = [line.argument.rstrip("/") for line in way.traffic.lines
                 if line.from_client and line.verb in (b"STOR", b"MKD")]
        assert begun == planned


def test_in_active_mode_far_away(owner, kind, site):
    with far(kind) as way:
        notifications = owner.upload(site.path, environment={"FTP_PASSIVE_MODE": "no"}, **way.launch)
        assert site.differences(way.server.root) == []
        assert len(notifications) == site.items()
        assert faults(way.traffic.lines) == []
        assert way.traffic.most_at_a_time <= MOST_CONNECTIONS
        commands = [line for line in way.traffic.lines if line.from_client]
        assert {b"EPSV", b"PASV"}.isdisjoint(line.verb for line in commands)
        last = {}
        for line in commands:
            assert line.verb != b"STOR" or last[line.connection].verb in (b"EPRT", b"PORT")
            last[line.connection] = line


# Servers that allow one connection, or one login, only.


LIMITED = {
    limited_servers.OneOnVsftpd: b"421", limited_servers.TwoOnVsftpd: b"421",
    limited_servers.OneOnPureFTPd: b"421", limited_servers.OneLoginOnPureFTPd: b"421",
    limited_servers.OneLoginOnProFTPD: b"530", limited_servers.OneOnPyftpdlib: b"421",
}


@pytest.mark.parametrize("limited", LIMITED, ids=lambda limited: limited.__name__)
def test_a_refused_further_connection_shows_nowhere(owner, tmp_path, limited):
    source = files(tmp_path, 12)
    with far(limited) as way:
        notifications = of_one_run(owner, source, way)
        assert [each.record["Nth"] for each in notifications] == list(range(1, 14))
        assert way.traffic.faults() == []
        refused = [line for line in way.traffic.lines if line.verb == LIMITED[limited]]
        assert 1 <= len(refused) <= 2, "tried, and not again once refused"
        assert way.traffic.connections <= MOST_CONNECTIONS
        assert len(way.traffic.stored()) == 12


REFUSALS = {
    "greeting": ("GREETING", reply(b"421 Too many connections.")),
    "no service": ("GREETING", reply(b"530 One session for each user.")),
    "login name": ("USER", reply(b"530 One session for each user.")),
    "password": ("PASS", reply(b"530 One session for each user.")),
    "password for now": ("PASS", reply(b"421 One session for each user.")),
    "dropped": ("GREETING", lambda session, _argument: session.close()),
    "reset": ("GREETING", lambda session, _argument: session.reset()),
    "dropped at the login": ("PASS", lambda session, _argument: session.close()),
    "port": ("EPSV", reply(b"425 One data connection for each user.")),
    "silent": ("GREETING", lambda session, _argument: session.wait()),
    "silent at the login": ("PASS", lambda session, _argument: session.wait()),
    "silent at the port": ("EPSV", lambda session, _argument: session.wait()),
}


@pytest.mark.parametrize("name", REFUSALS)
def test_whatever_befalls_a_further_connection_shows_nowhere(owner, tmp_path, name):
    source = files(tmp_path, 12)
    verb, action = REFUSALS[name]

    def only_the_first_is_served(session, argument):
        (usual(verb) if session.number == 0 else action)(session, argument)

    with far(scripted) as way:
        way.server.always(verb, only_the_first_is_served)
        owner.upload(source.path, **way.launch)
        assert way.server.files == {f"/Few/{number}.txt": b"%d" % number * 2000 for number in range(12)}
        assert 1 < way.server.connections <= MOST_CONNECTIONS
        # None of them was sent twice.
        assert way.server.verbs().count("STOR") == 12
