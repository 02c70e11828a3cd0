"""telvo-upload, started the way a person starts it."""

import os
import subprocess

import processes


def login(server):
    """The server's password, for run() and start()."""
    return {"TELVO_PASSWORD": server.password}


class Tool:
    """Starts telvo-upload and gathers what it prints."""

    def __init__(self, path, address, folder):
        self._path = path
        self._address = address
        self._folder = folder
        self._running = []

    def start(self, *arguments, address=..., prefix=(), **environment):
        kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
        kept |= {"HOME": str(self._folder), "XDG_CONFIG_HOME": str(self._folder / "config"),
                 "XDG_CACHE_HOME": str(self._folder / "cache")}
        for name in ("DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "DISPLAY", "TELVO_PASSWORD"):
            kept.pop(name, None)
        if address is ...:
            kept["DBUS_SESSION_BUS_ADDRESS"] = self._address
        process = processes.start([*prefix, self._path, *arguments], env=kept | environment, cwd=self._folder,
                                  text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self._running.append(process)
        return process

    def run(self, *arguments, **options):
        """Exit status, standard output, standard error."""
        process = self.start(*arguments, **options)
        output, error = process.communicate(timeout=120)
        return process.returncode, output, error

    def close(self):
        for process in self._running:
            processes.end(process)
            process.stdout.close()
            process.stderr.close()
