"""Nothing that an owner sees may change unless it asks for it: what dbus-monitor writes down of five runs, the log and
the cached-information file are compared, byte for byte, with recordings.

The recordings are in the folder "conversations". They are the interface as the owners that are installed out there know
it. To record new ones on purpose, run this file with TELVO_RECORD=1 and the helper that they are to come from.
"""

import os
import pathlib
import re

import pytest

import owner as owners
import processes
import scripted_server as scripts
import tree

RECORDINGS = pathlib.Path(__file__).parent / "conversations"


class Monitor:
    """What a bystander hears of all notifications."""

    def __init__(self, bus, path):
        self._path = path
        with open(path, "wb") as output:
            self._process = processes.start(
                ["dbus-monitor", f"interface='{owners.INTERFACE}'"], env=bus.environment, stdout=output
            )
        # It is told of its own name once it listens.
        processes.wait_until(path.read_bytes, what="the monitor")

    def text_with(self, count):
        """Everything that was heard, once there are so many notifications in it."""
        processes.wait_until(lambda: len(self._messages()) >= count, what=f"{count} notifications on the bus")
        return "".join(self._messages())

    def _messages(self):
        text = self._path.read_text()
        start = text.find("member=Posted")
        if start < 0:
            return []
        return re.split(r"(?m)^(?=signal )", text[text.rfind("signal ", 0, start):])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        processes.end(self._process)


def chain(folder, *names):
    """A folder in a folder, and so on, with one file at the end, so that there is one order only."""
    source = tree.Tree(folder / names[0])
    file = source.file("/".join([*names[1:], "page.html"]), b"content")
    os.utime(file, (1_000_000_000, 1_000_000_000))
    return source.path


def everything_sent(owner, scripted, folder, cache):
    owner.launch(chain(folder, "Site", "img"), scripted, cachedInfoPath=cache)
    owner.wait_for_last_record()
    return 3


def nothing_to_send(owner, scripted, folder, cache):
    source = chain(folder, "Site", "img")
    owner.upload(source, scripted, cachedInfoPath=cache)
    owner.launch(source, scripted, cachedInfoPath=cache)
    owner.wait_for_records(4)
    return 4


def everything_refused(owner, scripted, folder, cache):
    source = chain(folder, "Site with spaces", "100%", "ümlaut")
    owner.launch(source, scripted, password="wrong", cachedInfoPath=cache)
    owner.wait_for_last_record()
    return 4


def stopped(owner, scripted, folder, cache):
    scripted.on("MKD", None, scripts.silence)
    owner.launch(chain(folder, "Site", "a", "b", "c"), scripted, cachedInfoPath=cache)
    owner.wait_until(lambda: scripted.verbs().count("MKD") == 2, what="the second item")
    owner.stop_upload()
    owner.wait_for_last_record()
    return 3


def without_token_and_source(owner, scripted, folder, cache):
    owner.launch(folder / "missing", scripted, notificationIdentifier=None, cachedInfoPath=cache)
    owner.wait_for_last_record(token=None)
    return 1


@pytest.mark.parametrize(
    "scenario", [everything_sent, nothing_to_send, everything_refused, stopped, without_token_and_source]
)
def test_an_owner_with_the_usual_parameters_sees_what_it_always_has(owner, bus, scripted, tmp_path, scenario):
    cache = tmp_path / "cache.plist"
    with Monitor(bus, tmp_path / "monitor") as monitor:
        count = scenario(owner, scripted, tmp_path, cache)
        helper = owner._helpers[-1]
        helper.wait_for_line("finished; terminating the helper")
        conversation = monitor.text_with(count)
    text = f"{conversation}--- log\n" + "\n".join(helper.log()) + f"\n--- cache\n{cache.read_text()}"
    text = re.sub(r"time=\S+ sender=\S+ -> destination=(.*?) serial=\d+", r"destination=\1", text)
    text = text.replace(str(tmp_path), "/folder")
    recording = RECORDINGS / f"{scenario.__name__}.txt"
    if os.environ.get("TELVO_RECORD"):
        recording.write_text(text)
    assert text == recording.read_text()
