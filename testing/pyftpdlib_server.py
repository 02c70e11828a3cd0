"""Runs pyftpdlib until ended:  pyftpdlib_server.py HOST PORT ROOT USERNAME PASSWORD LOG [CLASS.ATTRIBUTE=VALUE]...

The attributes are of FTPServer, FTPHandler or PassiveDTP, and their values numbers or ranges of them ("1-5").
TLS.certificate=FILE (with its key) has it speak TLS and nothing else, TLS.implicit=1 from the first byte on, and
TLS.clients=FILE names the authority that has to have signed the clients' certificates.
"""

import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, PassiveDTP
from pyftpdlib.servers import FTPServer


def secured(settings):
    """The handler that speaks TLS. Needs Debian's python3-openssl."""
    from OpenSSL import SSL
    from pyftpdlib.handlers import TLS_FTPHandler

    context = SSL.Context(SSL.TLS_SERVER_METHOD)
    context.use_certificate_chain_file(settings["certificate"])
    context.use_privatekey_file(settings["certificate"])
    context.set_session_id(b"telvo")
    if "clients" in settings:
        context.load_verify_locations(settings["clients"])
        context.set_verify(SSL.VERIFY_PEER | SSL.VERIFY_FAIL_IF_NO_PEER_CERT, lambda *arguments: bool(arguments[-1]))

    class Handler(TLS_FTPHandler):
        ssl_context = context
        tls_control_required = tls_data_required = True

        def handle(self):
            if "implicit" in settings:
                self.secure_connection(context)
            super().handle()

    return Handler


host, port, root, username, password, log, *settings = sys.argv[1:]
logging.basicConfig(filename=log, level=logging.DEBUG)
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user(username, password, root, perm="elradfmwMT")
FTPHandler.authorizer.add_anonymous(root, perm="elradfmwMT")
# Names are bytes: one that is not UTF-8 arrives as it was sent.
FTPHandler.unicode_errors = "surrogateescape"
FTPServer.max_cons = 512
tls = {}
for setting in settings:
    name, value = setting.split("=", 1)
    owner, attribute = name.split(".")
    if owner == "TLS":
        tls[attribute] = value
        continue
    first, _, last = value.partition("-")
    number = range(int(first), int(last) + 1) if last else int(first)
    setattr({each.__name__: each for each in (FTPServer, FTPHandler, PassiveDTP)}[owner], attribute, number)
FTPServer((host, int(port)), secured(tls) if tls else FTPHandler).serve_forever()
