#!/usr/bin/env python3
"""Scripted HTTP/1.1 server for the HTTP client's tests, on loopback.

Every behaviour is chosen by the request path, so one server serves a whole
table of test rows. Each request head is appended, byte for byte, to the log
file, so that a test can compare what the client sent with what it expects.

  http_server.py --root DIR [--log FILE] [--certs DIR [--cert NAME]]
                 [--lifeline PORT] [--port-file FILE] [--lifetime SECONDS]

Once the server listens it connects to the test's lifeline port and sends
"PORT <n>" there (and writes the number to the port file, through a rename).
It ends when the lifeline closes or after its lifetime. With --certs it
serves TLS 1.2 with the certificate NAME (.pem and .key) of that folder.
Files are served from DIR. Paths, with their query parameters:

  /file/NAME            NAME from DIR; Range "bytes=N-" gives 206
      ?drop=N           first request only: reset the connection after N body bytes
      ?short=N          first request only: close cleanly after N body bytes
      ?ranges=none      "Accept-Ranges: none"
      ?nolength=1       no Content-Length; the end of the body is the close
      ?chunked=N        chunked, N bytes per chunk
      ?ext=1            with "chunked": a chunk extension on each size line
      ?garbage=1        with "chunked": a size line that is no number
      ?lastcrlf=0       with "chunked": close after "0\r\n", no final line end
      ?te=gzip          with "chunked": the body gzipped, "Transfer-Encoding:
                        gzip, chunked"
      ?ce=gzip          all of it gzipped, "Content-Encoding: gzip", unasked
      ?stall=1          read the request, answer nothing
      ?keep=1           answer without closing, for keep-alive clients
      ?then=N           with drop or short: every later request is cut too,
                        after N body bytes
      ?ignore=1         ignore Range: every request gets 200 and all of it
      ?from=N           answer Range with a 206 that starts at N instead
      ?length=N         announce a Content-Length of N, whatever is sent
      ?length2=N        a second Content-Length line, of N
      ?interim=CODES    interim replies first, e.g. "100,103"
      ?crflood=1        after the status line (with "chunked": after the
                        head), carriage returns until the client leaves
      ?headerlines=N    N header lines of 4000 bytes before the others
  /redirect/K?to=PATH   302 to "K-1?to=PATH" (relative), and at 0 to PATH
  /loop                 302 to /loop
  /nolocation           302 without a Location
  /badlocation          302 to a URL without a host
  /basic/REST           Basic user:secret, else 401; then as /REST
  /digest/REST          Digest (qop auth) user:secret, else 401; then as /REST
  /sha256/REST          only a Digest challenge with SHA-256, always 401
  /cookie/REST          Set-Cookie and 302 to /cookie-check/REST
  /cookie-check/REST    403 unless the cookie came back; then as /REST
  /status/TEXT          the status line "HTTP/1.1 " TEXT (percent-decoded)
  /longheader           a header line of 5000 bytes
  CONNECT host:port     a tunnel to host:port; 407 with a Basic challenge
                        unless "Proxy-Authorization" carries proxy:secret
  GET http://...        as a forward proxy: 407 unless proxy:secret, then the
                        path as if asked directly
"""

import argparse
import base64
import gzip
import hashlib
import os
import socket
import socketserver
import ssl
import struct
import threading
import time
import urllib.parse

USER, PASSWORD = "user", "secret"
PROXY_USER = "proxy"
REALM = "fxhost-test"
NONCE = "dcd98b7102dd2f0e8b11d0f600bfb0c093"
FILE_PIECE = 1 << 20  # bytes of a file body per write

state_lock = threading.Lock()
request_counts = {}
reset_on_close = set()  # connections whose close must be a reset
args = None


def first_time(key):
    with state_lock:
        request_counts[key] = request_counts.get(key, 0) + 1
        return request_counts[key] == 1


def log_head(head):
    if args.log:
        with state_lock, open(args.log, "ab") as f:
            f.write(head)


def md5(text):
    return hashlib.md5(text.encode("latin-1")).hexdigest()


def digest_params(value):
    # Digest answers are comma-separated name=value pairs, values quoted or not.
    result = {}
    for part in value.split(","):
        if "=" in part:
            name, _, v = part.strip().partition("=")
            result[name.strip().lower()] = v.strip().strip('"')
    return result


class Handler(socketserver.StreamRequestHandler):
    def setup(self):
        # The handshake runs on the connection's own thread, so that a client
        # that stalls in it holds up no one else.
        if args.certs:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.minimum_version = context.maximum_version = ssl.TLSVersion.TLSv1_2
            context.load_cert_chain(os.path.join(args.certs, args.cert + ".pem"),
                                    os.path.join(args.certs, args.cert + ".key"))
            try:
                self.request = self.connection = context.wrap_socket(self.request, server_side=True)
            except (ssl.SSLError, OSError):
                self.failed = True
        super().setup()

    def handle(self):
        if getattr(self, "failed", False):
            return
        try:
            while self.one_request():
                pass
        except (ConnectionError, ssl.SSLError, OSError):
            pass

    # One request; true if the connection stays open for another.
    def one_request(self):
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            line = self.rfile.readline(65536)
            if not line:
                return False
            head += line
        log_head(head)
        lines = head.decode("latin-1").split("\r\n")
        method, target, _ = (lines[0].split(" ") + ["", "", ""])[:3]
        self.headers = {}
        for line in lines[1:]:
            if ":" in line:
                name, _, value = line.partition(":")
                self.headers.setdefault(name.strip().lower(), value.strip())
        if method == "CONNECT":
            return self.tunnel(target)
        if target.startswith("http://"):
            if not self.proxy_authorized():
                return False
            target = "/" + target.split("/", 3)[3]
        path, _, query = target.partition("?")
        self.query = dict(urllib.parse.parse_qsl(query))
        self.key = target
        return self.route(method, path)

    def send(self, status, headers=(), body=b"", close=True):
        text = "HTTP/1.1 " + status + "\r\n"
        for name, value in headers:
            text += name + ": " + value + "\r\n"
        if close:
            text += "Connection: close\r\n"
        self.wfile.write(text.encode("latin-1") + b"\r\n" + body)
        self.wfile.flush()
        return not close

    def route(self, method, path):
        parts = path.split("/")
        kind = parts[1] if len(parts) > 1 else ""
        rest = "/" + "/".join(parts[2:])
        if kind == "file":
            return self.serve_file(parts[2])
        if kind == "redirect":
            left = int(parts[2])
            # Relative on the way down, so that resolving is exercised too.
            to = urllib.parse.quote(self.query.get("to", "/"), safe="/")
            location = "%d?to=%s" % (left - 1, to) if left > 0 else self.query.get("to", "/")
            return self.send("302 Found", [("Location", location), ("Content-Length", "0")])
        if kind == "loop":
            return self.send("302 Found", [("Location", "/loop"), ("Content-Length", "0")])
        if kind == "nolocation":
            return self.send("302 Found", [("Content-Length", "0")])
        if kind == "badlocation":
            return self.send("302 Found", [("Location", "http://:80/x"), ("Content-Length", "0")])
        if kind == "basic":
            expected = "Basic " + base64.b64encode((USER + ":" + PASSWORD).encode()).decode()
            if self.headers.get("authorization") != expected:
                return self.challenge('Basic realm="%s"' % REALM)
            return self.route(method, rest)
        if kind == "digest":
            if not self.digest_ok(method):
                return self.challenge('Digest realm="%s", qop="auth", nonce="%s", opaque="5ccc069c"' % (REALM, NONCE))
            return self.route(method, rest)
        if kind == "sha256":
            return self.challenge('Digest realm="%s", nonce="%s", algorithm=SHA-256' % (REALM, NONCE))
        if kind == "cookie":
            return self.send("302 Found", [("Set-Cookie", "session=abc123; Path=/"),
                                           ("Location", "/cookie-check" + rest), ("Content-Length", "0")])
        if kind == "cookie-check":
            if "session=abc123" not in self.headers.get("cookie", ""):
                return self.send("403 Forbidden", [("Content-Length", "0")])
            return self.route(method, rest)
        if kind == "status":
            line = urllib.parse.unquote(parts[2])
            self.wfile.write(("HTTP/1.1 " + line + "\r\nContent-Length: 0\r\n\r\n").encode("latin-1"))
            return False
        if kind == "longheader":
            return self.send("200 OK", [("X-Long", "x" * 5000), ("Content-Length", "0")])
        return self.send("404 Not Found", [("Content-Length", "0")])

    def challenge(self, value):
        return self.send("401 Unauthorized", [("WWW-Authenticate", value), ("Content-Length", "0")])

    def digest_ok(self, method):
        value = self.headers.get("authorization", "")
        if not value.startswith("Digest "):
            return False
        p = digest_params(value[7:])
        ha1 = md5("%s:%s:%s" % (USER, REALM, PASSWORD))
        ha2 = md5("%s:%s" % (method, p.get("uri", "")))
        expected = md5(":".join([ha1, NONCE, p.get("nc", ""), p.get("cnonce", ""), "auth", ha2]))
        return p.get("username") == USER and p.get("nonce") == NONCE and p.get("response") == expected

    def serve_file(self, name):
        path = os.path.join(args.root, name)
        size = os.path.getsize(path)
        q = self.query
        keep = q.get("keep") == "1"
        if q.get("stall") == "1":
            threading.Event().wait(120)
            return False
        for code in q.get("interim", "").split(","):
            if code:
                self.wfile.write(("HTTP/1.1 %s Interim\r\nLink: </x>; rel=preload\r\n\r\n" % code).encode())
        if q.get("crflood") == "1" and "chunked" not in q:
            self.wfile.write(b"HTTP/1.1 200 OK\r\n")
            return self.flood(b"\r")
        if "headerlines" in q:
            self.wfile.write(b"HTTP/1.1 200 OK\r\n")
            lines = b"X-Pad: " + b"x" * 3991 + b"\r\n"
            for _ in range(int(q["headerlines"]) // 100):
                self.wfile.write(lines * 100)
            self.wfile.write(b"Content-Length: 0\r\n\r\n")
            return False
        start, status = 0, "200 OK"
        headers = []
        rng = self.headers.get("range", "")
        if rng.startswith("bytes=") and rng.endswith("-") and q.get("ranges") != "none" and "ignore" not in q:
            start = int(rng[6:-1])
            status = "206 Partial Content"
            # A resume answered from elsewhere sends those bytes, under an
            # honest Content-Range: only the start is not the one asked for.
            start = int(q.get("from", start))
            headers.append(("Content-Range", "bytes %d-%d/%d" % (start, size - 1, size)))
        if q.get("ranges") == "none":
            headers.append(("Accept-Ranges", "none"))
        if q.get("ce") == "gzip":
            with open(path, "rb") as f:
                body = gzip.compress(f.read())
            return self.send(status, headers + [("Content-Encoding", "gzip"), ("Content-Length", str(len(body)))],
                             body)
        if "chunked" in q:
            if q.get("crflood") == "1":
                self.send(status, headers + [("Transfer-Encoding", "chunked")])
                return self.flood(b"\r")
            with open(path, "rb") as f:
                f.seek(start)
                return self.send_chunked(status, headers, f.read(), int(q["chunked"]), keep)
        if q.get("nolength") != "1":
            headers.append(("Content-Length", q.get("length", str(size - start))))
            if "length2" in q:
                headers.append(("Content-Length", q["length2"]))
        cut = None
        for kind in ("drop", "short"):
            if kind in q:
                if first_time(self.key + "#" + kind):
                    cut = (kind, int(q[kind]))
                elif "then" in q:
                    cut = (kind, int(q["then"]))
        if cut is None:
            return self.send_file(status, headers, path, start, size - start, close=not keep)
        self.send_file(status, headers, path, start, min(cut[1], size - start))
        if cut[0] == "drop":
            # SO_LINGER of 0: the close is a reset, not an orderly end. The
            # server's clean-up must then not shut the socket down first.
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            with state_lock:
                reset_on_close.add(self.connection)
        else:
            self.connection.shutdown(socket.SHUT_WR)
        return False

    # As send, with `count` bytes of the file from `start` as the body, in
    # large writes straight from the file: a benchmark of the client must
    # not measure this server's copying of a big body.
    def send_file(self, status, headers, path, start, count, close=True):
        with open(path, "rb") as f:
            f.seek(start)
            first = f.read(min(count, FILE_PIECE))
            result = self.send(status, headers, first, close)
            left = count - len(first)
            while left > 0:
                piece = f.read(min(left, FILE_PIECE))
                if not piece:
                    break
                self.wfile.write(piece)
                left -= len(piece)
        self.wfile.flush()
        return result

    def send_chunked(self, status, headers, body, size, keep):
        coding = "chunked"
        if self.query.get("te") == "gzip":
            body, coding = gzip.compress(body), "gzip, chunked"
        out = b""
        ext = ";name=value" if self.query.get("ext") == "1" else ""
        for at in range(0, len(body), size):
            piece = body[at: at + size]
            sizeline = "zz" if self.query.get("garbage") == "1" else "%x" % len(piece)
            out += (sizeline + ext + "\r\n").encode() + piece + b"\r\n"
        out += b"0\r\n" if self.query.get("lastcrlf") == "0" else b"0\r\n\r\n"
        return self.send(status, headers + [("Transfer-Encoding", coding)], out, close=not keep)

    # `byte` over and over until the client leaves (or a minute passes, so
    # that a client that never does cannot keep this server busy).
    def flood(self, byte):
        piece, deadline = byte * 65536, time.monotonic() + 60
        while time.monotonic() < deadline:
            self.wfile.write(piece)
        return False

    def proxy_authorized(self):
        expected = "Basic " + base64.b64encode((PROXY_USER + ":" + PASSWORD).encode()).decode()
        if self.headers.get("proxy-authorization") == expected:
            return True
        self.send("407 Proxy Authentication Required",
                  [("Proxy-Authenticate", 'Basic realm="proxy"'), ("Content-Length", "0")])
        return False

    def tunnel(self, target):
        if not self.proxy_authorized():
            return False
        host, _, port = target.rpartition(":")
        upstream = socket.create_connection((host, int(port)))
        self.wfile.write(b"HTTP/1.1 200 Connection established\r\n\r\n")
        self.wfile.flush()

        def pump(src, dst):
            try:
                while True:
                    data = src.recv(65536)
                    if not data:
                        break
                    dst.sendall(data)
            except OSError:
                pass
            try:
                dst.shutdown(socket.SHUT_WR)
            except OSError:
                pass

        back = threading.Thread(target=pump, args=(upstream, self.connection), daemon=True)
        back.start()
        pump(self.connection, upstream)
        back.join()
        upstream.close()
        return False


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True

    def shutdown_request(self, request):
        with state_lock:
            reset = request in reset_on_close
            reset_on_close.discard(request)
        if reset:
            self.close_request(request)
        else:
            super().shutdown_request(request)



def main():
    global args
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("--port-file")
    parser.add_argument("--log")
    parser.add_argument("--certs", help="folder of the generated test certificates; serves TLS 1.2")
    parser.add_argument("--cert", default="good")
    parser.add_argument("--lifetime", type=float, default=600.0)
    parser.add_argument("--lifeline", type=int, help="the test's port to report to and live by")
    args = parser.parse_args()
    server = Server(("127.0.0.1", 0), Handler)
    port = server.server_address[1]
    if args.port_file:
        temp = args.port_file + ".tmp"
        with open(temp, "w") as f:
            f.write(str(port))
        os.replace(temp, args.port_file)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    if args.lifeline:
        lifeline = socket.create_connection(("127.0.0.1", args.lifeline))
        lifeline.sendall(b"PORT %d\n" % port)

        # Never outlive the test: its end closes the lifeline.
        def watch():
            try:
                while lifeline.recv(256):
                    pass
            except OSError:
                pass
            os._exit(0)

        threading.Thread(target=watch, daemon=True).start()
    threading.Event().wait(args.lifetime)
    os._exit(0)


if __name__ == "__main__":
    main()
