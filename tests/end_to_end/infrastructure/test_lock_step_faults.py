"""What watches FTP clients for the tests notices one that does not go in lock step, and no other."""

import ftplib
import io
import socket

import pytest

import servers
from far import far
from lock_step import Line, faults


def lines(text):
    """"0> USER a" is a command on the connection 0, "0< 331 Yes" a reply."""
    return [Line(int(line[0]), line[1] == ">", line[3:].encode()) for line in text]


LOGIN = ["0< 220-Hello", "0< 220 Ready", "0> USER a", "0< 331 Password", "0> PASS b", "0< 230 In"]
OTHER = [line.replace("0", "1", 1) for line in LOGIN]


@pytest.mark.parametrize("rest", [
    [],
    ["0> STOR /a", "0< 150 Go", "0< 226-Stored", "0< 226 Stored", "0> STOR /b", "0< 550 No"],
    ["0> STOR /a", *OTHER, "1> EPSV", "0< 226 Stored", "1< 229 There", "1> STOR /b"],
    ["0> STOR /a", "0> ABOR"],
])
def test_lock_step_has_no_faults(rest):
    assert faults(lines([*LOGIN, *rest])) == []


@pytest.mark.parametrize("wrong, fault", [
    (["0> USER a"], "USER a before the reply to the connection"),
    (["0< 220-Hello", "0> USER a"], "USER a before the reply to the connection"),
    ([*LOGIN, "0> TYPE I", "0> EPSV"], "EPSV before the reply to TYPE I"),
    ([*LOGIN, "0> STOR /a", "0< 150 Go", "0> EPSV"], "EPSV before the reply to STOR /a"),
    ([*LOGIN, *OTHER, "0> STOR /a", "0< 150 Go", "1> STOR /b"], "STOR /b during STOR /a"),
    ([*LOGIN, *OTHER, "0> MKD /a", "1> STOR /a/b"], "STOR /a/b during MKD /a"),
])
def test_everything_else_is_one(wrong, fault):
    assert faults(lines(wrong)) == [fault]


@pytest.fixture(scope="module")
def way():
    with far(servers.Pyftpdlib) as running:
        yield running


def new_faults(way, client):
    """Those of what the function does on the client's side of the link."""
    before = len(way.traffic.faults())
    way.link.client.run(lambda: client(way.server) or True)
    return way.traffic.faults()[before:]


def patient_client(server):
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        client.storbinary("STOR /a", io.BytesIO(b"content" * 1000))
        client.storbinary("STOR /b", io.BytesIO(b"content"))


def hasty_client(server):
    """Sends the data right behind STOR, and what it wants next in the same packet."""
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        with socket.create_connection(client.makepasv(), 10) as data:
            client.sock.sendall(b"STOR /c\r\nNOOP\r\n")
            data.sendall(b"content")
        for _ in range(3):
            client.getmultiline()


def client_without_data_connection(server):
    with ftplib.FTP() as client:
        client.connect(server.host, server.port, timeout=10)
        client.login(server.username, server.password)
        address = client.makepasv()
        client.putcmd("STOR /d")
        socket.create_connection(address, 10).close()
        client.getmultiline()


def test_the_traffic_of_a_client_in_lock_step_has_no_faults(way):
    assert new_faults(way, patient_client) == []
    assert way.traffic.stored()[:2] == ["/a", "/b"]
    assert [each.bytes_sent for each in way.traffic.data[:2]] == [7000, 7]


def test_hurry_is_noticed(way):
    found = new_faults(way, hasty_client)
    assert "NOOP before the reply to STOR /c" in found
    assert any(fault.startswith("data") for fault in found)


def test_a_missing_data_connection_is_noticed(way):
    assert "STOR /d without a data connection" in new_faults(way, client_without_data_connection)
