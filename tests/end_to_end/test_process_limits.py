"""What the helper does where the system gives it no more threads, memory or descriptors. Not run under the sanitizers,
which need more of all than the limits leave."""

import os
import resource
import threading
import time

import processes
from scripted_server import ScriptedServer, store

MEGABYTE = 1 << 20
# Of no other process, not even another test's: all of a user's count.
USER = 64778


def ended_or_uploaded(helper):
    """Waits for either; the exit status, or None when it has done its work."""
    processes.wait_until(lambda: not helper.is_running() or "finished; term" in helper.error_output(),
                         what="an end of either kind")
    if helper.is_running():
        helper.terminate()
        assert helper.wait() == 0
        return None
    return helper.process.returncode


def test_without_threads_it_ends_in_an_error(owner, scripted, small_tree):
    processes.require_root("another user")
    outcomes = []
    for limit in range(1, 8):
        token = f"{limit} processes"
        helper = owner.launch(small_tree.path, scripted, notificationIdentifier=token,
                              prefix=["prlimit", f"--nproc={limit}", *processes.as_user(USER)])
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


def lowest_free_descriptor(pid):
    used = {int(name) for name in os.listdir(f"/proc/{pid}/fd")}
    return next(number for number in range(len(used) + 1) if number not in used)


def test_waiting_for_a_descriptor_is_not_busy(owner, tmp_path):
    """In active mode the server's connection cannot be accepted without one."""
    source = tmp_path / "file.txt"
    source.write_bytes(b"content")
    reached, connects = threading.Event(), threading.Event()

    def late(session, argument):
        reached.set()
        connects.wait(30)
        store()(session, argument)

    with ScriptedServer() as server:
        server.on("STOR", late)
        helper = owner.launch(source, server, environment={"FTP_PASSIVE_MODE": "no"})
        assert reached.wait(30)
        limits = resource.prlimit(helper.pid, resource.RLIMIT_NOFILE)
        resource.prlimit(helper.pid, resource.RLIMIT_NOFILE, (lowest_free_descriptor(helper.pid), limits[1]))
        connects.set()
        owner.wait_until(lambda: server.data_peers, what="the server's connection")
        # Ten turns a second take hardly any of a processor's time, whatever the machine does besides.
        started, before = time.monotonic(), processes.processor_time(helper.pid)
        owner.wait_until(lambda: time.monotonic() - started > 3)
        used = processes.processor_time(helper.pid) - before
        assert used < 0.03 * (time.monotonic() - started)
        resource.prlimit(helper.pid, resource.RLIMIT_NOFILE, limits)
        owner.wait_for_last_record()
        assert helper.is_running()
