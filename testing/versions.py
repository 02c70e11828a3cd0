"""Files of which one version lies on the server and another is to be sent."""

import servers
import tree


class Versions:
    """`site` is the tree to send, "Site", with files of the given sizes in their second version."""

    def __init__(self, folder, sizes):
        self._sizes = sizes
        self.site = tree.Tree(folder / "Site")
        for name in sizes:
            self.site.file(name, self._content(name, "second"))

    def _content(self, name, version):
        size = self._sizes[name]
        text = f"{name}, {version}. ".encode()
        return (text * (size // len(text) + 1))[:size]

    def put_first(self, server):
        """Has the first version lie on a real server, in place of what is there."""
        folder = server.root / "Site"
        folder.mkdir(exist_ok=True)
        for path in (folder / name for name in self._sizes):
            path.unlink(missing_ok=True)
            path.write_bytes(self._content(path.name, "first"))
        if server.needs_root:
            for path in (folder, *folder.iterdir()):
                servers.own(path)

    def all_first(self):
        return {name: "first" for name in sorted(self._sizes)}

    def on(self, server):
        """What lies on the server: name to "first", "second" or how many bytes of something else."""
        return {path.name: self._version(path) for path in sorted((server.root / "Site").iterdir())}

    def _version(self, path):
        stored = path.read_bytes()
        for version in ("first", "second"):
            if path.name in self._sizes and stored == self._content(path.name, version):
                return version
        return f"{len(stored)} bytes"
