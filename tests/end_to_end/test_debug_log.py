"""The debug log: whoever does not read it costs its reader lines, and never the upload its time."""

import os
import re
import signal

import pytest

import processes
import tree
from system_log import SystemLog

# More than a pipe, a log's socket and what the helper keeps for them can hold together.
ITEMS = 6000
DROPPED = re.compile(rb"(\d+) lines dropped$", re.MULTILINE)


@pytest.fixture
def many_items(tmp_path):
    """Files whose names no URL can hold, so that each is over at once and costs a line."""
    folder = tmp_path / "not sent"
    tree.make_empty_files(folder, 1, ITEMS - 2)
    return folder


class UnreadPipe:
    """For the error output of a command line with `prefix` in front."""

    def __init__(self, folder):
        path = folder / "unread"
        os.mkfifo(path)
        self._descriptor = os.open(path, os.O_RDWR | os.O_NONBLOCK)
        self.prefix = ["sh", "-c", f'exec "$@" 2>"{path}"', "sh"]
        self.text = b""

    def read(self):
        try:
            while block := os.read(self._descriptor, 1 << 16):
                self.text += block
        except BlockingIOError:
            pass
        return self.text


ENDS = {
    "SIGTERM": lambda owner, helper: helper.terminate(),
    "the owner's quit": lambda owner, helper: owner.quit(),
}


@pytest.mark.parametrize("end", ENDS.values(), ids=ENDS)
def test_an_error_output_that_nobody_reads_does_not_stop_the_helper(owner, many_items, tmp_path, end):
    pipe = UnreadPipe(tmp_path)
    helper = owner.launch(many_items, host="127.0.0.1:1", prefix=pipe.prefix)
    assert owner.wait_for_last_record()[-1].record["Nth"] == ITEMS
    end(owner, helper)
    assert helper.wait() == 0


def test_a_system_log_that_does_not_read_does_not_stop_the_helper(owner, many_items):
    with SystemLog() as log:
        helper = owner.launch(many_items, host="127.0.0.1:1", prefix=log.prefix)
        assert owner.wait_for_last_record()[-1].record["Nth"] == ITEMS
        helper.wait_for_line("finished; terminating the helper")
        # What goes elsewhere is complete.
        assert helper.log().count("progress: 50%") == ITEMS // 100
        helper.terminate()
        assert helper.wait() == 0


def test_both_are_told_how_many_lines_they_have_missed(owner, many_items, tmp_path):
    pipe = UnreadPipe(tmp_path)
    with SystemLog() as log:
        helper = owner.launch(many_items, host="127.0.0.1:1", prefix=[*log.prefix, *pipe.prefix])
        owner.wait_for_last_record()

        def missed(read):
            text = read()
            number = DROPPED.search(text)
            return number and (int(number[1]), text)

        def read_log():
            return "\n".join(log.lines()).encode()

        for read in (pipe.read, read_log):
            number, text = processes.wait_until(lambda: missed(read), what="the number of lines")
            written = [line for line in text.splitlines() if b"lines dropped" not in line]
            assert written[0].endswith(b"helper launched for %s" % os.fsencode(many_items))
            # Two lines at the start, one for each item, and the one at the end.
            assert number + len(written) == ITEMS + 3
        helper.process.send_signal(signal.SIGKILL)


def test_the_system_log_names_the_process_and_gets_no_control_characters(owner, scripted, tmp_path):
    source = tmp_path / "bell\a line\nnext \x1b[2J \x7f \x9b"
    source.write_bytes(b"")
    with SystemLog() as log:
        helper = owner.launch(source, scripted, prefix=log.prefix)
        owner.wait_for_last_record()
        processes.wait_until(lambda: len(log.lines()) >= 3, what="the lines")
        launched = log.lines()[0]
        assert launched.endswith(rf"TelvoFTPHelper[{helper.pid}]: helper launched for "
                                 rf"{tmp_path}/bell\x07 line\x0anext \x1b[2J \x7f \xc2\x9b")
        # On standard error a line end stays what it is.
        assert f"helper launched for {source}\n" in helper.error_output()
