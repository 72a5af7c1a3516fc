# Serves ROOT to USER/PASSWORD on 127.0.0.1 (FTP over TLS only when given a PEM CERTIFICATE with its key),
# prints the chosen port, and ends when its standard input does, so a crashed test leaves no server behind.
import logging
import os
import sys
import threading

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, TLS_FTPHandler
from pyftpdlib.servers import FTPServer


def exit_when_input_ends():
    sys.stdin.read()
    os._exit(0)


def main():
    root, user, password = sys.argv[1:4]
    authorizer = DummyAuthorizer()
    authorizer.add_user(user, password, root, perm="elradfmwMT")

    handler = FTPHandler
    if len(sys.argv) > 4:
        handler = TLS_FTPHandler
        handler.certfile = sys.argv[4]
        handler.tls_control_required = True
        handler.tls_data_required = True
    handler.authorizer = authorizer
    handler.banner = "vetrel test server ready."

    logging.basicConfig(level=logging.ERROR)
    threading.Thread(target=exit_when_input_ends, daemon=True).start()
    server = FTPServer(("127.0.0.1", 0), handler)
    print(server.address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
