"""Where telvo-upload has the login from, and that nobody else gets to see it."""

import os
import pathlib
import pty
import signal
import subprocess
import termios

import pytest

import processes
import scripted_server as scripts
from tool import login


def test_a_login_in_netrc_is_used(tool, scripted, small_tree, tmp_path):
    netrc = tmp_path / ".netrc"
    netrc.write_text(f"machine 127.0.0.1 login telvo password {scripted.password}\n")
    netrc.chmod(0o600)
    for target in (scripted.address, f"telvo@{scripted.address}"):
        assert tool.run("--no-cache", small_tree.path, target)[0] == 0
    assert b"USER anonymous" not in {command.line for command in scripted.commands}


def test_a_netrc_that_others_may_read_is_not_used(tool, scripted, small_tree, tmp_path):
    netrc = tmp_path / ".netrc"
    netrc.write_text(f"machine 127.0.0.1 login telvo password {scripted.password}\n")
    netrc.chmod(0o644)
    status, _, error = tool.run(small_tree.path, scripted.address)
    assert status == 0
    assert "chmod 600" in error
    assert scripted.commands[0].line == b"USER anonymous"


# As file managers save it, and as people do with secret-tool.
@pytest.fixture(params=["org.gnome.keyring.NetworkPassword", "org.freedesktop.Secret.Generic"])
def keyring(bus, scripted, request):
    program = pathlib.Path(__file__).resolve().parents[3] / "testing" / "keyring.py"
    process = processes.start([program, scripted.password, "protocol=ftp", "server=127.0.0.1", "user=telvo",
                               f"xdg:schema={request.param}"],
                              env=bus.environment, stdout=subprocess.PIPE, text=True)
    assert process.stdout.readline() == "ready\n"
    yield
    processes.end(process)
    process.stdout.close()


def test_the_password_comes_from_the_desktops_keyring(tool, scripted, small_tree, keyring):
    assert tool.run(small_tree.path, f"telvo@{scripted.address}") == (0, "3 sent.\n", "")


def test_a_keyring_without_the_password_is_no_help(tool, scripted, small_tree, keyring):
    status, _, error = tool.run(small_tree.path, f"somebody@{scripted.address}")
    assert status == 1
    assert "there is no password, and no terminal to ask for it" in error
    assert scripted.connections == 0


def test_the_password_comes_from_a_file_first_and_then_from_the_environment(tool, scripted, small_tree, tmp_path):
    right, wrong = tmp_path / "right", tmp_path / "wrong"
    right.write_text(f"{scripted.password}\nsecond line\n")
    wrong.write_text("wrong\n")
    arguments = ("--user", "telvo", small_tree.path, scripted.address)
    tool.run("--no-cache", "--password-file", right, *arguments, TELVO_PASSWORD="wrong")
    assert len(scripted.files) == 2
    scripted.files.clear()
    assert tool.run("--no-cache", "--password-file", wrong, *arguments, **login(scripted))[0] == 3
    assert scripted.files == {}


@pytest.fixture
def asking(tool_path, bus, scripted, small_tree, tmp_path):
    """The tool's process id, its terminal and what it has shown there, once it asks for the password."""
    pid, terminal = pty.fork()
    if pid == 0:
        environment = {**bus.environment, "HOME": str(tmp_path), "XDG_CONFIG_HOME": str(tmp_path / "config"),
                       "XDG_CACHE_HOME": str(tmp_path / "cache")}
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
    assert b"3 sent" in shown


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
