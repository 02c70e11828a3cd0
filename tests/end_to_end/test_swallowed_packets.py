"""Hosts that never answer. In a file of its own, since the helper is patient with them."""

import contextlib

import owner as owners
from network_namespace import NameServer
from scripted_server import BlackHole


def test_hosts_that_swallow_packets_fail_the_items_in_time(bus, helper_path, tmp_path):
    """One after the other they would take minutes, so they are all waited for at the same time."""
    source = tmp_path / "a.txt"
    source.write_bytes(b"a")
    with contextlib.ExitStack() as stack:
        owner = stack.enter_context(owners.Owner(bus, helper_path, tmp_path))
        four, six = (stack.enter_context(BlackHole(host)) for host in ("127.0.0.1", "::1"))
        proxy = stack.enter_context(BlackHole())
        network = stack.enter_context(NameServer(tmp_path, answers=False))
        helpers = {
            "an IPv4 address": owner.launch(source, host=four.address, notificationIdentifier="an IPv4 address"),
            "an IPv6 address": owner.launch(source, host=six.address, notificationIdentifier="an IPv6 address"),
            "a proxy": owner.launch(source, host="ftp.example.test", notificationIdentifier="a proxy",
                                    environment={"ftp_proxy": f"socks5://{proxy.address}"}),
            "a name server": owner.launch(source, host="ftp.example.test", notificationIdentifier="a name server",
                                          prefix=network.prefix),
        }
        for token, helper in helpers.items():
            (only,) = owner.wait_for_last_record(token=token)
            assert (only.record["Nth"], only.record["IsMore"]) == (1, False)
            helper.wait_for_line("finished; terminating the helper")
            helper.terminate()
            assert helper.wait() == 0
        assert network.questions() > 0
