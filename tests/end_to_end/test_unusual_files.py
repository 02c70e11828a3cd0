"""Trees with what no ordinary tree has: things that are no files, links in circles, extreme and strange names."""

import os
import socket
import stat
import threading

import pytest

import processes
import tree
from scripted_server import ScriptedServer

LONGEST_NAME = 255
LONGEST_PATH = 4095


@pytest.fixture
def source(tmp_path):
    result = tree.Tree(tmp_path / "Site")
    result.file("plain.txt", b"plain")
    return result


@pytest.fixture
def server():
    with ScriptedServer() as running:
        yield running
        # Whatever the tree holds, one connection serves the run, and no name turns into a command.
        assert running.connections <= 1
        assert "DELE" not in running.verbs()


def run(owner, source, server):
    """A whole run, to which permissions apply; its records."""
    return [notification.record for notification in owner.upload(source, server,
                                                                 prefix=processes.BOUND_BY_PERMISSIONS)]


# Folders.


def test_a_folder_that_cannot_be_listed_is_made_and_the_rest_is_sent(owner, source, server):
    source.file("closed/secret.txt", b"secret")
    source.file("open/inside.txt", b"inside")
    (source.path / "closed").chmod(0)
    assert len(run(owner, source.path, server)) == 5
    assert server.folders == {"/", "/Site", "/Site/closed", "/Site/open"}
    assert server.files == {"/Site/plain.txt": b"plain", "/Site/open/inside.txt": b"inside"}


def test_a_folder_that_can_only_be_listed_is_made_and_its_contents_fail(owner, source, server):
    source.file("listed/secret.txt", b"secret")
    source.file("listed/folder/deep.txt", b"deep")
    (source.path / "listed").chmod(stat.S_IRUSR)
    # What cannot be looked at counts as a file, so that the inner folder's file is not even planned.
    assert len(run(owner, source.path, server)) == 5
    assert server.folders == {"/", "/Site", "/Site/listed"}
    assert server.files == {"/Site/plain.txt": b"plain"}


def test_a_source_that_cannot_be_listed_is_one_folder(owner, source, server):
    source.path.chmod(0)
    assert len(run(owner, source.path, server)) == 1
    assert server.folders == {"/", "/Site"}


# Links.


def test_links_in_circles_fail_and_the_rest_is_sent(owner, source, server):
    (source.path / "itself").symlink_to("itself")
    (source.path / "ping").symlink_to("pong")
    (source.path / "pong").symlink_to("ping")
    (source.path / "nowhere").symlink_to("missing/target")
    (source.path / "good").symlink_to("plain.txt")
    assert len(run(owner, source.path, server)) == 7
    assert server.files == {"/Site/plain.txt": b"plain", "/Site/good": b"plain"}


def test_a_link_to_its_own_folder_is_followed_as_far_as_the_system_follows_it(owner, source, server):
    (source.path / "up").symlink_to(".")
    records = run(owner, source.path, server)
    # The system follows 40 links in one path, and what is behind one more is no folder.
    assert len(records) == 1 + 2 * 41
    assert len(server.files) == 41
    assert set(server.files.values()) == {b"plain"}
    assert len(server.folders) == 2 + 40


# What is no file.


def test_pipes_sockets_and_devices_are_passed_over_without_waiting_for_anybody(owner, source, server):
    os.mkfifo(source.path / "pipe")
    (source.path / "zeros").symlink_to("/dev/zero")
    (source.path / "terminal").symlink_to("/dev/tty")
    names = ["pipe", "zeros", "terminal", "socket"]
    if os.geteuid() == 0:
        os.mknod(source.path / "device", stat.S_IFCHR | 0o600, os.makedev(1, 5))
        os.mknod(source.path / "block", stat.S_IFBLK | 0o600, os.makedev(7, 200))
        names += ["device", "block"]
    with socket.socket(socket.AF_UNIX) as listener:
        # The name of a socket may be no longer than that from here.
        folder = os.open(source.path, os.O_PATH)
        listener.bind(f"/proc/self/fd/{folder}/socket")
        listener.listen()
        os.close(folder)
        assert len(run(owner, source.path, server)) == 2 + len(names)
    assert server.files == {"/Site/plain.txt": b"plain"}
    assert not [command for command in server.commands if command.argument.split("/")[-1] in names]


def test_a_pipe_that_somebody_writes_to_is_passed_over_too(owner, source, server):
    path = source.path / "pipe"
    os.mkfifo(path)
    # Open at both ends, so that neither the test nor a reader would have to wait for the other.
    descriptor = os.open(path, os.O_RDWR | os.O_NONBLOCK)
    os.write(descriptor, b"for somebody else")
    try:
        assert len(run(owner, source.path, server)) == 3
        assert os.read(descriptor, 100) == b"for somebody else"
    finally:
        os.close(descriptor)
    assert server.files == {"/Site/plain.txt": b"plain"}


def test_a_pipe_as_the_source_is_one_item_that_fails(owner, source, server):
    path = source.path / "pipe"
    os.mkfifo(path)
    opened = threading.Event()

    def write():
        with open(path, "wb"):
            opened.set()

    writer = threading.Thread(target=write, daemon=True)
    writer.start()
    assert len(run(owner, path, server)) == 1
    assert not opened.is_set()
    assert server.connections == 0
    # For the writer to come to its end.
    os.close(os.open(path, os.O_RDONLY | os.O_NONBLOCK))
    writer.join(30)
    assert opened.is_set()


# Names.


def test_names_of_255_bytes_arrive(owner, source, server):
    file = "f" * LONGEST_NAME
    folder = "d" * LONGEST_NAME
    source.file(file, b"long")
    source.file(f"{folder}/{file}", b"long and deep")
    assert len(run(owner, source.path, server)) == 5
    assert server.files == {
        "/Site/plain.txt": b"plain", f"/Site/{file}": b"long", f"/Site/{folder}/{file}": b"long and deep",
    }


def test_paths_arrive_up_to_the_longest_that_the_system_knows(owner, source, server):
    """Folders in folders, the last of them so deep that no path leads there."""
    name = "n" * 250
    deepest = str(source.path)
    parent = os.open(deepest, os.O_PATH)
    reached = []
    while len(deepest) <= LONGEST_PATH:
        os.mkdir(name, dir_fd=parent)
        deeper = os.open(name, os.O_PATH, dir_fd=parent)
        os.close(parent)
        parent = deeper
        deepest += f"/{name}"
        if len(deepest) + len("/f") <= LONGEST_PATH:
            with open(os.open("f", os.O_WRONLY | os.O_CREAT, dir_fd=parent), "wb") as file:
                file.write(b"deep")
            reached.append(deepest)
    os.close(parent)
    assert len(reached) > 10

    # The folder that cannot be reached counts as a file that cannot be read.
    assert len(run(owner, source.path, server)) == 2 + 2 * len(reached) + 1
    remote = [f"/Site{path.removeprefix(str(source.path))}" for path in reached]
    assert server.folders == {"/", "/Site", *remote}
    assert server.files == {"/Site/plain.txt": b"plain"} | {f"{path}/f": b"deep" for path in remote}


def test_a_path_of_exactly_the_longest_length_arrives(owner, source, server):
    path = str(source.path)
    while LONGEST_PATH - len(path) > LONGEST_NAME + 1:
        path += "/" + "n" * min(200, LONGEST_PATH - len(path) - 3)
        os.mkdir(path)
    path += "/" + "f" * (LONGEST_PATH - len(path) - 1)
    with open(path, "wb") as file:
        file.write(b"just so")
    assert len(path) == LONGEST_PATH
    run(owner, source.path, server)
    assert server.files[f"/Site{path.removeprefix(str(source.path))}"] == b"just so"


# Bytes that a name may consist of, and the name under which it arrives; None when no URL can hold it.
NAMES = {
    b"hash#tag": "hash#tag",
    b"ques?tion": "ques?tion",
    b"semi;type=i": "semi;type=i",
    b"amper&amp;": "amper&amp;",
    b"-R": "-R",
    b"~root": "~root",
    b"...": "...",
    b"colon:": "colon:",
    b"less<": None,
    b"latin-\xe9": None,
    b"sjis-\x83\x5c": None,
    b"euc-\xa4\xa2": None,
    b"utf16-\xfe\xff": None,
    b"cut-\xc3": None,
    b"overlong-\xc0\xaf": None,
    b"surrogate-\xed\xa0\x80": None,
    "decomposed-u\u0308".encode(): None,
    b"bell\x07": None,
    b"escape\x1b[2J": None,
    b"delete\x7f": None,
    b"tab\t": None,
    b"return\rDELE": None,
    b"feed\nDELE": None,
    b"both\r\nDELE plain.txt": None,
    # Escapes are decoded; what must never reach the server stays here in this form as well.
    b"escaped-%C3%BC": "escaped-\u00fc",
    b"escaped-%0D%0ADELE": None,
    b"escaped-%0A": None,
    b"escaped-%00": None,
}


@pytest.mark.parametrize("name", NAMES, ids=lambda name: name.decode("ascii", "backslashreplace"))
def test_a_strange_name_arrives_or_is_passed_over(owner, source, server, name):
    remote = NAMES[name]
    with open(os.path.join(os.fsencode(source.path), name), "wb") as file:
        file.write(b"strange")
    # As a folder as well, with something in it.
    folder = os.path.join(os.fsencode(source.path), b"in", name)
    os.makedirs(folder)
    with open(os.path.join(folder, b"inside"), "wb") as file:
        file.write(b"inside")

    records = run(owner, source.path, server)
    assert len(records) == 6
    strange = {} if remote is None else {f"/Site/{remote}": b"strange", f"/Site/in/{remote}/inside": b"inside"}
    assert server.files == {"/Site/plain.txt": b"plain"} | strange
    folders = {"/", "/Site", "/Site/in"} | ({f"/Site/in/{remote}"} if remote else set())
    assert server.folders == folders
    # What the bus cannot carry of a name is replaced, and the rest of it is still told.
    assert any(record["LocalPath"].startswith(f"{source.path}/{name[:3].decode('ascii')}") for record in records)


@pytest.mark.parametrize("name", ["#lead", "?q", "mid#dle", "end#", "what?", "?a#b"])
@pytest.mark.parametrize("kind", ["file", "folder"])
def test_a_source_may_have_a_mark_of_urls_in_its_name(owner, server, tmp_path, name, kind):
    path = tmp_path / name
    if kind == "file":
        path.write_bytes(b"content")
        assert len(run(owner, path, server)) == 1
        assert server.files == {f"/{name}": b"content"}
    else:
        (path / "in").mkdir(parents=True)
        (path / "in" / "side").write_bytes(b"content")
        assert len(run(owner, path, server)) == 3
        assert server.folders == {"/", f"/{name}", f"/{name}/in"}
        assert server.files == {f"/{name}/in/side": b"content"}


@pytest.mark.parametrize("name", ["#two#", "##", "a#b#c", "a#b/c#d"])
def test_what_has_two_hashes_in_its_path_is_passed_over(owner, source, server, name):
    """A URL holds one."""
    source.file(name, b"strange")
    assert len(run(owner, source.path, server)) == 3 + name.count("/")
    assert server.files == {"/Site/plain.txt": b"plain"}


@pytest.mark.parametrize(
    "name", ["..%2Fx", "%2E%2E%2Fx", "a%2Fb", "%2F", "%2Ftmp", "%2E%2E", ".%2e", "%2E", "..%2f..%2f"])
@pytest.mark.parametrize("is_folder", [False, True], ids=["file", "folder"])
def test_no_name_leads_to_another_folder(owner, source, server, name, is_folder):
    if is_folder:
        source.file(f"{name}/inside.txt", b"inside")
    else:
        source.file(name, b"astray")
    records = run(owner, source.path, server)
    assert len(records) == source.items()
    assert server.files == {"/Site/plain.txt": b"plain"}
    assert server.folders == {"/", "/Site"}
    # Not even asked for.
    asked = [command.argument for command in server.commands if command.verb in ("STOR", "MKD")]
    assert sorted(path.rstrip("/") for path in asked) == ["/Site", "/Site/plain.txt"]
