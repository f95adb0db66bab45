#!/usr/bin/python3
"""A pyftpdlib server for the tests: prints its port, logs every command line it receives."""
import argparse
import logging
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", action="append", default=[], help="name:password")
    parser.add_argument("--log", help="file that receives every command line")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--address", default="127.0.0.1")
    parser.add_argument("--rate", type=int, default=0, help="bytes a second on data connections")
    parser.add_argument("--tls-cert", help="certificate file: explicit TLS required on every connection")
    parser.add_argument("--tls-key", help="the certificate's private key file")
    args = parser.parse_args()

    logging.basicConfig(level=logging.ERROR)
    authorizer = DummyAuthorizer()
    for entry in args.user:
        name, _, password = entry.partition(":")
        authorizer.add_user(name, password, args.root, perm="elradfmwMT")

    # Names are bytes: those that are not UTF-8 are kept as they are, as a Unix server does.
    log = open(args.log, "a", buffering=1, errors="surrogateescape") if args.log else None

    base = FTPHandler
    if args.tls_cert:
        from pyftpdlib.handlers import TLS_FTPHandler

        base = TLS_FTPHandler
        base.certfile = args.tls_cert
        base.keyfile = args.tls_key
        base.tls_control_required = True
        base.tls_data_required = True

    class Handler(base):
        unicode_errors = "surrogateescape"

        def pre_process_command(self, line, cmd, arg):
            if log:
                log.write(line + "\n")
            return super().pre_process_command(line, cmd, arg)

    Handler.authorizer = authorizer
    if args.rate:
        class Throttled(ThrottledDTPHandler):
            read_limit = args.rate
            write_limit = args.rate

        Handler.dtp_handler = Throttled
    Handler.banner = "pyftpdlib ready."
    Handler.permit_foreign_addresses = False
    Handler.auth_failed_timeout = 0.1
    server = FTPServer((args.address, args.port), Handler)
    print(server.address[1], flush=True)
    server.serve_forever(handle_exit=True)


if __name__ == "__main__":
    sys.exit(main())
