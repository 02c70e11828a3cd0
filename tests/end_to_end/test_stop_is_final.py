"""Once the helper has been told to stop, no further byte of the item leaves it."""

import threading

import pytest

import processes
from far import far, scripted


SIZE = 400_000_000
# What may be under way when the stop is heard, in the systems' buffers on both sides.
UNDER_WAY = 3_000_000


class SlowReader:
    """For STOR: takes the data steadily, some 20 MB a second, to the end; `taken` is what has come so far."""

    def __init__(self):
        self.taken = 0
        self.ended = None

    def __call__(self, session, _argument):
        session.reply(b"150 Go ahead.")
        data = session.open_data()
        try:
            while block := data.recv(100_000):
                self.taken += len(block)
                session.wait(0.005)
            self.ended = "in good order"
        except OSError:
            self.ended = "cut off"


@pytest.fixture
def large(tmp_path):
    path = tmp_path / "large.bin"
    with open(path, "wb") as file:
        file.truncate(SIZE)
    return path


@pytest.mark.parametrize("begun", [1, 600_000, 10_000_000])
def test_after_a_stop_nothing_more_is_sent(owner, large, scripted_anywhere, begun):
    server, launch = scripted_anywhere
    reader = SlowReader()
    server.on("STOR", reader)
    helper = owner.launch(large, **launch)
    owner.wait_until(lambda: reader.taken >= begun, what="data")
    owner.stop_upload()
    owner.wait_for_last_record()
    taken = reader.taken
    # The helper runs on for half a minute; the server reads on for as long as there is something.
    processes.wait_until(lambda: reader.ended, 25, "the end of the data")
    assert helper.is_running()
    assert reader.ended == "cut off"
    assert reader.taken - taken < UNDER_WAY


def test_after_a_stop_no_packet_with_data_leaves(owner, large):
    """Seen from the network, where the systems' buffers do not count."""
    after = []
    stopped = threading.Event()

    def watches(packet):
        if packet.to_server and packet.length and stopped.is_set():
            after.append(packet.length)
        return False

    with far(scripted, loses=watches) as way:
        reader = SlowReader()
        way.server.on("STOR", reader)
        owner.launch(large, **way.launch)
        owner.wait_until(lambda: reader.taken > 2_000_000, what="data")
        owner.stop_upload()
        owner.wait_for_last_record()
        stopped.set()
        processes.wait_until(lambda: reader.ended, 25, "the end of the data")
        assert sum(after) < UNDER_WAY
