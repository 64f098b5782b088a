#!/usr/bin/env python3
"""A web server on loopback for tests, on Python's http.server.

Serves the files of a folder. A path under /chunked/ answers with the file
named after it in chunks (Transfer-Encoding: chunked), one under /close/
with no Content-Length, the body ended by closing the connection. The port
is the first free one from --highest downwards; the line "port N" on
standard output tells it. The server stops after --seconds.
"""
import argparse
import functools
import http.server
import os
import sys
import threading


class Handler(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        for prefix, answer in (("/chunked/", self.answer_chunked), ("/close/", self.answer_close)):
            if self.path.startswith(prefix):
                return answer(self.path[len(prefix):])
        return super().do_GET()

    def read_file(self, name):
        path = os.path.join(self.directory, os.path.basename(name))
        if not os.path.isfile(path):
            self.send_error(404)
            return None
        with open(path, "rb") as f:
            return f.read()

    def answer_chunked(self, name):
        body = self.read_file(name)
        if body is None:
            return
        self.protocol_version = "HTTP/1.1"
        self.send_response(200)
        self.send_header("Content-Type", self.guess_type(name))
        self.send_header("Transfer-Encoding", "chunked")
        self.send_header("Connection", "close")
        self.end_headers()
        # Chunks of growing size, one with an extension, so that chunk lines
        # fall at many places of the reader's buffer.
        at, size = 0, 1
        while at < len(body):
            chunk = body[at:at + size]
            extension = ";part=%d" % at if size == 3 else ""
            self.wfile.write(b"%x%s\r\n%s\r\n" % (len(chunk), extension.encode(), chunk))
            at += len(chunk)
            size = size * 3 + 1
        self.wfile.write(b"0\r\n\r\n")
        self.close_connection = True

    def answer_close(self, name):
        body = self.read_file(name)
        if body is None:
            return
        self.send_response(200)
        self.send_header("Content-Type", self.guess_type(name))
        self.end_headers()
        self.wfile.write(body)
        self.close_connection = True

    def log_message(self, format, *args):
        sys.stderr.write("%s\n" % (format % args))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--directory", required=True)
    parser.add_argument("--highest", type=int, default=8080)
    parser.add_argument("--lowest", type=int, default=7000)
    parser.add_argument("--seconds", type=float, default=60)
    options = parser.parse_args()

    handler = functools.partial(Handler, directory=options.directory)
    server = None
    for port in range(options.highest, options.lowest - 1, -1):
        try:
            server = http.server.ThreadingHTTPServer(("127.0.0.1", port), handler)
            break
        except OSError:
            continue
    if server is None:
        sys.exit("no free port from %d down to %d" % (options.highest, options.lowest))
    threading.Timer(options.seconds, server.shutdown).start()
    print("port %d" % server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
