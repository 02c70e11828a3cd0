"""A server that refuses, or goes away, at any command: the run goes on to its end, and what could be stored is."""

import os

import pytest

import tree
from crowd import contents
from scripted_server import drop, drop_hard, refused_data_port, reply, send, store, then

SIZES = {"empty": 0, "small": 2000, "just below the buffer": 511_999, "large": 5_000_000}
PATIENCE = 50  # less than any limit of the helper's: nothing here has to be waited for

# What happens: the command at which it does, and the server's action.
FAULTS = {
    "greeting: refused": ("GREETING", reply(b"421 Too many.")),
    "greeting: closed": ("GREETING", drop),
    "greeting: reset": ("GREETING", drop_hard),
    "USER: refused": ("USER", reply(b"530 No.")),
    "USER: closed": ("USER", drop),
    "USER: closed with 421": ("USER", then(reply(b"421 No."), drop)),
    "PASS: refused": ("PASS", reply(b"530 No.")),
    "PASS: closed": ("PASS", drop),
    "TYPE: refused": ("TYPE", reply(b"504 No.")),
    "TYPE: closed": ("TYPE", drop),
    "EPSV: refused": ("EPSV", reply(b"500 What?")),
    "EPSV: refused for now": ("EPSV", reply(b"425 Not now.")),
    "EPSV: closed": ("EPSV", drop),
    "EPSV: closed with 421": ("EPSV", then(reply(b"421 No."), drop)),
    "EPSV: garbage": ("EPSV", send(b"229 somewhere\r\n")),
    "EPSV: a port that refuses": ("EPSV", refused_data_port),
    "STOR: refused": ("STOR", reply(b"550 No.")),
    "STOR: 421": ("STOR", reply(b"421 Going down.")),
    "STOR: closed with 421": ("STOR", then(reply(b"421 Going down."), drop)),
    "STOR: 425": ("STOR", reply(b"425 No data connection.")),
    "STOR: 426": ("STOR", reply(b"426 Gone.")),
    "STOR: closed": ("STOR", drop),
    "STOR: reset": ("STOR", drop_hard),
    "data: reset": ("STOR", store(limit=1000, ending="reset", final=b"426 Broken.")),
    "data: ended": ("STOR", store(limit=1000, final=b"451 Local error.")),
    "data: closed": ("STOR", then(store(limit=1000, final=None), drop)),
    "confirmation: closed": ("STOR", then(store(final=None), drop)),
    "confirmation: refused": ("STOR", store(final=b"552 Full.")),
}


@pytest.fixture
def site(tmp_path):
    """Makes a tree in which the file of that size comes alone, or behind a small one, and a small one after it."""
    def make(size, is_first):
        source = tree.Tree(tmp_path / f"{size} {is_first}".replace(" ", "-"))
        if not is_first:
            source.file("before/a", b"before")
        source.file("file/b", os.urandom(SIZES[size]))
        source.file("zz/c", b"after")
        return source
    return make


@pytest.mark.parametrize("is_first", [True, False], ids=["first", "later"])
@pytest.mark.parametrize("name", FAULTS)
def test_no_fault_hangs_the_run(owner, scripted_anywhere, site, name, is_first):
    server, launch = scripted_anywhere
    verb, action = FAULTS[name]
    is_near = "server" in launch
    for size in SIZES if is_near else ("small", "large"):
        source = site(size, is_first)
        wanted = contents(source)
        # The first of those that lead to a later item's transfer are ahead of the item's own.
        ahead = 0 if is_first or verb in ("GREETING", "USER", "PASS", "TYPE") else 1
        server.on(verb, *[None] * ahead, action)
        owner.upload(source.path, **launch, timeout=PATIENCE)
        stored = {path: content for path, content in server.files.items() if path in wanted}
        assert wanted.items() >= stored.items()
        # No more than one file, or one folder with what is in it, has failed.
        assert len(wanted) - len(stored) <= 1
