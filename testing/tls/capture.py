"""What is on the wire: every byte that a network carries between programs. Needs root."""

import socket
import struct

_ALL_PROTOCOLS = 3
_OUTGOING = 4  # the loopback interface shows each packet as it leaves, and again as it arrives
_RECEIVE_BUFFER_FORCE = 33
_BUFFER = 64 << 20


class Capture:
    """Of the loopback interface of a NetworkNamespace, from now on; for what fits into the kernel's buffer."""

    def __init__(self, network):
        self._socket = network.run(self._open)
        self._flows = {}  # (ports): what one side has sent to the other

    @staticmethod
    def _open():
        opened = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(_ALL_PROTOCOLS))
        opened.setsockopt(socket.SOL_SOCKET, _RECEIVE_BUFFER_FORCE, _BUFFER)
        opened.bind(("lo", _ALL_PROTOCOLS))
        opened.setblocking(False)
        return opened

    def holds(self, text):
        """Whether one side has sent the bytes to the other in one piece, or in packets that follow each other."""
        self._read()
        return any(text in flow for flow in self._flows.values())

    def size(self):
        self._read()
        return sum(map(len, self._flows.values()))

    def _read(self):
        while True:
            try:
                packet, address = self._socket.recvfrom(1 << 17)
            except BlockingIOError:
                return
            if address[2] == _OUTGOING and packet[0] >> 4 == 4 and packet[9] == socket.IPPROTO_TCP:
                self._note(packet)

    def _note(self, packet):
        start = (packet[0] & 0x0F) * 4
        ports = struct.unpack_from(">HH", packet, start)
        data = packet[start + (packet[start + 12] >> 4) * 4:struct.unpack_from(">H", packet, 2)[0]]
        # What is longer than a packet can be has no length: the kernel had not divided it yet.
        if struct.unpack_from(">H", packet, 2)[0] == 0:
            data = packet[start + (packet[start + 12] >> 4) * 4:]
        self._flows.setdefault(ports, bytearray()).extend(data)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._socket.close()
