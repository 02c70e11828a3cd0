"""The helper on a server that misbehaves at one item: the records are as always, and the run goes on to its end."""

import time

import pytest

import processes
import tree
from scripted_server import ScriptedServer, close, drop, drop_hard, reply, send, silence, store, then

CONTENT = b"content" * 300_000
LINES = b"".join(b"452-line %d\r\n" % number for number in range(300_000))

# verb: what happens to it at the second of three items, a large file.
FAULTS = {
    "refused at once": ("STOR", reply(b"550 Permission denied.")),
    "refused at the end": ("STOR", store(final=b"552 Quota exceeded.")),
    "refused at length": ("STOR", send(LINES + b"452 Disk full.\r\n")),
    "no data connection": ("STOR", reply(b"425 Cannot open data connection.")),
    "data connection reset": ("STOR", store(limit=1000, ending="reset", final=b"426 Broken.")),
    "data connection ended": ("STOR", store(limit=1000, final=b"451 Local error.")),
    "confirmed before the end": ("STOR", store(limit=1000, final_first=True)),
    "control connection ended": ("STOR", drop),
    "control connection reset": ("STOR", drop_hard),
    "control connection ended during data": ("STOR", then(store(limit=1000, final=None), drop)),
    "control connection ended before the confirmation": ("STOR", then(store(final=None), drop)),
    "421 at once": ("STOR", then(reply(b"421 Going down."), drop)),
    "421 at the end": ("STOR", then(store(final=b"421 Going down."), drop)),
    "garbage": ("STOR", send(b"\x00\xff what?\r\n")),
    "line without an end": ("STOR", then(send(b"x" * 40_000_000), drop)),
}


@pytest.fixture
def site(tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("a", CONTENT)
    source.file("b", CONTENT)
    return source.path


def expect_three_records(notifications, site):
    records = [notification.record for notification in notifications]
    assert [record["Nth"] for record in records] == [1, 2, 3]
    assert [record["Total"] for record in records] == [3, 3, 3]
    assert [record["Percent"] for record in records] == [33, 66, 100]
    assert [record["IsMore"] for record in records] == [True, True, False]
    assert [record["RemoteDirectory"] for record in records] == ["/", "/Site", "/Site"]
    assert records[0]["LocalPath"] == str(site)
    assert {record["LocalPath"] for record in records[1:]} == {str(site / "a"), str(site / "b")}


@pytest.mark.parametrize("name", FAULTS)
def test_a_fault_at_the_second_of_three_items_stops_nothing(owner, site, name):
    verb, action = FAULTS[name]
    with ScriptedServer() as server:
        server.on(verb, action)
        notifications = owner.upload(site, server)
        expect_three_records(notifications, site)
        assert server.folders == {"/", "/Site"}
        last = notifications[2].record["LocalPath"].removeprefix(str(site.parent))
        assert server.files[last] == CONTENT
        assert all(content == CONTENT for content in server.files.values())


@pytest.mark.parametrize("action", [reply(b"550 File exists."), reply(b"550 Permission denied."), drop],
                         ids=["exists", "permission", "drop"])
def test_a_refused_folder_does_not_keep_its_files_back(owner, site, action):
    with ScriptedServer() as server:
        server.on("MKD", action)
        expect_three_records(owner.upload(site, server), site)
        assert server.files == {"/Site/a": CONTENT, "/Site/b": CONTENT}


@pytest.mark.parametrize("greeting", [reply(b"421 Too many users."), reply(b"530 Go away."), drop, send(b"hello\r\n")],
                         ids=["421", "530", "drop", "garbage"])
def test_a_refused_connection_costs_one_item(owner, site, greeting):
    with ScriptedServer() as server:
        server.on("GREETING", greeting)
        expect_three_records(owner.upload(site, server), site)
        assert server.folders == {"/"}
        assert server.files == {"/Site/a": CONTENT, "/Site/b": CONTENT}


def test_a_server_that_refuses_everybody_is_asked_once_for_each_item(owner, site):
    with ScriptedServer() as server:
        server.always("PASS", reply(b"530 Wrong."))
        expect_three_records(owner.upload(site, server), site)
        assert server.verbs().count("PASS") == 3
        assert server.files == {}


def test_a_server_that_ends_every_connection_after_one_item_gets_all_of_them(owner, tmp_path):
    source = tree.Tree(tmp_path / "Many")
    for number in range(10):
        source.file(str(number), b"content")

    def last_one(session, argument):
        store()(session, argument)
        session.reply(b"421 One file for everybody.")
        session.close()

    with ScriptedServer() as server:
        server.always("STOR", last_one)
        assert len(owner.upload(source.path, server)) == 11
        assert server.files == {f"/Many/{number}": b"content" for number in range(10)}


def test_a_server_that_loses_early_data_loses_none(owner, tmp_path):
    source = tree.Tree(tmp_path / "Many")
    for number in range(10):
        source.file(str(number), b"content %d" % number)

    def impatient(session, _argument):
        session.reply(b"229 Here (|||%d|)" % session.listen())
        session.early = session.data_that_comes_early(0.2)

    def store_unless_lost(session, argument):
        if session.early is None:
            store()(session, argument)
        else:
            close(session.early)
            session.reply(b"425 The data connection has gone.")

    with ScriptedServer() as server:
        server.always("EPSV", impatient)
        server.always("STOR", store_unless_lost)
        assert len(owner.upload(source.path, server)) == 11
        assert server.files == {f"/Many/{number}": b"content %d" % number for number in range(10)}


@pytest.mark.parametrize("verb, action", [
    ("GREETING", silence), ("PASS", silence), ("STOR", silence), ("STOR", store(limit=1000, ending="stall")),
    ("STOR", then(store(final=None), silence)),
], ids=["greeting", "login", "STOR", "data", "confirmation"])
def test_waiting_for_a_silent_server_is_not_busy(owner, tmp_path, verb, action):
    file = tree.Tree(tmp_path / "folder").file("a", CONTENT * 5)
    with ScriptedServer(receive_buffer=4096) as server:
        server.on(verb, action)
        helper = owner.launch(file, server)
        owner.wait_until(lambda: verb in server.verbs() or (verb == "GREETING" and server.connections), what=verb)
        # Once it waits, and whatever the machine does besides: ten turns a second, with some wake-ups each.
        started, before = time.monotonic(), processes.wake_ups(helper.pid)
        owner.wait_until(lambda: time.monotonic() - started > 2)
        assert processes.wake_ups(helper.pid) - before < 500 + 100 * (time.monotonic() - started)
