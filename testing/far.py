"""A client and a server with a network between them on which a round trip takes its time."""

import contextlib

from latency_link import LatencyLink
from lock_step import Traffic
from scripted_server import ScriptedServer

# Long enough for it to be worth preparing connections, and for the order of events not to depend on how busy the
# system is; short enough for a quick test.
ROUND_TRIP = 0.02
# Of the servers that leave a data connection alone until they have read the command.
PATIENT_GREETINGS = (b"vsftpd", b"pure-ftpd", b"proftpd")


def is_patient(greeting):
    return any(name in greeting.lower() for name in PATIENT_GREETINGS)


class Far:
    """`server` runs on the other side of `link`. `launch` are the helper's parameters to get there, and `traffic` is
    what it did there."""

    def __init__(self, link, server, traffic):
        self.link, self.server, self.traffic = link, server, traffic
        self.launch = {
            "host": server.address, "username": server.username, "password": server.password,
            "prefix": link.client.prefix,
        }


@contextlib.contextmanager
def far(kind, round_trip=ROUND_TRIP, loses=None, holds=None, **options):
    """With a real server of the kind, or one that is made by a function; see LatencyLink."""
    traffic = Traffic(is_patient)
    with (
        LatencyLink(round_trip, loses, holds, traffic) as link,
        kind(host=link.server.address, side=link.server, **options) as server,
    ):
        traffic.control_port = server.port
        yield Far(link, server, traffic)


def scripted(side, **options):
    """To be given to far() as a kind: a ScriptedServer on that side."""
    return side.run(lambda: ScriptedServer(**options))
