"""Real proxies on the loopback interface, each thrown away after use.

What goes through one reaches its target from `outgoing`, an address that nobody else uses: a server sees who comes on a
proxy's road and who comes straight.
"""

import socket
import urllib.parse

import processes
from server_program import ServerProgram


class Proxy(ServerProgram):
    """`url` is what belongs into the environment; the output tells which connections were asked for."""

    scheme = ""
    # Characters that a URL escapes, where the proxy's own configuration can hold them.
    login = ("proxyuser", "p@ss:w/rd%?#")

    def __init__(self, login=None, outgoing="127.0.0.77", names=None, **options):
        """`names` are hosts and their addresses that nobody but the proxy knows; giving it some needs root."""
        if names:
            processes.require_root("a proxy with names of its own")
        super().__init__(**options)
        self.username, self.password = login or (None, None)
        self.outgoing = outgoing
        self._names = names

    @property
    def url(self):
        return self.url_for(self.username, self.password)

    def url_for(self, username, password):
        login = f"{urllib.parse.quote(username, '')}:{urllib.parse.quote(password, '')}@" if username else ""
        return f"{self.scheme}://{login}{self.address}"

    def proxy_command(self):
        raise NotImplementedError

    def command(self):
        if not self._names:
            return self.proxy_command()
        hosts = self._write("hosts", "".join(f"{address} {name}\n" for name, address in self._names.items()))
        return ["unshare", "--mount", "sh", "-c", f'mount --bind {hosts} /etc/hosts && exec "$@"', "sh",
                *self.proxy_command()]

    def _answers(self):
        try:
            socket.create_connection((self.host, self.port), 10).close()
            return True
        except OSError:
            return False


class Microsocks(Proxy):
    name = package = "microsocks"
    scheme = "socks5"

    def proxy_command(self):
        login = ["-u", self.username, "-P", self.password] if self.username else []
        outgoing = ["-b", self.outgoing] if self.outgoing else []
        return [self.unpacked("usr/bin/microsocks"), "-i", self.host, "-p", self.port, *login, *outgoing]


class Tinyproxy(Proxy):
    name = "tinyproxy"
    package = "tinyproxy-bin"
    scheme = "http"
    login = ("proxyuser", "pass.w-rd_1")

    def proxy_command(self):
        configuration = self._write(
            "tinyproxy.conf",
            f"Listen {self.host}\nPort {self.port}\nMaxClients 50\nTimeout 600\nLogLevel Info\n"
            f'LogFile "{self.log}"\n'
            + (f"Bind {self.outgoing}\n" if self.outgoing else "")
            + (f"BasicAuth {self.username} {self.password}\n" if self.username else ""),
        )
        return [self.unpacked("usr/bin/tinyproxy"), "-d", "-c", configuration]


ALL = (Microsocks, Tinyproxy)
