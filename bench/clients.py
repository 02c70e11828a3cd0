"""What is measured: the helper, and other FTP clients that upload trees."""

import collections
import os
import pathlib
import resource
import subprocess
import time

import bus as buses
import certificates
import owner as owners
import secure_servers

HELPER = pathlib.Path(__file__).resolve().parents[1] / "build" / "release" / "TelvoFTPHelper"
TIME_LIMIT = 600


# When the client was started, and what it took, in seconds.
Outcome = collections.namedtuple("Outcome", "seconds processor started")


def _is_secure(server):
    return isinstance(server, secure_servers.Secure)


class Client:
    """One way to get a tree onto a server."""

    name = ""
    is_parallel = False  # several transfers at a time

    def version(self):
        raise NotImplementedError

    def upload(self, source, server, network, folder):
        """Uploads the tree and returns the Outcome."""
        environment = {**os.environ, "HOME": str(folder)}
        for variable in [each for each in environment if each.lower().endswith("_proxy")]:
            del environment[variable]
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        started = time.monotonic()
        result = subprocess.run([*network.client_prefix, *self.command(source, server, folder)], env=environment,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                timeout=TIME_LIMIT, cwd=folder)
        seconds = time.monotonic() - started
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if result.returncode != 0:
            raise RuntimeError(f"{self.name} ended with {result.returncode}: {result.stdout.decode()[-300:]}")
        return Outcome(seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, started)

    def command(self, source, server, folder):
        raise NotImplementedError


class Helper(Client):
    name = "helper"

    def version(self):
        return "this tree"

    def upload(self, source, server, network, folder):
        with buses.SessionBus() as bus, owners.Owner(bus, HELPER, folder) as owner:
            started = time.monotonic()
            helper = owner.launch(source, server, prefix=network.client_prefix, debug=None, **server.launch)
            owner.wait_for_last_record(timeout=TIME_LIMIT)
            seconds = owner.progress()[-1].time - started
            ticks = pathlib.Path(f"/proc/{helper.pid}/stat").read_text().rpartition(")")[2].split()[11:13]
            return Outcome(seconds, sum(map(int, ticks)) / os.sysconf("SC_CLK_TCK"), started)


class Curl(Client):
    """All files in one run, over one kept connection; folders are made on the way."""

    name = "curl"

    def version(self):
        return _first_line("curl", "--version").split()[1]

    def command(self, source, server, folder):
        lines = ["silent", "show-error", "ftp-create-dirs", f'user = "{server.username}:{server.password}"']
        if _is_secure(server):
            # With TLS 1.3 it gives each data connection the last one's session, which the servers refuse.
            lines += ["ssl-reqd", f'cacert = "{certificates.authority().path}"', 'tls-max = "1.2"']
        files = [source] if source.is_file() else sorted(path for path in source.rglob("*") if path.is_file())
        for path in files:
            lines += [f'upload-file = "{path}"', f'url = "ftp://{server.address}/{path.relative_to(source.parent)}"']
        configuration = folder / "curl.conf"
        configuration.write_text("\n".join(lines) + "\n")
        return ["curl", "--config", configuration]


class Lftp(Client):
    name = "lftp"
    options = ""  # of a tree's upload

    def version(self):
        return _first_line("lftp", "--version").split()[3]

    def command(self, source, server, folder):
        what = f"put {source}" if source.is_file() else f"mirror --reverse --no-perms {self.options} {source}"
        if _is_secure(server):
            secured = f"set ftp:ssl-force yes; set ssl:ca-file {certificates.authority().path}"
            what = f"{secured}; set ftp:ssl-protect-data yes; {what}"
        return ["lftp", "-u", f"{server.username},{server.password}", "-e", f"{what}; bye", f"ftp://{server.address}"]


class LftpParallel(Lftp):
    """As many transfers at a time as rclone has."""

    name = "lftp, four at a time"
    is_parallel = True
    options = "--parallel=4"


class Ncftpput(Client):
    name = "ncftpput"

    def version(self):
        return _first_line("ncftpput", "--version", "-h").split(":")[0] and _package_version("ncftp")

    def command(self, source, server, folder):
        login = ["-u", server.username, "-p", server.password]
        return ["ncftpput", "-V", "-R", *login, "-P", str(server.port), server.host, "/", source]


class Rclone(Client):
    """As a person gets it: four transfers at a time, over as many connections."""

    name = "rclone"
    is_parallel = True
    options = []

    def version(self):
        return _first_line("rclone", "version").split()[1]

    def command(self, source, server, folder):
        obscured = subprocess.run(["rclone", "obscure", server.password], check=True, capture_output=True, text=True)
        target = ":ftp:" if source.is_file() else f":ftp:{source.name}"
        login = ["--ftp-user", server.username, "--ftp-pass", obscured.stdout.strip()]
        return ["rclone", "copy", source, target, "--ftp-host", server.host, "--ftp-port", str(server.port), *login,
                "--quiet", *self.options]


class RcloneInTurn(Rclone):
    name = "rclone, one at a time"
    is_parallel = False
    options = ["--transfers", "1", "--checkers", "1"]


CLIENTS = (Helper(), Curl(), Lftp(), Ncftpput(), Rclone())
# Of trees, in which there is something to send at the same time.
TREE_CLIENTS = (*CLIENTS, LftpParallel())


def _first_line(*command):
    result = subprocess.run(command, capture_output=True, text=True, stdin=subprocess.DEVNULL)
    return (result.stdout or result.stderr).splitlines()[0]


def _package_version(package):
    return _first_line("dpkg-query", "--show", "--showformat=${Version}\n", package)
