"""Child processes that never outlive the test, and ports that no two tests pick at the same time."""

import ctypes
import fcntl
import os
import random
import signal
import socket
import subprocess
import time

# In front of a command line: permissions bind the command, also when the tests are run by the superuser.
BOUND_BY_PERMISSIONS = (
    ["setpriv", "--inh-caps=-all", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []
)


class NeedsRoot(RuntimeError):
    """Something takes rights that the tests do not have when they are not run as root."""


def require_root(what):
    if os.geteuid() != 0:
        raise NeedsRoot(f"{what} needs root")


def as_user(number):
    """What starts a command as that user, whom permissions bind but for those of files."""
    return ["setpriv", f"--reuid={number}", f"--regid={number}", "--clear-groups", "--inh-caps=+dac_override",
            "--ambient-caps=+dac_override"]


_PR_SET_PDEATHSIG = 1
_libc = ctypes.CDLL(None, use_errno=True)


def _die_with_parent():
    _libc.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


def start(command, **options):
    """Popen in a process group of its own, killed by the kernel should the test process disappear."""
    options.setdefault("stdin", subprocess.DEVNULL)
    return subprocess.Popen(
        [str(argument) for argument in command], start_new_session=True, preexec_fn=_die_with_parent, **options
    )


def end(process):
    """Ends the process and what it has started, politely first; returns its exit status."""
    for signal_number, patience in ((signal.SIGTERM, 5), (signal.SIGKILL, 5)):
        try:
            os.killpg(process.pid, signal_number)
        except ProcessLookupError:
            break
        try:
            process.wait(patience)
        except subprocess.TimeoutExpired:
            continue
    return process.wait(5)


def wait_until(condition, timeout=30, what="the condition", interval=0.01):
    """Returns the condition's first true result; fails the test when there is none in time."""
    limit = time.monotonic() + timeout
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > limit:
            raise AssertionError(f"waited {timeout} s in vain for {what}")
        time.sleep(interval)


def memory(pid, field):
    """Of a process, in bytes: "VmHWM" is the most that was ever resident, "VmRSS" what is now."""
    with open(f"/proc/{pid}/status") as file:
        return next(int(line.split()[1]) * 1024 for line in file if line.startswith(f"{field}:"))


def wake_ups(pid):
    """How often the process has been woken up, or interrupted, so far."""
    with open(f"/proc/{pid}/status") as file:
        return sum(int(line.split()[1]) for line in file if "ctxt_switches" in line)


def processor_time(pid):
    """That the process has had so far, in seconds."""
    with open(f"/proc/{pid}/stat") as file:
        return sum(map(int, file.read().rpartition(")")[2].split()[11:13])) / os.sysconf("SC_CLK_TCK")


def open_descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


class ReservedPort:
    """A TCP port that is free now and stays reserved among all running tests until released.

    The servers can only be told a number, so the port cannot be held open for them; a file lock keeps other tests
    away, and the range lies below the one from which the kernel hands out ports on its own.
    """

    def __init__(self):
        while True:
            self.number = random.randrange(15000, 32000)
            path = f"/tmp/telvo-test-port-{self.number}.lock"
            self._path = path
            self._lock = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
            try:
                fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
                if os.path.samestat(os.fstat(self._lock), os.stat(path)) and self._is_free():
                    return
            except (BlockingIOError, FileNotFoundError):
                pass
            os.close(self._lock)

    def _is_free(self):
        for family, host in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            with socket.socket(family) as probe:
                probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                try:
                    probe.bind((host, self.number))
                except OSError:
                    return False
        return True

    def release(self):
        os.unlink(self._path)
        os.close(self._lock)
