"""What an owner gets that asks for more than the usual upload."""

import os
import random
import re
import time

import pytest

import processes
import scripted_server as scripts
import servers
import tree
from tracked_upload import ODD_NAMES, contents, keep, outcomes, track, upload


READY = "TelvoFTPHelperReadyDistributedNotification"
BYTES = "TelvoFTPHelperBytesDistributedNotification"


@pytest.fixture
def cache(tmp_path):
    return tmp_path / "cache.plist"


# Names.

def test_22_odd_names_of_22_arrive(owner, installed_server, tmp_path):
    source = tmp_path / "Odd folder %20 \udcff"
    source.mkdir()
    for name in ODD_NAMES:
        with open(os.path.join(os.fsencode(source), name), "wb") as file:
            file.write(name)
    records = track(owner, source, installed_server)
    assert set(outcomes(records)) == {"sent"}
    assert contents(installed_server.root) == {
        os.fsencode(source.name): None,
        **{os.fsencode(source.name) + b"/" + name: name for name in ODD_NAMES},
    }


@pytest.mark.parametrize("kind", [servers.Vsftpd, servers.ProFTPD], ids=lambda kind: kind.name)
def test_names_that_some_servers_do_not_like_arrive_on_others(owner, tmp_path, kind):
    source = tree.Tree(tmp_path / "Site")
    names = ["back\\slash", "tab\there", "trailing ", "bell\a"]
    for name in names:
        source.file(name, name.encode())
    with kind() as server:
        assert set(outcomes(track(owner, source.path, server))) == {"sent"}
        assert sorted(os.listdir(server.root / "Site")) == sorted(names)


def test_a_name_that_a_server_does_not_like_is_told_in_its_words(owner, small_tree):
    small_tree.file("back\\slash", b"x")
    with servers.PureFTPd() as server:
        records = track(owner, small_tree.path, server)
    failed = [record for record in records if record["Outcome"] == "failed"]
    assert [(record["LocalPath"], record["ErrorCode"]) for record in failed] == [
        (f"{small_tree.path}/back\\slash", 553)]
    assert "back\\slash" in failed[0]["Error"]


@pytest.mark.parametrize("name", ["a\nb", "a\rb"])
def test_a_line_end_in_a_name_is_told(owner, scripted, small_tree, name):
    small_tree.file(name, b"x")
    records = track(owner, small_tree.path, scripted)
    failed = [record for record in records if record["Outcome"] == "failed"]
    assert [os.path.basename(record["LocalPath"]) for record in failed] == [name]
    assert "line feed" in failed[0]["Error"]
    assert len(scripted.files) == 2


def test_names_that_xml_cannot_hold_are_remembered_too(owner, installed_server, tmp_path, cache):
    source = tmp_path / "Site"
    source.mkdir()
    for name in ODD_NAMES + [b"bell\x07"]:
        with open(os.path.join(os.fsencode(source), name), "wb") as file:
            file.write(name)
    assert set(outcomes(keep(owner, source, installed_server, cache))) == {"sent"}
    assert keep(owner, source, installed_server, cache) == [None]
    os.unlink(os.path.join(os.fsencode(source), b"\xff\xfe"))
    assert outcomes(keep(owner, source, installed_server, cache, deleteMissing="YES")) == ["removed"]
    assert b"Site/\xff\xfe" not in contents(installed_server.root)


def test_utf8_is_announced_where_the_server_has_it(owner, scripted, small_tree):
    scripted.always("FEAT", lambda session, _: session.send(b"211-Features:\r\n UTF8\r\n211 End\r\n"))
    scripted.always("OPTS", scripts.reply(b"200 on"))
    track(owner, small_tree.path, scripted)
    assert scripted.verbs(0)[:5] == ["USER", "PASS", "FEAT", "OPTS", "TYPE"]
    commands = len(scripted.commands)
    scripted.always("FEAT", scripts.reply(b"500 What?"))
    track(owner, small_tree.path, scripted)
    assert "OPTS" not in [command.verb for command in scripted.commands[commands:]]
    commands = len(scripted.commands)
    upload(owner, small_tree.path, scripted)
    assert "FEAT" not in [command.verb for command in scripted.commands[commands:]]


# Where it goes, and what goes.


@pytest.mark.parametrize("folder", ["/public_html/deep er", "public_html//deep er/"])
def test_a_remote_folder_is_made_and_used(owner, installed_server, small_tree, folder):
    for _ in range(2):
        assert set(outcomes(track(owner, small_tree.path, installed_server, remoteDirectory=folder))) == {"sent"}
    assert contents(installed_server.root) == {
        b"public_html": None, b"public_html/deep er": None, b"public_html/deep er/Site": None,
        b"public_html/deep er/Site/a.txt": b"a", b"public_html/deep er/Site/b.txt": b"b",
    }


def test_contents_only_leaves_out_the_folder_itself(owner, installed_server, sample_tree):
    records = track(owner, sample_tree.path, installed_server, remoteDirectory="/www", contentsOnly="YES")
    assert set(outcomes(records)) == {"sent"}
    assert len(records) == len(list(sample_tree.path.rglob("*")))
    assert sorted(os.listdir(installed_server.root / "www")) == sorted(os.listdir(sample_tree.path))


def test_a_remote_folder_that_cannot_be_made_is_told_by_the_items(owner, installed_server, small_tree):
    (installed_server.root / "www").write_bytes(b"in the way")
    records = track(owner, small_tree.path, installed_server, remoteDirectory="/www")
    assert outcomes(records) == ["failed"] * 3
    assert (installed_server.root / "www").read_bytes() == b"in the way"


def test_what_is_excluded_stays_here(owner, scripted, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    for name in ("page.html", "notes.txt", "keep.txt", "build/out.o", "src/build/x", "src/a.o", ".git/config"):
        source.file(name, b"x")
    track(owner, source.path, scripted, exclude="*.txt\n!keep.txt\n/build/\n# a comment\n*.o\n.git")
    assert sorted(scripted.files) == ["/Site/keep.txt", "/Site/page.html", "/Site/src/build/x"]
    assert scripted.folders == {"/", "/Site", "/Site/src", "/Site/src/build"}


# Whole or not at all.


def test_a_reader_sees_the_old_file_or_the_new_one(owner, installed_server, tmp_path):
    """While uploads are cut at any moment."""
    size = 3_000_000
    file = tmp_path / "file.bin"
    remote = installed_server.root / "file.bin"
    file.write_bytes(bytes([0]) * size)
    track(owner, file, installed_server, temporaryNames="always")
    whole = {remote.read_bytes()}
    assert len(whole) == 1
    dice = random.Random(2)
    for number in range(1, 21):
        content = bytes([number]) * (size + number)
        file.write_bytes(content)
        whole.add(content)
        helper = owner.launch(file, installed_server, notificationIdentifier=f"cut {number}", temporaryNames="always")
        end = time.monotonic() + dice.random() * 0.15
        while time.monotonic() < end:
            assert remote.read_bytes() in whole
        helper.kill_hard()
        assert remote.read_bytes() in whole
    assert outcomes(track(owner, file, installed_server, temporaryNames="always")) == ["sent"]
    assert contents(installed_server.root) == {b"file.bin": file.read_bytes()}


def test_large_means_above_512000_bytes(owner, scripted, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("small", bytes(512_000))
    source.file("large", bytes(512_001))
    track(owner, source.path, scripted, temporaryNames="large")
    temporary, direct = sorted(transfer.path for transfer in scripted.transfers)
    assert direct == "/Site/small"
    assert re.fullmatch(r"/Site/\.large\.[0-9a-f]{16}\.telvo-part", temporary)
    assert [command.argument for command in scripted.commands if command.verb in ("RNFR", "RNTO")] == [
        temporary, "/Site/large"]


def test_two_uploads_of_the_same_files_at_a_time_do_not_share_temporary_names(owner, scripted, tmp_path):
    file = tmp_path / "file.bin"
    file.write_bytes(os.urandom(100_000))
    pauses = [scripts.Pause(scripts.usual("STOR")) for _ in range(2)]
    for number, pause in enumerate(pauses):
        scripted.on("STOR", pause)
        owner.launch(file, scripted, temporaryNames="always", notificationIdentifier=f"run {number}")
        processes.wait_until(lambda: scripted.verbs().count("STOR") == number + 1, what="the upload")
    for pause in pauses:
        pause.release()
    processes.wait_until(lambda: scripted.verbs().count("RNTO") == 2, what="both")
    of_two = [command.argument for command in scripted.commands if command.verb == "STOR"]
    assert len(set(of_two)) == 2
    owner.wait_until(lambda: len(owner.heard) == 2, what="both records")
    assert scripted.files == {"/file.bin": file.read_bytes()}


def test_a_later_run_replaces_what_a_killed_one_has_left_over(owner, scripted, tmp_path):
    file = tmp_path / "file.bin"
    file.write_bytes(os.urandom(100_000))
    scripted.on("STOR", scripts.silence)
    killed = owner.launch(file, scripted, temporaryNames="always")
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the upload")
    killed.kill_hard()
    track(owner, file, scripted, temporaryNames="always")
    of_killed, of_later = [command.argument for command in scripted.commands if command.verb == "STOR"]
    assert of_killed == of_later


def test_a_refused_renaming_is_a_failure_that_leaves_the_old_file(owner, installed_server, tmp_path):
    file = tmp_path / "file.bin"
    file.write_bytes(b"new")
    (installed_server.root / "file.bin").mkdir()
    (installed_server.root / "file.bin" / "inside").write_bytes(b"old")
    (record,) = track(owner, file, installed_server, temporaryNames="always")
    assert record["Outcome"] == "failed"
    assert record["ErrorCode"] >= 400
    assert contents(installed_server.root) == {b"file.bin": None, b"file.bin/inside": b"old"}


def test_long_names_have_temporary_ones_too(owner, installed_server, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    for name in ("x" * 255, "x" * 254 + "y", "ü" * 127):
        source.file(name, name.encode())
    assert set(outcomes(track(owner, source.path, installed_server, temporaryNames="always"))) == {"sent"}
    assert sorted(content for content in contents(installed_server.root).values() if content) == sorted(
        name.encode() for name in ("x" * 255, "x" * 254 + "y", "ü" * 127))


# Bytes, rate and readiness.


def test_progress_inside_a_file_is_told(owner, scripted, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("large", bytes(2_000_000))
    owner.launch(source.path, scripted, reportBytes="YES", bytesPerSecond=1_000_000)
    owner.wait_for_last_record()
    told = [heard for heard in owner.heard if heard.name == BYTES]
    assert 2 <= len(told) <= 10
    for heard in told:
        numbers = ("Nth", "BytesSent", "BytesTotal", "RunBytesSent", "RunBytesTotal")
        assert heard.record_types == {"LocalPath": "s"} | {key: "x" for key in numbers}
        assert heard.record["LocalPath"] == f"{source.path}/large"
        assert heard.object == "token-1" and heard.details["DeliverImmediately"] is True
        assert heard.record["Nth"] == 2
        assert heard.record["BytesTotal"] == heard.record["RunBytesTotal"] == 2_000_000
    sent = [heard.record["BytesSent"] for heard in told]
    assert sent == sorted(sent) and sent[-1] <= 2_000_000
    assert [heard.record["RunBytesSent"] for heard in told] == sent


def test_a_file_goes_no_faster_than_it_may(owner, scripted, tmp_path):
    """How exactly the rate is kept shows in tests with a clock of their own, and in bench/rate."""
    file = tmp_path / "file"
    content = b"Rome was not built in a day. " * 100
    file.write_bytes(content)
    taken = bytearray()

    def take(session, _argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        while piece := data.recv(len(content)):
            taken.extend(piece)

    scripted.on("STOR", take)
    owner.launch(file, scripted, bytesPerSecond=1)
    processes.wait_until(lambda: len(taken) >= 2, what="the second byte")
    owner.stop_upload()
    owner.wait_for_last_record()
    assert 2 <= len(taken) < len(content)
    assert content.startswith(bytes(taken))


def test_the_helper_says_when_it_can_be_reached(owner, scripted, small_tree):
    pause = scripts.Pause(scripts.usual("STOR"))
    scripted.on("STOR", pause)
    owner.launch(small_tree.path, scripted, announce="YES")
    owner.wait_until(lambda: owner.heard, what="the announcement")
    ready = owner.heard[0]
    assert (ready.name, ready.object) == (READY, "token-1")
    assert set(ready.record) == {"Version"} and ready.record_types == {"Version": "s"}
    pause.release()
    owner.wait_for_last_record()
    assert [heard.name for heard in owner.heard].count(READY) == 1


def test_a_stop_right_after_the_announcement_is_heard(owner, scripted, tmp_path):
    source = tree.Tree(tmp_path / "Many")
    for number in range(200):
        source.file(str(number), b"")
    helper = owner.launch(source.path, scripted, announce="YES", reportOutcomes="YES", bytesPerSecond=1)
    owner.wait_until(lambda: owner.heard, what="the announcement")
    owner.stop_upload()
    helper.wait_for_line("shouldStop received")
    assert len(owner.wait_for_last_record()) < 200


# The command line.


def test_unknown_parameters_are_told_in_the_debug_log_only(owner, scripted, small_tree):
    helper = owner.launch(small_tree.path, scripted, unheardOf="1", temporaryNames="sometimes", attempts="none")
    owner.wait_for_last_record()
    lines = helper.log()
    assert lines.count("unknown launch parameter unheardOf") == 1
    assert "temporaryNames is always, large or never, not sometimes" in lines
    assert "attempts is a number from 1 on, not none" in lines
    owner.heard.clear()
    helper = owner.launch(small_tree.path, scripted, unheardOf="1", debug=None)
    owner.wait_for_last_record()
    assert helper.error_output() == ""


@pytest.mark.parametrize("argument", ["--help", "--version"])
def test_help_and_version_are_printed(owner, helper_path, tmp_path, argument):
    helper = owner.launch(arguments=[argument])
    assert helper.wait() == 0
    text = (tmp_path / "helper-0.stdout").read_text()
    assert text.startswith("Usage: TelvoFTPHelper" if argument == "--help" else "TelvoFTPHelper 1.")
    assert helper.error_output() == ""


def test_help_may_be_a_password(owner, scripted, small_tree, tmp_path):
    scripted.password = "--help"
    owner.launch(small_tree.path, scripted)
    owner.wait_for_last_record()
    assert len(scripted.files) == 2
