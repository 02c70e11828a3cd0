"""Uploads through proxies. A data connection that did not go through the proxy shows: it comes from elsewhere."""

import urllib.parse

import pytest

import proxies
import servers
from network_namespace import NetworkNamespace
from scripted_server import ScriptedServer


@pytest.fixture(params=proxies.ALL, ids=lambda kind: kind.name)
def kind(request):
    return request.param


@pytest.fixture(params=["open", "login"])
def proxy(request, kind):
    with kind(login=kind.login if request.param == "login" else None) as running:
        yield running
        print(running.output()[-20000:])


def test_control_and_data_connections_go_through_the_proxy(owner, proxy, scripted, small_tree):
    notifications = owner.upload(small_tree.path, scripted, environment={"ftp_proxy": proxy.url})
    assert len(notifications) == 3
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
    assert [host for host, *_ in scripted.control_peers] == [proxy.outgoing]
    assert {host for host, *_ in scripted.data_peers} == {proxy.outgoing}


def test_a_tree_arrives_through_a_proxy(owner, proxy, server, sample_tree):
    owner.upload(sample_tree.path, server, environment={"ftp_proxy": proxy.url})
    assert sample_tree.differences(server.root) == []


def test_a_tree_arrives_over_ipv6_through_a_proxy(owner, kind, sample_tree):
    with kind(host="::1", outgoing=None) as proxy, servers.Vsftpd(host="::1") as server:
        owner.upload(sample_tree.path, server, environment={"ftp_proxy": proxy.url})
        assert sample_tree.differences(server.root) == []
        assert str(server.port) in proxy.output()


def test_through_a_proxy_the_mode_is_always_passive(owner, proxy, scripted, small_tree):
    owner.upload(small_tree.path, scripted, environment={"ftp_proxy": proxy.url, "FTP_PASSIVE_MODE": "no"})
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
    assert not {"PORT", "EPRT"} & set(scripted.verbs())


def test_the_proxy_resolves_the_servers_name(owner, kind, scripted, small_tree):
    with kind(names={"ftp.telvo.invalid": "127.0.0.1"}) as proxy:
        owner.upload(small_tree.path, scripted, environment={"ftp_proxy": proxy.url},
                     host=f"ftp.telvo.invalid:{scripted.port}")
        assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


@pytest.mark.parametrize("variable", ["ftp_proxy", "FTP_PROXY", "all_proxy", "ALL_PROXY"])
def test_the_environment_names_the_proxy(owner, kind, scripted, small_tree, variable):
    with kind() as proxy:
        owner.upload(small_tree.path / "a.txt", scripted, environment={variable: proxy.url})
        assert [host for host, *_ in scripted.control_peers] == [proxy.outgoing]
        assert scripted.files == {"/a.txt": b"a"}


@pytest.mark.parametrize("variable", ["http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY"])
def test_proxies_for_other_purposes_do_not_count(owner, scripted, small_tree, variable):
    with proxies.Tinyproxy() as proxy:
        owner.upload(small_tree.path / "a.txt", scripted, environment={variable: proxy.url})
        assert [host for host, *_ in scripted.control_peers] == ["127.0.0.1"]


def test_a_proxy_without_a_scheme_speaks_http(owner, scripted, small_tree):
    with proxies.Tinyproxy() as proxy:
        owner.upload(small_tree.path / "a.txt", scripted, environment={"ftp_proxy": proxy.address})
        assert [host for host, *_ in scripted.control_peers] == [proxy.outgoing]
        assert scripted.files == {"/a.txt": b"a"}


def test_a_socks_proxy_may_be_named_as_one_that_resolves(owner, scripted, small_tree):
    with proxies.Microsocks() as proxy:
        url = proxy.url.replace("socks5:", "socks5h:")
        owner.upload(small_tree.path / "a.txt", scripted, environment={"ftp_proxy": url})
        assert [host for host, *_ in scripted.control_peers] == [proxy.outgoing]
        assert scripted.files == {"/a.txt": b"a"}


@pytest.mark.parametrize("exceptions, host", [
    ("*", "127.0.0.1"), ("127.0.0.1", "127.0.0.1"), ("127.0.0.0/8", "127.0.0.1"), ("localhost", "localhost"),
    ("LocalHost", "localhost"), ("example.org, localhost", "localhost"), ("example.org localhost", "localhost"),
    ("::1", "[::1]"), ("[::1]", "[::1]"), ("::/64", "[::1]"),
    ("127.0.0.1:{port}", "127.0.0.1"), ("localhost:{port}", "localhost"), ("[::1]:{port}", "[::1]"),
])
def test_exceptions_are_reached_directly(owner, kind, small_tree, exceptions, host):
    with kind(outgoing=None) as proxy, ScriptedServer(host="::1" if host == "[::1]" else "127.0.0.1") as server:
        environment = {"ftp_proxy": proxy.url, "no_proxy": exceptions.format(port=server.port)}
        owner.upload(small_tree.path / "a.txt", server, environment=environment, host=f"{host}:{server.port}")
        assert server.files == {"/a.txt": b"a"}
        assert str(server.port) not in proxy.output()


@pytest.mark.parametrize("exceptions", ["", ",", "example.org", "27.0.0.1", "127.0.0.2", "10.0.0.0/8", "127.0.0.1:7",
                                        "host", "::1"])
def test_what_is_no_exception_goes_through_the_proxy(owner, kind, scripted, small_tree, exceptions):
    with kind() as proxy:
        environment = {"ftp_proxy": proxy.url, "no_proxy": exceptions}
        owner.upload(small_tree.path / "a.txt", scripted, environment=environment)
        assert [host for host, *_ in scripted.control_peers] == [proxy.outgoing]


@pytest.mark.parametrize("kind, port", [(proxies.Microsocks, 1080), (proxies.Tinyproxy, 80)])
def test_without_a_port_it_is_the_usual_one(owner, kind, port, small_tree):
    with (
        NetworkNamespace() as network,
        kind(side=network, port=port, login=kind.login) as proxy,
        servers.Pyftpdlib(side=network) as server,
    ):
        environment = {"ftp_proxy": proxy.url.removesuffix(f":{port}")}
        owner.upload(small_tree.path, server, environment=environment, prefix=network.prefix)
        assert small_tree.differences(server.root) == []
        assert str(server.port) in proxy.output()


# A proxy that cannot be used: the items fail, and the server is not reached on another road.


@pytest.mark.parametrize("password", ["wrong", "", None])
def test_a_refused_proxy_login_fails_the_items(owner, kind, scripted, small_tree, password):
    with kind(login=kind.login) as proxy:
        url = proxy.url_for(proxy.username, password) if password is not None else proxy.url_for(None, None)
        notifications = owner.upload(small_tree.path, scripted, environment={"ftp_proxy": url})
        assert len(notifications) == 3
        assert scripted.connections == 0


def test_a_proxy_that_is_not_there_fails_the_items(owner, kind, scripted, small_tree):
    with kind() as proxy:
        url = proxy.url
    notifications = owner.upload(small_tree.path, scripted, environment={"ftp_proxy": url})
    assert len(notifications) == 3
    assert scripted.connections == 0


@pytest.mark.parametrize("url", ["gopher://127.0.0.1:70", "socks5://", "http://127.0.0.1:99999", "socks5://a b:1", "%"])
def test_a_proxy_that_cannot_be_one_fails_the_items(owner, scripted, small_tree, url):
    notifications = owner.upload(small_tree.path, scripted, environment={"ftp_proxy": url})
    assert len(notifications) == 3
    assert scripted.connections == 0


def test_a_server_that_the_proxy_cannot_reach_fails_the_items(owner, kind, small_tree):
    with ScriptedServer() as server:
        address = server.address
    with kind() as proxy:
        assert len(owner.upload(small_tree.path, None, environment={"ftp_proxy": proxy.url}, host=address)) == 3


def test_the_proxys_password_is_not_logged(owner, kind, scripted, small_tree):
    with kind(login=kind.login) as proxy:
        helper = owner.launch(small_tree.path, scripted, environment={"ftp_proxy": proxy.url})
        owner.wait_for_last_record()
        helper.wait_for_line("finished; terminating the helper")
        assert proxy.password not in helper.error_output()
        assert urllib.parse.quote(proxy.password, "") not in helper.error_output()
