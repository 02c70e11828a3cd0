"""Firewalls that let nobody through to a server's passive ports: what lies on the server stays as it is."""

import contextlib

import pytest

import firewall
import owner as owners
import servers
from far import far
from network_namespace import NetworkNamespace
from versions import Versions


@pytest.fixture
def versions(tmp_path):
    return Versions(tmp_path, {"small.txt": 2000, "just.bin": 511_999, "buffer.bin": 512_000, "large.bin": 1_500_000})


@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_refused_connections_change_nothing(owner, versions, kind):
    with NetworkNamespace() as network, kind(side=network) as server:
        versions.put_first(server)
        firewall.block_all_ports_but(network, [server.port], "reject")
        notifications = owner.upload(versions.site.path, server, prefix=network.prefix)
        assert len(notifications) == versions.site.items()
        assert versions.on(server) == versions.all_first()


def test_swallowed_connections_change_nothing(bus, helper_path, tmp_path):
    """On all servers at the same time, since each file takes as long as making a connection may take."""
    versions = Versions(tmp_path, {"small.txt": 2000, "large.bin": 1_500_000})
    with contextlib.ExitStack() as stack:
        network = stack.enter_context(NetworkNamespace())
        owner = stack.enter_context(owners.Owner(bus, helper_path, tmp_path))
        running = [stack.enter_context(kind(side=network)) for kind in servers.REAL]
        firewall.block_all_ports_but(network, [server.port for server in running], "drop")
        for server in running:
            versions.put_first(server)
            owner.launch(versions.site.path, server, prefix=network.prefix, notificationIdentifier=server.name)
        for server in running:
            assert len(owner.wait_for_last_record(token=server.name)) == versions.site.items()
            assert {server.name: versions.on(server)} == {server.name: versions.all_first()}


@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_a_firewall_that_comes_up_in_the_middle_changes_nothing_more(owner, tmp_path, kind):
    versions = Versions(tmp_path, {f"{number:02}.txt": 2000 for number in range(20)})
    with far(kind, round_trip=0.06) as way:
        versions.put_first(way.server)
        owner.launch(versions.site.path, **way.launch)
        owner.wait_for_records(3)
        firewall.block_all_ports_but(way.link.server, [way.server.port], "reject")
        assert len(owner.wait_for_last_record()) == versions.site.items()
        # What had its data connection by then has arrived.
        begun = {path.rpartition("/")[2] for path in way.traffic.stored()}
        found = versions.on(way.server)
        assert found == {name: "second" if name in begun else "first" for name in found}
        assert set(found.values()) == {"first", "second"}
