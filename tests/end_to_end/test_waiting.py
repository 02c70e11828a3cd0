"""What the helper's system does while the helper waits."""

import re
import subprocess

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
