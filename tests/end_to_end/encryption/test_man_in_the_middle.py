"""Somebody on the way who tampers with an encrypted upload: nothing leaks, and nothing counts as sent that the server
has not got whole."""

import os
import ssl

import pytest

import certificates
import secure_servers
import tree
from capture import Capture
from man_in_the_middle import DATA_PORTS, ManInTheMiddle
from network_namespace import NetworkNamespace
from tracked_upload import outcomes, track

LOGIN, PASSWORD = "name-of-the-login", "correct-horse-battery"
PORTS = {
    secure_servers.SecureVsftpd: f"pasv_min_port={DATA_PORTS[0]}\npasv_max_port={DATA_PORTS[-1]}\n",
    secure_servers.SecureProFTPD: f"PassivePorts {DATA_PORTS[0]} {DATA_PORTS[-1]}\n",
}


class Vsftpd(secure_servers.SecureVsftpd):
    further = PORTS[secure_servers.SecureVsftpd]


class ProFTPD(secure_servers.SecureProFTPD):
    further = PORTS[secure_servers.SecureProFTPD]


class PureFTPd(secure_servers.SecurePureFTPd):
    options = ("--passiveportrange", f"{DATA_PORTS[0]}:{DATA_PORTS[-1]}")


class Pyftpdlib(secure_servers.SecurePyftpdlib):
    settings = {"FTPHandler.passive_ports": f"{DATA_PORTS[0]}-{DATA_PORTS[-1]}"}


ALL = (Vsftpd, ProFTPD, PureFTPd, Pyftpdlib)


@pytest.fixture
def network():
    with NetworkNamespace() as own:
        yield own


def start(kind, network, **options):
    """The server has a certificate for its own address only: the man is no host of that name."""
    return kind(side=network, username=LOGIN, password=PASSWORD, **options)


def through(man, server, network):
    """The helper's parameters to go to the man in place of the server. The fingerprint replaces the check of the name,
    which a man on the real way would not have to care for either."""
    return {"host": man.address, "prefix": network.prefix, "username": LOGIN, "password": PASSWORD,
            "security": server.launch["security"], "tlsFingerprint": server.certificate.fingerprint}


def check_nothing_was_said(server, capture):
    assert list(server.root.iterdir()) == []
    assert LOGIN not in server.output()
    for text in (LOGIN, PASSWORD, "STOR "):
        assert not capture.holds(text.encode())


def check_refused(records):
    (record,) = records
    assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
    assert record["Error"]


@pytest.mark.parametrize("kind", ALL, ids=lambda kind: kind.name)
def test_one_who_only_passes_on_does_no_harm(owner, network, kind, sample_tree):
    """Which shows that he sees everything."""
    with start(kind, network) as server, ManInTheMiddle(network, server) as man:
        parameters = through(man, server, network) | {"escapeNames": None}
        assert set(outcomes(track(owner, sample_tree.path, **parameters))) == {"sent"}
        assert sample_tree.differences(server.root) == []
        assert man.units[False] > 20 and man.units[True] > 100


@pytest.mark.parametrize("answer", [b"500 AUTH not understood.\r\n", b"502 Not here.\r\n", b"220 Hello.\r\n",
                                    b"230 Logged in.\r\n", b"234\r\n", b"nonsense\r\n"])
def test_one_who_strips_the_encryption(owner, network, small_tree, answer):
    def strip(unit, connection):
        if unit.content.startswith(b"AUTH"):
            connection.sockets[0].sendall(answer)
            return b""
        return unit.content

    with (
        start(Vsftpd, network) as server,
        ManInTheMiddle(network, server, tamper=strip) as man,
        Capture(network) as capture,
    ):
        assert set(outcomes(track(owner, small_tree.path, **through(man, server, network)))) == {"failed"}
        check_nothing_was_said(server, capture)


@pytest.mark.parametrize("trusted", ["authority", "fingerprint"])
def test_one_who_answers_himself(owner, network, small_tree, tmp_path, trusted):
    own = certificates.Authority(tmp_path, "Telvo test authority").issue(["127.0.0.66"])
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(own.both_path)
    heard = []

    def answer(secured):
        while block := secured.recv(4096):
            heard.append(block)

    def take_over(unit, connection):
        if unit.content.startswith(b"AUTH"):
            connection.sockets[0].sendall(b"234 Go ahead.\r\n")
            connection.take_over(context, answer)
        return unit.content

    with (
        start(Vsftpd, network) as server,
        ManInTheMiddle(network, server, tamper=take_over) as man,
        Capture(network) as capture,
    ):
        parameters = through(man, server, network)
        if trusted == "authority":
            parameters |= {"tlsFingerprint": None, "tlsCertificateAuthority": certificates.authority().path}
        check_refused(track(owner, small_tree.path, **parameters))
        assert heard == []
        check_nothing_was_said(server, capture)


INJECTED = {
    "behind the consent": lambda line: line + b"230 You are logged in.\r\n",
    "a whole conversation": lambda line: line + b"331 Name is fine.\r\n230 Logged in.\r\n200 Yes.\r\n200 Yes.\r\n",
    "part of a line": lambda line: line + b"230 You",
    "ahead of the consent": lambda line: b"220 Hello again.\r\n" + line,
}


@pytest.mark.parametrize("name", INJECTED)
def test_replies_that_are_injected_before_the_handshake_count_for_nothing(owner, network, small_tree, name):
    def inject(unit, _connection):
        return INJECTED[name](unit.content) if unit.content.startswith(b"234") else unit.content

    with (
        start(Vsftpd, network) as server,
        ManInTheMiddle(network, server, tamper=inject) as man,
        Capture(network) as capture,
    ):
        check_refused(track(owner, small_tree.path, **through(man, server, network)))
        check_nothing_was_said(server, capture)


def test_a_consent_that_comes_with_the_greeting_counts_for_nothing(owner, network, small_tree):
    def hurry(unit, _connection):
        return unit.content + b"234 Go ahead.\r\n" if unit.content.startswith(b"220") else unit.content

    with (
        start(Vsftpd, network) as server,
        ManInTheMiddle(network, server, tamper=hurry) as man,
        Capture(network) as capture,
    ):
        assert set(outcomes(track(owner, small_tree.path, **through(man, server, network)))) == {"failed"}
        check_nothing_was_said(server, capture)


# Cuts, at every record of the control connection and of the data connections.


class Cut:
    """Cuts one connection at the unit of that number, once."""

    def __init__(self, is_data, number, how):
        self._is_data, self._number, self._how = is_data, number, how
        self.name = f"cut{number}"
        self.is_done = False

    def __call__(self, unit, connection):
        if self.is_done or unit.is_data != self._is_data or unit.number != self._number:
            return unit.content
        self.is_done = True
        if self._how == "swallowed":
            connection.swallow_the_rest()
            return b""
        if self._how == "in the middle":
            target = connection.sockets[1 if unit.from_client else 0]
            target.sendall(unit.content[:len(unit.content) // 2])
        connection.cut(resets=self._how == "reset")
        return b""


def check_what_is_told(records, source, server):
    """What counts as sent is there, whole; and there is a record for each item, or the run was ended."""
    for record in records:
        path = record["LocalPath"]
        if record["Outcome"] == "sent" and os.path.isfile(path):
            copy = server.root / source.path.name / os.path.basename(path)
            assert copy.read_bytes() == (source.path / os.path.basename(path)).read_bytes(), path
    assert records[-1]["Nth"] == records[-1]["Total"] or records[-1].get("Aborted")


def run_with_cuts(owner, network, server, folder, cuts):
    """Several uploads at a time, each with a man of its own."""
    runs = []
    for number, cut in enumerate(cuts):
        source = tree.Tree(folder / cut.name)
        source.file("one.bin", os.urandom(40_000))
        source.file("two.txt", b"two")
        man = ManInTheMiddle(network, server, address=f"127.0.0.{100 + number}", tamper=cut)
        owner.launch(source.path, **through(man, server, network), reportOutcomes="YES",
                     notificationIdentifier=cut.name)
        runs.append((source, man, cut))
    for source, man, cut in runs:
        with man:
            records = [heard.record for heard in owner.wait_for_last_record(170, token=cut.name)]
            check_what_is_told(records, source, server)


@pytest.mark.parametrize("kind, is_data, how", [
    (Vsftpd, False, "end"), (Vsftpd, False, "reset"), (Vsftpd, True, "end"), (Vsftpd, True, "reset"),
    (Vsftpd, True, "in the middle"), (ProFTPD, True, "reset"),
])
def test_a_cut_at_any_record(owner, network, tmp_path, kind, is_data, how):
    with start(kind, network) as server:
        uncut = Cut(is_data, -1, how)
        run_with_cuts(owner, network, server, tmp_path, [uncut])
        at_a_time, first, done = 8, 0, True
        while done:
            cuts = [Cut(is_data, number, how) for number in range(first, first + at_a_time)]
            run_with_cuts(owner, network, server, tmp_path, cuts)
            done = any(cut.is_done for cut in cuts)
            first += at_a_time
        assert first > 2 * at_a_time, "there were records to cut at"


# pyftpdlib answers some of these only after a minute.
@pytest.mark.parametrize("kind", [Vsftpd, ProFTPD, PureFTPd], ids=lambda kind: kind.name)
def test_a_file_whose_end_is_swallowed_is_not_sent(owner, network, tmp_path, kind):
    """The server sees an end of the data connection, and the client believes that all of it has gone through."""
    with start(kind, network) as server:
        cuts = [Cut(True, number, "swallowed") for number in range(20)]
        run_with_cuts(owner, network, server, tmp_path, cuts)
        assert any(cut.is_done for cut in cuts)
