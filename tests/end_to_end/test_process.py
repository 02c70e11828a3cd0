"""The process that the helper is: what it inherits, what it is denied, and what others may see of it."""

import os
import signal
import sys

import pytest

import processes
import scripted_server as scripts

# Of no other process.
USER = 64777


def test_descriptors_that_are_closed_are_opened_to_nothing(owner, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted, prefix=["sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh"])
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    for descriptor in range(3):
        assert os.readlink(f"/proc/{helper.pid}/fd/{descriptor}") == "/dev/null"
    helper.terminate()
    assert helper.wait() == 0


def test_descriptors_that_are_open_stay(owner, scripted, small_tree):
    helper = owner.launch(small_tree.path, scripted)
    owner.wait_for_last_record()
    assert os.readlink(f"/proc/{helper.pid}/fd/0") == "/dev/null"
    assert os.readlink(f"/proc/{helper.pid}/fd/1").endswith(".stdout")
    assert os.readlink(f"/proc/{helper.pid}/fd/2").endswith(".stderr")


def test_a_limit_on_the_size_of_files_is_a_full_disk(owner, scripted, small_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    helper = owner.launch(small_tree.path, scripted, prefix=["prlimit", "--fsize=100"], cachedInfoPath=cache,
                          debug="NO")
    assert len(owner.wait_for_last_record()) == 3
    assert scripted.files == {"/Site/a.txt": b"a", "/Site/b.txt": b"b"}
    assert cache.stat().st_size == 100
    assert helper.is_running()


def with_signals(function, *numbers):
    """A command line that does something about those signals for what is started with it."""
    return [sys.executable, "-c", f"import os, signal, sys\n{function}\nos.execvp(sys.argv[1], sys.argv[1:])"]


DEFAULT_HANGUP = with_signals("signal.signal(signal.SIGHUP, signal.SIG_DFL)")
BLOCKED = with_signals("signal.pthread_sigmask(signal.SIG_BLOCK, signal.valid_signals())")
WITHOUT_HANGUP = with_signals("signal.signal(signal.SIGHUP, signal.SIG_IGN)")


@pytest.mark.parametrize("number, prefix", [
    (signal.SIGHUP, DEFAULT_HANGUP), (signal.SIGTERM, BLOCKED), (signal.SIGINT, BLOCKED)])
def test_signals_end_it_in_good_order(owner, scripted, small_tree, number, prefix):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted, prefix=prefix)
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the second item")
    helper.process.send_signal(number)
    assert helper.wait() == 0
    assert helper.log()[-2:] == ["receieved should terminate", "stop"]


def test_who_asked_for_no_hangup_gets_none(owner, scripted, small_tree):
    pause = scripts.Pause(scripts.usual("STOR"))
    scripted.on("STOR", pause)
    helper = owner.launch(small_tree.path, scripted, prefix=WITHOUT_HANGUP)
    owner.wait_until(pause.reached.is_set, what="the second item")
    helper.process.send_signal(signal.SIGHUP)
    pause.release()
    assert len(owner.wait_for_last_record()) == 3
    assert helper.is_running()


def test_others_of_the_same_user_cannot_look_into_it(owner, scripted, small_tree):
    processes.require_root("another user")
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted, prefix=processes.as_user(USER))
    owner.wait_until(lambda: "STOR" in scripted.verbs(), what="the login")
    # The system gives what belongs to a process that may not be dumped to root.
    assert os.stat(f"/proc/{helper.pid}/mem").st_uid == 0
    status = open(f"/proc/{helper.pid}/status").read()
    assert f"Uid:\t{USER}\t" in status


# Waiting for others.


class Lease:
    """A write lease on a file, given up when the system has told that somebody else wants to read it."""

    def __init__(self, path, change=b""):
        script = ("import fcntl, os, signal, sys, time\n"
                  "signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGIO])\n"
                  "file = os.open(sys.argv[1], os.O_RDWR)\n"
                  "fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)\n"
                  "print('held', flush=True)\n"
                  "signal.sigwait([signal.SIGIO])\n"
                  "time.sleep(0.5)\n"
                  f"os.write(file, {change!r})\n"
                  "fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_UNLCK)\n"
                  "print('given up', flush=True)\n"
                  "signal.pause()\n")
        self.process = processes.start([sys.executable, "-c", script, path], stdout=-1, text=True)
        assert self.process.stdout.readline() == "held\n"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        processes.end(self.process)
        self.process.stdout.close()


def test_a_file_under_a_write_lease_is_waited_for(owner, scripted, small_tree):
    with Lease(small_tree.path / "a.txt", b"changed") as lease:
        owner.launch(small_tree.path, scripted)
        owner.wait_for_last_record()
        assert lease.process.stdout.readline() == "given up\n"
    assert scripted.files == {"/Site/a.txt": b"changed", "/Site/b.txt": b"b"}


def test_a_stop_is_obeyed_while_a_lease_is_waited_for(owner, scripted, small_tree):
    with Lease(small_tree.path / "a.txt") as lease:
        lease.process.send_signal(signal.SIGSTOP)
        helper = owner.launch(small_tree.path / "a.txt", scripted)
        owner.wait_until(lambda: "LEASE" in open("/proc/locks").read() and helper.log()[1:], what="the wait")
        helper.terminate()
        assert helper.wait(30) == 0
        assert owner.progress() == []


def test_a_cache_under_a_write_lease_is_waited_for(owner, scripted, small_tree, tmp_path):
    cache = tmp_path / "cache.plist"
    owner.upload(small_tree.path, scripted, cachedInfoPath=cache)
    with Lease(cache):
        assert owner.upload(small_tree.path, scripted, cachedInfoPath=cache)[-1].record is None


@pytest.mark.parametrize("manner", [[], ["--interrupted"]], ids=["hanging before", "hanging after the signal"])
def test_a_folder_that_hangs_does_not_keep_it_from_ending(owner, scripted, tmp_path, manner):
    """On a mount whose server does not answer any more, or answers once more when the signal has come."""
    processes.require_root("a file system of its own")
    source = tmp_path / "Mounted"
    source.mkdir()
    program = os.path.join(os.path.dirname(processes.__file__), "hanging_mount.py")
    helper = owner.launch(source, scripted, prefix=[sys.executable, program, *manner, source])
    helper.wait_for_line(f"starting upload of {source}")
    processes.wait_until(lambda: place_in_the_system(helper.pid) == "request_wait_answer", what="the hanging folder")
    helper.terminate()
    assert helper.wait(30) == 0


def place_in_the_system(pid):
    """The function of the kernel in which the main thread waits."""
    with open(f"/proc/{pid}/wchan") as file:
        return file.read()
