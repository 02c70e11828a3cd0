"""Memory over a very large file. Not run under the sanitizers, whose own memory would be all that is measured."""

import hashlib

import processes
from scripted_server import ScriptedServer

GIGABYTE = 1 << 30


def test_a_file_of_4_gigabytes_needs_less_than_64_megabytes(owner, tmp_path):
    path = tmp_path / "large.bin"
    with open(path, "wb") as file:
        file.truncate(4 * GIGABYTE + 1)
        # Marks around the places where counters of fewer bits turn over.
        for offset in (2**31 - 4, 2**32 - 4, 4 * GIGABYTE):
            file.seek(offset)
            file.write(offset.to_bytes(8, "big")[-(4 * GIGABYTE + 1 - offset):])
    with open(path, "rb") as file:
        digest = hashlib.file_digest(file, "sha256").hexdigest()
    with ScriptedServer(keep_content=False) as server:
        helper = owner.launch(path, server)
        (only,) = owner.wait_for_last_record(timeout=600)
        assert only.record["Percent"] == 100
        (transfer,) = server.transfers
        assert (transfer.size, transfer.digest, transfer.ended) == (4 * GIGABYTE + 1, digest, True)
        assert processes.memory(helper.pid, "VmHWM") < 64 << 20
