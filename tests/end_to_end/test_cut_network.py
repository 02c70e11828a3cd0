"""The network is cut in the middle of a second upload, at one step after the other: what lay on the server whole stays
so until its own upload has begun."""

import time

import pytest

import owner as owners
import servers
from far import far
from versions import Versions

NAMES = [f"{number}.txt" for number in range(6)]
# Every how many packets to the server the network is cut: no step of a file's upload takes more than some packets.
STRIDE = 3


class Cut:
    """Cuts a link after so many packets to the server. What was on the other side of a cut never comes back, although
    the system goes on trying."""

    def __init__(self):
        self.link = None
        self.after = None
        self.seen = 0
        self._known, self._dead = set(), set()  # connections, by their ports

    def __call__(self, packet):
        connection = (packet.source, packet.target)
        if packet.is_request:
            self._dead.discard(connection)
        if connection in self._dead:
            return True
        self._known.add(connection)
        self.seen += 1
        if self.after is not None and self.seen > self.after:
            self.link.is_cut = True
        return False

    def mend(self):
        self.after = None
        self._dead |= self._known
        self.link.is_cut = False


def whole_run(owner, way, versions):
    """The files that are to be sent have all arrived by its end; the order in which they were."""
    versions.put_first(way.server)
    owner.upload(versions.site.path, **way.launch)
    assert set(versions.on(way.server).values()) == {"second"}
    return [path.rpartition("/")[2] for path in way.traffic.stored()]


@pytest.mark.parametrize("kind", servers.REAL, ids=lambda kind: kind.name)
def test_only_files_whose_upload_has_begun_are_touched(bus, helper_path, tmp_path, kind):
    versions = Versions(tmp_path, {name: 3000 for name in NAMES})
    cut = Cut()
    with far(kind, loses=cut) as way, owners.Owner(bus, helper_path, tmp_path) as owner:
        cut.link = way.link
        order = whole_run(owner, way, versions)
        assert sorted(order) == NAMES
        packets = cut.seen
        seen = set()
        for after in range(8, packets, STRIDE):
            before = len(way.traffic.stored())
            found = _run_up_to(owner, way, versions, cut, after)
            begun = [path.rpartition("/")[2] for path in way.traffic.stored()[before:]]
            _expect_only_the_last_to_be_incomplete(found, begun, order)
            seen.add(tuple(found[name] for name in order))
        assert len(seen) > len(NAMES) / 2, "the steps were too few"


def _run_up_to(owner, way, versions, cut, after):
    """What lies on the server once the network has been cut and the helper killed."""
    versions.put_first(way.server)
    cut.seen, cut.after = 0, after
    owner.heard.clear()
    helper = owner.launch(versions.site.path, **way.launch)
    owner.wait_until(lambda: way.link.is_cut or any(heard.is_last for heard in owner.progress()), what="the cut")
    helper.kill_hard()
    found = _settled(lambda: versions.on(way.server))
    cut.mend()
    return found


def _settled(look):
    """What has arrived by then is still being stored."""
    last, since = look(), time.monotonic()
    while time.monotonic() - since < 0.15:
        time.sleep(0.02)
        if (now := look()) != last:
            last, since = now, time.monotonic()
    return last


def _expect_only_the_last_to_be_incomplete(found, begun, order):
    assert len(begun) == len(set(begun))
    assert begun == order[:len(begun)]
    for name in begun[:-1]:
        assert found[name] == "second", f"{name} had been confirmed"
    for name in order[len(begun):]:
        assert found[name] == "first", f"the upload of {name} had not begun"
