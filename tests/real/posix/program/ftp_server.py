"""A pyftpdlib server for a test: ftp_server.py ADDRESS PORT USER PASSWORD FOLDER IDLE_SECONDS"""
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer

address, port, user, password, folder, idle = sys.argv[1:]
FTPHandler.authorizer = DummyAuthorizer()
FTPHandler.authorizer.add_user(user, password, folder, perm="elradfmwMT")
if int(idle) > 0:
    FTPHandler.timeout = int(idle)
# The wait behind a wrong password is its only one that costs a test time.
FTPHandler.auth_failed_timeout = 0
# Without a cycle of its own it may notice the end of a session's time only when something else happens.
FTPServer((address, int(port)), FTPHandler).serve_forever(timeout=0.1 if int(idle) > 0 else None)
