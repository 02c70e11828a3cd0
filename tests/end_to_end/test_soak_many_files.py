"""Memory and open files over very many small files. Not run under the sanitizers, whose own memory would be all that is
measured."""

import itertools
import os

import processes
import servers
import tree

TOTAL = 1 + 200 + 100_000


class QuietVsftpd(servers.Vsftpd):
    """Its log of several hundred thousand commands would cost more than the upload."""

    logs_commands = False


def test_100_000_files_are_sent_with_flat_memory_and_descriptors(owner, tmp_path):
    source = tmp_path / "Site"
    tree.make_empty_files(source, 200, 500)
    with QuietVsftpd() as server:
        helper = owner.launch(source, server, debug=None)
        measured = {}
        # From a quarter on, when everything that grows to its final size has been used.
        for count in (25_000, 50_000, 75_000, 99_000):
            owner.wait_until(lambda: len(owner.heard) >= count, timeout=900, what=f"record {count}")
            measured[count] = processes.memory(helper.pid, "VmRSS"), processes.open_descriptors(helper.pid)
        owner.wait_until(lambda: len(owner.heard) == TOTAL, timeout=120, what="the last record")
        assert [heard.record["Nth"] for heard in owner.heard] == list(range(1, TOTAL + 1))
        assert sum(len(files) for _, _, files in os.walk(server.root)) == 100_000
        sizes, descriptors = zip(*measured.values())
        # The allocator takes what it needs now and then in one step. Eight bytes kept for each item that is sent would
        # make every quarter of the run grow by 190 KB.
        growth = [later - earlier for earlier, later in itertools.pairwise(sizes)]
        assert min(growth) < 128 << 10, measured
        assert max(sizes) - sizes[0] < 2 << 20, measured
        # One more or less for a data connection that is just being opened or closed.
        assert max(descriptors) - min(descriptors) <= 3, measured
