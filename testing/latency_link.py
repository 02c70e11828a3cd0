"""Two network namespaces joined by a link with latency, for a client on one side and a server on the other.

Packets really travel: opening a connection costs its round trip like everything else. Needs root.
"""

import fcntl
import heapq
import itertools
import os
import selectors
import socket
import struct
import subprocess
import threading
import time

from network_namespace import NetworkNamespace

_TUNSETIFF = 0x400454CA
_IFF_TUN_NO_PI = 0x1001


class Side(NetworkNamespace):
    """A network namespace with one end of the link."""

    def __init__(self, address):
        self.address = address
        self.tunnel = None
        super().__init__()

    def _set_up(self):
        super()._set_up()
        self.tunnel = os.open("/dev/net/tun", os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        fcntl.ioctl(self.tunnel, _TUNSETIFF, struct.pack("16sH22x", b"wire", _IFF_TUN_NO_PI))
        for command in (f"address add {self.address}/24 dev wire", "link set dev wire mtu 9000 txqueuelen 10000 up"):
            subprocess.run(["ip", *command.split()], check=True)

    def close(self):
        if self.tunnel is not None:
            os.close(self.tunnel)
        super().close()


class Packet:
    """A TCP packet on its way."""

    def __init__(self, content, to_server):
        self.to_server = to_server
        header = (content[0] & 0x0F) * 4
        total = struct.unpack_from(">H", content, 2)[0]
        self.source, self.target, self.number = struct.unpack_from(">HHI", content, header)
        flags = content[header + 13]
        self.is_end, self.is_request, self.is_reset = (bool(flags & bit) for bit in (0x01, 0x02, 0x04))
        self.data = content[header + (content[header + 12] >> 4) * 4:total]
        self.length = len(self.data)

    @property
    def server_port(self):
        return self.target if self.to_server else self.source

    @classmethod
    def read(cls, content, to_server):
        is_tcp = len(content) >= 40 and content[0] >> 4 == 4 and content[9] == socket.IPPROTO_TCP
        return cls(content, to_server) if is_tcp else None


class LatencyLink:
    """`client` and `server` are the two sides; `round_trip` is in seconds.

    `loses` is asked about every `Packet` to the server; those for which it says so get lost. `holds` is, too: how many
    seconds longer the packet takes. `watches` sees every `Packet` at the client's end, when it leaves or arrives there.
    While `is_cut` is true everything gets lost, in both directions.
    """

    def __init__(self, round_trip, loses=None, holds=None, watches=None):
        self._delay = round_trip / 2
        self._loses, self._holds, self._watches = loses, holds, watches
        self.is_cut = False
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
        under_way = []  # a heap of (time of arrival, number, tunnel, packet)
        numbers = itertools.count()
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
                for content in _waiting_packets(key.fd):
                    delay = self._delay_of(content, key.fd == self.client.tunnel)
                    if delay is not None:
                        heapq.heappush(under_way, (time.monotonic() + delay, next(numbers), key.data, content))
            while under_way and under_way[0][0] <= time.monotonic():
                _, _, tunnel, content = heapq.heappop(under_way)
                if tunnel == self.client.tunnel and not self.is_cut:
                    self._watch(Packet.read(content, to_server=False))
                _deliver(tunnel, content)

    def _delay_of(self, content, to_server):
        """In seconds; None when it gets lost."""
        packet = Packet.read(content, to_server)
        if to_server:
            self._watch(packet)
            if packet and self._loses and self._loses(packet):
                return None
        held = self._holds(packet) if packet and to_server and self._holds else 0
        return None if self.is_cut else self._delay + held

    def _watch(self, packet):
        if packet and self._watches:
            self._watches(packet)


def _waiting_packets(tunnel):
    packets = []
    for _ in range(64):
        try:
            packets.append(os.read(tunnel, 65536))
        except BlockingIOError:
            break
    return packets


def _deliver(tunnel, packet):
    try:
        os.write(tunnel, packet)
    except OSError:
        pass  # A lost packet; TCP copes.
