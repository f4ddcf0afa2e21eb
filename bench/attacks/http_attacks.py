"""Attacks over HTTP. Each takes the target and returns when its time is over."""

import gzip
import http.client
import itertools
import json
import socket
import struct
import time

from attacks.crowd import Crowd
from attacks.wire import (DEVICE_TEST, GET_CONNECT_TYPE, GET_PREVIEW_URL, SMALL_BUFFER, command_body, connect,
                          fetch, join, request)

CHUNKED = ("Transfer-Encoding: chunked",)
MEGABYTE = bytes(1 << 20)
BLOCK = 1 << 16


def then(first, *rest):
    """A script: some pieces, then the last one for ever."""
    return lambda: itertools.chain([first, *rest[:-1]], itertools.repeat(rest[-1]))


def once(*pieces):
    """A script that ends: the connection is then held."""
    return lambda: iter(pieces)


def endless_extensions(target):
    head = request("POST", "/api/commands", headers=CHUNKED) + b"1"
    Crowd(target, 1, then(head, b";extension=value" * (BLOCK // 16))).run()


def endless_trailers(target):
    head = request("POST", "/api/commands", headers=CHUNKED) + b"2\r\n{}\r\n0\r\n"
    Crowd(target, 1, then(head, b"Trailer-Field: value\r\n" * (BLOCK // 22))).run()


def tiny_chunks(target):
    head = request("POST", "/api/commands", headers=CHUNKED)
    Crowd(target, 1, then(head, (b"1;" + b"e" * 1000 + b"\r\nx\r\n") * (BLOCK // 1000))).run()


def bodies(token):
    head = request("POST", "/api/commands", token, (f"Content-Length: {4 << 20}",))
    return once(head, *[MEGABYTE] * 3)


def held_bodies_of_strangers(target):
    Crowd(target, 200, bodies("")).run()


def held_bodies(target):
    Crowd(target, 200, bodies(target.token)).run()


def unread_answers(count):
    def attack(target):
        round_of_all = b"".join(request("GET", path, target.token)
                                for path in ("/metrics", "/api/streams", "/api/devices", "/api/status"))
        Crowd(target, count, then(b"", round_of_all * 100), lambda: connect(target.port, SMALL_BUFFER)).run()
    return attack


def idle(count):
    return lambda target: Crowd(target, count, once()).run()


def slow_headers(target):
    head = b"GET /healthz HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: " + b"x" * 8000
    Crowd(target, 300, lambda: (head[at:at + 1] for at in range(len(head))), pace=0.1).run()


def silent_device(names):
    """64 tests of a device that accepts and never answers, under so many names."""
    def attack(target):
        with socket.create_server(("127.0.0.1", 0), backlog=512) as silent:
            device = {"ip": "127.0.0.1", "port": silent.getsockname()[1], "username": "u", "password": "p"}
            identifiers = [f"silent-{name}" for name in range(names)]
            posts = itertools.cycle(
                request("POST", "/api/commands", target.token,
                        body=command_body("onvif", DEVICE_TEST, identifier, {"id": identifier, **device}))
                for identifier in identifiers)
            Crowd(target, 64, lambda: iter([next(posts)])).run()
    return attack


def churn(target):
    """Two hundred times a second: in, upgraded, reset."""
    due = time.monotonic()
    while (now := time.monotonic()) < target.until:
        if now < due:
            time.sleep(due - now)
        due = max(due + 1 / 200, now - 1)
        try:
            client, _ = join(target.port, target.token)
        except OSError:
            continue
        target.tally.count()
        client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        client.close()


def malformed_requests(token):
    command = b"POST /api/commands HTTP/1.1\r\nHost: 127.0.0.1\r\n" \
              b"Authorization: Bearer " + token.encode() + b"\r\n"
    get = b"GET /api/streams HTTP/1.1\r\n"
    return [
        command + b"Transfer-Encoding: gzip, chunked, gzip\r\n\r\n0\r\n\r\n",
        command + b"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
        command + b"Transfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n0\r\n\r\n",
        command + b"Transfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\n",
        command + b"Transfer-Encoding: chunked\r\n\r\n-1\r\n\r\n",
        command + b"Transfer-Encoding: chunked\r\n\r\n1\nx\n0\n\n",
        command + b"Content-Length: -1\r\n\r\n",
        command + b"Content-Length: 99999999999999999999999\r\n\r\n",
        command + b"Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}",
        command + b"Content-Length: 4194305\r\n\r\n",
        command + b"Expect: 100-continue\r\nContent-Length: 4194304\r\n\r\n",
        command + b"Content-Length: 3\r\n\r\n\0\0\0",
        get + b"Host: a\r\nHost: b\r\n\r\n",
        get + b"\r\n",
        get + b"Host: 127.0.0.1\0\r\n\r\n",
        get + b"Host: 127.0.0.1\r\nX-\0: \0\r\n\r\n",
        get + b"Host: 127.0.0.1\r\n folded\r\n\r\n",
        get + b"Host: 127.0.0.1\r\nNo colon\r\n\r\n",
        get + b"Host: 127.0.0.1\r\nX: " + b"x" * (1 << 18) + b"\r\n\r\n",
        get + b"Host: 127.0.0.1\r\n" + b"X: x\r\n" * 20000 + b"\r\n",
        b"GET /" + b"a" * (1 << 18) + b" HTTP/1.1\r\n\r\n",
        b"GET /%00%zz%?token=%&%=& HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
        b"GET http:// HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
        b"GET /../../etc/passwd HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
        b"GET  HTTP/1.1\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n", b"GET /\r\n", b"\r\n" * 1000,
        b"\0" * BLOCK, b"\xff" * BLOCK,
        b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n",
        b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03" + bytes(501),
        b"GET /stream HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n",
        b"GET /stream HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        b"Sec-WebSocket-Version: 99\r\nSec-WebSocket-Key: ?\r\n\r\n",
    ]


def malformed(target):
    for text in itertools.cycle(malformed_requests(target.token)):
        if time.monotonic() >= target.until:
            return
        try:
            with connect(target.port) as client:
                target.tally.count(1, len(text))
                client.settimeout(0.1)
                client.sendall(text)
                while client.recv(BLOCK):
                    pass
        except OSError:
            pass


def hostile_bodies():
    command = {"module": "files", "id": GET_CONNECT_TYPE, "deviceId": "hall", "body": ""}
    deep = b'{"a":' * 5000 + b"1" + b"}" * 5000
    return [
        (b"[" * (4 << 20), ()),
        (b'{"a":' * (800 << 10), ()),
        (deep, ()),
        (json.dumps(dict(command, body=deep.decode())).encode(), ()),
        (b'{"module":"files","id":%d,"body":%s}' % (GET_CONNECT_TYPE, b"[" * 900 + b"]" * 900), ()),
        (b"[" + b"1," * (2 << 20), ()),
        (b"[" + b"{}," * (1 << 20) + b"{}]", ()),
        (b"[" + b'{"":[]},' * (500 << 10) + b"0]", ()),
        (b'{"id":1e999999,"module":' + b'"' + b"\\u0000" * (600 << 10) + b'"}', ()),
        (gzip.compress(bytes(256 << 20)), ("Content-Encoding: gzip",)),
    ]


def hostile_json(target):
    """One after the other, each read to its answer."""
    posts = [request("POST", "/api/commands", target.token, ("Connection: close", *headers), body)
             for body, headers in hostile_bodies()]
    for post in itertools.cycle(posts):
        if time.monotonic() >= target.until:
            return
        try:
            with connect(target.port) as client:
                target.tally.count(1, len(post))
                client.settimeout(max(0.1, target.until - time.monotonic()))
                client.sendall(post)
                while client.recv(BLOCK):
                    pass
        except OSError:
            pass


def unwatched_previews(target):
    """A thousand streams are opened over the API, and no player comes for them."""
    opened = 0
    while opened < 250 and time.monotonic() < target.until:
        body = command_body("files", GET_PREVIEW_URL, "vault", {"id": "vault", "channel": opened % 2})
        try:
            fetch(target.port, "POST", "/api/commands", target.token, body, timeout=1)
        except (OSError, http.client.HTTPException):
            time.sleep(0.05)
        target.tally.count(1, len(body))
        opened += 1
    time.sleep(max(0.0, target.until - time.monotonic()))
