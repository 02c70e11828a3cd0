"""A session bus of one test's own."""

import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

import processes

_CONFIGURATION = """\
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN" "busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
    <allow user="*"/>
  </policy>
</busconfig>
"""


class SessionBus:
    """`address` is what belongs in DBUS_SESSION_BUS_ADDRESS."""

    def __init__(self):
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="telvo-bus-"))
        configuration = self._folder / "bus.conf"
        configuration.write_text(_CONFIGURATION.format(folder=self._folder))
        self._process = processes.start(
            ["dbus-daemon", f"--config-file={configuration}", "--nofork", "--print-address"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        )
        self.address = self._process.stdout.readline().strip()
        assert self.address, "dbus-daemon did not start"

    @property
    def environment(self):
        return {**os.environ, "DBUS_SESSION_BUS_ADDRESS": self.address}

    @contextlib.contextmanager
    def stopped(self):
        """The bus takes connections, and does nothing about them, for the time being."""
        os.kill(self._process.pid, signal.SIGSTOP)
        try:
            yield
        finally:
            os.kill(self._process.pid, signal.SIGCONT)

    def stop(self):
        processes.end(self._process)
        self._process.stdout.close()
        shutil.rmtree(self._folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()


class SlowLine:
    """A way to the bus for one program, on which everything to the bus takes so many seconds. To be used in place of
    the bus's own `address`."""

    def __init__(self, bus, delay):
        self._bus_path = bus.address.partition("path=")[2].partition(",")[0]
        self._delay = delay
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="telvo-line-"))
        path = self._folder / "line"
        self.address = f"unix:path={path}"
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(str(path))
        self._listener.listen()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        try:
            program, _ = self._listener.accept()
        except OSError:
            return
        with program, socket.socket(socket.AF_UNIX) as bus:
            bus.connect(self._bus_path)
            back = threading.Thread(target=_carry, args=(bus, program, 0), daemon=True)
            back.start()
            _carry(program, bus, self._delay)
            back.join()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._listener.close()
        shutil.rmtree(self._folder, ignore_errors=True)


def _carry(source, target, delay):
    try:
        while data := source.recv(65536):
            time.sleep(delay)
            target.sendall(data)
        target.shutdown(socket.SHUT_WR)
    except OSError:
        pass  # One side has gone.
