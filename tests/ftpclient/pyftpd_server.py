"""Serves a directory over FTP on 127.0.0.1 for the FTP client tests.

Usage: pyftpd_server.py ROOT USER PASSWORD
Prints the port the OS chose on the first line of standard output, then
serves until it is terminated.
"""
import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer


def main():
    root, user, password = sys.argv[1:4]
    authorizer = DummyAuthorizer()
    authorizer.add_user(user, password, root, perm="elradfmwMT")

    handler = FTPHandler
    handler.authorizer = authorizer
    handler.banner = "vetrel test server ready."

    logging.basicConfig(level=logging.ERROR)
    server = FTPServer(("127.0.0.1", 0), handler)
    print(server.address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
