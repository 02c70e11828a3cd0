"""The conversation between the helper and its owner, heard from outside."""

import re
import signal
import subprocess

import pytest

import owner as owners
import processes
import scripted_server as scripts
from bus import SlowLine
from scripted_server import Pause
from system_log import SystemLog


# Progress.


def test_three_items_are_33_66_and_100_percent(owner, scripted, small_tree):
    owner.launch(small_tree.path, scripted)
    notifications = owner.wait_for_last_record()
    records = [notification.record for notification in notifications]
    assert [record["Percent"] for record in records] == [33, 66, 100]
    assert [record["Nth"] for record in records] == [1, 2, 3]
    assert [record["Total"] for record in records] == [3, 3, 3]
    assert [record["IsMore"] for record in records] == [True, True, False]
    assert records[0]["LocalPath"] == str(small_tree.path)
    assert [record["RemoteDirectory"] for record in records] == ["/", "/Site", "/Site"]
    assert {record["LocalPath"] for record in records[1:]} == {f"{small_tree.path}/{name}.txt" for name in "ab"}


def test_progress_is_posted_in_the_public_wire_format(owner, scripted, small_tree):
    owner.launch(small_tree.path, scripted)
    for notification in owner.wait_for_last_record():
        assert notification.name == owners.PROGRESS
        assert notification.object == "token-1"
        assert notification.record_types == owners.RECORD_TYPES
        assert notification.details["DeliverImmediately"] is True
        assert notification.details.get("HasObject", True) is True
        assert set(notification.details) <= {"UserInfo", "HasObject", "DeliverImmediately"}


def test_other_programs_read_the_progress_too(owner, bus, scripted, small_tree, tmp_path):
    report = tmp_path / "monitor"
    with open(report, "wb") as output:
        monitor = processes.start(
            ["dbus-monitor", f"interface='{owners.INTERFACE}'"], env=bus.environment, stdout=output
        )
    try:
        # It is told of its own name once it listens, and writes each message out at once.
        processes.wait_until(report.read_text, what="the monitor")
        owner.launch(small_tree.path, scripted)
        owner.wait_for_last_record()
        # The owner may have heard of it before the monitor has.
        processes.wait_until(lambda: "uint64 100" in report.read_text(), what="the last record")
    finally:
        processes.end(monitor)
    assert report.read_text().count(f'string "{owners.PROGRESS}"') == 3
    assert re.findall(r'string "Percent"\n +variant +uint64 (\d+)', report.read_text()) == ["33", "66", "100"]


def test_records_come_one_by_one_as_the_items_end(owner, scripted, small_tree):
    pause = Pause(scripts.usual("STOR"))
    scripted.on("STOR", None, pause)
    owner.launch(small_tree.path, scripted)
    assert len(owner.wait_for_records(2)) == 2
    assert pause.reached.wait(30)
    assert len(owner.progress()) == 2
    pause.release()
    assert len(owner.wait_for_last_record()) == 3


def test_nothing_to_send_is_one_notification_without_contents(owner, scripted, small_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    owner.launch(small_tree.path, scripted, cachedInfoPath=cache)
    owner.wait_for_last_record()
    owner.heard.clear()
    connections = scripted.connections
    helper = owner.launch(small_tree.path, scripted, cachedInfoPath=cache)
    helper.wait_for_line("finished; terminating the helper")
    (only,) = owner.wait_for_records(1)
    assert only.record is None
    assert "UserInfo" not in only.details
    assert helper.log() == [
        f"helper launched for {small_tree.path}", f"starting upload of {small_tree.path}", "progress: 0%",
        "finished; terminating the helper",
    ]
    assert scripted.connections == connections


def test_two_helpers_are_told_apart_by_their_tokens(owner, scripted, small_tree, five_items):
    owner.launch(small_tree.path / "a.txt", scripted)
    owner.launch(five_items.path, scripted, notificationIdentifier="token-2")
    assert len(owner.wait_for_last_record()) == 1
    assert len(owner.wait_for_last_record(token="token-2")) == 5


# Stop requests.


def test_a_stop_during_the_second_of_five_items_ends_the_upload(owner, scripted, five_items):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(five_items.path, scripted)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    owner.stop_upload()
    first, last = owner.wait_for_last_record()
    assert first.record["IsMore"] is True
    assert (last.record["Nth"], last.record["Percent"], last.record["IsMore"]) == (2, 40, False)
    helper.wait_for_line("finished; terminating the helper")
    assert helper.log() == [
        f"helper launched for {five_items.path}", f"starting upload of {five_items.path}", "progress: 20%",
        "shouldStop received", "stop", "progress: 40%", "finished; terminating the helper",
    ]
    assert scripted.verbs().count("STOR") == 1
    assert len(owner.progress()) == 2
    assert helper.is_running()


def test_a_stop_from_the_command_line_counts(owner, bus, scripted, five_items):
    scripted.on("STOR", scripts.silence)
    owner.launch(five_items.path, scripted)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    subprocess.run(
        ["gdbus", "emit", "--session", "--object-path", owners.OBJECT_PATH, "--signal", f"{owners.INTERFACE}.Posted",
         owners.STOP, "token-1", "@a{sv} {}"],
        env=bus.environment, check=True,
    )
    assert owner.wait_for_last_record()[-1].record["Percent"] == 40


@pytest.mark.parametrize("token", ["token-2", "token-1 ", "TOKEN-1", "", None])
def test_a_stop_with_another_token_is_ignored(owner, bus, scripted, five_items, token):
    pause = Pause(scripts.usual("STOR"))
    scripted.on("STOR", pause)
    helper = owner.launch(five_items.path, scripted)
    owner.wait_until(pause.reached.is_set, what="the second item")
    owner.stop_upload(token)
    # Once the helper has noticed this, it has also seen the stop request that came before it.
    with owners.Application(bus, "com.example.Marker"):
        pass
    helper.wait_for_line("com.example.Marker has quit")
    pause.release()
    assert len(owner.wait_for_last_record()) == 5
    helper.wait_for_line("finished; terminating the helper")
    assert "shouldStop received" not in helper.log()
    assert len(scripted.files) == 4


@pytest.mark.parametrize("token", [None, "whatever"])
def test_without_a_token_every_stop_counts_and_progress_has_no_object(owner, scripted, five_items, token):
    scripted.on("STOR", scripts.silence)
    owner.launch(five_items.path, scripted, notificationIdentifier=None)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    owner.stop_upload(token)
    first, last = owner.wait_for_last_record(token=None)
    assert first.details["HasObject"] is False
    assert (last.record["Percent"], last.record["IsMore"]) == (40, False)


@pytest.mark.parametrize("act", [owners.Owner.stop_upload, owners.Owner.release_name])
def test_once_the_upload_has_begun_nothing_of_the_owner_is_missed(owner, bus, scripted, five_items, act):
    scripted.on("STOR", scripts.silence)
    with SlowLine(bus, 0.2) as line:
        helper = owner.launch(five_items.path, scripted, environment={"DBUS_SESSION_BUS_ADDRESS": line.address})
        owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
        act(owner)
        helper.wait_for_line("stop", timeout=20)


def test_a_stop_after_the_last_record_changes_nothing(owner, scripted, small_tree):
    helper = owner.launch(small_tree.path, scripted)
    owner.wait_for_last_record()
    helper.wait_for_line("finished; terminating the helper")
    owner.stop_upload()
    helper.wait_for_line("stop")
    assert helper.log()[-2:] == ["shouldStop received", "stop"]
    assert len(owner.progress()) == 3
    assert helper.is_running()


# Quitting and ending.


def test_releasing_the_name_is_a_quit(owner, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    owner.release_name()
    assert helper.wait(timeout=20) == 0


def test_a_neighbour_that_waits_for_the_name_does_not_hide_the_quit(owner, bus, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    with owners.Application(bus) as neighbour:
        neighbour.wait_for_name(owner.name)
        helper = owner.launch(small_tree.path, scripted)
        owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
        owner.quit()
        assert helper.wait(timeout=20) == 0
        assert neighbour.has_owner(owner.name)
    assert helper.log()[-4:] == [f"{owner.name} has quit", "... it's our owner!", "receieved should terminate", "stop"]


def test_a_bus_that_ends_is_the_owners_quit(owner, bus, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    bus.stop()
    assert helper.wait(timeout=20) == 0
    assert helper.log()[-4:] == [f"{owner.name} has quit", "... it's our owner!", "receieved should terminate", "stop"]
    assert scripted.files == {}


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_a_bus_that_is_stuck_at_the_start_does_not_keep_the_helper(owner, bus, scripted, small_tree, number):
    with bus.stopped():
        helper = owner.launch(small_tree.path, scripted)
        helper.wait_for_line(f"helper launched for {small_tree.path}")
        # The signal comes while it waits for the bus, which it does for seconds.
        processes.wait_until(lambda: processes.open_descriptors(helper.pid) > 5, what="the connection to the bus")
        helper.process.send_signal(number)
        assert helper.wait(timeout=20) == 0
    # The bus was not given up first: then the upload would have begun.
    assert helper.log() == [f"helper launched for {small_tree.path}", "receieved should terminate", "stop"]
    assert scripted.connections == 0


def test_other_applications_may_quit(owner, bus, scripted, small_tree):
    pause = Pause(scripts.usual("STOR"))
    scripted.on("STOR", pause)
    helper = owner.launch(small_tree.path, scripted)
    owner.wait_until(pause.reached.is_set, what="the second item")
    for name in ("com.example.Owner2", "com.example.owner", "com.example.Own"):
        with owners.Application(bus, name):
            pass
        helper.wait_for_line(f"{name} has quit")
    pause.release()
    assert len(owner.wait_for_last_record()) == 3
    assert "... it's our owner!" not in helper.log()
    assert helper.is_running()


def test_an_empty_host_stalls_until_the_owner_quits(owner, small_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    helper = owner.launch(small_tree.path, host="", cachedInfoPath=cache)
    helper.wait_for_line("finished; terminating the helper")
    assert cache.read_bytes().count(b"<dict>") == 3
    owner.stop_upload()
    helper.wait_for_line("stop")
    assert helper.log() == [
        f"helper launched for {small_tree.path}", f"starting upload of {small_tree.path}",
        "finished; terminating the helper", "shouldStop received", "stop",
    ]
    assert helper.is_running()
    assert owner.progress() == []
    owner.quit()
    assert helper.wait(timeout=20) == 0


@pytest.mark.parametrize("identifier", [None, ""])
def test_without_a_bundle_identifier_nothing_happens(owner, scripted, small_tree, tmp_path, identifier):
    cache = tmp_path / "cache.plist"
    helper = owner.launch(small_tree.path, scripted, bundleIdentifier=identifier, cachedInfoPath=cache)
    assert helper.wait() == 0
    assert helper.log() == [f"helper launched for {small_tree.path}", "receieved should terminate", "stop"]
    assert scripted.connections == 0
    assert not cache.exists()
    owner.wait_until(lambda: True)
    assert owner.heard == []


def test_without_a_session_bus_the_upload_goes_on(owner, scripted, small_tree, tmp_path):
    missing = tmp_path / "missing"
    helper = owner.launch(
        small_tree.path, scripted,
        environment={"DBUS_SESSION_BUS_ADDRESS": f"unix:path={missing}/bus", "XDG_RUNTIME_DIR": str(missing)},
    )
    helper.wait_for_line("finished; terminating the helper")
    assert helper.log() == [
        f"helper launched for {small_tree.path}", f"starting upload of {small_tree.path}", "progress: 33%",
        "progress: 66%", "progress: 100%", "finished; terminating the helper",
    ]
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


# The debug log, and what must not be seen.


def test_without_debug_no_line_is_written_anywhere(owner, scripted, five_items):
    for debug in (None, "NO", "0"):
        with SystemLog() as log:
            scripted.on("STOR", scripts.silence)
            stores = scripted.verbs().count("STOR")
            helper = owner.launch(five_items.path, scripted, prefix=log.prefix, debug=debug)
            owner.wait_until(lambda: scripted.verbs().count("STOR") > stores, what="the second item")
            owner.stop_upload()
            owner.wait_for_last_record()
            owner.heard.clear()
            helper.terminate()
            assert helper.wait() == 0
            assert helper.error_output() == ""
            assert log.lines() == []


def test_the_debug_log_goes_to_the_system_log_too(owner, scripted, small_tree):
    with SystemLog() as log:
        helper = owner.launch(small_tree.path, scripted, prefix=log.prefix)
        helper.wait_for_line("finished; terminating the helper")
        lines = log.lines()
        assert len(lines) == len(helper.log()) == 6
        for line, text in zip(lines, helper.log()):
            assert line.endswith(text)
            assert "TelvoFTPHelper" in line


def test_the_process_list_does_not_show_the_password(owner, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    scripted.password = "-top.secret-"
    helper = owner.launch(small_tree.path, scripted, password="-top.secret-")
    helper.wait_for_line(f"helper launched for {small_tree.path}")
    with open(f"/proc/{helper.pid}/cmdline", "rb") as file:
        assert b"secret" not in file.read()
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the login")


def test_the_helper_stores_nothing_in_its_preferences(owner, scripted, small_tree, tmp_path):
    owner.launch(small_tree.path, scripted)
    owner.wait_for_last_record()
    assert list((tmp_path / "config").rglob("*")) == []
