#!/usr/bin/env python3
"""A loopback TLS 1.2 (or plain TCP) server for the socket tests.

Connects back to the test on --lifeline, sends "PORT <n>" there once it
listens, serves every connection the same way (--mode), and ends when the
lifeline closes or after --lifetime seconds, so it never outlives the test
that started it.

Modes:
  reply        send --reply, then close_notify and close
  echo         send back what arrives, until the client closes
  close_notify send --reply, then close_notify, and keep the TCP connection
               open: only the close_notify can end the client's read
  drop         send --reply, then half of one more record, and close the
               TCP connection (TLS only)
Over TLS, --reply goes out in the same write as the end of the handshake.
  stall        accept and never answer (no handshake either)
"""

import argparse
import os
import select
import socket
import ssl
import threading
import time

CHUNK = 65536


def parse():
    parser = argparse.ArgumentParser()
    parser.add_argument("--lifeline", type=int, required=True)
    parser.add_argument("--mode", default="reply")
    parser.add_argument("--reply", default="hello over tls\n")
    parser.add_argument("--plain", action="store_true")
    parser.add_argument("--certs", help="folder of the generated certificates")
    parser.add_argument("--cert", default="good", help="good, expired, wrongname or unknown")
    parser.add_argument("--lifetime", type=float, default=120.0)
    return parser.parse_args()


def make_context(args):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    # The client's provider may speak no more than TLS 1.2.
    context.minimum_version = ssl.TLSVersion.TLSv1_2
    context.maximum_version = ssl.TLSVersion.TLSv1_2
    context.load_cert_chain(os.path.join(args.certs, args.cert + ".pem"),
                            os.path.join(args.certs, args.cert + ".key"))
    return context


class Tls:
    """TLS over memory buffers, so that the test can decide what reaches
    the wire (a record cut in half, a close_notify without a TCP close)."""

    def __init__(self, context, conn):
        self.conn = conn
        self.incoming = ssl.MemoryBIO()
        self.outgoing = ssl.MemoryBIO()
        self.tls = context.wrap_bio(self.incoming, self.outgoing, server_side=True)

    def flush(self):
        data = self.outgoing.read()
        if data:
            self.conn.sendall(data)

    def pull(self):
        data = self.conn.recv(CHUNK)
        if not data:
            self.incoming.write_eof()
            return False
        self.incoming.write(data)
        return True

    def handshake(self, first=b""):
        while True:
            try:
                self.tls.do_handshake()
                # The first record leaves in one piece with the end of the
                # handshake, so the client finds it behind its last token.
                if first:
                    self.tls.write(first)
                self.flush()
                return True
            except ssl.SSLWantReadError:
                self.flush()
                if not self.pull():
                    return False

    def send(self, data):
        self.tls.write(data)
        self.flush()

    def recv(self):
        while True:
            try:
                return self.tls.read(CHUNK)
            except ssl.SSLWantReadError:
                if not self.pull():
                    return b""
            except (ssl.SSLZeroReturnError, ssl.SSLEOFError):
                return b""

    def close_notify(self):
        try:
            self.tls.unwrap()
        except ssl.SSLWantReadError:
            pass
        self.flush()


def wait_for_close(conn, deadline):
    while time.time() < deadline:
        ready, _, _ = select.select([conn], [], [], 0.5)
        if ready and not conn.recv(CHUNK):
            return


def serve_plain(conn, args, deadline):
    if args.mode == "echo":
        while True:
            data = conn.recv(CHUNK)
            if not data:
                return
            conn.sendall(data)
    elif args.mode == "reply":
        conn.sendall(args.reply.encode())
    elif args.mode == "stall":
        wait_for_close(conn, deadline)


def serve_tls(conn, context, args, deadline):
    if args.mode == "stall":
        wait_for_close(conn, deadline)
        return
    channel = Tls(context, conn)
    reply = args.reply.encode()
    try:
        if not channel.handshake(b"" if args.mode == "echo" else reply):
            return
    except ssl.SSLError:
        return  # the client refused our certificate
    if args.mode == "echo":
        while True:
            data = channel.recv()
            if not data:
                break
            channel.send(data)
        channel.close_notify()
    elif args.mode == "reply":
        channel.close_notify()
    elif args.mode == "close_notify":
        channel.close_notify()
        wait_for_close(conn, deadline)
    elif args.mode == "drop":
        channel.tls.write(b"x" * 100)
        record = channel.outgoing.read()
        conn.sendall(record[: len(record) // 2])


def handle(conn, context, args, deadline):
    try:
        with conn:
            if context:
                serve_tls(conn, context, args, deadline)
            else:
                serve_plain(conn, args, deadline)
    except OSError:
        pass


def main():
    args = parse()
    context = None if args.plain else make_context(args)
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.bind(("127.0.0.1", 0))
    listener.listen(16)
    deadline = time.time() + args.lifetime
    lifeline = socket.create_connection(("127.0.0.1", args.lifeline))
    lifeline.sendall(b"PORT %d\n" % listener.getsockname()[1])

    # The test closes the lifeline when it is done with us, or dies.
    def watch_parent():
        try:
            while lifeline.recv(256):
                pass
        finally:
            os._exit(0)

    threading.Thread(target=watch_parent, daemon=True).start()
    while time.time() < deadline:
        ready, _, _ = select.select([listener], [], [], 0.5)
        if ready:
            conn, _ = listener.accept()
            threading.Thread(target=handle, args=(conn, context, args, deadline), daemon=True).start()
    os._exit(0)


if __name__ == "__main__":
    main()
