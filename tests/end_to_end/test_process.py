"""The process that the helper is: what it inherits, what it is denied, and what others may see of it."""

import os
import signal
import sys

import pytest

import processes
import scripted_server as scripts

# A user of no other process, whom permissions bind all the same.
USER = 64777
AS_USER = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups", "--inh-caps=+dac_override",
           "--ambient-caps=+dac_override"]
MEGABYTE = 1 << 20


@pytest.fixture
def root():
    processes.require_root("another user")


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


# Limits.


def ended_or_uploaded(helper):
    """Waits for either; the exit status, or None when it has done its work."""
    processes.wait_until(lambda: not helper.is_running() or "finished; term" in helper.error_output(),
                         what="an end of either kind")
    if helper.is_running():
        helper.terminate()
        assert helper.wait() == 0
        return None
    return helper.process.returncode


@pytest.mark.usefixtures("root")
def test_without_threads_it_ends_in_an_error(owner, scripted, small_tree):
    outcomes = []
    for limit in range(1, 8):
        token = f"{limit} processes"
        helper = owner.launch(small_tree.path, scripted, notificationIdentifier=token,
                              prefix=["prlimit", f"--nproc={limit}", *AS_USER])
        outcomes.append(ended_or_uploaded(helper))
        assert outcomes[-1] in (None, 1), f"{token}: {outcomes[-1]}\n{helper.error_output()}"
        if outcomes[-1] == 1:
            assert helper.error_output().splitlines()[-1].startswith("TelvoFTPHelper: ")
    assert outcomes[0] == 1
    assert outcomes[-1] is None


def test_without_memory_it_ends_in_an_error(owner, scripted, small_tree):
    outcomes = []
    for megabytes in [*range(40, 160, 4), 4000]:
        token = f"{megabytes} MB"
        helper = owner.launch(small_tree.path, scripted, notificationIdentifier=token,
                              prefix=["prlimit", f"--as={megabytes * MEGABYTE}"])
        outcomes.append(ended_or_uploaded(helper))
        # Without room for its libraries it does not even start, and the system says so with another status.
        assert outcomes[-1] is None or outcomes[-1] > 0, f"{token}: {outcomes[-1]}\n{helper.error_output()}"
    assert outcomes[-1] is None


def test_a_plan_that_does_not_fit_into_memory_ends_in_an_error(owner, scripted, tmp_path):
    source = tmp_path / "Site"
    inner = source / "inner"
    inner.mkdir(parents=True)
    # Each link doubles the plan: twenty of them make it endless for this purpose.
    for number in range(8):
        (inner / f"link{number}").symlink_to(".")
    helper = owner.launch(source, scripted, prefix=["prlimit", f"--as={300 * MEGABYTE}"])
    assert helper.wait(120) == 1
    assert helper.error_output().splitlines()[-1] == "TelvoFTPHelper: out of memory"


@pytest.mark.usefixtures("root")
def test_others_of_the_same_user_cannot_look_into_it(owner, scripted, small_tree):
    scripted.on("STOR", scripts.silence)
    helper = owner.launch(small_tree.path, scripted, prefix=AS_USER)
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


def test_a_folder_that_hangs_does_not_keep_it_from_ending(owner, scripted, tmp_path):
    """On a mount whose server does not answer any more."""
    processes.require_root("a file system of its own")
    source = tmp_path / "Mounted"
    source.mkdir()
    program = os.path.join(os.path.dirname(processes.__file__), "hanging_mount.py")
    helper = owner.launch(source, scripted, prefix=[sys.executable, program, source])
    helper.wait_for_line(f"starting upload of {source}")
    processes.wait_until(lambda: place_in_the_system(helper.pid) == "request_wait_answer", what="the hanging folder")
    helper.terminate()
    assert helper.wait(30) == 0


def place_in_the_system(pid):
    """The function of the kernel in which the main thread waits."""
    with open(f"/proc/{pid}/wchan") as file:
        return file.read()
