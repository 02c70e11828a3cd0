"""What an owner is told of each item that asks for it, and what is tried again."""

import os

import pytest

import processes
import scripted_server as scripts
import tree
from tracked_upload import keep, outcomes, remembered, track, upload


@pytest.fixture
def cache(tmp_path):
    return tmp_path / "cache.plist"


# Outcomes.


def test_what_arrives_is_sent(owner, installed_server, sample_tree):
    records = track(owner, sample_tree.path, installed_server)
    assert set(outcomes(records)) == {"sent"}
    assert all("Error" not in record and "Aborted" not in record for record in records)
    records = track(owner, sample_tree.path, installed_server)
    assert set(outcomes(records)) == {"sent"}, "folders that are there already are as wanted"


def test_a_refused_login_ends_the_run_and_says_why(owner, installed_server, five_items):
    (record,) = track(owner, five_items.path, installed_server, password="wrong")
    assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
    assert record["ErrorCode"] == 530
    assert record["Error"]
    (record,) = track(owner, five_items.path, installed_server, username="nobody-known")
    assert (record["Outcome"], record["Aborted"], record["ErrorCode"]) == ("failed", True, 530)


@pytest.mark.parametrize("host", ["does.not.exist.invalid", "127.0.0.1:1", "host:abc", "ftp://127.0.0.1", "", "a b"])
def test_a_host_that_cannot_be_reached_ends_the_run(owner, five_items, host):
    (record,) = track(owner, five_items.path, host=host, username="telvo", password="secret")
    assert (record["Outcome"], record["Aborted"], record["IsMore"]) == ("failed", True, False)
    assert (record["Nth"], record["ErrorCode"]) == (1, 0)
    assert record["Error"]


def test_the_servers_words_are_told_and_the_run_goes_on(owner, scripted, five_items):
    scripted.on("STOR", scripts.reply(b"553 No such luck"))
    records = track(owner, five_items.path, scripted)
    assert outcomes(records) == ["sent", "failed", "sent", "sent", "sent"]
    assert (records[1]["Error"], records[1]["ErrorCode"]) == ("No such luck", 553)
    assert not any("WillRetry" in record for record in records)


def test_a_folder_where_nothing_may_be_written_is_told(owner, installed_server, small_tree):
    installed_server.root.chmod(0o555)
    records = track(owner, small_tree.path, installed_server)
    assert outcomes(records) == ["failed", "failed", "failed"]
    assert all(record["ErrorCode"] >= 500 and record["Error"] for record in records)


def test_a_file_that_cannot_be_read_is_told_in_the_systems_words(owner, scripted, small_tree):
    (small_tree.path / "a.txt").chmod(0)
    (small_tree.path / "gone.txt").symlink_to("nowhere")
    records = track(owner, small_tree.path, scripted, prefix=processes.BOUND_BY_PERMISSIONS)
    failed = {os.path.basename(record["LocalPath"]): record["Error"] for record in records
              if record["Outcome"] == "failed"}
    assert failed == {"a.txt": "Permission denied", "gone.txt": "No such file or directory"}
    assert scripted.files == {"/Site/b.txt": b"b"}


def closed_folder(tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("closed/inside", b"1")
    source.file("other", b"2")
    (source.path / "closed").chmod(0)
    return source.path


def test_a_folder_that_cannot_be_looked_into_has_failed(owner, scripted, tmp_path, cache):
    source = closed_folder(tmp_path)
    records = keep(owner, source, scripted, cache, prefix=processes.BOUND_BY_PERMISSIONS)
    told = {os.path.basename(record["LocalPath"]): (record["Outcome"], record.get("Error")) for record in records}
    assert told == {"Site": ("sent", None), "other": ("sent", None), "closed": ("failed", "Permission denied")}
    (source / "closed").chmod(0o755)
    assert outcomes(keep(owner, source, scripted, cache)) == ["sent", "sent"]
    assert scripted.files == {"/Site/closed/inside": b"1", "/Site/other": b"2"}


def test_so_has_one_that_was_sent_before(owner, scripted, tmp_path, cache):
    source = closed_folder(tmp_path)
    (source / "closed").chmod(0o755)
    keep(owner, source, scripted, cache)
    (source / "closed").chmod(0)
    (record,) = keep(owner, source, scripted, cache, deleteMissing="YES", prefix=processes.BOUND_BY_PERMISSIONS)
    assert (record["LocalPath"], record["Outcome"], record["ErrorCode"]) == (f"{source}/closed", "failed", 0)
    (source / "closed").chmod(0o755)
    assert keep(owner, source, scripted, cache) == [None]


def test_a_source_whose_contents_cannot_be_listed_has_failed(owner, scripted, small_tree):
    small_tree.path.chmod(0)
    (record,) = track(owner, small_tree.path, scripted, contentsOnly="YES", prefix=processes.BOUND_BY_PERMISSIONS)
    assert (record["LocalPath"], record["Outcome"], record["Error"], record["IsMore"]) == (
        str(small_tree.path), "failed", "Permission denied", False)
    assert scripted.folders == {"/"}


def test_without_outcomes_such_a_folder_is_made_as_usual(owner, scripted, tmp_path):
    source = closed_folder(tmp_path)
    records = upload(owner, source, scripted, escapeNames="YES", prefix=processes.BOUND_BY_PERMISSIONS)
    assert len(records) == 3
    assert scripted.folders == {"/", "/Site", "/Site/closed"}


def test_a_stop_leaves_the_rest_and_says_so(owner, scripted, five_items, cache):
    scripted.on("STOR", None, scripts.silence)
    owner.launch(five_items.path, scripted, reportOutcomes="YES", rememberSentOnly="YES", cachedInfoPath=cache)
    owner.wait_until(lambda: scripted.verbs().count("STOR") == 2, what="the third item")
    owner.stop_upload()
    records = [heard.record for heard in owner.wait_for_last_record()]
    assert outcomes(records) == ["sent", "sent", "failed"]
    assert records[-1]["IsMore"] is False
    assert len(remembered(cache)) == 2
    assert outcomes(keep(owner, five_items.path, scripted, cache)) == ["sent", "sent", "sent"]
    assert len(scripted.files) == 4


# Another try.


def test_what_failed_for_a_passing_reason_is_tried_again_at_the_end(owner, scripted, five_items):
    scripted.on("STOR", scripts.reply(b"452 Disk full"), None, scripts.reply(b"550 Never"))
    records = track(owner, five_items.path, scripted, attempts=3)
    assert outcomes(records) == ["sent", "failed", "sent", "failed", "sent", "sent"]
    assert [record["Nth"] for record in records] == [1, 2, 3, 4, 5, 2]
    assert [record.get("WillRetry") for record in records] == [None, True, None, None, None, None]
    assert [record["IsMore"] for record in records] == [True] * 5 + [False]
    assert len(scripted.files) == 3


def test_there_are_no_more_tries_than_asked_for(owner, scripted, small_tree):
    scripted.always("STOR", scripts.reply(b"452 Disk full"))
    records = track(owner, small_tree.path / "a.txt", scripted, attempts=2)
    assert [(record["Nth"], record["Outcome"], record.get("WillRetry"), record["IsMore"]) for record in records] == [
        (1, "failed", True, True), (1, "failed", None, False)]
    assert scripted.verbs().count("STOR") == 2


def test_what_goes_into_a_folder_that_was_not_made_is_tried_again_with_it(owner, scripted, small_tree):
    scripted.on("MKD", scripts.reply(b"451 Try later"))
    scripted.on("STOR", scripts.reply(b"550 No such folder"), scripts.reply(b"550 No such folder"))
    records = track(owner, small_tree.path, scripted, attempts=2)
    assert outcomes(records) == ["failed"] * 3 + ["sent"] * 3
    assert [record["Nth"] for record in records] == [1, 2, 3, 1, 2, 3]


def test_a_lost_connection_is_a_passing_reason(owner, scripted, small_tree):
    scripted.on("STOR", scripts.then(scripts.store(final=None), scripts.drop))
    records = track(owner, small_tree.path, scripted, attempts=2)
    assert outcomes(records)[-1] == "sent"
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


def test_a_stop_ends_the_pause_before_a_further_try(owner, scripted, small_tree):
    scripted.always("STOR", scripts.reply(b"452 Disk full"))
    owner.launch(small_tree.path / "a.txt", scripted, reportOutcomes="YES", attempts=100)
    owner.wait_for_records(4)
    owner.stop_upload()
    owner.wait_until(lambda: owner.progress()[-1].record["IsMore"] is False, what="the last record")
    assert owner.progress()[-1].record["Outcome"] == "failed"
