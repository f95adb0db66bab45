#!/usr/bin/python3
"""A pyftpdlib server for the tests: prints its port, logs every command line it receives."""
import argparse
import logging

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer

parser = argparse.ArgumentParser()
parser.add_argument("--root", required=True)
parser.add_argument("--user", action="append", default=[], help="name:password")
parser.add_argument("--log", help="file that receives every command line")
parser.add_argument("--port", type=int, default=0)
parser.add_argument("--address", default="127.0.0.1")
parser.add_argument("--rate", type=int, default=0, help="bytes a second on data connections")
parser.add_argument("--tls-cert", help="certificate file: explicit TLS required on every connection")
parser.add_argument("--tls-key", help="the certificate's private key file")
parser.add_argument("--cut-tls-data", action="store_true",
                    help="end TLS data connections without close_notify, as a cut on the path")
args = parser.parse_args()

logging.basicConfig(level=logging.ERROR)
authorizer = DummyAuthorizer()
for entry in args.user:
    name, _, password = entry.partition(":")
    authorizer.add_user(name, password, args.root, perm="elradfmwMT")

# Names are bytes: those that are not UTF-8 are kept as they are, as a Unix server does.
log = open(args.log, "a", buffering=1, errors="surrogateescape") if args.log else None
Base = FTPHandler
if args.tls_cert:
    from pyftpdlib.handlers import TLS_FTPHandler as Base


class Handler(Base):
    unicode_errors = "surrogateescape"
    authorizer = authorizer
    banner = "pyftpdlib ready."
    permit_foreign_addresses = False
    auth_failed_timeout = 0.1
    certfile = args.tls_cert
    keyfile = args.tls_key
    tls_control_required = tls_data_required = True

    def pre_process_command(self, line, cmd, arg):
        if log:
            log.write(line + "\n")
        return super().pre_process_command(line, cmd, arg)


if args.rate:
    class Throttled(ThrottledDTPHandler):
        read_limit = write_limit = args.rate

    Handler.dtp_handler = Throttled
if args.cut_tls_data:
    from pyftpdlib.handlers import TLS_DTPHandler

    class Cut(TLS_DTPHandler):
        def close(self):
            self._ssl_established = False  # closes the socket with no TLS shutdown first
            super().close()

    Handler.dtp_handler = Cut
server = FTPServer((args.address, args.port), Handler)
print(server.address[1], flush=True)
server.serve_forever(handle_exit=True)
