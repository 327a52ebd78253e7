#!/usr/bin/env python3
"""HTTPS (and plain HTTP) peer of the network tests and benchmarks.

Listens on 127.0.0.1 only, on free ports, and prints one line
"PORTS <https> <http>" once both listen. Stops on SIGTERM/SIGKILL, and by itself
when the process that started it is gone (so it never outlives its test).

Routes (any method):
  /echo...            JSON: method, path, headers in the order received, body,
                      connection number
  /redirect?to=PATH   302 to PATH
  /stall?ms=N         waits N ms (at most 60 s), then answers like /echo
  /status/CODE        that status, body "status CODE body"
  /bytes?n=N          N bytes of 'x'
  /stats              JSON: connections accepted so far
"""
import argparse
import json
import os
import ssl
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from urllib.parse import parse_qs, urlsplit

lock = threading.Lock()
connections = 0


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # headers and body go out in separate writes

    def setup(self):
        global connections
        super().setup()
        with lock:
            connections += 1
            self.connection_number = connections

    def log_message(self, *args):
        pass

    def reply(self, status, body, content_type="application/json", extra=()):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        for name, value in extra:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)

    def read_body(self):
        length = int(self.headers.get("Content-Length") or 0)
        return self.rfile.read(length) if length > 0 else b""

    def echo(self, body):
        doc = {
            "method": self.command,
            "path": self.path,
            "headers": [[k, v] for k, v in self.headers.items()],
            "body": body.decode("utf-8", "replace"),
            "connection": self.connection_number,
        }
        self.reply(200, json.dumps(doc).encode())

    def handle_any(self):
        body = self.read_body()
        url = urlsplit(self.path)
        query = parse_qs(url.query)
        if url.path == "/redirect":
            self.reply(302, b"", "text/plain", [("Location", query.get("to", ["/echo"])[0])])
        elif url.path == "/stall":
            time.sleep(min(int(query.get("ms", ["1000"])[0]), 60000) / 1000.0)
            self.echo(body)
        elif url.path.startswith("/status/"):
            code = int(url.path[len("/status/"):])
            self.reply(code, f"status {code} body".encode(), "text/plain")
        elif url.path == "/bytes":
            n = int(query.get("n", ["0"])[0])
            self.send_response(200)
            self.send_header("Content-Type", "application/octet-stream")
            self.send_header("Content-Length", str(n))
            self.end_headers()
            chunk = b"x" * 65536
            try:
                while n > 0:
                    self.wfile.write(chunk[: min(n, len(chunk))])
                    n -= min(n, len(chunk))
            except OSError:
                self.close_connection = True
        elif url.path == "/stats":
            with lock:
                count = connections
            self.reply(200, json.dumps({"connections": count}).encode())
        else:
            self.echo(body)

    do_GET = do_POST = do_PUT = do_DELETE = do_PATCH = handle_any


class QuietServer(ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # clients that abort a transfer on purpose are no news


class TlsServer(QuietServer):
    context = None

    def get_request(self):
        sock, addr = self.socket.accept()
        # The handshake runs on the connection's own thread (see finish_request)
        # so a client that never completes it cannot stall the others.
        return sock, addr

    def finish_request(self, request, client_address):
        request.settimeout(30)
        try:
            request = self.context.wrap_socket(request, server_side=True)
        except (ssl.SSLError, OSError):
            request.close()
            return
        self.RequestHandlerClass(request, client_address, self)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--cert", required=True)
    parser.add_argument("--key", required=True)
    args = parser.parse_args()

    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(args.cert, args.key)
    tls = TlsServer(("127.0.0.1", 0), Handler)
    tls.context = context
    plain = QuietServer(("127.0.0.1", 0), Handler)
    for server in (tls, plain):
        threading.Thread(target=server.serve_forever, daemon=True).start()
    print(f"PORTS {tls.server_address[1]} {plain.server_address[1]}", flush=True)
    parent = os.getppid()
    while os.getppid() == parent:
        time.sleep(0.5)


if __name__ == "__main__":
    main()
