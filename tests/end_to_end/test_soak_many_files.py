"""Memory and open files over very many small files. Not run under the sanitizers, whose own memory would be all that is
measured."""

import itertools
import os

import processes
import servers
import tree

FOLDERS = 200
FILES_EACH = 500
TOTAL = 1 + FOLDERS + FOLDERS * FILES_EACH


class QuietVsftpd(servers.Vsftpd):
    """Its log of several hundred thousand commands would cost more than the upload."""

    logs_commands = False


def files_below(root):
    return {os.path.relpath(os.path.join(folder, name), root) for folder, _, names in os.walk(root) for name in names}


def test_100_000_files_are_sent_with_flat_memory_and_descriptors(owner, tmp_path):
    source = tmp_path / "Site"
    tree.make_empty_files(source, FOLDERS, FILES_EACH)
    with QuietVsftpd() as server:
        helper = owner.launch(source, server, debug=None)
        arrived = server.root / "Site"
        measured = []
        # From a quarter on, when everything that grows to its final size has been used. What has arrived tells how far
        # the helper is: this program reads records more slowly than the helper writes them.
        for folders in (FOLDERS // 4, FOLDERS // 2, FOLDERS * 3 // 4, FOLDERS - 2):
            processes.wait_until(
                lambda: arrived.exists() and len(os.listdir(arrived)) >= folders, timeout=900, what=f"folder {folders}"
            )
            measured.append((processes.memory(helper.pid, "VmRSS"), processes.open_descriptors(helper.pid)))
        owner.wait_until(lambda: len(owner.heard) == TOTAL, timeout=300, what="the last record")
        assert [heard.record["Nth"] for heard in owner.heard] == list(range(1, TOTAL + 1))
        assert files_below(source) - files_below(arrived) == set()
        sizes, descriptors = zip(*measured)
        # The allocator takes what it needs now and then in one step. Eight bytes kept for each item that is sent would
        # make every quarter of the run grow by 190 KB.
        growth = [later - earlier for earlier, later in itertools.pairwise(sizes)]
        assert min(growth) < 128 << 10, measured
        assert max(sizes) - sizes[0] < 2 << 20, measured
        # One more or less for a data connection that is just being opened or closed.
        assert max(descriptors) - min(descriptors) <= 3, measured
