"""The servers with TLS that other tests rely on are what they are said to be, seen with other makers' clients."""

import contextlib
import ftplib
import io
import socket
import ssl
import subprocess

import pytest

import certificates
import lock_step
import secure_servers


@pytest.fixture(params=secure_servers.ALL, ids=lambda kind: kind.name)
def server(request):
    with request.param() as running:
        yield running
        print(running.output()[-20000:])


def connect(server, client=None):
    context = ssl.create_default_context(cafile=certificates.authority().path)
    if client:
        context.load_cert_chain(client.path, client.key_path)
    connection = ftplib.FTP_TLS(context=context)
    connection.connect(server.host, server.port, timeout=10)
    connection.login(server.username, server.password)
    connection.prot_p()
    return connection


def store(connection, session):
    """With a data connection that goes on with this session, or with none; returns the last reply's code."""
    port = lock_step.port_in(connection.sendcmd("EPSV").encode())
    with socket.create_connection(("127.0.0.1", port), 10) as plain:
        connection.sendcmd("STOR file")
        with connection.context.wrap_socket(plain, server_hostname="127.0.0.1", session=session) as data:
            data.sendall(b"content")
            data.unwrap()
    return connection.voidresp()[:3]


def has_content(server):
    """Whether anything has been stored; a server may be about to remove the empty file that it has begun with."""
    for path in server.root.iterdir():
        with contextlib.suppress(FileNotFoundError):
            if path.read_bytes():
                return True
    return False


def test_no_login_is_taken_in_the_clear(server):
    with ftplib.FTP() as plain, pytest.raises(ftplib.Error):
        plain.connect(server.host, server.port, timeout=10)
        plain.login(server.username, server.password)


def test_no_data_is_taken_in_the_clear(server):
    with connect(server) as connection:
        with pytest.raises(ftplib.Error):
            connection.prot_c()
            connection.storbinary("STOR file", io.BytesIO(b"content"))
        assert not has_content(server)


def test_a_data_connection_may_go_on_with_the_session(server):
    with connect(server) as connection:
        assert store(connection, connection.sock.session) == "226"
        assert store(connection, connection.sock.session) == "226"
        assert (server.root / "file").read_bytes() == b"content"


@pytest.mark.parametrize("kind", secure_servers.DEMAND_REUSE, ids=lambda kind: kind.name)
def test_a_data_connection_with_a_session_of_its_own_is_refused(kind):
    # Without a farewell: the reply to what was refused may still be on its way.
    with kind() as server, contextlib.closing(connect(server)) as connection:
        with pytest.raises((ftplib.Error, OSError)):
            store(connection, None)
        assert not has_content(server)


@pytest.mark.parametrize("kind", secure_servers.TAKE_CLIENTS, ids=lambda kind: kind.name)
def test_only_clients_with_a_certificate_of_theirs_are_taken(kind):
    with kind(clients=certificates.authority()) as server:
        with pytest.raises((ftplib.Error, OSError, EOFError)):
            connect(server).close()
        with connect(server, certificates.authority().issue_for_client()) as connection:
            assert store(connection, connection.sock.session) == "226"


@pytest.mark.parametrize("kind", secure_servers.IMPLICIT, ids=lambda kind: kind.name)
@pytest.mark.parametrize("is_implicit", [False, True], ids=["explicit", "implicit"])
def test_lftp_stores_there(kind, is_implicit, tmp_path):
    (tmp_path / "file").write_bytes(b"content")
    with kind(is_implicit=is_implicit) as server:
        settings = f"set ftp:ssl-force yes; set ftp:ssl-protect-data yes; set net:max-retries 1; " \
                   f"set ssl:ca-file {certificates.authority().path}"
        url = f"{'ftps' if is_implicit else 'ftp'}://{server.address}"
        subprocess.run(["lftp", "-c", f"{settings}; open -u {server.username},{server.password} {url}; "
                                      f"put {tmp_path}/file"], check=True, timeout=60, env={"HOME": str(tmp_path)})
        assert (server.root / "file").read_bytes() == b"content"
