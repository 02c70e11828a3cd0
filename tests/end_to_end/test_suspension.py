"""A helper that is stopped for longer than it waits for a reply. In a file of its own, since that takes a minute."""

import signal
import threading
import time

import tree
from crowd import contents
from scripted_server import store, usual

# More than the helper waits for a reply.
TOO_LONG = 65


class Sleeper:
    """For a command: has the helper put to sleep before the server answers."""

    def __init__(self, action, before=None):
        self._action, self._before = action, before
        self.is_asleep, self.reached, self.has_answered = (threading.Event() for _ in range(3))

    def __call__(self, session, argument):
        if self._before:
            self._before(session, argument)
        self.reached.set()
        self.is_asleep.wait(30)
        self._action(session, argument)
        self.has_answered.set()

    def send_to_sleep(self, helper):
        assert self.reached.wait(30)
        helper.process.send_signal(signal.SIGSTOP)
        self.is_asleep.set()


SLEEPS = {
    "greeting": ("GREETING", lambda: Sleeper(usual("GREETING"))),
    "login": ("PASS", lambda: Sleeper(usual("PASS"))),
    "folder": ("MKD", lambda: Sleeper(usual("MKD"))),
    "port": ("EPSV", lambda: Sleeper(usual("EPSV"))),
    "confirmation": ("STOR", lambda: Sleeper(lambda session, _: session.reply(b"226 Stored."), store(final=None))),
}


def test_a_reply_that_has_come_counts_however_late_it_is_read(crowd, tmp_path):
    """The helper sleeps for longer than it waits for a reply, and finds the reply when it wakes up."""
    runs = []
    for name, (verb, make) in SLEEPS.items():
        source = tree.Tree(tmp_path / name / "Site")
        for file in "abc":
            source.file(file, file.encode() * 2000)
        sleeper = make()
        server, helper = crowd.start(source, lambda server: server.on(verb, sleeper))
        sleeper.send_to_sleep(helper)
        assert sleeper.has_answered.wait(30)
        runs.append((name, source, server, helper))
    time.sleep(TOO_LONG)
    for *_, helper in runs:
        helper.process.send_signal(signal.SIGCONT)
    crowd.wait()
    for name, source, server, _ in runs:
        assert server.files == contents(source), name
        assert server.connections == 1, name  # nothing was given up
