"""The owner for the command line, used the way a person uses it."""

import os
import pathlib
import pty
import signal
import subprocess
import termios

import pytest

import owner as owners
import processes
import scripted_server as scripts


@pytest.fixture(scope="session")
def tool_path():
    default = pathlib.Path(__file__).resolve().parents[2] / "build" / "dev" / "telvo-upload"
    path = pathlib.Path(os.environ.get("TELVO_UPLOAD", default))
    assert path.is_file(), f"no tool at {path}: build it first, or set TELVO_UPLOAD"
    return path


class Tool:
    """Starts telvo-upload and gathers what it prints."""

    def __init__(self, path, address, folder):
        self._path = path
        self._address = address
        self._folder = folder
        self._running = []

    def start(self, *arguments, address=..., **environment):
        kept = {key: value for key, value in os.environ.items() if not key.lower().endswith("_proxy")}
        kept |= {"HOME": str(self._folder), "XDG_CONFIG_HOME": str(self._folder / "config")}
        for name in ("DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR", "DISPLAY", "TELVO_PASSWORD"):
            kept.pop(name, None)
        if address is ...:
            kept["DBUS_SESSION_BUS_ADDRESS"] = self._address
        process = processes.start([self._path, *arguments], env=kept | environment, cwd=self._folder, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self._running.append(process)
        return process

    def run(self, *arguments, **options):
        """Exit status, standard output, standard error."""
        process = self.start(*arguments, **options)
        output, error = process.communicate(timeout=120)
        return process.returncode, output, error

    def close(self):
        for process in self._running:
            processes.end(process)
            process.stdout.close()
            process.stderr.close()


@pytest.fixture
def tool(tool_path, helper_path, bus, tmp_path):
    made = Tool(tool_path, bus.address, tmp_path)
    yield made
    made.close()


def children(pid):
    return [int(child) for child in pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()]


def helper_of(tool_process):
    def find():
        for child in children(tool_process.pid):
            if pathlib.Path(f"/proc/{child}/comm").read_text().strip() == "TelvoFTPHelper":
                return child
        return None
    return processes.wait_until(find, what="the helper to be started")


def is_running(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


def login(scripted):
    return {"TELVO_PASSWORD": scripted.password}


def test_it_uploads_prints_a_line_for_each_item_and_succeeds(tool, scripted, small_tree):
    status, output, error = tool.run("--user", "telvo", small_tree.path, scripted.address, **login(scripted))
    assert (status, error) == (0, "")
    lines = output.splitlines()
    assert lines[0] == f"33% 1 of 3 {small_tree.path}"
    assert [line.rsplit(" ", 1)[0] for line in lines] == ["33% 1 of 3", "66% 2 of 3", "100% 3 of 3"]
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}


def test_it_uploads_to_a_real_server(tool, server, sample_tree):
    status, _, _ = tool.run("--user", server.username, sample_tree.path, server.address,
                            TELVO_PASSWORD=server.password)
    assert status == 0
    assert sample_tree.differences(server.root) == []


def test_relative_paths_and_slashes_at_the_end_are_understood(tool, scripted, small_tree):
    assert tool.run("--user", "telvo", "./Site//", scripted.address, **login(scripted))[0] == 0
    assert scripted.folders == {"/", "/Site"}


def test_with_a_cache_the_second_run_has_nothing_to_send(tool, scripted, small_tree, tmp_path):
    arguments = ("--user", "telvo", "--cache", tmp_path / "cache.plist", small_tree.path, scripted.address)
    assert len(tool.run(*arguments, **login(scripted))[1].splitlines()) == 3
    assert tool.run(*arguments, **login(scripted)) == (0, "Nothing to send.\n", "")
    os.utime(small_tree.path / "a.txt", (1_000_000_000, 1_000_000_000))
    status, output, _ = tool.run(*arguments, **login(scripted))
    assert (status, output) == (0, f"100% 1 of 1 {small_tree.path}/a.txt\n")


def test_it_does_not_wait_for_the_helpers_last_30_seconds_and_leaves_none_behind(tool, scripted, small_tree):
    scripted.on("STOR", scripts.delayed(0.5, scripts.usual("STOR")))
    process = tool.start("--debug", "--user", "telvo", small_tree.path, scripted.address, **login(scripted))
    helper = helper_of(process)
    _, error = process.communicate(timeout=120)
    assert process.returncode == 0
    assert not is_running(helper)
    assert "... it's our owner!" in error
    assert " terminating the helper" not in error.replace("finished; terminating the helper", "")


@pytest.mark.parametrize("signal_number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_stops_the_upload(tool, scripted, small_tree, signal_number):
    scripted.on("STOR", scripts.silence)
    process = tool.start("--user", "telvo", small_tree.path, scripted.address, **login(scripted))
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    helper = helper_of(process)
    process.send_signal(signal_number)
    output, error = process.communicate(timeout=60)
    assert (process.returncode, error) == (130, "Stopped after item 2 of 3.\n")
    assert "66% 2 of 3" in output
    assert not is_running(helper)
    assert scripted.verbs().count("STOR") == 1


def test_a_helper_that_ends_early_is_a_failure(tool, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    process = tool.start("--user", "telvo", small_tree.path, scripted.address, **login(scripted))
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    os.kill(helper_of(process), signal.SIGKILL)
    output, error = process.communicate(timeout=60)
    assert process.returncode == 1
    assert "the helper ended before the upload did" in error


def test_the_helper_ends_when_the_tool_is_killed(tool, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    process = tool.start("--user", "telvo", small_tree.path, scripted.address, **login(scripted))
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    helper = helper_of(process)
    process.kill()
    processes.wait_until(lambda: not is_running(helper), what="the helper's end")


def test_without_a_session_bus_it_starts_one_for_the_run(tool, scripted, small_tree):
    process = tool.start("--user", "telvo", small_tree.path, scripted.address, address=None, **login(scripted))
    helper_of(process)
    started = children(process.pid)
    output, error = process.communicate(timeout=120)
    assert process.returncode == 0
    assert len(output.splitlines()) == 3
    assert len(scripted.files) == 2
    processes.wait_until(lambda: not any(is_running(child) for child in started), what="the end of helper and bus")


def test_the_password_comes_from_a_file_first_and_then_from_the_environment(tool, scripted, small_tree, tmp_path):
    right, wrong = tmp_path / "right", tmp_path / "wrong"
    right.write_text(f"{scripted.password}\nsecond line\n")
    wrong.write_text("wrong\n")
    arguments = ("--user", "telvo", small_tree.path, scripted.address)
    tool.run("--password-file", right, *arguments, TELVO_PASSWORD="wrong")
    assert len(scripted.files) == 2
    scripted.files.clear()
    tool.run("--password-file", wrong, *arguments, **login(scripted))
    assert scripted.files == {}


@pytest.fixture
def asking(tool_path, bus, scripted, small_tree, tmp_path):
    """The tool's process id, its terminal and what it has shown there, once it asks for the password."""
    pid, terminal = pty.fork()
    if pid == 0:
        environment = {**bus.environment, "HOME": str(tmp_path), "XDG_CONFIG_HOME": str(tmp_path / "config")}
        environment.pop("TELVO_PASSWORD", None)
        os.execve(tool_path, [str(tool_path), "--user", "telvo", str(small_tree.path), scripted.address], environment)
    shown = b""
    while b"Password for telvo@" not in shown:
        shown += os.read(terminal, 1000)
    return pid, terminal, shown


def test_the_password_is_asked_for_without_echo(asking, scripted):
    pid, terminal, shown = asking
    os.write(terminal, scripted.password.encode() + b"\n")
    try:
        while block := os.read(terminal, 1000):
            shown += block
    except OSError:
        pass  # How a terminal says that the other side is gone.
    assert os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]) == 0
    os.close(terminal)
    assert scripted.password.encode() not in shown
    assert len(scripted.files) == 2
    # On a terminal, one line is written over again and again.
    assert b"[########################] 100% 3 of 3" in shown
    assert shown.count(b"\r\x1b") + shown.count(b"\r[") >= 3


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_at_the_question_for_the_password_gives_the_terminal_its_echo_back(asking, scripted, number):
    pid, terminal, _ = asking
    assert not termios.tcgetattr(terminal)[3] & termios.ECHO
    held = os.open(os.readlink(f"/proc/{pid}/fd/0"), os.O_RDWR | os.O_NOCTTY)
    os.kill(pid, number)
    assert os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]) == -number
    assert termios.tcgetattr(terminal)[3] & termios.ECHO
    os.close(held)
    os.close(terminal)
    assert scripted.files == {}


def test_the_password_is_no_argument_of_anything(tool, scripted, small_tree):
    scripted.password = "unlikely-text"
    scripted.on("STOR", scripts.silence)
    process = tool.start("--user", "telvo", small_tree.path, scripted.address, TELVO_PASSWORD="unlikely-text")
    processes.wait_until(lambda: "STOR" in scripted.verbs(), what="the login")
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            assert b"unlikely-text" not in path.read_bytes()
        except (FileNotFoundError, ProcessLookupError):
            pass  # It has just ended.
    process.send_signal(signal.SIGTERM)


def test_without_a_user_the_login_is_anonymous(tool, scripted, small_tree):
    assert tool.run(small_tree.path, scripted.address)[0] == 0
    assert scripted.commands[0].line == b"USER anonymous"
    assert len(scripted.files) == 2


def test_mistakes_are_told_before_anything_is_started(tool, scripted, small_tree, tmp_path):
    for arguments in ((), (small_tree.path,), (tmp_path / "nowhere", scripted.address), (small_tree.path, ""),
                      ("--unknown", small_tree.path, scripted.address)):
        status, output, error = tool.run(*arguments)
        assert (status, output) == (2, "")
        assert error != ""
    no_password = ("--user", "telvo", "--password-file", tmp_path / "nowhere")
    assert tool.run(*no_password, small_tree.path, scripted.address)[0] == 1
    assert scripted.connections == 0


def test_debug_shows_the_helpers_log(tool, scripted, small_tree):
    status, _, error = tool.run("--debug", small_tree.path, scripted.address)
    assert status == 0
    assert f"helper launched for {small_tree.path}" in error
    assert "progress: 100%" in error


def test_it_is_an_owner_like_any_other(tool, bus, scripted, small_tree):
    with owners.Application(bus) as listener:
        tool.run(small_tree.path, scripted.address)
        listener.wait_until(lambda: len(listener.heard) == 3)
        assert {heard.name for heard in listener.heard} == {owners.PROGRESS}
        assert len({heard.object for heard in listener.heard}) == 1
