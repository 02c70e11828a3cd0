"""Real FTP servers on the loopback interface, each thrown away after use.

Run as a program it serves one folder until it is told to end; the demo uses it like that:

    servers.py NAME ROOT [--password PASSWORD]        prints "port username password", then waits
"""

import argparse
import ftplib
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import warnings

import processes

with warnings.catch_warnings():
    warnings.simplefilter("ignore", DeprecationWarning)
    import crypt

SERVERS_FOLDER = pathlib.Path(
    os.environ.get("TELVO_SERVERS", pathlib.Path(__file__).resolve().parents[2] / "build" / "servers")
)
# Of the account that owns what is stored: no account of the system, and none of its files.
USER_ID = GROUP_ID = 64321


class Server:
    """An FTP server with one account, whose files arrive in `root`, the server's "/".

    `log` is what the server has to say, for people who look into a failed test.
    """

    name = ""
    # The servers shut every client in its folder with chroot and take on the account's user id.
    needs_root = True
    allows_anonymous = False

    def __init__(self, root=None, username="telvo", password="secret", host="127.0.0.1", side=None, port=None):
        """`side` is the network namespace to run in, with its own ports; none for the test's own network."""
        if self.needs_root and os.geteuid() != 0:
            raise RuntimeError(f"{self.name} has to be started as root")
        self.username = username
        self.password = password
        self.host = host
        self._side = side
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"telvo-{self.name}-"))
        self.folder.chmod(0o755)
        self.root = pathlib.Path(root) if root else self.folder / "root"
        self.root.mkdir(exist_ok=True)
        if self.needs_root:
            os.chown(self.root, USER_ID, GROUP_ID)
        self.log = self.folder / "log"
        self._port = processes.ReservedPort()
        self.port = port or self._port.number
        self._process = None

    @property
    def address(self):
        """Host and port the way they stand in a URL."""
        host = f"[{self.host}]" if ":" in self.host else self.host
        return f"{host}:{self.port}"

    def command(self):
        """Writes the configuration and returns the command line that runs the server in the foreground."""
        raise NotImplementedError

    def environment(self):
        return dict(os.environ)

    def start(self):
        with open(self.folder / "output", "wb") as output:
            prefix = self._side.prefix if self._side else []
            self._process = processes.start(
                [*prefix, *self.command()], stdout=output, stderr=output, cwd=self.folder, env=self.environment()
            )
        processes.wait_until(self._greets, 20, f"{self.name} to answer on port {self.port}\n{self.output()}")
        return self

    def _greets(self):
        if self._process.poll() is not None:
            raise AssertionError(f"{self.name} ended at once\n{self.output()}")
        return self._side.run(self._answers) if self._side else self._answers()

    def _answers(self):
        try:
            with ftplib.FTP() as client:
                client.connect(self.host, self.port, timeout=10)
            return True
        except (OSError, EOFError):
            return False

    def output(self):
        files = (self.folder / "output", self.log)
        return "".join(file.read_text(errors="replace") for file in files if file.is_file())

    def stop(self):
        if self._process:
            processes.end(self._process)
            self._process = None
        self._port.release()
        shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self):
        try:
            return self.start()
        except BaseException:
            self.stop()
            raise

    def __exit__(self, *_):
        self.stop()

    def _write(self, name, text, mode=0o644):
        path = self.folder / name
        path.write_text(text)
        path.chmod(mode)
        return path


def _password_hash(password):
    return crypt.crypt(password, crypt.METHOD_SHA256)


class Vsftpd(Server):
    name = "vsftpd"
    logs_commands = True
    settings = ""  # lines of the configuration that are different

    def command(self):
        # The account exists only in a mount namespace of the server's own, so the system's files stay untouched.
        self._write("passwd", "".join((
            "root:x:0:0::/:/bin/sh\n",
            "nobody:x:65534:65534::/nonexistent:/usr/sbin/nologin\n",
            f"{self.username}:x:{USER_ID}:{GROUP_ID}::{self.root}:/bin/sh\n",
            f"ftp:x:{USER_ID}:{GROUP_ID}::{self.root}:/bin/sh\n",
        )))
        self._write("shadow", f"{self.username}:{_password_hash(self.password)}:19000:0:99999:7:::\n", 0o600)
        (self.folder / "pam.d").mkdir()
        self._write("pam.d/vsftpd", "auth required pam_unix.so\naccount required pam_unix.so\n")
        (self.folder / "empty").mkdir()
        listen = "listen_ipv6=YES\nlisten_address6" if ":" in self.host else "listen=YES\nlisten_address"
        self._write("vsftpd.conf", f"""\
{"listen=NO" if ":" in self.host else "listen_ipv6=NO"}
{listen}={self.host}
listen_port={self.port}
background=NO
local_enable=YES
anonymous_enable=NO
local_umask=022
write_enable=YES
chroot_local_user=YES
allow_writeable_chroot=YES
force_dot_files=YES
pam_service_name=vsftpd
session_support=NO
nopriv_user=nobody
secure_chroot_dir={self.folder}/empty
isolate=NO
isolate_network=NO
seccomp_sandbox=NO
xferlog_enable=YES
dual_log_enable=YES
xferlog_file={self.folder}/transfers
vsftpd_log_file={self.log}
log_ftp_protocol={"YES" if self.logs_commands else "NO"}
{self.settings}""")
        program = SERVERS_FOLDER / "vsftpd" / "usr/sbin/vsftpd"
        mounts = " && ".join(f"mount --bind {self.folder}/{name} /etc/{name}" for name in ("passwd", "shadow", "pam.d"))
        return ["unshare", "--mount", "sh", "-c", f"{mounts} && exec {program} {self.folder}/vsftpd.conf"]


class PureFTPd(Server):
    name = "pure-ftpd"

    def command(self):
        package = SERVERS_FOLDER / "pure-ftpd"
        fields = (self.username, _password_hash(self.password), USER_ID, GROUP_ID, "", f"{self.root}/./")
        self._write("passwd", ":".join(map(str, fields)) + ":" * 12 + "\n", 0o600)
        subprocess.run([package / "usr/bin/pure-pw", "mkdb", "accounts", "-f", "passwd"], cwd=self.folder, check=True)
        return [
            package / "usr/sbin/pure-ftpd", "--bind", f"{self.host},{self.port}", "--noanonymous", "--dontresolve",
            "--login", f"puredb:{self.folder}/accounts", "--pidfile", self.folder / "pid",
            "--altlog", f"clf:{self.log}", "--displaydotfiles", "--chrooteveryone", "--umask", "133:022",
            "--ipv6only" if ":" in self.host else "--ipv4only",
        ]


class ProFTPD(Server):
    name = "proftpd"
    allows_anonymous = True
    _package = SERVERS_FOLDER / "proftpd-core"

    def environment(self):
        return {**os.environ, "LD_LIBRARY_PATH": str(self._package / "usr/lib/x86_64-linux-gnu")}

    def command(self):
        password = _password_hash(self.password)
        accounts = (f"{self.username}:{password}", "ftp:*")
        self._write("passwd", "".join(f"{a}:{USER_ID}:{GROUP_ID}::{self.root}:/bin/sh\n" for a in accounts), 0o600)
        self._write("group", f"telvo:x:{GROUP_ID}:\n", 0o600)
        self._write("proftpd.conf", f"""\
ServerName "Test"
ServerType standalone
DefaultAddress {self.host}
Port {self.port}
SocketBindTight on
UseIPv6 {"on" if ":" in self.host else "off"}
User root
Group root
PidFile {self.folder}/pid
ScoreboardFile {self.folder}/scoreboard
ModulePath {self._package}/usr/lib/proftpd
AuthOrder mod_auth_file.c
AuthUserFile {self.folder}/passwd
AuthGroupFile {self.folder}/group
RequireValidShell off
DefaultRoot ~
AllowOverwrite on
Umask 022
UseReverseDNS off
DelayEngine off
WtmpLog off
TransferLog none
SystemLog {self.log}
ExtendedLog {self.folder}/commands ALL
<Anonymous {self.root}>
  User ftp
  Group telvo
  UserAlias anonymous ftp
</Anonymous>
""")
        return [self._package / "usr/sbin/proftpd", "--nodaemon", "--quiet", "--config", self.folder / "proftpd.conf"]


class Pyftpdlib(Server):
    name = "pyftpdlib"
    needs_root = False
    allows_anonymous = True

    def command(self):
        program = pathlib.Path(__file__).with_name("pyftpdlib_server.py")
        return [sys.executable, program, self.host, self.port, self.root, self.username, self.password, self.log]


ALL = (Vsftpd, PureFTPd, ProFTPD, Pyftpdlib)


def _main():
    parser = argparse.ArgumentParser()
    parser.add_argument("name", choices=[server.name for server in ALL])
    parser.add_argument("root")
    parser.add_argument("--password", default="secret")
    arguments = parser.parse_args()
    for signal_number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(signal_number, lambda *_: sys.exit())
    kind = next(server for server in ALL if server.name == arguments.name)
    with kind(root=arguments.root, password=arguments.password) as server:
        print(server.port, server.username, server.password, flush=True)
        while True:
            time.sleep(3600)


if __name__ == "__main__":
    _main()
