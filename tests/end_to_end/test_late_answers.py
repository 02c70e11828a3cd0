"""A server that answers after the helper has given up. In a file of its own, since that takes a minute."""

import os

import tree
from scripted_server import store

# More than the helper waits for a reply.
TOO_LONG = 65
SIZES = {"empty": 0, "small": 2000, "just-below-the-buffer": 511_999, "large": 5_000_000}


def carried_out_late(server, pause):
    """A server that does not answer the second STOR for so long that the client gives up, and then still carries it
    out: it creates the file anew, and takes what comes."""
    count = []

    def stor(session, argument):
        count.append(argument)
        if len(count) != 2:
            store()(session, argument)
            return
        session.wait(pause)
        server.files[argument] = b""
        store()(session, argument)

    server.always("STOR", stor)
    return count


def test_what_was_sent_once_is_not_sent_again_after_a_limit(crowd, tmp_path):
    runs = []
    for name, size in SIZES.items():
        source = tree.Tree(tmp_path / name / "Site")
        source.file("1/a", b"before")
        source.file("2/b", os.urandom(size))
        source.file("3/c", b"after")
        asked = []
        server, _ = crowd.start(source, lambda server: asked.append(carried_out_late(server, TOO_LONG)))
        runs.append((name, server, asked[0]))
    crowd.wait()
    for name, server, asked in runs:
        assert asked.count("/Site/2/b") == 1, name
        assert server.files["/Site/1/a"] == b"before" and server.files["/Site/3/c"] == b"after"
