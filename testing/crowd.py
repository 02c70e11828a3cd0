"""Many uploads at the same time, for what takes the helper a limit's time."""

from scripted_server import ScriptedServer


class Crowd:
    """Starts one upload with a server of its own after the other, and then waits for the ends of all."""

    def __init__(self, stack, owner):
        self._stack = stack
        self._owner = owner
        self._runs = []  # (token, helper, tree)

    def start(self, source, script):
        """`script` is called with the server before the helper is started."""
        server = self._stack.enter_context(ScriptedServer(receive_buffer=4096))
        script(server)
        token = f"run {len(self._runs)}"
        helper = self._owner.launch(source.path, server, notificationIdentifier=token)
        self._runs.append((token, helper, source))
        return server, helper

    def wait(self, timeout=170):
        for token, helper, source in self._runs:
            records = self._owner.wait_for_last_record(timeout, token=token)
            assert len(records) == source.items(), token
            helper.terminate()
            assert helper.wait() == 0


def contents(source):
    """What a ScriptedServer has to have of a tree."""
    return {f"/{source.path.name}/{path.relative_to(source.path)}": path.read_bytes()
            for path in source.path.rglob("*") if path.is_file()}
