"""Certificates for tests: an authority of a test's own, and what it says of servers and clients."""

import atexit
import datetime
import functools
import ipaddress
import pathlib
import shutil
import tempfile

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

# Under which the tests reach their servers: this host, and the far side of a link.
HOSTS = ("localhost", "127.0.0.1", "::1", "10.64.0.2")
DAY = datetime.timedelta(days=1)


class Certificate:
    """`path` is of a PEM file with the certificate, `key_path` of one with its key, `both_path` of one with both."""

    def __init__(self, folder, name, certificate, key):
        self.x509, self.key = certificate, key
        self.path, self.key_path, self.both_path = (folder / f"{name}.{kind}.pem" for kind in ("cert", "key", "both"))
        pem = certificate.public_bytes(serialization.Encoding.PEM)
        key_pem = key.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
                                    serialization.NoEncryption())
        for path, content in ((self.path, pem), (self.key_path, key_pem), (self.both_path, key_pem + pem)):
            path.write_bytes(content)
            path.chmod(0o600)

    @property
    def fingerprint(self):
        """SHA-256 of the certificate, in hexadecimal digits with colons."""
        return self.x509.fingerprint(hashes.SHA256()).hex(":").upper()


class Authority(Certificate):
    """Signs what it is asked to. Its own certificate is what a client is told to trust."""

    def __init__(self, folder, name="Telvo test authority"):
        self._folder = pathlib.Path(folder)
        key = ec.generate_private_key(ec.SECP256R1())
        certificate = _signed(name, name, key, key, [
            (x509.BasicConstraints(ca=True, path_length=None), True),
            (x509.KeyUsage(False, False, False, False, False, True, True, False, False), True),
        ])
        super().__init__(self._folder, f"authority-{key_number(key)}", certificate, key)
        self.name = name

    def issue(self, hosts=HOSTS, name="Telvo test server", begin=-DAY, end=30 * DAY):
        """For a server with these names and addresses, valid from now + begin until now + end."""
        key = ec.generate_private_key(ec.SECP256R1())
        certificate = _signed(name, self.name, key, self.key, _of_server(hosts), begin, end)
        return Certificate(self._folder, f"server-{key_number(key)}", certificate, key)

    def issue_for_client(self, name="anna"):
        key = ec.generate_private_key(ec.SECP256R1())
        usage = [(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.CLIENT_AUTH]), False)]
        return Certificate(self._folder, f"client-{key_number(key)}", _signed(name, self.name, key, self.key, usage),
                           key)


def self_signed(folder, hosts=HOSTS, name="Telvo test server"):
    """As people make them who ask no authority."""
    key = ec.generate_private_key(ec.SECP256R1())
    return Certificate(pathlib.Path(folder), f"self-signed-{key_number(key)}",
                       _signed(name, name, key, key, _of_server(hosts)), key)


def key_number(key):
    """Tells files of different keys apart."""
    return f"{key.public_key().public_numbers().x % 2**64:016x}"


def _of_server(hosts):
    return [
        (x509.SubjectAlternativeName([_general_name(host) for host in hosts]), False),
        (x509.ExtendedKeyUsage([ExtendedKeyUsageOID.SERVER_AUTH]), False),
    ]


def _general_name(host):
    try:
        return x509.IPAddress(ipaddress.ip_address(host))
    except ValueError:
        return x509.DNSName(host)


def _signed(subject, issuer, key, issuer_key, extensions, begin=-DAY, end=30 * DAY):
    now = datetime.datetime.utcnow()
    builder = (
        x509.CertificateBuilder().subject_name(_name(subject)).issuer_name(_name(issuer)).public_key(key.public_key())
        .serial_number(x509.random_serial_number()).not_valid_before(now + begin).not_valid_after(now + end)
        .add_extension(x509.SubjectKeyIdentifier.from_public_key(key.public_key()), False)
        .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(issuer_key.public_key()), False)
    )
    for extension, is_critical in extensions:
        builder = builder.add_extension(extension, is_critical)
    return builder.sign(issuer_key, hashes.SHA256())


def _name(text):
    return x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, text)])


@functools.cache
def folder():
    """For the certificates of this process, removed at its end."""
    path = tempfile.mkdtemp(prefix="telvo-certificates-")
    atexit.register(shutil.rmtree, path, ignore_errors=True)
    return pathlib.Path(path)


@functools.cache
def authority():
    """The one that clients trust in most tests."""
    return Authority(folder())


@functools.cache
def usual():
    """The certificate that servers have unless a test gives them another one."""
    return authority().issue()
