"""A session bus of one test's own."""

import os
import pathlib
import shutil
import subprocess
import tempfile

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

    def stop(self):
        processes.end(self._process)
        self._process.stdout.close()
        shutil.rmtree(self._folder, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
