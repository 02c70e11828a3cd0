"""Runs pyftpdlib until ended:  pyftpdlib_server.py HOST PORT ROOT USERNAME PASSWORD LOG [CLASS.ATTRIBUTE=VALUE]...

The attributes are of FTPServer, FTPHandler or PassiveDTP, and their values numbers or ranges of them ("1-5").
"""

import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, PassiveDTP
from pyftpdlib.servers import FTPServer

host, port, root, username, password, log, *settings = sys.argv[1:]
logging.basicConfig(filename=log, level=logging.DEBUG)
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user(username, password, root, perm="elradfmwMT")
FTPHandler.authorizer.add_anonymous(root, perm="elradfmwMT")
# Names are bytes: one that is not UTF-8 arrives as it was sent.
FTPHandler.unicode_errors = "surrogateescape"
FTPServer.max_cons = 512
for setting in settings:
    name, value = setting.split("=")
    owner, attribute = name.split(".")
    first, _, last = value.partition("-")
    number = range(int(first), int(last) + 1) if last else int(first)
    setattr({each.__name__: each for each in (FTPServer, FTPHandler, PassiveDTP)}[owner], attribute, number)
FTPServer((host, int(port)), FTPHandler).serve_forever()
