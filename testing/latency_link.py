"""Two network namespaces joined by a link with latency, for a client on one side and a server on the other.

Packets really travel: opening a connection costs its round trip like everything else. Needs root.
"""

import fcntl
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
    """A TCP packet on its way to the server."""

    def __init__(self, content):
        header = (content[0] & 0x0F) * 4
        total = struct.unpack_from(">H", content, 2)[0]
        self.source, self.target = struct.unpack_from(">HH", content, header)
        flags = content[header + 13]
        self.is_end, self.is_request, self.is_reset = (bool(flags & bit) for bit in (0x01, 0x02, 0x04))
        self.length = total - header - (content[header + 12] >> 4) * 4  # of the data in it

    @classmethod
    def read(cls, content):
        is_tcp = len(content) >= 40 and content[0] >> 4 == 4 and content[9] == socket.IPPROTO_TCP
        return cls(content) if is_tcp else None


class LatencyLink:
    """`client` and `server` are the two sides; `round_trip` is in seconds.

    `loses` is asked about every `Packet` to the server; those for which it says so get lost.
    """

    def __init__(self, round_trip, loses=None):
        self._delay = round_trip / 2
        self._loses = loses
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
                packets = _waiting_packets(key.fd, key.data, self._delay)
                if self._loses and key.fd == self.client.tunnel:
                    packets = [packet for packet in packets if not self._is_lost(packet[2])]
                under_way += packets
            now = time.monotonic()
            arrived = 0
            while arrived < len(under_way) and under_way[arrived][0] <= now:
                _deliver(*under_way[arrived][1:])
                arrived += 1
            del under_way[:arrived]

    def _is_lost(self, content):
        packet = Packet.read(content)
        return packet is not None and self._loses(packet)


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
