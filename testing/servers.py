"""Real FTP servers on the loopback interface, each thrown away after use.

Run as a program it serves one folder until it is told to end; the demo uses it like that:

    servers.py NAME ROOT [--password PASSWORD]        prints "port username password", then waits
"""

import argparse
import ftplib
import os
import pathlib
import signal
import sys
import time
import warnings

import processes
from server_program import ServerProgram

with warnings.catch_warnings():
    warnings.simplefilter("ignore", DeprecationWarning)
    import crypt

# Of the account that owns what is stored: no account of the system, and none of its files.
USER_ID = GROUP_ID = 64321


class Server(ServerProgram):
    """An FTP server with one account, whose files arrive in `root`, the server's "/"."""

    # The servers shut every client in its folder with chroot and take on the account's user id.
    needs_root = True
    allows_anonymous = False
    launch = {}  # the helper's further parameters for an upload there

    def __init__(self, root=None, username="telvo", password="secret", **options):
        if self.needs_root:
            processes.require_root(self.name)
        super().__init__(**options)
        self.username = username
        self.password = password
        self.folder.chmod(0o755)
        self.root = pathlib.Path(root) if root else self.folder / "root"
        self.root.mkdir(exist_ok=True)
        if self.needs_root:
            own(self.root)

    def _answers(self):
        try:
            with ftplib.FTP() as client:
                client.connect(self.host, self.port, timeout=10)
            return True
        except (OSError, EOFError):
            return False


def own(path):
    """Makes a file or folder the account's, as if it had come from there."""
    os.chown(path, USER_ID, GROUP_ID)


def _password_hash(password):
    return crypt.crypt(password, crypt.METHOD_SHA256)


class Vsftpd(Server):
    name = package = "vsftpd"
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
        program = self.unpacked("usr/sbin/vsftpd")
        mounts = " && ".join(f"mount --bind {self.folder}/{name} /etc/{name}" for name in ("passwd", "shadow", "pam.d"))
        return ["unshare", "--mount", "sh", "-c", f"{mounts} && exec {program} {self.folder}/vsftpd.conf"]


class PureFTPd(Server):
    name = package = "pure-ftpd"
    options = ()  # further ones

    def command(self):
        fields = (self.username, _password_hash(self.password), USER_ID, GROUP_ID, "", f"{self.root}/./")
        self._write("passwd", ":".join(map(str, fields)) + ":" * 12 + "\n", 0o600)
        self.run([self.unpacked("usr/bin/pure-pw"), "mkdb", "accounts", "-f", "passwd"])
        return [
            self.unpacked("usr/sbin/pure-ftpd"), "--bind", f"{self.host},{self.port}", "--noanonymous", "--dontresolve",
            "--login", f"puredb:{self.folder}/accounts", "--pidfile", self.folder / "pid",
            "--altlog", f"clf:{self.log}", "--displaydotfiles", "--chrooteveryone", "--umask", "133:022",
            "--ipv6only" if ":" in self.host else "--ipv4only", *self.options,
        ]


class ProFTPD(Server):
    name = "proftpd"
    package = "proftpd-core"
    allows_anonymous = True
    settings = "AllowOverwrite on\n"  # lines of the configuration that may be different

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
ModulePath {self.unpacked("usr/lib/proftpd")}
AuthOrder mod_auth_file.c
AuthUserFile {self.folder}/passwd
AuthGroupFile {self.folder}/group
RequireValidShell off
DefaultRoot ~
Umask 022
UseReverseDNS off
DelayEngine off
WtmpLog off
TransferLog none
SystemLog {self.log}
ExtendedLog {self.folder}/commands ALL
{self.settings}
<Anonymous {self.root}>
  User ftp
  Group telvo
  UserAlias anonymous ftp
</Anonymous>
""")
        return [self.unpacked("usr/sbin/proftpd"), "--nodaemon", "--quiet", "--config", self.folder / "proftpd.conf"]


class Pyftpdlib(Server):
    name = "pyftpdlib"
    needs_root = False
    allows_anonymous = True
    settings = {}  # class and attribute: value, of those that are different

    def command(self):
        program = pathlib.Path(__file__).with_name("pyftpdlib_server.py")
        settings = [f"{name}={value}" for name, value in self.settings.items()]
        return [sys.executable, program, self.host, self.port, self.root, self.username, self.password, self.log,
                *settings]


class InetutilsFtpd(Server):
    """The GNU project's, which some other program has to accept connections for."""

    name = package = "inetutils-ftpd"

    def command(self):
        # It looks everything up in /etc, so that it gets one of its own.
        (self.folder / "etc").mkdir()
        self._write("etc/passwd", "".join((
            "root:x:0:0::/:/bin/sh\n",
            f"{self.username}:x:{USER_ID}:{GROUP_ID}::{self.root}:/bin/sh\n",
        )))
        self._write("etc/shadow", f"{self.username}:{_password_hash(self.password)}:19000:0:99999:7:::\n", 0o600)
        self._write("etc/group", f"root:x:0:\ntelvo:x:{GROUP_ID}:\n")
        self._write("etc/shells", "/bin/sh\n")
        self._write("etc/ftpchroot", f"{self.username}\n")
        self._write("etc/nsswitch.conf", "passwd: files\ngroup: files\nshadow: files\nhosts: files\nservices: files\n")
        self._write("etc/hosts", "127.0.0.1 localhost\n")
        self._write("etc/services", "ftp-data 20/tcp\nftp 21/tcp\n")
        program = [self.unpacked("usr/sbin/ftpd"), "--auth=default", "--umask=022"]
        inetd = [sys.executable, pathlib.Path(__file__).with_name("inetd.py"), self.host, self.port]
        return ["unshare", "--mount", "sh", "-c", f'mount --bind {self.folder}/etc /etc && exec "$@"', "sh",
                *inetd, *program]


# Those that most tests run against, and all.
ALL = (Vsftpd, PureFTPd, ProFTPD, Pyftpdlib)
REAL = (*ALL, InetutilsFtpd)


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
