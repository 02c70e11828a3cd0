"""What goes wrong, and how the next run mends it: telvo-upload beside lftp, on the same trees and servers. What lftp
tells, telvo-upload tells; and what the two have left on the server in the end is the same."""

import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile

import pytest

import processes
import secure_servers
import servers
import tree as trees

REAL_SERVERS = (servers.Vsftpd, servers.PureFTPd, servers.ProFTPD)
COMPLETE, INCOMPLETE, USAGE, LOGIN_REFUSED, NOT_REACHED, STOPPED = 0, 1, 2, 3, 4, 130

ODD_NAMES = [
    "with space", " leading", "two  spaces", "Größe.txt", "naïve café", "日本語", "100%", "50%off", "%20", "a%zz", "#1",
    "what?", "a&b=c", "semi;colon", "[x]", "{y}", "dollar$sign", "quo\"te", "apo'strophe", "pipe|<>", "caret^`~",
    "plus+comma,",
]


class Side:
    """One of the two programs, with a folder of its own on the server."""

    def __init__(self, tool, source, server):
        self.tool = tool
        self.source = source
        self.username, self.password, self.address = server.username, server.password, server.address

    def telvo(self, **changed):
        """Uploads the folder's contents into /telvo; exit status and what was told."""
        login = {"username": self.username, "password": self.password, "address": self.address} | changed
        status, output, error = self.tool.run("--retries", "0", f"{self.source}/",
                                              f"{login['username']}@{login['address']}/telvo",
                                              TELVO_PASSWORD=login["password"])
        return status, output + error

    def lftp(self, **changed):
        """The same into /lftp."""
        login = {"username": self.username, "password": self.password, "address": self.address} | changed
        host, _, port = login["address"].rpartition(":")
        script = (
            "set net:max-retries 1; set net:timeout 10; set dns:fatal-timeout 5; set net:reconnect-interval-base 1;"
            "set ftp:ssl-allow no; set cmd:fail-exit yes; set xfer:use-temp-file no; set ftp:use-mdtm no;"
            f"open -u {login['username']},{login['password']} -p {port} {host}; mirror -R \"{self.source}/\" /lftp"
        )
        kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
        # It tries some things for ever, such as a file that a full disk has no room for.
        run = subprocess.run(["timeout", "40", "lftp", "-c", script],
                             env=kept | {"LC_ALL": "C.UTF-8", "HOME": str(self.source.parent)},
                             stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace", timeout=120)
        return run.returncode, run.stdout + run.stderr


def contents(folder):
    """Every path below the folder, with the content of the files."""
    return {os.fsencode(path.relative_to(folder)): path.read_bytes() if path.is_file() else None
            for path in pathlib.Path(folder).rglob("*")}


def check_both_are_complete(side, server):
    """After "fail, mend, run again"."""
    assert side.lftp()[0] == 0
    status, told = side.telvo()
    assert status == COMPLETE, told
    expected = contents(side.source)
    assert contents(server.root / "lftp") == expected
    assert contents(server.root / "telvo") == expected


@pytest.fixture
def root():
    """A server's root folder that outlives the server, where the server's account can reach it."""
    with tempfile.TemporaryDirectory(prefix="telvo-root-") as folder:
        os.chmod(folder, 0o755)
        yield pathlib.Path(folder) / "root"


@pytest.fixture(params=REAL_SERVERS, ids=lambda kind: kind.name)
def kind(request):
    return request.param


@pytest.fixture
def site(tmp_path):
    site = trees.Tree(tmp_path / "Site")
    site.file("index.html", b"<p>Hello</p>\n")
    site.file("empty.txt")
    site.file("img/logo.png", os.urandom(40_000))
    site.file("img/photo.jpg", os.urandom(700_000))
    site.folder("empty-folder")
    return site.path


@pytest.fixture
def side(kind, tool, site):
    with kind() as server:
        yield Side(tool, site, server), server
        print(server.output()[-20000:])


@pytest.mark.parametrize("changed", [{"password": "wrong"}, {"username": "nobody-here"}], ids=["password", "user"])
def test_a_wrong_login(side, changed):
    side, server = side
    assert side.lftp(**changed)[0] != 0
    status, told = side.telvo(**changed)
    assert status == LOGIN_REFUSED
    assert "530" in told and "refused the login" in told
    assert "telvo-upload: 6 of 6 did not arrive:" in told
    assert "encrypted" not in told
    assert contents(server.root) == {}
    check_both_are_complete(side, server)


@pytest.mark.parametrize("address", ["no-such-host.invalid:21", "closed"], ids=["unknown host", "closed port"])
def test_a_server_that_is_not_there(side, address):
    side, server = side
    port = processes.ReservedPort()
    address = f"127.0.0.1:{port.number}" if address == "closed" else address
    assert side.lftp(address=address)[0] != 0
    status, told = side.telvo(address=address)
    assert status == NOT_REACHED
    assert "not reached" in told
    port.release()
    check_both_are_complete(side, server)


def test_a_port_that_is_none(side):
    side, server = side
    assert side.lftp(address="127.0.0.1:abc")[0] != 0
    status, told = side.telvo(address="127.0.0.1:abc")
    assert status == USAGE
    assert '"abc" is not a port' in told
    check_both_are_complete(side, server)


def test_a_url_is_understood(side, tool, site):
    side, server = side
    status, _, error = tool.run(f"{site}/", f"ftp://{server.username}@{server.address}/telvo",
                                TELVO_PASSWORD=server.password)
    assert (status, error) == (COMPLETE, "")
    check_both_are_complete(side, server)


@pytest.mark.parametrize("secure, plain", [(secure_servers.SecureVsftpd, servers.Vsftpd),
                                           (secure_servers.SecurePureFTPd, servers.PureFTPd),
                                           (secure_servers.SecureProFTPD, servers.ProFTPD),
                                           (secure_servers.SecurePyftpdlib, servers.Pyftpdlib)],
                         ids=lambda kind: kind.name)
def test_a_server_that_speaks_only_tls(secure, plain, tool, site, root):
    with secure(root=root) as server:
        side = Side(tool, site, server)
        assert side.lftp()[0] != 0
        status, told = side.telvo()
        assert status == LOGIN_REFUSED, told
        assert "this server also takes encrypted logins: --security tls\n" in told
        assert contents(root) == {}
    with plain(root=root) as server:
        check_both_are_complete(Side(tool, site, server), server)


def test_a_folder_that_may_not_be_written(side):
    side, server = side
    os.chown(server.root, 0, 0)
    server.root.chmod(0o555)
    assert side.lftp()[0] != 0
    status, told = side.telvo()
    assert status == INCOMPLETE
    assert "did not arrive" in told and "550" in told
    assert contents(server.root) == {}
    os.chown(server.root, servers.USER_ID, servers.GROUP_ID)
    server.root.chmod(0o755)
    check_both_are_complete(side, server)


@contextlib.contextmanager
def small_disk(path):
    path.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=512k", "tmpfs", path], check=True)
    try:
        yield
    finally:
        subprocess.run(["umount", "-l", path], check=True)


def test_a_full_disk(kind, tool, site, root):
    with small_disk(root), kind(root=root) as server:
        side = Side(tool, site, server)
        assert side.lftp()[0] != 0
        shutil.rmtree(root / "lftp", ignore_errors=True)
        status, told = side.telvo()
        assert status == INCOMPLETE
        assert "photo.jpg" in told and "did not arrive" in told
        # What was cut off is no file that a visitor would find.
        assert not (root / "telvo" / "img" / "photo.jpg").exists()
        subprocess.run(["mount", "-o", "remount,size=16m", root], check=True)
        check_both_are_complete(side, server)


def test_odd_names_arrive_as_they_are(side, site, kind):
    side, server = side
    for name in [*ODD_NAMES, os.fsdecode(b"latin1-\xfc")]:
        (site / name).write_text(name, errors="surrogateescape")
    assert len(ODD_NAMES) == 22
    expected = contents(site)
    status, told = side.telvo()
    assert (status, contents(server.root / "telvo")) == (COMPLETE, expected), told
    assert side.lftp()[0] == 0
    # Pure-FTPd changes a name that begins with a space, but no path that does not.
    changed = {b" leading": b"_leading"} if kind is servers.PureFTPd else {}
    assert contents(server.root / "lftp") == {changed.get(path, path): data for path, data in expected.items()}
    status, told = side.telvo()
    assert status == COMPLETE and "Nothing to send" in told


def test_a_source_with_a_space_in_its_name(kind, tool, tmp_path):
    source = trees.Tree(tmp_path / "My Site")
    source.file("a b.txt", b"a")
    with kind() as server:
        check_both_are_complete(Side(tool, source.path, server), server)


def test_a_stop_in_the_middle(kind, tool, tmp_path):
    source = trees.Tree(tmp_path / "Site")
    for number in range(40):
        source.file(f"{number:02}.txt", os.urandom(20_000))
    with kind() as server:
        side = Side(tool, source.path, server)
        process = tool.start("--limit-rate", "200k", f"{source.path}/",
                             f"{server.username}@{server.address}/telvo", TELVO_PASSWORD=server.password)
        folder = server.root / "telvo"
        processes.wait_until(lambda: folder.is_dir() and len(list(folder.iterdir())) >= 5, what="some files")
        process.send_signal(signal.SIGINT)
        _, error = process.communicate(timeout=60)
        assert process.returncode == STOPPED
        assert "stopped in item" in error
        assert len(list(folder.iterdir())) < 40
        check_both_are_complete(side, server)
