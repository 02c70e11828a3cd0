"""telvo-upload with encryption, the way a person asks for it."""

import re

import pytest

import certificates
import scripted_server as scripts
import secure_servers
import servers
from network_namespace import NetworkNamespace

USAGE, LOGIN_REFUSED, NOT_REACHED = 2, 3, 4
AUTHORITY = ("--ca", certificates.authority().path)


@pytest.fixture(params=secure_servers.ALL, ids=lambda kind: kind.name)
def server(request):
    with request.param() as running:
        yield running
        print(running.output()[-20000:])


def target(server, scheme=""):
    return f"{scheme}{server.username}@{server.address}"


def login(server):
    return {"TELVO_PASSWORD": server.password}


def test_it_encrypts_on_request(tool, server, sample_tree):
    status, _, error = tool.run("--security", "tls", *AUTHORITY, sample_tree.path, target(server), **login(server))
    assert (status, error) == (0, "")
    assert sample_tree.differences(server.root, names_as_they_are=True) == []


@pytest.mark.parametrize("kind", secure_servers.IMPLICIT, ids=lambda kind: kind.name)
@pytest.mark.parametrize("asked", [("ftps://",), ("FTPS://", "--security", "implicit"),
                                   ("", "--security", "implicit"), ("ftp://", "--security", "implicit")],
                         ids=["URL", "URL and option", "option", "option and another URL"])
def test_implicit_encryption(tool, kind, asked, small_tree):
    scheme, *options = asked
    with kind(is_implicit=True) as server:
        status, _, error = tool.run(*options, *AUTHORITY, small_tree.path, target(server, scheme), **login(server))
        assert (status, error) == (0, "")
        assert small_tree.differences(server.root) == []


def test_an_ftps_url_means_port_990(tool, small_tree):
    with NetworkNamespace() as network, secure_servers.SecureVsftpd(is_implicit=True, port=990, side=network) as server:
        process = tool.start(*AUTHORITY, small_tree.path, f"ftps://{server.username}@127.0.0.1",
                             prefix=network.prefix, **login(server))
        _, error = process.communicate(timeout=60)
        assert (process.returncode, error) == (0, "")
        assert small_tree.differences(server.root) == []


@pytest.mark.parametrize("form", [str, str.lower, lambda text: text.replace(":", "")], ids=["AB:CD", "ab:cd", "ABCD"])
def test_a_fingerprint_is_enough(tool, small_tree, tmp_path, form):
    with secure_servers.SecureVsftpd(certificate=certificates.self_signed(tmp_path)) as server:
        fingerprint = form(server.certificate.fingerprint)
        status, _, error = tool.run("--security", "tls", "--fingerprint", fingerprint, small_tree.path, target(server),
                                    **login(server))
        assert (status, error) == (0, "")
        assert small_tree.differences(server.root) == []


def test_the_fingerprint_that_is_told_is_the_one_to_give(tool, small_tree, tmp_path):
    with secure_servers.SecureVsftpd(certificate=certificates.self_signed(tmp_path)) as server:
        status, _, error = tool.run("--security", "tls", small_tree.path, target(server), **login(server))
        assert status == NOT_REACHED
        assert "not reached, or not securely" in error
        (told,) = re.findall(r"(?:[0-9A-Fa-f]{2}:){31}[0-9A-Fa-f]{2}|[0-9A-Fa-f]{64}", error)
        assert list(server.root.iterdir()) == []
        status, _, error = tool.run("--security", "tls", "--fingerprint", told, small_tree.path, target(server),
                                    **login(server))
        assert (status, error) == (0, "")


def test_a_certificate_of_ones_own(tool, small_tree):
    client = certificates.authority().issue_for_client()
    with secure_servers.SecureProFTPD(clients=certificates.authority()) as server:
        for own in (("--certificate", client.both_path), ("--certificate", client.path, "--key", client.key_path)):
            status, _, error = tool.run("--no-cache", "--security", "tls", *AUTHORITY, *own, small_tree.path,
                                        target(server), **login(server))
            assert (status, error) == (0, "")


def test_a_wrong_password_is_a_refused_login(tool, server, small_tree):
    status, _, error = tool.run("--security", "tls", *AUTHORITY, small_tree.path, target(server),
                                TELVO_PASSWORD="wrong")
    assert status == LOGIN_REFUSED
    assert "530" in error and "refused encryption or the login" in error
    # Who encrypts already needs no hint.
    assert "--security" not in error


@pytest.mark.parametrize("kind", servers.ALL, ids=lambda kind: kind.name)
def test_a_server_that_does_not_encrypt(tool, kind, small_tree):
    with kind() as server:
        status, _, error = tool.run("--security", "tls", small_tree.path, target(server), **login(server))
        assert status in (LOGIN_REFUSED, NOT_REACHED)
        assert "nothing more was tried" in error
        assert list(server.root.iterdir()) == []


# The hint.


def test_the_hint_comes_with_a_server_that_would_encrypt_only(tool, scripted, small_tree):
    for answer, comes in ((b"234 Go ahead.", True), (b"500 What?", False), (b"530 Log in first.", False)):
        scripted.always("AUTH", scripts.reply(answer))
        status, _, error = tool.run(small_tree.path, f"somebody@{scripted.address}", TELVO_PASSWORD="wrong")
        assert status == LOGIN_REFUSED
        assert ("this server also takes encrypted logins: --security tls\n" in error) is comes


@pytest.mark.parametrize("answer", [scripts.silence, scripts.drop, scripts.drop_hard, scripts.send(b"234"),
                                    scripts.send(b"x" * 200_000), scripts.send(b"\r\n" * 50)],
                         ids=["silence", "end", "reset", "no line end", "endless line", "empty lines"])
def test_nothing_that_a_server_does_about_the_question_makes_a_difference(tool, scripted, small_tree, answer):
    scripted.always("AUTH", answer)
    status, _, error = tool.run(small_tree.path, f"somebody@{scripted.address}", TELVO_PASSWORD="wrong")
    assert status == LOGIN_REFUSED
    assert error.endswith("the server refused the login; nothing more was tried\n")


# What does not go together.


@pytest.mark.parametrize("arguments, complaint", [
    (("--security", "ssl", "host"), "security is none, tls or implicit, not ssl"),
    (("--security", "none", "ftps://host"), "ftps:// URL stands for implicit encryption"),
    (("--security", "tls", "ftps://host"), "ftps:// URL stands for implicit encryption"),
    (("--fingerprint", "ab" * 32, "host"), "without encryption"),
    (("--ca", "/dev/null", "host"), "without encryption"),
    (("--security", "tls", "--fingerprint", "abc", "host"), "64 hexadecimal digits"),
    (("--security", "tls", "--ca", "/does/not/exist", "host"), "/does/not/exist does not exist"),
    (("--security", "tls", "--key", "/dev/null", "host"), "without its certificate"),
])
def test_what_does_not_go_together_is_a_wrong_command_line(tool, small_tree, arguments, complaint):
    status, output, error = tool.run(small_tree.path, *arguments)
    assert (status, output) == (USAGE, "")
    assert complaint in error and "See telvo-upload --help." in error


def test_the_hosts_of_urls_with_and_without_encryption_share_what_is_remembered(tool, small_tree):
    """What has arrived in the clear need not be sent again."""
    with secure_servers.SecureVsftpd() as server:
        assert tool.run("--security", "tls", *AUTHORITY, small_tree.path, target(server), **login(server))[0] == 0
        assert tool.run(small_tree.path, target(server), **login(server)) == (0, "Nothing to send.\n", "")
