"""Servers that cannot be trusted, or cannot encrypt: the run ends with its first item, which says why, and nothing is
sent there, neither the login nor a file: seen at the server and on the wire."""

import contextlib
import subprocess

import pytest

import certificates
import owner as owners
import scripted_server as scripts
import secure_servers
import servers
from capture import Capture
from network_namespace import NetworkNamespace
from scripted_server import ScriptedServer
from tracked_upload import outcomes, track

LOGIN, PASSWORD = "name-of-the-login", "correct-horse-battery"
DAY = certificates.DAY


@pytest.fixture
def network():
    with NetworkNamespace() as own:
        yield own


@pytest.fixture(params=[False, True], ids=["explicit", "implicit"])
def is_implicit(request):
    return request.param


@contextlib.contextmanager
def watched(network, kind=secure_servers.SecureVsftpd, **options):
    """A server, and a capture; at the end, nothing has been sent that was not to be."""
    with (
        kind(side=network, username=LOGIN, password=PASSWORD, **options) as server,
        Capture(network) as capture,
    ):
        yield server
        assert list(server.root.iterdir()) == []
        assert capture.size() > 0
        for text in (LOGIN, PASSWORD, "STOR "):
            assert not capture.holds(text.encode()), text
        assert "USER" not in server.output() and LOGIN not in server.output()


def refusal(owner, source, server, network, **launch):
    """The one record's error, of a run that ends with it."""
    (record,) = track(owner, source.path, server, prefix=network.prefix, **{**server.launch, **launch})
    assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
    assert record["Nth"] == 1
    assert record["ErrorCode"] == 0
    assert record["Error"]
    return record["Error"]


def has_fingerprint(text, certificate):
    digits = certificate.fingerprint.replace(":", "").lower()
    return digits in text.replace(":", "").lower()


def test_an_expired_certificate(owner, network, is_implicit, small_tree):
    expired = certificates.authority().issue(begin=-3 * DAY, end=-DAY)
    with watched(network, certificate=expired, is_implicit=is_implicit) as server:
        assert "expired" in refusal(owner, small_tree, server, network)


def test_a_certificate_that_is_not_valid_yet(owner, network, is_implicit, small_tree):
    early = certificates.authority().issue(begin=DAY, end=3 * DAY)
    with watched(network, certificate=early, is_implicit=is_implicit) as server:
        assert "not yet valid" in refusal(owner, small_tree, server, network)


@pytest.mark.parametrize("hosts", [["ftp.example.org"], ["127.0.0.2"], ["localhost"]], ids=lambda hosts: hosts[0])
def test_a_certificate_for_another_host(owner, network, is_implicit, small_tree, hosts):
    other = certificates.authority().issue(hosts)
    with watched(network, certificate=other, is_implicit=is_implicit) as server:
        assert hosts[0] in refusal(owner, small_tree, server, network)


def test_a_certificate_of_an_unknown_authority(owner, network, is_implicit, small_tree, tmp_path):
    unknown = certificates.Authority(tmp_path, "Somebody").issue()
    with watched(network, certificate=unknown, is_implicit=is_implicit) as server:
        assert has_fingerprint(refusal(owner, small_tree, server, network), unknown)


def test_a_self_signed_certificate(owner, network, is_implicit, small_tree, tmp_path):
    own = certificates.self_signed(tmp_path)
    with watched(network, certificate=own, is_implicit=is_implicit) as server:
        text = refusal(owner, small_tree, server, network)
        assert has_fingerprint(text, own)
        assert "self-signed" in text.lower().replace("self signed", "self-signed")


def test_the_systems_authorities_do_not_know_that_of_the_tests(owner, network, is_implicit, small_tree):
    with watched(network, is_implicit=is_implicit) as server:
        assert has_fingerprint(refusal(owner, small_tree, server, network, tlsCertificateAuthority=None),
                               server.certificate)


def test_another_fingerprint(owner, network, is_implicit, small_tree):
    other = certificates.authority().issue()
    with watched(network, is_implicit=is_implicit) as server:
        text = refusal(owner, small_tree, server, network, tlsFingerprint=other.fingerprint)
        assert has_fingerprint(text, server.certificate)


@pytest.mark.parametrize("damage", [lambda digits: digits[:-2], lambda digits: digits + "00", lambda digits: "zz" +
                                    digits[2:], lambda _digits: "no"], ids=["short", "long", "letters", "word"])
def test_a_fingerprint_that_is_none(owner, network, small_tree, damage):
    with watched_unless_nothing_is_said(network) as server:
        refusal(owner, small_tree, server, network,
                tlsFingerprint=damage(server.certificate.fingerprint.replace(":", "")))


@contextlib.contextmanager
def watched_unless_nothing_is_said(network, **options):
    """As watched(); a client that knows beforehand need not even connect."""
    with secure_servers.SecureVsftpd(side=network, username=LOGIN, password=PASSWORD, **options) as server:
        yield server
        assert list(server.root.iterdir()) == []
        assert "USER" not in server.output()


@pytest.mark.parametrize("parameter", ["tlsCertificateAuthority", "tlsCertificate", "tlsKey"])
@pytest.mark.parametrize("content", [None, b"", b"no certificate\n"], ids=["missing", "empty", "something else"])
def test_a_file_that_holds_no_certificate(owner, network, small_tree, tmp_path, parameter, content):
    path = tmp_path / "file.pem"
    if content is not None:
        path.write_bytes(content)
    client = certificates.authority().issue_for_client()
    launch = {"tlsCertificate": client.path, "tlsKey": client.key_path, parameter: path}
    with watched_unless_nothing_is_said(network) as server:
        refusal(owner, small_tree, server, network, **launch)


@pytest.mark.parametrize("security", ["ssl", "yes", "tls "])
def test_an_unknown_kind_of_security(owner, network, small_tree, security):
    with watched_unless_nothing_is_said(network) as server:
        refusal(owner, small_tree, server, network, security=security)


# Servers without TLS.


@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_a_server_without_tls(owner, network, small_tree, kind):
    with kind(side=network, username=LOGIN, password=PASSWORD) as server, Capture(network) as capture:
        (record,) = track(owner, small_tree.path, server, prefix=network.prefix, security="tls")
        assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
        assert record["Error"]
        assert record["ErrorCode"] in (0, *range(400, 600))
        assert list(server.root.iterdir()) == []
        for text in (LOGIN, PASSWORD, "STOR "):
            assert not capture.holds(text.encode())


@pytest.mark.parametrize("answer", [b"500 What?", b"502 No.", b"504 Not that.", b"530 Log in first.", b"534 Not here.",
                                    b"431 Not now.", b"220 Hello again.", b"334 ADAT must follow"])
def test_the_servers_words_are_told_when_it_refuses_to_encrypt(owner, scripted, small_tree, answer):
    scripted.always("AUTH", scripts.reply(answer))
    (record,) = track(owner, small_tree.path, scripted, security="tls")
    assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
    assert record["ErrorCode"] == int(answer[:3])
    assert answer[4:].decode() in record["Error"]
    assert set(scripted.verbs()) <= {"AUTH", "QUIT"}


def test_a_server_that_speaks_no_tls_where_it_should_from_the_start(owner, small_tree):
    """It says hello in the clear, which is no handshake."""
    with ScriptedServer() as server:
        (record,) = track(owner, small_tree.path, server, security="implicit")
        assert (record["Outcome"], record["Aborted"], record["ErrorCode"]) == ("failed", True, 0)
        assert not {"USER", "PASS"} & set(server.verbs())


@pytest.mark.parametrize("answer", [b"\x15\x03\x03\x00\x02\x02\x28", b"what?\r\n",
                                    b"\x16\x03\x03\xff\xff" + bytes(500)],
                         ids=["alert", "words", "nonsense"])
def test_a_handshake_that_is_refused(owner, scripted, small_tree, answer):
    def accept_and_refuse(session, _argument):
        session.reply(b"234 Go ahead.")
        session.send(answer)
        session.close()

    scripted.always("AUTH", accept_and_refuse)
    (record,) = track(owner, small_tree.path, scripted, security="tls")
    assert (record["Outcome"], record["Aborted"], record["ErrorCode"]) == ("failed", True, 0)
    assert record["Error"]
    assert not {"USER", "PASS", "STOR"} & set(scripted.verbs())


@pytest.mark.parametrize("ending", [scripts.drop, scripts.drop_hard], ids=["end", "reset"])
def test_a_handshake_that_ends_the_connection(owner, scripted, small_tree, ending):
    scripted.always("AUTH", scripts.then(scripts.reply(b"234 Go ahead."), ending))
    assert set(outcomes(track(owner, small_tree.path, scripted, security="tls"))) == {"failed"}
    assert set(scripted.verbs()) == {"AUTH"}


@pytest.mark.parametrize("kind", secure_servers.TAKE_CLIENTS, ids=lambda kind: kind.name)
def test_a_server_that_wants_a_certificate_of_its_clients(owner, network, kind, small_tree):
    """Whether its alert comes before the connection's end is the server's affair."""
    with kind(side=network, username=LOGIN, password=PASSWORD, clients=certificates.authority()) as server:
        records = track(owner, small_tree.path, server, prefix=network.prefix, **server.launch)
        assert set(outcomes(records)) == {"failed"}
        assert list(server.root.iterdir()) == []


# What makes them trusted.


@pytest.mark.parametrize("form", ["AB:CD", "abcd", "ABcd"])
@pytest.mark.parametrize("case", ["self-signed", "expired", "other host"])
def test_a_fingerprint_replaces_all_other_checks(owner, network, small_tree, tmp_path, form, case):
    certificate = {
        "self-signed": lambda: certificates.self_signed(tmp_path),
        "expired": lambda: certificates.authority().issue(begin=-3 * DAY, end=-DAY),
        "other host": lambda: certificates.authority().issue(["ftp.example.org"]),
    }[case]()
    digits = certificate.fingerprint
    text = {"AB:CD": digits, "abcd": digits.replace(":", "").lower(),
            "ABcd": digits.replace(":", "")[:32].upper() + digits.replace(":", "")[32:].lower()}[form]
    with secure_servers.SecureVsftpd(side=network, certificate=certificate) as server:
        launch = {"security": "tls", "tlsFingerprint": text}
        assert set(outcomes(track(owner, small_tree.path, server, prefix=network.prefix, **launch))) == {"sent"}
        assert small_tree.differences(server.root) == []


def test_the_systems_authorities_count_when_no_other_is_given(owner, network, small_tree):
    with secure_servers.SecureVsftpd(side=network) as server:
        environment = {"SSL_CERT_FILE": str(certificates.authority().path)}
        assert set(outcomes(track(owner, small_tree.path, server, prefix=network.prefix, security="tls",
                                  environment=environment))) == {"sent"}


@pytest.mark.parametrize("names, host, fits", [
    (["ftp.telvo.invalid"], "ftp.telvo.invalid", True), (["ftp.telvo.invalid"], "FTP.Telvo.Invalid", True),
    (["*.telvo.invalid"], "ftp.telvo.invalid", True), (["*.telvo.invalid"], "a.b.telvo.invalid", False),
    (["*.invalid", "telvo.invalid"], "ftp.telvo.invalid", False), (["f*.telvo.invalid"], "ftp.telvo.invalid", False),
    (["127.0.0.1"], "ftp.telvo.invalid", False),
    (["a.b.telvo.invalid", "ftp.telvo.invalid"], "ftp.telvo.invalid", True),
])
def test_names_fit_as_rfc_6125_has_it(owner, network, small_tree, tmp_path, names, host, fits):
    hosts = tmp_path / "hosts"
    hosts.write_text("127.0.0.1 ftp.telvo.invalid a.b.telvo.invalid\n")
    # On a computer that has no address but the loopback interface's no name is looked up.
    subprocess.run([*network.prefix, "ip", "address", "add", "192.0.2.1/32", "dev", "lo"], check=True)
    prefix = [*network.prefix, "unshare", "--mount", "sh", "-c", f'mount --bind {hosts} /etc/hosts && exec "$@"', "sh"]
    with secure_servers.SecureVsftpd(side=network, certificate=certificates.authority().issue(names)) as server:
        records = track(owner, small_tree.path, server, prefix=prefix, host=f"{host}:{server.port}", **server.launch)
        assert (set(outcomes(records)) == {"sent"}) is fits
        assert (small_tree.differences(server.root) == []) is fits


# An owner that has not asked for outcomes.


def test_an_owner_that_does_not_ask_hears_of_the_first_item_and_no_reason(owner, network, small_tree, tmp_path):
    with watched(network, certificate=certificates.self_signed(tmp_path)) as server:
        owner.launch(small_tree.path, server, prefix=network.prefix, **server.launch)
        (only,) = owner.wait_for_last_record()
        assert (only.record["Nth"], only.record["Total"], only.record["IsMore"]) == (1, 3, False)
        assert set(only.record) == set(owners.RECORD_TYPES)
