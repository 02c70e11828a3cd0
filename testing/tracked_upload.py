"""Runs of the helper that keep track of what becomes of each item, and what has arrived then."""

import os
import plistlib

# File names that mean something else to some parser on the way; bytes, since not all are UTF-8.
ODD_NAMES = [
    b"with space", b" leading", b"(a)", b"\xc3\xbcmlaut", b"100%", b"%41", b"%", b"a#b", b"a?b", b"a[1]", b"a&b",
    b"a;type=a", b"quote'\"", b"a^b|c", b"a=b,c", b"\xff\xfe", b"half\xc3", b"{braces}", b"-dash", b"~tilde",
    b"\xf0\x9f\x98\x80", b"a:b@c",
]


def upload(owner, source, server=None, **options):
    """A whole run; its records, of which several may be for one item."""
    owner.heard.clear()
    helper = owner.launch(source, server, **options)
    notifications = owner.wait_for_last_record()
    helper.terminate()
    assert helper.wait() == 0
    return [notification.record for notification in notifications]


def track(owner, source, server=None, **options):
    return upload(owner, source, server, **{"reportOutcomes": "YES", "escapeNames": "YES", **options})


def outcomes(records):
    return [record["Outcome"] for record in records if record]


def keep(owner, source, server, cache, **options):
    return track(owner, source, server, cachedInfoPath=cache, rememberSentOnly="YES", **options)


def remembered(cache):
    """The names of what the cache says has arrived."""
    with open(cache, "rb") as file:
        return {os.path.basename(record["LocalPath"]) for record in plistlib.load(file)}


def contents(root):
    """Of everything on a server, by path; None for a folder."""
    found = {}
    for folder, names, files in os.walk(os.fsencode(root)):
        for name in names:
            found[os.path.relpath(os.path.join(folder, name), os.fsencode(root))] = None
        for name in files:
            path = os.path.join(folder, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, os.fsencode(root))] = file.read()
    return found
