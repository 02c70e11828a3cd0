"""Runs pyftpdlib until ended:  pyftpdlib_server.py HOST PORT ROOT USERNAME PASSWORD LOG"""

import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer

host, port, root, username, password, log = sys.argv[1:]
logging.basicConfig(filename=log, level=logging.DEBUG)
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user(username, password, root, perm="elradfmwMT")
FTPHandler.authorizer.add_anonymous(root, perm="elradfmwMT")
# Names are bytes: one that is not UTF-8 arrives as it was sent.
FTPHandler.unicode_errors = "surrogateescape"
FTPServer.max_cons = 512
FTPServer((host, int(port)), FTPHandler).serve_forever()
