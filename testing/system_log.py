"""What a program writes to the system log, without writing to the system's own. Needs root."""

import pathlib
import shutil
import socket
import tempfile

import processes


class SystemLog:
    """A command line with `prefix` in front has its syslog lines end up here."""

    def __init__(self):
        processes.require_root("a system log of its own")
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="telvo-log-"))
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        path = self._folder / "log"
        self._socket.bind(str(path))
        # A /dev of the command's own, with what programs commonly open there.
        nodes = " && ".join(f"mknod -m 666 /dev/{name} c 1 {minor}" for name, minor in
                            (("null", 3), ("zero", 5), ("random", 8), ("urandom", 9)))
        script = f'mount -t tmpfs tmpfs /dev && {nodes} && ln -s {path} /dev/log && exec "$@"'
        self.prefix = ["unshare", "--mount", "sh", "-c", script, "sh"]
        self._lines = []

    def lines(self):
        """All lines so far, with priority and time stamp."""
        while True:
            try:
                self._lines.append(self._socket.recv(65536, socket.MSG_DONTWAIT).decode("utf-8", "replace"))
            except BlockingIOError:
                return self._lines

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._socket.close()
        shutil.rmtree(self._folder, ignore_errors=True)
