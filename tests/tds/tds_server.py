#!/usr/bin/env python3
"""A test server that speaks TDS 7.4 to clients of SQL Server and keeps its data in SQLite files.

    tests/tds/tds_server.py --address 127.0.0.1 --port 1433 --folder DIR

Each database is a file of the folder, NAME.db, made at the first login that names it. It prints "ready"
when it listens, and ends with its standard input when --until-eof is given. See README.md beside it.
"""
import argparse
import os
import socket
import socketserver
import sys
import threading

from tds_faults import Faults
from tds_session import Session


class Connection(socketserver.BaseRequestHandler):
    def handle(self):
        self.request.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        Session(self.request, self.server.folder, self.server.faults, self.server.log).serve()


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True
    request_queue_size = 128

    def __init__(self, address, folder, log):
        self.folder, self.log = folder, log
        self.faults = Faults()
        super().__init__(address, Connection)

    def handle_error(self, request, client_address):
        if self.log:
            super().handle_error(request, client_address)


def end_with_standard_input():
    while os.read(0, 4096):
        pass
    os._exit(0)


def main():
    parser = argparse.ArgumentParser(description="TDS test server over SQLite files")
    parser.add_argument("--address", default="127.0.0.1")
    parser.add_argument("--port", type=int, default=1433)
    parser.add_argument("--folder", required=True, help="where the databases are, one file each")
    parser.add_argument("--log", action="store_true", help="statements to the standard error output")
    parser.add_argument("--until-eof", action="store_true",
                        help="end when the standard input does, so that it never outlives its owner")
    options = parser.parse_args()
    server = Server((options.address, options.port), options.folder, options.log)
    if options.until_eof:
        threading.Thread(target=end_with_standard_input, daemon=True).start()
    sys.stdout.write("ready\n")
    sys.stdout.flush()
    server.serve_forever()


if __name__ == "__main__":
    main()
