"""Programs that serve a port for as long as a test needs them, and then are gone with everything they have written."""

import os
import pathlib
import shutil
import subprocess
import tempfile

import processes

# Where packaging/fetch-test-servers has unpacked the packages.
SERVERS_FOLDER = pathlib.Path(
    os.environ.get("TELVO_SERVERS", pathlib.Path(__file__).resolve().parents[1] / "build" / "servers")
)


class ServerProgram:
    """Runs one program with a folder and a port of its own, as a context manager.

    A kind of server says its `name`, the `package` that its programs come from (none if they are installed), its
    `command()`, and with `_answers()` when it is ready.
    """

    name = ""
    package = None

    def __init__(self, host="127.0.0.1", side=None, port=None):
        """`side` is the network namespace to run in, with its own ports; none for the test's own network."""
        self.host = host
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"telvo-{self.name}-"))
        self.log = self.folder / "log"
        self._side = side
        self._port = processes.ReservedPort()
        self.port = port or self._port.number
        self._process = None

    @property
    def address(self):
        """Host and port the way they stand in a URL."""
        host = f"[{self.host}]" if ":" in self.host else self.host
        return f"{host}:{self.port}"

    def command(self):
        """Writes the configuration and returns the command line that runs the program in the foreground."""
        raise NotImplementedError

    def output(self):
        """What the program has said so far, for people who look into a failed test."""
        files = (self.folder / "output", self.log)
        return "".join(file.read_text(errors="replace") for file in files if file.is_file())

    @classmethod
    def unpacked(cls, path):
        """The file at this path of the package."""
        return SERVERS_FOLDER / cls.package / path

    @classmethod
    def environment(cls):
        """The test's own, in which the package's programs find the libraries that have been unpacked with them."""
        libraries = cls.unpacked("").rglob("lib*.so.*") if cls.package else ()
        folders = sorted({str(library.parent) for library in libraries})
        if not folders:
            return dict(os.environ)
        others = filter(None, [os.environ.get("LD_LIBRARY_PATH")])
        return {**os.environ, "LD_LIBRARY_PATH": ":".join([*folders, *others])}

    def run(self, command):
        """Runs one of the package's tools to its end, in the server's folder; it has to succeed."""
        subprocess.run(command, cwd=self.folder, env=self.environment(), check=True)

    def start(self):
        with open(self.folder / "output", "wb") as output:
            prefix = self._side.prefix if self._side else []
            self._process = processes.start(
                [*prefix, *self.command()], stdout=output, stderr=output, cwd=self.folder, env=self.environment()
            )
        processes.wait_until(self._is_ready, 20, f"{self.name} to answer on port {self.port}\n{self.output()}")
        return self

    def _is_ready(self):
        if self._process.poll() is not None:
            raise AssertionError(f"{self.name} ended at once\n{self.output()}")
        return self._side.run(self._answers) if self._side else self._answers()

    def _answers(self):
        raise NotImplementedError

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
