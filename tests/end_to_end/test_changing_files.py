"""Files that are no longer what they were when the helper planned to send them, or when it began to read them."""

import os
import shutil

import pytest

import processes
import scripted_server as scripts
import tree
from scripted_server import ScriptedServer

VICTIM = b"the content at the time of the plan\n"
# Far more than the system keeps on its way between two sockets, so that the file is still being read.
LARGE = b"".join(number.to_bytes(8, "big") * 512 for number in range(6000))
BEGINNING = 100_000


@pytest.fixture
def source(tmp_path):
    """A file that changes, in the middle of others that do not."""
    result = tree.Tree(tmp_path / "Site")
    for name in ("a.txt", "victim", "z.txt", "folder/inside.txt"):
        result.file(name, VICTIM if name == "victim" else name.encode())
    return result


UNTOUCHED = {f"/Site/{name}": name.encode() for name in ("a.txt", "z.txt", "folder/inside.txt")}


def run(owner, source, server, **options):
    """A whole run, to which permissions apply; the number of records that were posted."""
    return len(owner.upload(source.path, server, prefix=processes.BOUND_BY_PERMISSIONS, **options))


# Between the plan and the upload.


def run_with_change_after_plan(owner, source, server, change):
    """The first item is made only after the change; by then everything has been planned."""

    def changed(session, argument):
        change(source.path / "victim")
        scripts.usual("MKD")(session, argument)

    server.on("MKD", changed)
    assert run(owner, source, server) == 6


def make_folder(path):
    path.unlink()
    path.mkdir()
    (path / "unplanned.txt").write_bytes(b"nobody planned this")


def make_pipe(path):
    path.unlink()
    os.mkfifo(path)


def make_link(target):
    def change(path):
        path.unlink()
        path.symlink_to(target)
    return change


@pytest.mark.parametrize(
    "change",
    [os.unlink, make_pipe, make_link("victim"), make_link("nowhere"), make_link("/dev/zero"),
     lambda path: path.chmod(0)],
    ids=["deleted", "pipe", "link to itself", "link to nowhere", "link to a device", "unreadable"],
)
def test_what_can_no_longer_be_read_is_not_stored_and_the_others_are(owner, source, change):
    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, change)
        assert server.files == UNTOUCHED
        # What the server may have of an earlier run is left alone.
        assert "/Site/victim" not in [command.argument for command in server.commands]
        assert server.connections == 1


@pytest.mark.parametrize("content", [b"", b"short", VICTIM + VICTIM], ids=["empty", "truncated", "grown"])
def test_a_file_is_sent_as_it_is_when_its_turn_comes(owner, source, content):
    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, lambda path: path.write_bytes(content))
        assert server.files == UNTOUCHED | {"/Site/victim": content}


def test_a_file_that_has_become_a_folder_is_made_as_one_without_its_contents(owner, source):
    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, make_folder)
        assert server.files == UNTOUCHED
        assert server.folders == {"/", "/Site", "/Site/folder", "/Site/victim"}


def test_a_folder_that_has_gone_takes_its_contents_along_and_no_others(owner, source):
    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, lambda path: shutil.rmtree(path.with_name("folder")))
        assert server.files == {"/Site/a.txt": b"a.txt", "/Site/z.txt": b"z.txt", "/Site/victim": VICTIM}
        assert server.folders == {"/", "/Site"}


def test_a_folder_that_has_become_a_file_is_stored_as_one(owner, source):
    def change(path):
        folder = path.with_name("folder")
        shutil.rmtree(folder)
        folder.write_bytes(b"no folder any more")

    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, change)
        assert server.files == {"/Site/a.txt": b"a.txt", "/Site/z.txt": b"z.txt", "/Site/victim": VICTIM,
                                "/Site/folder": b"no folder any more"}


def test_a_source_that_has_gone_altogether_still_ends_the_run(owner, source):
    def change(path):
        shutil.rmtree(path.parent)

    with ScriptedServer() as server:
        run_with_change_after_plan(owner, source, server, change)
        assert server.files == {}


# In the middle of the reading.


def run_with_change_while_reading(owner, source, server, change):
    """Changes the file once the server has some of it; what has arrived of it then."""
    path = source.file("victim", LARGE)

    def store(session, argument):
        if argument != "/Site/victim":
            return scripts.usual("STOR")(session, argument)
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        received = bytearray()
        while len(received) < BEGINNING:
            received += data.recv(4096)
        change(path)
        while block := data.recv(1 << 20):
            received += block
        arrived.append(bytes(received))
        scripts.close(data)
        session.reply(b"226 Stored.")

    arrived = []
    server.always("STOR", store)
    assert run(owner, source, server) == 6
    (content,) = arrived
    assert server.files == UNTOUCHED
    assert server.connections == 1
    return content


@pytest.fixture
def slow_server():
    with ScriptedServer(receive_buffer=65536) as server:
        yield server


def replace_by_folder(path):
    path.rename(path.with_name("old"))
    path.mkdir()


def replace_by_another(path):
    new = path.with_name("new")
    new.write_bytes(b"another file under the same name")
    new.rename(path)


@pytest.mark.parametrize(
    "change", [os.unlink, replace_by_folder, replace_by_another, lambda path: path.chmod(0)],
    ids=["deleted", "replaced by a folder", "replaced by another file", "unreadable"],
)
def test_a_file_that_is_being_read_arrives_whole_whatever_happens_to_its_name(owner, source, slow_server, change):
    assert run_with_change_while_reading(owner, source, slow_server, change) == LARGE


def test_a_file_that_grows_while_it_is_read_is_sent_up_to_its_new_end(owner, source, slow_server):
    def change(path):
        with open(path, "ab") as file:
            file.write(b"more" * 100_000)

    assert run_with_change_while_reading(owner, source, slow_server, change) == LARGE + b"more" * 100_000


@pytest.mark.parametrize("size", [0, 1000, len(LARGE) - 1])
def test_a_file_that_is_cut_while_it_is_read_ends_where_it_is_cut_or_as_far_as_it_was_read(
    owner, source, slow_server, size
):
    content = run_with_change_while_reading(owner, source, slow_server, lambda path: os.truncate(path, size))
    assert max(size, BEGINNING) <= len(content) < len(LARGE)
    assert content[:size] == LARGE[:size]
    # The system clears what it keeps of the file behind the cut, be it on its way already.
    assert all(byte in (0, expected) for byte, expected in zip(content[size:], LARGE[size:]))


def test_a_file_that_is_cut_while_it_is_read_is_sent_again_by_the_next_run(owner, source, slow_server, tmp_path):
    cache = tmp_path / "cache.plist"

    def store(session, argument):
        # Only once, or the next run would read a file that is being written.
        if argument == "/Site/victim" and path.stat().st_size == len(LARGE):
            path.write_bytes(b"the new version")
            os.utime(path, (1_900_000_000, 1_900_000_000))
        scripts.usual("STOR")(session, argument)

    path = source.file("victim", LARGE)
    slow_server.always("STOR", store)
    assert run(owner, source, slow_server, cachedInfoPath=cache) == 6
    assert run(owner, source, slow_server, cachedInfoPath=cache) == 1
    assert slow_server.files["/Site/victim"] == b"the new version"


def test_what_cannot_be_read_to_its_end_does_not_end_as_if_it_were_whole(owner, source):
    # A regular file by all appearances; reading its first byte is an input/output error.
    path = source.path / "victim"
    path.unlink()
    path.symlink_to("/proc/self/mem")
    with ScriptedServer() as server:
        assert run(owner, source, server) == 6
        assert server.files == UNTOUCHED
        assert not any(transfer.ended for transfer in server.transfers if transfer.path == "/Site/victim")
