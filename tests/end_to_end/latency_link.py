"""Two network namespaces joined by a link with latency, for a client on one side and a server on the other.

Packets really travel: opening a connection costs its round trip like everything else. Needs root.
"""

import ctypes
import fcntl
import os
import selectors
import struct
import subprocess
import threading
import time

_CLONE_NEWNET = 0x40000000
_TUNSETIFF = 0x400454CA
_IFF_TUN_NO_PI = 0x1001
_libc = ctypes.CDLL(None, use_errno=True)


def _checked(result):
    if result != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


class Side:
    """A network namespace with a loopback interface and one end of the link."""

    def __init__(self, address):
        self.address = address
        self.tunnel = self._namespace = None
        failure = _in_thread(self._set_up)
        if failure:
            raise failure

    def _set_up(self):
        _checked(_libc.unshare(_CLONE_NEWNET))
        self._namespace = os.open("/proc/thread-self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        self.tunnel = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        fcntl.ioctl(self.tunnel, _TUNSETIFF, struct.pack("16sH22x", b"wire", _IFF_TUN_NO_PI))
        for command in (
            "link set lo up",
            f"address add {self.address}/24 dev wire",
            "link set dev wire mtu 9000 txqueuelen 10000 up",
        ):
            subprocess.run(["ip", *command.split()], check=True)

    @property
    def prefix(self):
        """Put before a command line, it runs the command on this side."""
        return ["nsenter", f"--net=/proc/{os.getpid()}/fd/{self._namespace}"]

    def run(self, function):
        """Calls the function on this side, in a thread: its sockets belong here."""
        results = []

        def enter():
            _checked(_libc.setns(self._namespace, _CLONE_NEWNET))
            results.append(function())

        failure = _in_thread(enter)
        if failure:
            raise failure
        return results[0]

    def close(self):
        for descriptor in (self.tunnel, self._namespace):
            if descriptor is not None:
                os.close(descriptor)


class LatencyLink:
    """`client` and `server` are the two sides; `round_trip` is in seconds."""

    def __init__(self, round_trip):
        self._delay = round_trip / 2
        self.client = Side("10.64.0.1")
        self.server = Side("10.64.0.2")
        self._wake_reader, self._wake_writer = os.pipe()
        self._thread = threading.Thread(target=self._carry, daemon=True)
        self._thread.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        os.write(self._wake_writer, b"x")
        self._thread.join()
        for descriptor in (self._wake_reader, self._wake_writer):
            os.close(descriptor)
        self.client.close()
        self.server.close()

    def _carry(self):
        under_way = []  # (time of arrival, tunnel, packet); all take equally long, so they stay in order
        selector = selectors.DefaultSelector()
        selector.register(self.client.tunnel, selectors.EVENT_READ, self.server.tunnel)
        selector.register(self.server.tunnel, selectors.EVENT_READ, self.client.tunnel)
        selector.register(self._wake_reader, selectors.EVENT_READ, None)
        while True:
            wait = max(0, under_way[0][0] - time.monotonic()) if under_way else None
            for key, _ in selector.select(wait):
                if key.data is None:
                    selector.close()
                    return
                under_way += _waiting_packets(key.fd, key.data, self._delay)
            now = time.monotonic()
            arrived = 0
            while arrived < len(under_way) and under_way[arrived][0] <= now:
                _deliver(*under_way[arrived][1:])
                arrived += 1
            del under_way[:arrived]


def _waiting_packets(source, target, delay):
    packets = []
    for _ in range(64):
        try:
            packets.append((time.monotonic() + delay, target, os.read(source, 65536)))
        except BlockingIOError:
            break
    return packets


def _deliver(tunnel, packet):
    try:
        os.write(tunnel, packet)
    except OSError:
        pass  # A lost packet; TCP copes.


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
