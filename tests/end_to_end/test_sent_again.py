"""A large file for which the server had no use when it was asked to store it, before it said anything about its data:
it is sent once more, over another connection or another port."""

import os
import shutil

import pytest

import tree
from crowd import contents
from scripted_server import drop, drop_hard, reply, store, then


def small_ones_before_a_large_one(folder, size, count):
    """A folder is sent in the order in which its system lists it, so it takes some tries to make one."""
    for number in range(1000):
        source = tree.Tree(folder / f"Site-{number}")
        for name in range(count):
            source.file(f"{name}.txt", b"%d" % name * 1000)
        large = source.file(f"large-{number}.bin", os.urandom(size))
        if os.listdir(source.path)[-1] == large.name:
            return source
        shutil.rmtree(source.path)
    raise AssertionError("the large file is never listed last")


@pytest.mark.parametrize("size", [511_999, 512_000, 5_000_000])
@pytest.mark.parametrize("count", [1, 6])
@pytest.mark.parametrize("action", [drop, drop_hard, reply(b"425 No data connection."),
                                    then(reply(b"421 Going down."), drop)], ids=["closed", "reset", "425", "421"])
def test_a_large_file_behind_small_ones_is_sent_again(owner, tmp_path, scripted_anywhere, action, count, size):
    server, launch = scripted_anywhere
    source = small_ones_before_a_large_one(tmp_path, size, count)
    asked = []

    def once_at_the_large_file(session, argument):
        asked.append(argument)
        is_first_time = "/large-" in argument and asked.count(argument) == 1
        (action if is_first_time else store())(session, argument)

    server.always("STOR", once_at_the_large_file)
    owner.upload(source.path, **launch, timeout=50)
    assert server.files == contents(source)
