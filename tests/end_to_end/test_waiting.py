"""What the helper's system does while the helper waits."""

import os
import re
import resource
import subprocess
import threading
import time

import processes
from scripted_server import ScriptedServer, store


def test_a_control_connection_is_kept_alive_during_a_transfer(owner, tmp_path):
    """So that a router between forgets nothing: TCP asks about every minute whether the server is still there."""
    source = tmp_path / "large.bin"
    with open(source, "wb") as file:
        file.truncate(50_000_000)
    with ScriptedServer(receive_buffer=4096) as server:
        server.on("STOR", store(limit=1000, ending="stall"))
        owner.launch(source, server)
        owner.wait_until(lambda: server.transfers, what="the data")
        command = ["ss", "--tcp", "--numeric", "--options", "--no-header", "dport", "=", f":{server.port}"]
        timers = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        (seconds,) = re.findall(r"timer:\(keepalive,(?:(\d+)(?:\.\d+)?sec|1min)", timers)
        assert int(seconds or 60) <= 75, timers


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
