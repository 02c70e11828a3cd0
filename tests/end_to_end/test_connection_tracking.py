"""Firewalls that read along on the control connection to know which data connections belong to it.

The kernel's own tracker looks for the server's port at the beginning of a packet, so that it overlooks one that comes
behind another reply.
"""

import socket

import pytest

import firewall
import servers
import tree
from far import far
from network_namespace import NetworkNamespace

FILES = 6


@pytest.fixture
def source(tmp_path):
    result = tree.Tree(tmp_path / "Site")
    for number in range(FILES):
        result.file(f"{number}.txt", b"%d" % number * 2000)
    return result


@pytest.fixture
def kernel():
    if not firewall.kernel_tracks_ftp():
        pytest.skip("this system's kernel has no FTP connection tracking")


@pytest.mark.usefixtures("kernel")
@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_a_near_server_behind_the_kernels_tracking(owner, source, kind):
    with NetworkNamespace() as network, kind(side=network) as server:
        firewall.open_tracked_ports_only(network, server.port)
        owner.upload(source.path, server, prefix=network.prefix)
        assert source.differences(server.root) == []


@pytest.mark.usefixtures("kernel")
@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_a_far_server_behind_the_kernels_tracking(owner, source, kind):
    with far(kind) as way:
        firewall.open_tracked_ports_only(way.link.server, way.server.port)
        owner.upload(source.path, **way.launch)
        assert source.differences(way.server.root) == []
        assert way.traffic.faults() == []


@pytest.mark.usefixtures("kernel")
def test_the_tracking_lets_nothing_else_in():
    """The firewall is one: it is not the tests' luck that data gets through."""
    with NetworkNamespace() as network, servers.Pyftpdlib(side=network) as server:
        firewall.open_tracked_ports_only(network, server.port)

        def connect():
            with socket.create_server((server.host, 0)) as listener, socket.socket() as client:
                client.settimeout(0.5)
                return client.connect_ex(listener.getsockname())

        assert network.run(connect) != 0


def test_a_server_that_drops_what_comes_ahead_of_its_reply(owner, source, scripted_anywhere):
    server, launch = scripted_anywhere
    server.drops_what_comes_ahead_of_its_reply = True
    owner.upload(source.path, **launch)
    assert server.files == {f"/Site/{number}.txt": b"%d" % number * 2000 for number in range(FILES)}
    assert server.dropped == []
