"""Servers that fall silent. In a file of its own, since that takes a limit of the helper's, a minute; so everything is
waited for at the same time."""

import os

import tree
from crowd import contents
from scripted_server import reply, silence, store, then

SIZES = {"empty": 0, "small": 2000, "just-below-the-buffer": 511_999, "large": 5_000_000}
SILENCES = {
    "greeting": ("GREETING", silence),
    "USER": ("USER", silence),
    "PASS": ("PASS", silence),
    "EPSV": ("EPSV", silence),
    "STOR": ("STOR", silence),
    "preliminary": ("STOR", then(reply(b"150 Go ahead."), silence)),
    "data": ("STOR", store(limit=1000, ending="stall")),
    "confirmation": ("STOR", store(final=None)),
}


def test_silence_at_any_command_costs_one_item(crowd, tmp_path):
    """Fresh and kept connections, first and later items, files of all sizes."""
    runs = []
    for name, (verb, action) in SILENCES.items():
        for size in SIZES:
            for is_first in (True, False):
                if not is_first and verb in ("GREETING", "USER", "PASS"):
                    continue
                source = tree.Tree(tmp_path / f"{name}-{size}-{is_first}" / "Site")
                if not is_first:
                    source.file("1/a", b"before")
                source.file("2/b", os.urandom(SIZES[size]))
                source.file("3/c", b"after")
                ahead = [None] * (not is_first)
                server, _ = crowd.start(source, lambda server: server.on(verb, *ahead, action))
                runs.append((f"{name}, {size}, first: {is_first}", source, server))
    crowd.wait()
    for name, source, server in runs:
        missing = contents(source).keys() - server.files.keys()
        assert len(missing) <= 1, name
        assert all(server.files[path] == content for path, content in contents(source).items() if path in server.files)
