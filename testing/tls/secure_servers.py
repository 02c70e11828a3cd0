"""The real FTP servers with TLS: they take no login, no command and no data in the clear. Those that can, demand that
the data connection goes on with the control connection's session."""

import socket
import ssl

import certificates
import servers


class Secure:
    """What the servers have in common; mixed into a Server. `certificate` is theirs; with `clients`, an Authority, they
    take only clients with a certificate of it. With `is_implicit` they speak TLS from the first byte on."""

    can_be_implicit = True

    def __init__(self, certificate=None, clients=None, is_implicit=False, **options):
        self.certificate = certificate or certificates.usual()
        self.clients = clients
        self.is_implicit = is_implicit
        super().__init__(**options)

    @property
    def launch(self):
        """The helper's further parameters for an upload there."""
        return {"security": "implicit" if self.is_implicit else "tls",
                "tlsCertificateAuthority": certificates.authority().path}

    def _answers(self):
        if not self.is_implicit:
            return super()._answers()
        context = ssl.create_default_context(cafile=self.certificate.path)
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE
        try:
            with socket.create_connection((self.host, self.port), 10) as plain, context.wrap_socket(plain) as secured:
                return secured.recv(3) == b"220"
        except OSError:
            # One that wants a certificate of its client answers nothing else.
            return bool(self.clients) and self._accepts()

    def _accepts(self):
        try:
            socket.create_connection((self.host, self.port), 10).close()
            return True
        except OSError:
            return False


class SecureVsftpd(Secure, servers.Vsftpd):
    further = ""  # lines of the configuration

    def command(self):
        self.settings = f"""\
ssl_enable=YES
force_local_logins_ssl=YES
force_local_data_ssl=YES
require_ssl_reuse=YES
strict_ssl_read_eof=YES
rsa_cert_file={self.certificate.both_path}
ssl_ciphers=HIGH
debug_ssl=YES
implicit_ssl={"YES" if self.is_implicit else "NO"}
"""
        if self.clients:
            self.settings += f"require_cert=YES\nvalidate_cert=YES\nca_certs_file={self.clients.path}\n"
        self.settings += self.further
        return super().command()


class SecurePureFTPd(Secure, servers.PureFTPd):
    can_be_implicit = False

    def command(self):
        options = self.options
        self.options = (*options, "--tls", "3", f"--certfile={self.certificate.both_path}")
        command = super().command()
        self.options = options
        return command


class SecureProFTPD(Secure, servers.ProFTPD):
    package = "proftpd-mod-crypto"
    versions = "TLSv1.2 TLSv1.3"
    further = ""  # lines of the configuration

    def command(self):
        options = "TLSOptions UseImplicitSSL\n" if self.is_implicit else ""
        clients = f"TLSVerifyClient on\nTLSCACertificateFile {self.clients.path}\n" if self.clients else ""
        self.settings = f"""\
AllowOverwrite on
LoadModule mod_tls.c
TLSEngine on
TLSRequired on
TLSLog {self.folder}/tls
TLSProtocol {self.versions}
TLSECCertificateFile {self.certificate.path}
TLSECCertificateKeyFile {self.certificate.key_path}
{options}{clients}{self.further}"""
        return super().command()


class SecurePyftpdlib(Secure, servers.Pyftpdlib):
    def command(self):
        self.settings = {**self.settings, "TLS.certificate": self.certificate.both_path}
        if self.is_implicit:
            self.settings["TLS.implicit"] = 1
        if self.clients:
            self.settings["TLS.clients"] = self.clients.path
        return super().command()


ALL = (SecureVsftpd, SecurePureFTPd, SecureProFTPD, SecurePyftpdlib)
IMPLICIT = tuple(kind for kind in ALL if kind.can_be_implicit)
# They take no data connection that does not go on with the control connection's session.
DEMAND_REUSE = (SecureVsftpd, SecureProFTPD)
# Pure-FTPd does not care for its clients' certificates.
TAKE_CLIENTS = (SecureVsftpd, SecureProFTPD, SecurePyftpdlib)
