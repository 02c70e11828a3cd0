"""The helper's own end, 30 seconds after its last record. In a file of its own, since it takes that long."""

import tree
from scripted_server import ScriptedServer, silence


def seconds_between(helper, first, second):
    times = dict(helper.timed_log())
    return (times[second] - times[first]) % 86400


def test_the_helper_ends_30_seconds_after_its_last_record(owner, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    source.file("a.txt", b"a")
    source.file("b.txt", b"b")
    cache = tmp_path / "cache.plist"
    with ScriptedServer() as server:
        sending = owner.launch(source.path, server, cachedInfoPath=cache)
        owner.wait_for_last_record()
        idle = owner.launch(source.path, server, notificationIdentifier="idle", cachedInfoPath=cache)
        stopped = owner.launch(source.path, server, notificationIdentifier="stopped")
        owner.wait_for_last_record(token="stopped")
        owner.stop_upload("stopped")
        stores = server.verbs().count("STOR")
        server.on("STOR", silence)
        halfway = owner.launch(source.path, server, notificationIdentifier="halfway")
        owner.wait_until(lambda: server.verbs().count("STOR") > stores, what="the second item")
        owner.stop_upload("halfway")

        helpers = (sending, idle, stopped, halfway)
        assert [helper.wait(timeout=120) for helper in helpers] == [0, 0, 0, 0]
        beginning = [f"helper launched for {source.path}", f"starting upload of {source.path}"]
        end = ["terminating the helper", "receieved should terminate", "stop"]
        three = ["progress: 33%", "progress: 66%", "progress: 100%", "finished; terminating the helper"]
        assert sending.log() == beginning + three + end
        assert idle.log() == beginning + ["progress: 0%", "finished; terminating the helper"] + end
        assert stopped.log() == beginning + three + ["shouldStop received", "stop"] + end
        stop = ["progress: 33%", "shouldStop received", "stop", "progress: 66%", "finished; terminating the helper"]
        assert halfway.log() == beginning + stop + end
        # It may take longer on a busy machine, but never less.
        assert seconds_between(sending, "progress: 100%", "terminating the helper") >= 29.99
        assert seconds_between(idle, "progress: 0%", "terminating the helper") >= 29.99
        assert seconds_between(halfway, "progress: 66%", "terminating the helper") >= 29.99
        assert seconds_between(stopped, "progress: 100%", "terminating the helper") >= 29.99
