"""The cached-information file, in every state that a disk, a crash or a person can leave it in."""

import datetime
import os
import pathlib
import plistlib
import random
import re
import subprocess
import time
import xml.parsers.expat

import pytest

import processes

HEAD = b'<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">'
TAIL = b"</plist>\n"
GIGABYTE = 1 << 30
MEGABYTE = 1 << 20


@pytest.fixture
def cache(tmp_path):
    return tmp_path / "cache.plist"


def run(owner, source, server, cache, prefix=processes.BOUND_BY_PERMISSIONS, **options):
    """A whole run, to which permissions apply; the number of items that it sent."""
    last = owner.upload(source.path, server, prefix=prefix, cachedInfoPath=cache, **options)[-1].record
    return last["Total"] if last else 0


def records(cache):
    with open(cache, "rb") as file:
        return plistlib.load(file)


# Paths at which no file can be read or written.


@pytest.mark.parametrize("path", ["missing/cache.plist", ".", "Site/a.txt/cache.plist", "n" * 300, "loop", "pipe"])
def test_a_path_that_cannot_be_written_means_no_cache(owner, small_tree, scripted, tmp_path, path):
    os.symlink("loop", tmp_path / "loop")
    os.mkfifo(tmp_path / "pipe")
    before = sorted(tmp_path.rglob("*"))
    for _ in range(2):
        assert run(owner, small_tree, scripted, tmp_path / path) == 3
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
    after = [item for item in tmp_path.rglob("*") if not item.name.startswith("helper-")]
    assert sorted(after) == before


@pytest.mark.parametrize("path", ["/dev/full", "/dev/null", "/dev/zero", "/proc/self/mem", "/proc/version"])
def test_a_device_or_a_file_of_the_system_means_no_cache(owner, small_tree, scripted, path):
    for _ in range(2):
        assert run(owner, small_tree, scripted, path) == 3


def test_a_block_device_is_neither_read_nor_written(owner, small_tree, scripted, tmp_path):
    processes.require_root("a device")
    disk = tmp_path / "disk"
    # What it begins with would be a cache.
    content = plistlib.dumps([]).ljust(MEGABYTE, b" ")
    disk.write_bytes(content)
    device = subprocess.run(["losetup", "--find", "--show", disk], check=True, capture_output=True, text=True).stdout
    try:
        assert run(owner, small_tree, scripted, device.strip()) == 3
    finally:
        subprocess.run(["losetup", "--detach", device.strip()], check=True)
    assert disk.read_bytes() == content


@pytest.mark.parametrize("nested", [False, True])
def test_a_small_file_that_describes_gigabytes_is_no_cache(owner, small_tree, scripted, cache, nested):
    """A binary list refers to one long text again and again."""
    records = ["x" * 90_000] * 80_000
    cache.write_bytes(binary([records] if nested else records))
    assert cache.stat().st_size < 300_000
    helper = owner.launch(small_tree.path, scripted, cachedInfoPath=cache)
    assert owner.wait_for_last_record()[-1].record["Total"] == 3
    assert processes.memory(helper.pid, "VmHWM") < 100 * MEGABYTE


def test_a_cache_that_may_not_be_read_or_written_is_none(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    cache.chmod(0)
    assert run(owner, small_tree, scripted, cache) == 3
    cache.chmod(0o600)
    assert cache.read_bytes() == written


def test_a_cache_that_may_only_be_read_keeps_its_old_contents(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    cache.chmod(0o400)
    small_tree.file("c.txt", b"c")
    # So that what was not in it is sent by every run.
    assert run(owner, small_tree, scripted, cache) == 1
    assert run(owner, small_tree, scripted, cache) == 1
    assert cache.read_bytes() == written


# Disks. Each is a mount of the helper's own, which no other process sees.


def with_disk(folder, script):
    """A command line in front of the helper; the script prepares the disk from inside the folder."""
    processes.require_root("a disk of its own")
    return ["unshare", "--mount", "sh", "-c", f'cd "{folder}" && {script} && cd / && exec "$@"', "sh"]


@pytest.fixture
def disk(tmp_path):
    folder = tmp_path / "disk"
    folder.mkdir()
    return folder


def test_a_read_only_disk_keeps_the_old_contents(owner, small_tree, scripted, disk):
    cache = disk / "cache.plist"
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    read_only = with_disk(disk, "mount --bind . . && mount -o remount,bind,ro .")
    small_tree.file("c.txt", b"c")
    assert run(owner, small_tree, scripted, cache, prefix=read_only) == 1
    assert cache.read_bytes() == written


def test_on_a_full_disk_everything_is_sent_and_the_next_run_sends_it_again(owner, small_tree, scripted, disk, tmp_path):
    for number in range(200):
        small_tree.file(f"{number}.txt", b"content")
    full = with_disk(disk, "mount -t tmpfs -o size=16k tmpfs .")
    helper = owner.launch(small_tree.path, scripted, prefix=full, cachedInfoPath=disk / "cache.plist")
    assert owner.wait_for_last_record()[-1].record["Total"] == 203
    assert len(scripted.files) == 202
    with open(f"/proc/{helper.pid}/root{disk}/cache.plist", "rb") as file:
        left = file.read()
    assert 0 < len(left) <= 16384
    with pytest.raises(xml.parsers.expat.ExpatError):
        plistlib.loads(left)

    cache = tmp_path / "left.plist"
    cache.write_bytes(left)
    assert run(owner, small_tree, scripted, cache) == 203
    assert len(records(cache)) == 203


# Contents that are no cache.


def nested(depth):
    return HEAD + b"<array>" * depth + b"</array>" * depth + TAIL


def binary(root):
    return plistlib.dumps(root, fmt=plistlib.FMT_BINARY)


FOREIGN = {
    "empty": b"",
    "blank": b" \n\t ",
    "text": b"not a property list",
    "zeros": bytes(10_000),
    "noise": random.Random(1).randbytes(100_000),
    "noise in XML": HEAD + random.Random(2).randbytes(100_000),
    "head of the binary format": b"bplist00" + random.Random(3).randbytes(1000),
    "dictionary": plistlib.dumps({"LocalPath": "/a"}),
    "text root": plistlib.dumps("array"),
    "number root": plistlib.dumps(1),
    "date root": HEAD + b"<date>2001-01-01T00:00:00Z</date>" + TAIL,
    "binary dictionary": binary({"a": [1]}),
    "array of other things": plistlib.dumps(["a", 1, True, b"data", [], {}, [["LocalPath"]], {"LocalPath": 1}]),
    "nested": nested(100),
    "nested too deeply": nested(100_000),
    "nested without end": HEAD + b"<array>" * 1_000_000,
    "dictionaries without end": HEAD + b"<dict><key>a</key>" * 300_000,
    "an entity of entities": b'<!DOCTYPE plist [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;&a;&a;&a;&a;">]>'
                             b"<plist><array><string>&b;</string></array></plist>",
    "two roots": HEAD + b"<array/><array/>" + TAIL,
    "wrong order of ends": HEAD + b"<array><dict></array></dict>" + TAIL,
}


@pytest.mark.parametrize("content", FOREIGN.values(), ids=FOREIGN)
def test_what_is_no_cache_filters_nothing_and_is_replaced(owner, small_tree, scripted, cache, content):
    cache.write_bytes(content)
    assert run(owner, small_tree, scripted, cache) == 3
    assert [record["RemoteDirectory"] for record in records(cache)] == ["/", "/Site", "/Site"]
    assert run(owner, small_tree, scripted, cache) == 0
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


def test_a_binary_cache_counts_as_well(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    cache.write_bytes(binary(records(cache)))
    assert run(owner, small_tree, scripted, cache) == 0
    assert cache.read_bytes().startswith(b"<?xml")


def test_a_cache_that_ends_anywhere_is_none_or_the_whole(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    for size in sorted({*range(0, len(written), len(written) // 12), len(written) - 9, len(written) - 2}):
        cache.write_bytes(written[:size])
        assert run(owner, small_tree, scripted, cache) == 3, size
        assert cache.read_bytes() == written
    # Only the line feed at the end may be missing.
    cache.write_bytes(written[:-1])
    assert run(owner, small_tree, scripted, cache) == 0


def test_bytes_that_have_gone_bad_never_stop_a_run(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    dice = random.Random(4)
    for _ in range(15):
        damaged = bytearray(written)
        for _ in range(dice.randrange(1, 8)):
            damaged[dice.randrange(len(damaged))] = dice.randrange(256)
        cache.write_bytes(damaged)
        # What reads differently now is sent again, and nothing else can happen.
        assert 0 <= run(owner, small_tree, scripted, cache) <= 3
        assert cache.read_bytes() == written


# Size. The holes of the files cost no space on the disk.


def write_with_hole(path, before, after):
    with open(path, "wb") as file:
        file.write(before)
        file.truncate(GIGABYTE)
        file.seek(GIGABYTE - len(after))
        file.write(after)
    assert path.stat().st_size == GIGABYTE


@pytest.mark.parametrize("before", [b"", HEAD, HEAD + b"<array><string>", HEAD + b"<array><data>", b"bplist00"],
                         ids=["nothing", "no element", "text", "data", "binary"])
def test_a_gigabyte_of_nothing_is_no_cache(owner, small_tree, scripted, cache, before):
    write_with_hole(cache, before, b"")
    assert run(owner, small_tree, scripted, cache, timeout=300) == 3
    assert len(records(cache)) == 3


def test_a_gigabyte_around_a_cache_is_that_cache(owner, small_tree, scripted, cache):
    assert run(owner, small_tree, scripted, cache) == 3
    written = cache.read_bytes()
    start = written.index(b"<array>")
    write_with_hole(cache, written[:start] + b"<!--", b"-->" + written[start:])
    small_tree.file("c.txt", b"c")
    assert run(owner, small_tree, scripted, cache, timeout=300) == 1
    assert len(records(cache)) == 4


# A helper that is killed.


def test_a_kill_at_any_moment_leaves_a_cache_with_which_the_next_run_is_complete(owner, small_tree, scripted, cache):
    """Written in place, the file may be cut when the helper is killed in the middle of that, and is then no cache: the
    next run sends everything. It is never a mixture, nor taken for more than it is."""
    for number in range(1500):
        small_tree.file(f"folder/{number:04}.txt")
    total = 1504
    assert run(owner, small_tree, scripted, cache) == total
    old = cache.read_bytes()
    small_tree.file("new.txt", b"new")
    assert run(owner, small_tree, scripted, cache) == 1
    new = cache.read_bytes()

    dice = random.Random(5)
    sent = {"old": 1, "new": 0, "cut": total + 1}
    seen = set()
    for round_number in range(40):
        cache.write_bytes(old)
        begun = time.monotonic()
        helper = owner.launch(small_tree.path, scripted, notificationIdentifier=f"killed {round_number}",
                              cachedInfoPath=cache)
        # How far it has come is seen in what it has read and written, whatever the machine's speed.
        moment = dice.choice(["at once", "planning", "any", "any", "sending"])
        if moment == "planning":
            helper.wait_for_line(f"starting upload of {small_tree.path}")
        elif moment == "sending":
            owner.wait_for_records(1, token=f"killed {round_number}")
        elif moment == "any":
            time.sleep(dice.random() * 0.3)
        helper.kill_hard()
        content = cache.read_bytes()
        state = "old" if content == old else "new" if content == new else "cut"
        assert state != "cut" or new.startswith(content), (moment, time.monotonic() - begun)
        seen.add(state)
        assert run(owner, small_tree, scripted, cache) == sent[state], state
        assert cache.read_bytes() == new
    assert {"old", "new"} <= seen
    assert len(scripted.files) == 1503


def test_the_guides_example_is_what_the_helper_writes(owner, scripted, cache, tmp_path):
    """For the folder and the file that it is about; where the folder lies is the reader's."""
    guide = (pathlib.Path(__file__).resolve().parents[2] / "docs" / "owners-guide.md").read_text()
    shown = re.search(r"```xml\n(.*?)```", guide, re.DOTALL).group(1)
    modified = datetime.datetime.fromisoformat(re.search("<date>(.*)Z</date>", shown).group(1) + "+00:00").timestamp()
    site = tmp_path / "Site"
    site.mkdir()
    (site / "index.html").touch()
    os.utime(site / "index.html", (modified, modified))
    owner.upload(site, scripted, cachedInfoPath=cache)
    written = re.sub(r"<!DOCTYPE .*\n", "", cache.read_text(), count=1)
    assert written == shown.replace("/home/anna/Site", str(site))
