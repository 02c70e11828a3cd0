"""A reader that looks at a file on the server all the time while it is replaced, with temporary names."""

import pathlib
import random
import threading
import time

import processes
import servers


def children(pid):
    return pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()


def is_running(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except (FileNotFoundError, ProcessLookupError):
        return False


class Reader:
    """Reads the file again and again; `contents` is everything that it has ever been."""

    def __init__(self, path):
        self.contents = set()
        self._path = path
        self._done = threading.Event()
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        while not self._done.is_set():
            self.contents.add(self._path.read_bytes())
            time.sleep(0.001)

    def close(self):
        self._done.set()
        self._thread.join(30)


def test_nobody_ever_sees_half_a_file(tool, small_tree):
    source = small_tree.path / "a.txt"
    with servers.Vsftpd() as server:
        arguments = ("--atomic", "--no-cache", small_tree.path, f"{server.username}@{server.address}")
        login = {"TELVO_PASSWORD": server.password}
        remote = server.root / "Site" / "a.txt"
        source.write_bytes(bytes(400_000))
        assert tool.run(*arguments, **login)[0] == 0
        wholes = {remote.read_bytes()}
        reader = Reader(remote)
        for number in range(1, 101):
            source.write_bytes(bytes([number]) * 400_000)
            wholes.add(source.read_bytes())
            process = tool.start("--limit-rate", "2M", *arguments, **login)
            helper = processes.wait_until(lambda: children(process.pid), what="the helper")[0]
            # Anywhere before the file, in it, and behind it.
            time.sleep(random.uniform(0, 0.5))
            process.kill()
            process.wait(60)
            # One upload at a time: the helper follows its owner, or ends by itself if it came up after its owner had gone.
            processes.wait_until(lambda: not is_running(helper), timeout=120, what="the helper's end")
        reader.close()
        assert len(reader.contents) >= 1
        assert {len(content) for content in reader.contents} == {400_000}
        assert reader.contents <= wholes
        # And in the end it arrives.
        assert tool.run(*arguments, **login)[0] == 0
        assert remote.read_bytes() == source.read_bytes()
        assert sorted(path.name for path in remote.parent.iterdir()) == ["a.txt", "b.txt"]
