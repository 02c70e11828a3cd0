"""Sample trees, and whether they have arrived."""

import os
import pathlib


class Tree:
    """A folder to upload, and the names under which its items must be found on the server."""

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.path.mkdir(parents=True)
        self._remote_names = {self.path: self.path.name}

    def file(self, name, content=b"", remote=None):
        """Makes a file, `name` relative to the tree. `remote` is the name (not path) it must arrive under."""
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        self._note(path, remote)
        return path

    def folder(self, name, remote=None):
        path = self.path / name
        path.mkdir(parents=True)
        self._note(path, remote)
        return path

    def big_file(self, name, size):
        """A file of pseudo-random content, so that a lost, repeated or swapped block does not go unnoticed."""
        block = os.urandom(1 << 20)
        path = self.path / name
        with open(path, "wb") as file:
            for number in range(0, size, len(block)):
                stamped = number.to_bytes(8, "big") + block[8:]
                file.write(stamped[: min(len(block), size - number)])
        return path

    def items(self):
        """Number of items that an upload of the tree has: every file and folder, itself included."""
        return 1 + sum(len(folders) + len(files) for _, folders, files in os.walk(self.path))

    def differences(self, remote_root, names_as_they_are=False):
        """What differs on the server, as lines of text; none when everything arrived and nothing else did. With
        `names_as_they_are`, percent escapes in names are no escapes."""
        expected = {path.relative_to(self.path.parent) if names_as_they_are else self._remote_path(path): path
                    for path in [self.path, *self.path.rglob("*")]}
        remote_root = pathlib.Path(remote_root)
        actual = {path.relative_to(remote_root): path for path in remote_root.rglob("*")}
        lines = [f"{path} did not arrive" for path in sorted(expected.keys() - actual.keys())]
        lines += [f"{path} arrived unasked" for path in sorted(actual.keys() - expected.keys())]
        return lines + [
            f"{path} differs" for path in sorted(expected.keys() & actual.keys())
            if not _is_same(expected[path], actual[path])
        ]

    def _note(self, path, remote):
        if remote is not None:
            self._remote_names[path] = remote

    def _remote_path(self, path):
        if path == self.path:
            return pathlib.Path(self._remote_names[path])
        return self._remote_path(path.parent) / self._remote_names.get(path, path.name)


def _is_same(one, other):
    if one.is_dir() or other.is_dir():
        return one.is_dir() and other.is_dir()
    if one.stat().st_size != other.stat().st_size:
        return False
    with open(one, "rb") as first, open(other, "rb") as second:
        while block := first.read(1 << 20):
            if block != second.read(len(block)):
                return False
    return True


def sample(path):
    """Nested, empty and hidden folders and files, and names with percent escapes."""
    tree = Tree(path)
    tree.file("index.html", b"<p>Hello</p>\n")
    tree.file("empty.txt")
    tree.file(".hidden", b"out of sight\n")
    tree.file("a%20b.txt", b"escaped space\n", remote="a b.txt")
    tree.file("100%25", b"escaped percent sign\n", remote="100%")
    tree.file("UPPER.TXT", b"upper\n")
    tree.file("upper.txt", b"lower\n")
    tree.file("lines.txt", b"unix\nwindows\r\nmac\rlast\xff\x00\n")
    tree.folder("empty-folder")
    tree.folder(".hidden-folder")
    tree.folder("two%20words", remote="two words")
    tree.file("two%20words/inside%2E", b"escaped folder\n", remote="inside.")
    tree.file(".hidden-folder/.nested", b"deep secret\n")
    tree.file("img/icons/16x16/x.png", bytes(range(256)) * 33)
    tree.file("img/photo.jpg", os.urandom(700_001))
    tree.file("exact.bin", os.urandom(512_000))
    tree.file("a/b/c/d/e/f/g/h/leaf", b"leaf")
    return tree


def make_empty_files(folder, folders, files_each):
    """Makes folders in the folder, each with so many files."""
    for outer in range(folders):
        inner = folder / f"{outer:04}"
        inner.mkdir(parents=True)
        for number in range(files_each):
            (inner / f"{number:04}.txt").touch()
