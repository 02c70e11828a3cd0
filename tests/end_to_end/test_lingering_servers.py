"""vsftpd confirms a file only when the client's system has acknowledged the end of the data connection, a round trip
late. The helper finds that out and resets its data connections; what gets lost by that is sent again."""

import os
import re

import pytest

import owner as owners
import servers
import tree
from latency_link import LatencyLink

# Long enough to be told from the time that a busy system takes.
ROUND_TRIP = 0.1
FILES = 16


class DeletingVsftpd(servers.Vsftpd):
    settings = "delete_failed_uploads=YES\n"


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
        os.chown(self.root / "Site", servers.USER_ID, servers.GROUP_ID)


class DataConnections:
    """Watches the data connections to a server. The one that is made after three have been reset loses packets.

    Of these, each gets lost once: "acknowledgement" (of the server's consent to connect), "data", "end" and "reset".
    """

    def __init__(self, to_lose):
        self.control_port = None
        self.resets = set()  # pairs of ports
        self.lost = []
        self._to_lose = to_lose
        self._victim = None

    def loses(self, packet):
        ports = (packet.source, packet.target)
        if packet.target == self.control_port:
            return False
        if packet.is_request and len(self.resets) == 3:
            self._victim = self._victim or ports
        if packet.is_reset:
            self.resets.add(ports)
        is_lost = ports == self._victim and _kind(packet) in set(self._to_lose) - set(self.lost)
        if is_lost:
            self.lost.append(_kind(packet))
        return is_lost


def _kind(packet):
    if packet.is_request:
        return "request"
    if packet.is_reset:
        return "reset"
    if packet.length > 0:
        return "data"
    return "end" if packet.is_end else "acknowledgement"


@pytest.fixture
def source(tmp_path):
    result = tree.Tree(tmp_path / "Site")
    for number in range(FILES):
        result.file(f"{number:02}.txt", b"%d" % number * (700 + number))
    return result


@pytest.fixture
def upload(helper_path, bus, tmp_path, source):
    """Sends the tree over a link to a server of a kind, where it has to arrive: the server's log, the connections."""

    def run(kind, to_lose=(), **parameters):
        connections = DataConnections(to_lose)
        with (
            LatencyLink(ROUND_TRIP, loses=connections.loses) as link,
            kind(host=link.server.address, side=link.server) as server,
            owners.Owner(bus, helper_path, tmp_path) as owner,
        ):
            connections.control_port = server.port
            owner.upload(source.path, server, prefix=link.client.prefix, **parameters)
            log = server.output()
            print(log)
            assert source.differences(server.root) == []
            return log, connections

    return run


def arguments(verb, log):
    return re.findall(rf'FTP command: Client "[^"]*", "{verb} ([^"]*)"', log)


@pytest.mark.parametrize("kind", [servers.Vsftpd, DeletingVsftpd])
def test_the_data_connections_of_a_lingering_server_are_reset(upload, kind):
    log, connections = upload(kind)
    assert len(connections.resets) >= FILES / 2
    # Each of them has its size asked for, and only the first one has been sent twice.
    assert arguments("SIZE", log)[-FILES // 2:] == arguments("STOR", log)[-FILES // 2:]
    assert len(arguments("STOR", log)) == FILES + 1


@pytest.mark.parametrize("kind", servers.ALL[1:], ids=lambda kind: kind.name)
def test_those_of_other_servers_are_not(upload, kind):
    _, connections = upload(kind)
    assert connections.resets == set()


@pytest.mark.parametrize("kind", [servers.Vsftpd, DeletingVsftpd])
@pytest.mark.parametrize("lost", [
    ("data",),
    ("end",),
    ("reset",),
    ("data", "reset"),
    ("end", "reset"),
    ("data", "end", "reset"),
    ("acknowledgement", "data", "end", "reset"),
], ids=" and ".join)
def test_what_gets_lost_on_its_way_is_sent_again(upload, kind, lost):
    log, connections = upload(kind, to_lose=lost)
    assert connections.lost == list(lost)
    # A server that was left waiting would keep the file locked, and remove it in the end.
    assert log.count("OK LOGIN") == 1


def test_a_server_that_lets_nothing_be_written_over_has_every_file(upload):
    log, connections = upload(DropBox, username="anonymous", password="me@example.com")
    assert log.count("553 Could not create file.") in (1, 2)
    assert len(connections.resets) <= 2
