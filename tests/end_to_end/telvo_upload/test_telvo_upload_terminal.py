"""telvo-upload on a terminal, by what its screen shows."""

import os
import pathlib
import pty
import re
import shutil
import signal
import time
import unicodedata

import pytest

import processes
import scripted_server as scripts
import terminal as terminals

FAKE_HELPER = pathlib.Path(__file__).resolve().parents[3] / "testing" / "fake_helper.py"


@pytest.fixture
def environment(bus, tmp_path):
    kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
    kept.pop("TELVO_PASSWORD", None)
    return kept | {"HOME": str(tmp_path), "XDG_CACHE_HOME": str(tmp_path / "cache"), "XDG_CONFIG_HOME": str(tmp_path),
                   "DBUS_SESSION_BUS_ADDRESS": bus.address}


@pytest.fixture
def open_terminal(environment):
    opened = []

    def open_one(columns, **more):
        opened.append(terminals.Terminal(columns, environment | more))
        return opened[-1]
    yield open_one
    for one in opened:
        one.close()


@pytest.fixture
def staged(tool_path, tmp_path):
    """The command line of an upload by a helper that is in the middle of a big file for good."""
    folder = tmp_path / "staged"
    folder.mkdir()
    shutil.copy(tool_path, folder / "telvo-upload")
    shutil.copy(FAKE_HELPER, folder / "TelvoFTPHelper")
    source = tmp_path / "in-the-middle"
    source.mkdir()
    return [folder / "telvo-upload", source, "host.example"]


def width(row):
    wide = sum(unicodedata.east_asian_width(character) in "WF" for character in row)
    return len(row) + wide - sum(unicodedata.combining(character) > 0 for character in row)


def progress_rows(rows):
    return [row for row in rows if re.match(r"\d+%  ", row)]


def wait_for_progress(terminal):
    terminal.wait_for("3/22")


@pytest.mark.parametrize("columns", [20, 40, 80, 200])
def test_the_progress_is_one_line_that_fits(open_terminal, staged, columns):
    terminal = open_terminal(columns)
    terminal.run(*staged)
    wait_for_progress(terminal)
    screen = terminal.rows()
    rows = progress_rows(screen)
    assert len(rows) == 1
    assert width(rows[0]) < columns
    # It is the last thing on the screen, and the only thing of the upload.
    assert screen[-1] == rows[0]
    assert re.match(r"0%  3/22", rows[0])
    assert rows[0].endswith(".jpg") or rows[0].endswith("MB)")


def test_a_wide_terminal_shows_the_file_the_run_the_rate_and_the_time_left(open_terminal, staged):
    terminal = open_terminal(200)
    terminal.run(*staged)
    processes.wait_until(lambda: " left" in terminal.text(), what="the time left")
    row = progress_rows(terminal.rows())[0]
    assert re.search(r"\d+:\d\d:\d\d left", row)
    assert re.search(r"[\d.]+.[kM]B/s", row)
    assert re.search(r"of 4\.6.GB", row)
    assert re.search(r"of 340\.0.MB\)$", row)


def test_nothing_in_a_name_acts_on_the_terminal(open_terminal, staged):
    terminal = open_terminal(200)
    terminal.run(*staged)
    wait_for_progress(terminal)
    row = progress_rows(terminal.rows())[0]
    assert "/home/anna/日本語のファイル/\ufffd[31mred\ufffd2J\ufffd写真.jpg" in row


@pytest.mark.parametrize("before, after", [(200, 40), (80, 20), (40, 200), (80, 79)])
def test_a_resize_in_the_middle_leaves_one_line_that_fits(open_terminal, staged, before, after):
    terminal = open_terminal(before)
    terminal.run("echo", "above")
    terminal.run(*staged)
    wait_for_progress(terminal)
    terminal.resize(after)

    def fits():
        screen = terminal.rows()
        rows = progress_rows(screen)
        return len(rows) == 1 and width(rows[0]) < after and screen[-1] == rows[0]
    processes.wait_until(fits, what="one line that fits")
    # What stood above it is still there.
    text = terminal.text().replace("\n", "")
    assert "echo above" in text and "host.example" in text


def test_the_line_is_drawn_at_most_ten_times_a_second(environment, staged):
    """However many there were in a time, no more may have come in that."""
    begin = time.monotonic()
    pid, terminal = pty.fork()
    if pid == 0:
        os.execve(staged[0], list(map(str, staged)), environment)
    shown = b""
    while shown.count(b"3/22") < 30:
        shown += os.read(terminal, 1000)
    passed = time.monotonic() - begin
    os.kill(pid, signal.SIGKILL)
    os.waitpid(pid, 0)
    os.close(terminal)
    assert shown.count(b"3/22") <= 10 * passed + 1


def test_verbose_leaves_a_line_for_each_item_and_nothing_of_the_progress(open_terminal, tool_path, scripted,
                                                                         five_items):
    terminal = open_terminal(200)
    terminal.run(tool_path, "--verbose", "--no-cache", five_items.path, scripted.address)
    terminal.wait_for("5 sent.")
    rows = terminal.rows()
    assert [row[:7] for row in rows if row.endswith(": sent")] == [f"{number} of 5 " for number in range(1, 6)]
    assert progress_rows(rows) == []


def test_in_the_background_it_leaves_the_terminal_alone(open_terminal, staged):
    terminal = open_terminal(80)
    terminal.run(*staged)
    wait_for_progress(terminal)
    terminal.press("C-z")
    terminal.wait_for("Stopped")
    terminal.run("bg")
    terminal.type("echo in peace")
    time.sleep(1)
    assert terminal.rows()[-1].endswith("echo in peace")
    terminal.press("Enter")
    terminal.run("fg")
    processes.wait_until(lambda: progress_rows(terminal.rows()[-1:]), what="the progress in the foreground")
    terminal.press("C-c")
    terminal.wait_for("stopped in item 3 of 22")


def test_ctrl_c_stops_and_says_so_and_leaves_a_clean_line(open_terminal, staged):
    terminal = open_terminal(80)
    terminal.run(*staged)
    wait_for_progress(terminal)
    terminal.press("C-c")
    terminal.wait_for("stopped in item 3 of 22")
    terminal.run("echo", "status", "is")
    terminal.wait_for("status is")
    assert progress_rows(terminal.rows()) == []


def test_ctrl_c_stops_at_once_without_a_session_bus(open_terminal, environment, tool_path, scripted, five_items):
    scripted.on("STOR", scripts.silence)
    terminal = open_terminal(80, DBUS_SESSION_BUS_ADDRESS="unix:path=/nowhere")
    terminal.run(tool_path, five_items.path, scripted.address)
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    terminal.press("C-c")
    terminal.wait_for("stopped in item 2 of 5")
    terminal.type("echo status=$?")
    terminal.press("Enter")
    terminal.wait_for("status=130")
    assert scripted.verbs().count("STOR") == 1


@pytest.fixture
def asking(open_terminal, tool_path, scripted, small_tree):
    """A terminal on which the password is asked for."""
    terminal = open_terminal(80)
    terminal.run(tool_path, "--no-cache", small_tree.path, f"telvo@{scripted.address}")
    terminal.wait_for("Password for telvo@")
    processes.wait_until(lambda: not terminal.echoes(), what="the end of the echo")
    return terminal


def test_the_password_is_not_shown(asking, scripted):
    asking.type(scripted.password)
    asking.press("Enter")
    asking.wait_for("3 sent")
    assert scripted.password not in asking.text()
    assert len(scripted.files) == 2


def test_ctrl_z_at_the_question_gives_the_shell_its_echo_and_the_question_its_silence_again(asking, scripted):
    asking.press("C-z")
    asking.wait_for("Stopped")
    processes.wait_until(asking.echoes, what="the shell's echo")
    asking.run("echo", "in", "between")
    asking.wait_for("in between")
    asking.run("fg")
    processes.wait_until(lambda: asking.text().count("Password for telvo@") == 2, what="the question again")
    processes.wait_until(lambda: not asking.echoes(), what="the end of the echo")
    asking.type(scripted.password)
    asking.press("Enter")
    asking.wait_for("3 sent")
    assert scripted.password not in asking.text()
    processes.wait_until(asking.echoes, what="the shell's echo")


def test_ctrl_d_is_no_empty_password(asking, scripted):
    asking.press("C-d")
    asking.wait_for("no password was given")
    processes.wait_until(asking.echoes, what="the shell's echo")
    assert scripted.connections == 0


def test_ctrl_c_at_the_question_ends_it(asking, scripted):
    asking.press("C-c")
    processes.wait_until(asking.echoes, what="the shell's echo")
    asking.run("echo", "status", "is")
    asking.wait_for("status is")
    assert scripted.connections == 0
