"""Where the clients and servers of a measurement run."""

import os
import pathlib
import subprocess

import latency_link
import network_namespace

LINK = pathlib.Path(__file__).resolve().parents[1] / "build" / "release" / "bench" / "link"
CONGESTION_CONTROL = "/proc/sys/net/ipv4/tcp_congestion_control"


class Network:
    """Where the clients and the server of a workload run, and how long the way between them is.

    Without a delay it is the loopback interface. `congestion_control` stands in for the system's default there.
    """

    def __init__(self, delay_ms=0, rate_mbit=0, loss_percent=0, congestion_control=None):
        self.round_trip = 2 * delay_ms / 1000
        self._delay_ms, self._rate_mbit, self._loss_percent = delay_ms, rate_mbit, loss_percent
        self._congestion_control = congestion_control
        self.is_emulated = bool(delay_ms)
        self.client = self.server = self._link = None
        self.problem = ""

    def __enter__(self):
        if self._congestion_control:
            try:
                self.client = self.server = _loopback(self._congestion_control)
            except (OSError, subprocess.CalledProcessError) as failure:
                self.problem = f"{self._congestion_control} could not be set ({failure}): with the system's own instead"
                self._congestion_control = None
        if not self.is_emulated:
            return self
        try:
            self.client, self.server = latency_link.Side("10.64.0.1"), latency_link.Side("10.64.0.2")
        except (OSError, subprocess.CalledProcessError, FileNotFoundError) as failure:
            self.problem = f"no emulated network here ({failure}): over the loopback interface instead"
            self.is_emulated, self.round_trip = False, 0
            return self
        tunnels = [side.tunnel for side in (self.client, self.server)]
        for tunnel in tunnels:
            os.set_inheritable(tunnel, True)
        arguments = (*tunnels, self._delay_ms, self._rate_mbit, self._loss_percent)
        self._link = subprocess.Popen([LINK, *map(str, arguments)], stdin=subprocess.PIPE, pass_fds=tunnels)
        return self

    def __exit__(self, *_):
        if self._link:
            self._link.stdin.close()
            self._link.wait()
        for side in {self.client, self.server} - {None}:
            side.close()

    @property
    def description(self):
        """What the network has turned out to be."""
        if self.is_emulated:
            facts = [f"{self.round_trip * 1000:g} ms round trip"]
            if self._rate_mbit:
                facts.append(f"{self._rate_mbit} Mbit/s")
            if self._loss_percent:
                facts.append(f"{self._loss_percent} % of the packets lost")
            return ", ".join(facts)
        return f"loopback with {self._congestion_control}" if self._congestion_control else "loopback"

    @property
    def client_prefix(self):
        return self.client.prefix if self.client else []

    def start(self, kind):
        return kind(host=self.server.address, side=self.server) if self.is_emulated else kind(side=self.server)


def _loopback(congestion_control):
    """A network of its own, with nothing but a loopback interface."""
    network = network_namespace.NetworkNamespace()
    try:
        network.run(lambda: pathlib.Path(CONGESTION_CONTROL).write_text(congestion_control))
    except OSError:
        network.close()
        raise
    return network
