"""Real FTP servers that allow a client only one connection, or two."""

import secure_servers
import servers


class OneOnVsftpd(servers.Vsftpd):
    settings = "max_per_ip=1\n"


class TwoOnVsftpd(servers.Vsftpd):
    settings = "max_clients=2\n"


class OneOnPureFTPd(servers.PureFTPd):
    options = ("--maxclientsperip", "1")


class OneLoginOnPureFTPd(servers.PureFTPd):
    options = ("--maxclientsnumber", "1")


class OneLoginOnProFTPD(servers.ProFTPD):
    settings = "AllowOverwrite on\nMaxClientsPerUser 1\n"


class OneOnPyftpdlib(servers.Pyftpdlib):
    settings = {"FTPServer.max_cons_per_ip": 1}


# The same with encryption.


class OneOnSecureVsftpd(secure_servers.SecureVsftpd):
    further = OneOnVsftpd.settings


class OneOnSecureProFTPD(secure_servers.SecureProFTPD):
    further = "MaxClientsPerUser 1\n"


class OneOnSecurePureFTPd(secure_servers.SecurePureFTPd):
    options = OneOnPureFTPd.options


class OneOnSecurePyftpdlib(secure_servers.SecurePyftpdlib):
    settings = OneOnPyftpdlib.settings


SECURE = (OneOnSecureVsftpd, OneOnSecureProFTPD, OneOnSecurePureFTPd, OneOnSecurePyftpdlib)
