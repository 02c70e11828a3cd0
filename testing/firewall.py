"""Packet filters in a network namespace of a test's own, made with the kernel's nftables. Need root."""

import functools
import subprocess

from network_namespace import NetworkNamespace
from server_program import SERVERS_FOLDER, ServerProgram


class _Tool(ServerProgram):
    package = "nftables"


def apply(side, rules):
    """Adds the rules, in nft's language, to a NetworkNamespace."""
    subprocess.run([*side.prefix, SERVERS_FOLDER / "nftables/usr/sbin/nft", "--file", "-"], input=rules, text=True,
                   env=_Tool.environment(), check=True)


def block_all_ports_but(side, open_ports, verdict):
    """From now on connections to other ports are not made. `verdict` is "drop" or "reject"; those that stand are left
    alone."""
    answer = "drop" if verdict == "drop" else "reject with tcp reset"
    ports = ", ".join(map(str, open_ports))
    apply(side, f"""
table inet blocked {{
  chain input {{
    type filter hook input priority 0;
    tcp flags & (syn | ack) == syn tcp dport != {{ {ports} }} {answer}
  }}
}}
""")


@functools.cache
def kernel_tracks_ftp():
    """Not every kernel has been built with the tracking of FTP, which cannot be had otherwise."""
    with NetworkNamespace() as side:
        apply(side, "table inet possible { }")  # this much has to work
        try:
            apply(side, 'table inet possible { ct helper ftp { type "ftp" protocol tcp; }; }')
        except subprocess.CalledProcessError:
            return False
        return True


def open_tracked_ports_only(side, control_port):
    """Lets nothing in but FTP: the control port, and the data ports that the kernel's FTP connection tracking has read
    in the replies on it."""
    apply(side, f"""
table inet tracked {{
  ct helper ftp {{ type "ftp" protocol tcp; }}
  chain of_neighbours {{
    type filter hook prerouting priority 0;
    tcp dport {control_port} ct helper set "ftp"
  }}
  chain of_this_host {{
    type filter hook output priority 0;
    tcp dport {control_port} ct helper set "ftp"
  }}
  chain input {{
    type filter hook input priority 0; policy drop;
    ct state established,related accept
    tcp dport {control_port} accept
  }}
}}
""")
