"""The cached-information file of what has arrived: the next run sends the rest, and removes what is gone."""

import os
import random
import shutil
import time

import pytest

import owner as owners
import processes
import scripted_server as scripts
import tree
from tracked_upload import contents, keep, outcomes, remembered


@pytest.fixture
def cache(tmp_path):
    return tmp_path / "cache.plist"


# The cache of what arrived.


def test_what_failed_is_sent_by_the_next_run(owner, installed_server, sample_tree, cache):
    keep(owner, sample_tree.path, installed_server, cache, password="wrong")
    assert remembered(cache) == set()
    installed_server.root.chmod(0o555)
    keep(owner, sample_tree.path, installed_server, cache)
    assert remembered(cache) == set()
    installed_server.root.chmod(0o755)
    assert set(outcomes(keep(owner, sample_tree.path, installed_server, cache))) == {"sent"}
    assert keep(owner, sample_tree.path, installed_server, cache) == [None]


def test_the_cache_has_the_usual_form(owner, scripted, small_tree, tmp_path, cache):
    usual = tmp_path / "usual.plist"
    owner.upload(small_tree.path, scripted, cachedInfoPath=usual)
    keep(owner, small_tree.path, scripted, cache)
    assert cache.read_bytes() == usual.read_bytes()


def test_a_file_that_was_cut_is_sent_again_whatever_its_date_says(owner, scripted, small_tree, cache):
    file = small_tree.path / "a.txt"
    keep(owner, small_tree.path, scripted, cache)
    date = file.stat().st_mtime
    file.write_bytes(b"changed")
    os.utime(file, (date + 10, date + 10))
    scripted.on("STOR", scripts.drop)
    assert outcomes(keep(owner, small_tree.path, scripted, cache)) == ["failed"]
    file.write_bytes(b"a")
    os.utime(file, (date, date))
    assert outcomes(keep(owner, small_tree.path, scripted, cache)) == ["sent"]


def test_a_kill_loses_nothing_but_the_last_seconds(owner, scripted, tmp_path, cache):
    source = tree.Tree(tmp_path / "Many")
    for number in range(300):
        source.file(f"{number:03}.txt", b"content")
    dice = random.Random(1)
    for number in range(12):
        helper = owner.launch(source.path, scripted, notificationIdentifier=f"run {number}", cachedInfoPath=cache,
                              rememberSentOnly="YES", bytesPerSecond=1000)
        time.sleep(dice.random() * 3)
        helper.kill_hard()
        if cache.exists():
            assert {f"/Many/{name}" for name in remembered(cache) - {"Many"}} <= set(scripted.files)
    keep(owner, source.path, scripted, cache)
    assert len(scripted.files) == 300
    assert keep(owner, source.path, scripted, cache) == [None]
    assert list(tmp_path.glob("cache*")) == [cache]


def test_what_has_arrived_is_saved_while_a_large_file_is_on_its_way(owner, scripted, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    for name in "ab":
        source.file(f"{name}.txt", b"x")
    pause = scripts.Pause(scripts.usual("STOR"))
    scripted.on("STOR", None, pause)
    owner.launch(source.path, scripted, cachedInfoPath=cache, rememberSentOnly="YES")
    processes.wait_until(lambda: cache.exists() and len(remembered(cache)) == 2, what="the cache")
    pause.release()
    owner.wait_for_last_record()
    assert len(remembered(cache)) == 3


@pytest.mark.parametrize("end", [owners.Owner.release_name, owners.Owner.stop_upload])
def test_what_has_arrived_is_saved_when_the_owner_ends_the_run(owner, scripted, five_items, cache, end):
    scripted.on("STOR", None, scripts.silence)
    helper = owner.launch(five_items.path, scripted, rememberSentOnly="YES", cachedInfoPath=cache)
    owner.wait_until(lambda: scripted.verbs().count("STOR") == 2, what="the third item")
    end(owner)
    helper.wait_for_line("stop")
    processes.wait_until(lambda: cache.exists() and len(remembered(cache)) == 2, what="the cache")


# What is gone.


def gone(owner, source, server, cache, **options):
    return keep(owner, source, server, cache, deleteMissing="YES", **options)


def test_what_is_gone_is_removed_and_nothing_else(owner, installed_server, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    for name in ("stays.txt", "goes.txt", "folder/deep/a", "folder/b", "kept/c", "mixed/ours"):
        source.file(name, name.encode())
    gone(owner, source.path, installed_server, cache)
    foreign = {"foreign.txt": b"f", "mixed/foreign": b"f"}
    for name, content in foreign.items():
        (installed_server.root / "Site" / name).write_bytes(content)
    (source.path / "goes.txt").unlink()
    shutil.rmtree(source.path / "folder")
    shutil.rmtree(source.path / "mixed")
    records = gone(owner, source.path, installed_server, cache)
    assert all(record["IsRemoval"] for record in records)
    by_name = {os.path.basename(record["LocalPath"]): record["Outcome"] for record in records}
    assert by_name == {"goes.txt": "removed", "a": "removed", "deep": "removed", "b": "removed", "folder": "removed",
                       "ours": "removed", "mixed": "failed"}
    assert contents(installed_server.root) == {
        b"Site": None, b"Site/stays.txt": b"stays.txt", b"Site/kept": None, b"Site/kept/c": b"kept/c",
        b"Site/foreign.txt": b"f", b"Site/mixed": None, b"Site/mixed/foreign": b"f",
    }


def test_a_file_takes_a_folders_place_and_the_other_way_round(owner, installed_server, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    source.file("x/inside", b"1")
    source.file("y", b"2")
    gone(owner, source.path, installed_server, cache)
    shutil.rmtree(source.path / "x")
    (source.path / "y").unlink()
    source.file("x", b"3")
    source.file("y/inside", b"4")
    records = gone(owner, source.path, installed_server, cache)
    assert set(outcomes(records)) == {"removed", "sent"}
    assert contents(installed_server.root) == {b"Site": None, b"Site/x": b"3", b"Site/y": None, b"Site/y/inside": b"4"}
    assert gone(owner, source.path, installed_server, cache) == [None]


def test_what_was_removed_there_already_is_removed(owner, installed_server, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    source.file("folder/file", b"1")
    source.file("other", b"1")
    gone(owner, source.path, installed_server, cache)
    shutil.rmtree(source.path / "folder")
    shutil.rmtree(installed_server.root / "Site" / "folder")
    assert outcomes(gone(owner, source.path, installed_server, cache)) == ["removed", "removed"]
    assert gone(owner, source.path, installed_server, cache) == [None]


@pytest.mark.parametrize("empty", [lambda path: shutil.rmtree(path),
                                   lambda path: [file.unlink() for file in path.iterdir()]], ids=["missing", "empty"])
def test_an_empty_source_removes_nothing_unless_told_so(owner, installed_server, small_tree, cache, empty):
    gone(owner, small_tree.path, installed_server, cache, contentsOnly="YES", remoteDirectory="/www")
    before = contents(installed_server.root)
    empty(small_tree.path)
    gone(owner, small_tree.path, installed_server, cache, contentsOnly="YES", remoteDirectory="/www")
    assert contents(installed_server.root) == before
    records = gone(owner, small_tree.path, installed_server, cache, contentsOnly="YES", remoteDirectory="/www",
                   allowEmptySource="YES")
    assert outcomes(records) == ["removed", "removed"]
    assert contents(installed_server.root) == {b"www": None}


def test_a_folder_that_cannot_be_looked_into_is_not_gone(owner, scripted, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    source.file("closed/file", b"1")
    source.file("other", b"1")
    gone(owner, source.path, scripted, cache)
    (source.path / "closed").chmod(0)
    records = gone(owner, source.path, scripted, cache, prefix=processes.BOUND_BY_PERMISSIONS)
    (source.path / "closed").chmod(0o755)
    assert "removed" not in outcomes(records)
    assert "DELE" not in scripted.verbs()


def test_what_is_left_out_from_now_on_is_not_gone(owner, scripted, small_tree, cache):
    gone(owner, small_tree.path, scripted, cache)
    assert gone(owner, small_tree.path, scripted, cache, exclude="a.txt") == [None]
    (small_tree.path / "a.txt").unlink()
    assert gone(owner, small_tree.path, scripted, cache, exclude="a.txt") == [None]
    assert "DELE" not in scripted.verbs()


def test_without_a_cache_of_what_arrived_nothing_is_removed(owner, scripted, small_tree, cache):
    for _ in range(2):
        helper = owner.launch(small_tree.path, scripted, deleteMissing="YES", cachedInfoPath=cache)
        owner.wait_for_last_record()
        assert "deleteMissing needs rememberSentOnly" in helper.log()
        owner.heard.clear()
        (small_tree.path / "a.txt").unlink(missing_ok=True)
    assert "DELE" not in scripted.verbs()


# Dry run.


def test_a_dry_run_tells_the_plan_and_does_nothing(owner, scripted, tmp_path, cache):
    source = tree.Tree(tmp_path / "Site")
    for name in ("same", "changes", "goes"):
        source.file(name, b"1")
    gone(owner, source.path, scripted, cache)
    (source.path / "goes").unlink()
    os.utime(source.path / "changes", (1, 1))
    source.file("new", b"1")
    saved, connections = cache.read_bytes(), scripted.connections
    records = gone(owner, source.path, scripted, cache, dryRun="YES")
    told = {os.path.basename(record["LocalPath"]): record["Reason"] for record in records}
    assert told == {"goes": "gone", "changes": "changed", "new": "new"}
    assert records[0]["IsRemoval"] is True
    assert set(outcomes(records)) == {"planned"}
    assert [record["IsMore"] for record in records] == [True, True, False]
    assert cache.read_bytes() == saved
    assert scripted.connections == connections
