"""Networks of a test's own, in which every port and every answer is the test's. Need root."""

import ctypes
import os
import socket
import subprocess
import threading

import processes

_CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)


def _checked(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


class NetworkNamespace:
    """A network with nothing but a loopback interface."""

    def __init__(self):
        self._namespace = None
        processes.require_root("a network of its own")
        failure = _in_thread(self._set_up)
        if failure:
            raise failure

    def _set_up(self):
        """Runs in a thread of its own, which lies in the new network."""
        _checked(_libc.unshare(_CLONE_NEWNET))
        self._namespace = os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)

    @property
    def prefix(self):
        """Put before a command line, it runs the command in this network."""
        return ["nsenter", f"--net=/proc/{os.getpid()}/fd/{self._namespace}"]

    def run(self, function):
        """Calls the function in this network, in a thread: its sockets belong here."""
        results = []

        def enter():
            _checked(_libc.setns(self._namespace, _CLONE_NEWNET))
            results.append(function())

        failure = _in_thread(enter)
        if failure:
            raise failure
        return results[0]

    def close(self):
        if self._namespace is not None:
            os.close(self._namespace)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class NameServer(NetworkNamespace):
    """A network with one name server, which either knows no name or never answers.

    Programs find it because they run with a resolv.conf of their own, in a mount namespace.
    """

    def __init__(self, folder, answers):
        self._answers = answers
        self._socket = None
        self._questions = 0
        self._configuration = folder / "resolv.conf"
        self._configuration.write_text("nameserver 127.0.0.1\noptions timeout:30 attempts:1\n")
        self._order = folder / "nsswitch.conf"
        self._order.write_text("hosts: files dns\n")
        super().__init__()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _set_up(self):
        super()._set_up()
        # On a computer that has no address but the loopback interface's nobody is asked.
        subprocess.run(["ip", "address", "add", "192.0.2.1/32", "dev", "lo"], check=True)
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.bind(("127.0.0.1", 53))

    @property
    def prefix(self):
        mounts = f"mount --bind {self._configuration} /etc/resolv.conf && mount --bind {self._order} /etc/nsswitch.conf"
        return [*super().prefix, "unshare", "--mount", "sh", "-c", f'{mounts} && exec "$@"', "sh"]

    def questions(self):
        """How many there were."""
        return self._questions

    def _serve(self):
        while True:
            question, client = self._socket.recvfrom(4096)
            if not question:
                return
            self._questions += 1
            if self._answers:
                # The same message as a response: recursion was desired and is available, the name does not exist.
                self._socket.sendto(question[:2] + b"\x81\x83" + question[4:], client)

    def close(self):
        # An empty message ends the thread.
        address = self._socket.getsockname()
        self.run(lambda: socket.socket(socket.AF_INET, socket.SOCK_DGRAM).sendto(b"", address))
        self._thread.join()
        self._socket.close()
        super().close()


def _in_thread(function):
    failures = []

    def guarded():
        try:
            function()
        except BaseException as failure:  # handed to the caller
            failures.append(failure)

    thread = threading.Thread(target=guarded)
    thread.start()
    thread.join()
    return failures[0] if failures else None
