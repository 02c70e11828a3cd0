"""Real proxies on the loopback interface, each thrown away after use.

What goes through one reaches its target from `outgoing`, an address that nobody else uses: a server sees who comes on a
proxy's road and who comes straight.
"""

import pathlib
import shutil
import socket
import tempfile
import urllib.parse

import processes
from servers import SERVERS_FOLDER


class Proxy:
    """`url` is what belongs into the environment; `log` tells which connections were asked for."""

    name = ""
    scheme = ""
    # Characters that a URL escapes, where the proxy's own configuration can hold them.
    login = ("proxyuser", "p@ss:w/rd%?#")

    def __init__(self, login=None, host="127.0.0.1", outgoing="127.0.0.77", names=None, side=None, port=None):
        """`names` are hosts and their addresses that nobody but the proxy knows; giving it some needs root. `side` is
        the network namespace to run in."""
        self.username, self.password = login or (None, None)
        self.host = host
        self.outgoing = outgoing
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"telvo-{self.name}-"))
        self._names = names
        self._port = processes.ReservedPort()
        self.port = port or self._port.number
        self._side = side
        self._process = None

    @property
    def address(self):
        host = f"[{self.host}]" if ":" in self.host else self.host
        return f"{host}:{self.port}"

    @property
    def url(self):
        return self.url_for(self.username, self.password)

    def url_for(self, username, password):
        login = f"{urllib.parse.quote(username, '')}:{urllib.parse.quote(password, '')}@" if username else ""
        return f"{self.scheme}://{login}{self.address}"

    def command(self):
        raise NotImplementedError

    def _with_names(self):
        if not self._names:
            return self.command()
        hosts = self.folder / "hosts"
        hosts.write_text("".join(f"{address} {name}\n" for name, address in self._names.items()))
        return ["unshare", "--mount", "sh", "-c", f'mount --bind {hosts} /etc/hosts && exec "$@"', "sh",
                *self.command()]

    def log(self):
        files = [self.folder / name for name in ("output", "log")]
        return "".join(file.read_text(errors="replace") for file in files if file.is_file())

    def __enter__(self):
        try:
            with open(self.folder / "output", "wb") as output:
                prefix = self._side.prefix if self._side else ()
                self._process = processes.start([*prefix, *self._with_names()], stdout=output, stderr=output,
                                                cwd=self.folder)
            processes.wait_until(self._is_ready, 20, f"{self.name} to answer")
            return self
        except BaseException:
            self.__exit__()
            raise

    def __exit__(self, *_):
        if self._process:
            processes.end(self._process)
        self._port.release()
        shutil.rmtree(self.folder, ignore_errors=True)

    def _is_ready(self):
        assert self._process.poll() is None, f"{self.name} ended at once\n{self.log()}"
        return self._side.run(self._accepts) if self._side else self._accepts()

    def _accepts(self):
        try:
            socket.create_connection((self.host, self.port), 10).close()
            return True
        except OSError:
            return False


class Microsocks(Proxy):
    name = "microsocks"
    scheme = "socks5"

    def command(self):
        login = ["-u", self.username, "-P", self.password] if self.username else []
        outgoing = ["-b", self.outgoing] if self.outgoing else []
        return [SERVERS_FOLDER / "microsocks/usr/bin/microsocks", "-i", self.host, "-p", self.port, *login, *outgoing]


class Tinyproxy(Proxy):
    name = "tinyproxy"
    scheme = "http"
    login = ("proxyuser", "pass.w-rd_1")

    def command(self):
        configuration = self.folder / "tinyproxy.conf"
        configuration.write_text(
            f"Listen {self.host}\nPort {self.port}\nMaxClients 50\nTimeout 600\nLogLevel Info\n"
            f'LogFile "{self.folder}/log"\n'
            + (f"Bind {self.outgoing}\n" if self.outgoing else "")
            + (f"BasicAuth {self.username} {self.password}\n" if self.username else "")
        )
        return [SERVERS_FOLDER / "tinyproxy-bin/usr/bin/tinyproxy", "-d", "-c", configuration]


ALL = (Microsocks, Tinyproxy)
