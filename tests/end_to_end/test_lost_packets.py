"""Packets of data connections that get lost: TCP sends them again, and the helper need do nothing about it. vsftpd is
the one that waits for the end of a data connection to be acknowledged before it confirms a file."""

import pytest

import servers
import tree
from far import far

FILES = 12
# In the order in which they leave: the connection is asked for; the server's consent is acknowledged; data; the end.
LOST = (("request",), ("acknowledgement",), ("data",), ("end",), ("data", "end"), ("acknowledgement", "data", "end"))


class Lossy:
    """Of one data connection, not among the first, each of these kinds of packets gets lost once."""

    def __init__(self, to_lose, after=5):
        self.control_port = None
        self.lost = []
        self._to_lose, self._after = to_lose, after
        self._made = []
        self._victim = None

    def __call__(self, packet):
        if packet.target == self.control_port:
            return False
        ports = (packet.source, packet.target)
        if packet.is_request and ports not in self._made:
            self._made.append(ports)
        kind = _kind(packet)
        is_due = kind in self._to_lose and kind not in self.lost and ports in self._made[self._after:]
        if is_due and not self._victim:
            self._victim = ports
        is_lost = is_due and ports == self._victim
        if is_lost:
            self.lost.append(kind)
        return is_lost


def _kind(packet):
    if packet.is_request:
        return "request"
    if packet.is_reset:
        return "reset"
    if packet.length > 0:
        return "data"
    return "end" if packet.is_end else "acknowledgement"


@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
@pytest.mark.parametrize("lost", LOST, ids=" and ".join)
def test_every_file_is_sent_once_and_arrives(owner, tmp_path, kind, lost):
    source = tree.Tree(tmp_path / "Site")
    for number in range(FILES):
        source.file(f"{number:02}.txt", b"%d" % number * (700 + number))
    lossy = Lossy(lost)
    with far(kind, loses=lossy) as way:
        lossy.control_port = way.server.port
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []
        assert len(way.traffic.stored()) == len(set(way.traffic.stored())) == FILES
        assert way.traffic.resets == 0
        assert set(lossy.lost) & set(lost)
