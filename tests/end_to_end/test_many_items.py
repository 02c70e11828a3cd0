"""Large numbers of items: nothing may grow with them but the plan."""

import processes
import servers
import tree
from control_tap import ControlTap
from scripted_server import ScriptedServer

# Enough to run on, far too little for a call chain that deepens with every item.
SMALL_STACK = ["prlimit", "--stack=1048576:1048576"]


def test_ten_thousand_files_on_a_small_stack_with_few_descriptors(owner, tmp_path):
    source = tree.Tree(tmp_path / "Site")
    tree.make_empty_files(source.path, 20, 500)
    with servers.Vsftpd() as server, ControlTap(server) as tap:
        helper = owner.launch(
            source.path, prefix=SMALL_STACK, debug=None, host=tap.address, username=server.username,
            password=server.password,
        )
        owner.wait_for_records(100, timeout=120)
        early = processes.open_descriptors(helper.pid)
        owner.wait_for_records(9900, timeout=600)
        late = processes.open_descriptors(helper.pid)
        notifications = owner.wait_for_last_record(timeout=600)
        # One more or less for a data connection that is just being opened or closed.
        assert abs(late - early) <= 3
        assert [notification.record["Nth"] for notification in notifications] == list(range(1, 10_022))
        assert source.differences(server.root) == []
        assert tap.logins == 1
        helper.terminate()
        assert helper.wait() == 0


def test_200_000_unchanged_files_are_nothing_to_send(owner, tmp_path):
    source = tmp_path / "Site"
    tree.make_empty_files(source, 200, 1000)
    cache = tmp_path / "cache.plist"
    with ScriptedServer() as server:
        # The first run only has to write the cache, which it has done when the first record comes.
        planning = owner.launch(source, server, prefix=SMALL_STACK, debug=None, cachedInfoPath=cache)
        owner.wait_for_records(1, timeout=300)
        planning.terminate()
        assert planning.wait() == 0
        # Records of the first helper may still be on their way.
        owner.token = "second run"
        commands = len(server.commands)
        written = cache.read_bytes()
        assert written.count(b"<dict>") == 200_201

        helper = owner.launch(source, server, prefix=SMALL_STACK, debug=None, cachedInfoPath=cache)
        (only,) = owner.wait_for_last_record(timeout=300)
        assert only.record is None
        assert len(server.commands) == commands
        assert cache.read_bytes() == written
        helper.terminate()
        assert helper.wait() == 0
