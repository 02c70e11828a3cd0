"""Real FTP servers that allow a client only one connection, or two."""

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
