"""The four ways to stop an upload (the owner's stop request, its quit, SIGTERM and SIGINT) at every stage of one."""

import contextlib
import dataclasses
import pathlib
import signal
import socket
import threading

import pytest

import owner as owners
import processes
import scripted_server as scripts
import tree
from network_namespace import NameServer
from scripted_server import BlackHole, ScriptedServer

# Generous: how soon is not what these tests are about.
PATIENCE = 30
TOTAL = 4
ITEM_VERBS = ("MKD", "STOR")
MARKER = "com.example.Marker"


@dataclasses.dataclass
class Situation:
    """An upload that has come to some stage and goes no further on its own.

    `reported` is the number of records so far; `total` is None while the plan is being made. `let_go` lets the upload go on
    at the moment of the stop, so that it may end `slack` items more than the one that it has come to.
    """

    helper: owners.Helper
    reported: int = 0
    total: int | None = TOTAL
    slack: int = 0
    server: ScriptedServer | None = None
    cache: pathlib.Path | None = None
    let_go: object = lambda: None
    is_over: bool = False


@pytest.fixture
def witness(bus):
    """Hears what is posted, also when the owner has quit."""
    with owners.Application(bus) as application:
        yield application


def records(witness):
    """Of everything that has been posted up to now."""
    witness.post(MARKER)
    seen = sum(heard.name == MARKER for heard in witness.heard) + 1
    witness.wait_until(lambda: sum(heard.name == MARKER for heard in witness.heard) >= seen, what="the marker")
    return [heard.record for heard in witness.heard if heard.name == owners.PROGRESS]


def site(folder):
    source = tree.Tree(folder / "Site")
    for name in "abc":
        with open(source.path / f"{name}.bin", "wb") as file:
            file.truncate(8_000_000)  # more than the system takes off a sender's hands
    assert source.items() == TOTAL
    return source.path


# The stages.


def waits_for_reply(verb, action, item, is_there=None, environment=None):
    """The server does what is given about the first such command that has no other script."""
    @contextlib.contextmanager
    def stage(owner, folder):
        with ScriptedServer() as server:
            actions = action if isinstance(action, tuple) else (action,)
            server.on(verb, *actions)
            helper = owner.launch(site(folder), server, environment=environment)
            owner.wait_for_records(item - 1)
            reached = is_there or (lambda server: server.verbs().count(verb) == len(actions))
            owner.wait_until(lambda: reached(server), what=f"{verb} of item {item}")
            yield Situation(helper, item - 1, server=server)
    return stage


@contextlib.contextmanager
def resolving(owner, folder):
    with NameServer(folder, answers=False) as network:
        helper = owner.launch(site(folder), host="ftp.example.test", prefix=network.prefix)
        owner.wait_until(network.questions, what="the question for the host's address")
        yield Situation(helper)


def attempts_to_connect(port):
    """How many requests for a connection to that port on this host wait for an answer."""
    syn_sent = "02"
    lines = pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:]
    return sum(fields[2].endswith(f":{port:04X}") and fields[3] == syn_sent for fields in map(str.split, lines))


@contextlib.contextmanager
def connecting(owner, folder):
    with BlackHole() as hole:
        own = attempts_to_connect(hole.port)
        helper = owner.launch(site(folder), host=hole.address)
        owner.wait_until(lambda: attempts_to_connect(hole.port) > own, what="the request to connect")
        yield Situation(helper)


@contextlib.contextmanager
def waiting_for_the_proxy(owner, folder):
    with socket.create_server(("127.0.0.1", 0)) as proxy:
        url = f"socks5://127.0.0.1:{proxy.getsockname()[1]}"
        helper = owner.launch(site(folder), host="ftp.example.test", environment={"ftp_proxy": url})
        proxy.settimeout(PATIENCE)
        connection, _ = proxy.accept()
        with connection:
            assert connection.recv(1)
            yield Situation(helper)


@contextlib.contextmanager
def between_items(owner, folder):
    """The end of one item and the stop reach the helper at the same time: it sleeps while both are sent."""
    released, replied = threading.Event(), threading.Event()

    def hold(session, argument):
        scripts.store(final=None)(session, argument)
        released.wait(PATIENCE)
        session.reply(b"226 Stored.")
        replied.set()

    with ScriptedServer() as server:
        server.on("STOR", hold, scripts.silence)
        helper = owner.launch(site(folder), server)
        owner.wait_until(lambda: server.transfers, what="the second item's data")
        owner.wait_for_records(1)
        helper.process.send_signal(signal.SIGSTOP)
        released.set()
        assert replied.wait(PATIENCE)
        yield Situation(helper, 1, slack=1, let_go=lambda: helper.process.send_signal(signal.SIGCONT))


@pytest.fixture(scope="module")
def large_tree(tmp_path_factory):
    root = tmp_path_factory.mktemp("large") / "Site"
    tree.make_empty_files(root, 200, 1000)
    return root


@contextlib.contextmanager
def scanning(owner, folder, large_tree):
    cache = folder / "cache.plist"
    cache.write_bytes(b'<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><array/></plist>\n')
    with ScriptedServer() as server:
        helper = owner.launch(large_tree, server, cachedInfoPath=cache)
        helper.wait_for_line(f"starting upload of {large_tree}")
        yield Situation(helper, total=None, server=server, cache=cache)


@contextlib.contextmanager
def finished(owner, folder):
    with ScriptedServer() as server:
        helper = owner.launch(site(folder), server)
        owner.wait_for_last_record()
        helper.wait_for_line("finished; terminating the helper")
        yield Situation(helper, TOTAL, server=server, is_over=True)


STAGES = {
    "resolving": resolving,
    "connecting": connecting,
    "waiting for the proxy": waiting_for_the_proxy,
    "waiting for the greeting": waits_for_reply(
        "GREETING", scripts.silence, 1, is_there=lambda server: server.connections == 1),
    "sending the login name": waits_for_reply("USER", scripts.silence, 1),
    "sending the password": waits_for_reply("PASS", scripts.silence, 1),
    "making the folder": waits_for_reply("MKD", scripts.silence, 1),
    "waiting for a port": waits_for_reply("EPSV", (None, scripts.silence), 3),
    "waiting to be connected": waits_for_reply(
        "STOR", scripts.then(scripts.reply(b"150 Go ahead."), scripts.silence), 2,
        environment={"FTP_PASSIVE_MODE": "no"}),
    "waiting for the leave to store": waits_for_reply("STOR", scripts.silence, 2),
    "in the middle of the data": waits_for_reply(
        "STOR", scripts.store(limit=1_000_000, ending="stall"), 2, is_there=lambda server: server.transfers),
    "waiting for the final reply": waits_for_reply(
        "STOR", scripts.store(final=None), 2, is_there=lambda server: server.transfers),
    "between two items": between_items,
    "scanning": scanning,
    "finished": finished,
}


@pytest.fixture(params=STAGES)
def situation(request, owner, witness, tmp_path):
    extra = [request.getfixturevalue("large_tree")] if request.param == "scanning" else []
    with STAGES[request.param](owner, tmp_path, *extra) as reached:
        yield reached


def sent(server):
    """What the server was asked for: a stop must not be followed by more of it."""
    return server and (server.connections, [command.line for command in server.commands if command.verb in ITEM_VERBS])


def test_a_stop_request_ends_the_upload_with_the_record_of_the_item(owner, witness, situation):
    before = sent(situation.server)
    cache = situation.cache.read_bytes() if situation.cache else None
    owner.stop_upload()
    situation.let_go()
    # The log tells of a scan just before the helper listens for stop requests; and one more changes nothing.
    if not situation.is_over:
        owner.wait_until(lambda: owner.stop_upload() or is_last(records(witness)[-1:]), PATIENCE, "the last record")
    situation.helper.wait_for_line("finished; terminating the helper", PATIENCE)
    situation.helper.wait_for_line("shouldStop received", PATIENCE)

    posted = records(witness)
    if situation.total is None:
        assert posted == [None], "as when there is nothing to send"
    else:
        expect_records_of_items(situation, posted)
    assert sent(situation.server) == before
    if situation.cache:
        assert situation.cache.read_bytes() == cache
    assert situation.helper.is_running()
    situation.helper.terminate()
    assert situation.helper.wait(PATIENCE) == 0
    assert len(records(witness)) == len(posted)


def is_last(newest):
    return newest and not (newest[0] or {}).get("IsMore", False)


def expect_records_of_items(situation, posted):
    if situation.is_over:
        assert len(posted) == situation.reported
    else:
        assert situation.reported < len(posted) <= situation.reported + 1 + situation.slack
        assert posted[-1]["LocalPath"]
    assert [record["Nth"] for record in posted] == list(range(1, len(posted) + 1))
    assert [record["IsMore"] for record in posted] == [True] * (len(posted) - 1) + [False]
    assert {record["Total"] for record in posted} == {situation.total}
    assert posted[-1]["Percent"] == len(posted) * 100 // situation.total


ENDS = {
    "the owner's quit": lambda owner, helper: owner.quit(),
    "SIGTERM": lambda owner, helper: helper.process.send_signal(signal.SIGTERM),
    "SIGINT": lambda owner, helper: helper.process.send_signal(signal.SIGINT),
}


@pytest.mark.parametrize("end", ENDS)
def test_the_helper_ends_at_once_and_posts_nothing_more(owner, witness, situation, end):
    before = sent(situation.server)
    cache = situation.cache.read_bytes() if situation.cache else None
    ENDS[end](owner, situation.helper)
    situation.let_go()
    assert situation.helper.wait(PATIENCE) == 0

    posted = records(witness)
    assert situation.reported <= len(posted) <= situation.reported + situation.slack
    assert [record["Nth"] for record in posted] == list(range(1, len(posted) + 1))
    log = situation.helper.log()
    assert log[-2:] == ["receieved should terminate", "stop"]
    assert (log[-4:-2] == [f"{owner.name} has quit", "... it's our owner!"]) == (end == "the owner's quit")
    assert sent(situation.server) == before
    if situation.cache:
        assert situation.cache.read_bytes() == cache


@pytest.mark.parametrize("end", [*ENDS, "a stop request", "SIGKILL"])
def test_a_file_that_is_broken_off_has_no_good_end_on_the_server(owner, tmp_path, end):
    reading, released = threading.Event(), threading.Event()

    def hold(session, argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        reading.set()
        released.wait(PATIENCE)
        session.receive(argument, data)

    source = tmp_path / "large.bin"
    with open(source, "wb") as file:
        file.truncate(50_000_000)
    with ScriptedServer() as server:
        server.on("STOR", hold)
        helper = owner.launch(source, server)
        assert reading.wait(PATIENCE)
        if end == "a stop request":
            owner.stop_upload()
            owner.wait_for_last_record()
        elif end == "SIGKILL":
            helper.process.send_signal(signal.SIGKILL)
            helper.wait(PATIENCE)
        else:
            ENDS[end](owner, helper)
            assert helper.wait(PATIENCE) == 0
        released.set()
        processes.wait_until(lambda: server.transfers, PATIENCE, "the end of the data")
        assert [transfer.ended for transfer in server.transfers] == [False]
        assert server.files == {}
