"""Attacks of players, over WebSocket. Each takes the target and returns when its time is over."""

import itertools
import json
import os
import struct
import time

from attacks.crowd import Crowd
from attacks.http_attacks import BLOCK, once, then
from attacks.wire import (BINARY, CLOSE, DOWNLOAD, GET_DOWNLOAD_URL, GET_PLAYBACK_URL, PING, PLAYBACK, PREVIEW,
                          SEEK, SMALL_BUFFER, TEXT, frame, frame_head, join, player_request, stream_key)

LONGEST = 4 << 20


def joining(target):
    """Becomes a player that reads no more once it is one."""
    return lambda: join(target.port, target.token, SMALL_BUFFER)[0]


def unread_pongs(target):
    Crowd(target, 1, then(b"", frame(PING, b"x" * 125) * (BLOCK // 131)), joining(target)).run()


def unread_answers(target):
    request = player_request(SEEK, "nobody", "1")
    Crowd(target, 1, then(b"", request * (BLOCK // len(request))), joining(target)).run()


def unfinished_messages(target):
    """Half of them keep back the last byte of a frame, half send fragments without an end."""
    kinds = itertools.cycle([once(frame_head(TEXT, LONGEST), bytes(LONGEST - 1)),
                             then(frame(TEXT, bytes(BLOCK), fin=False), frame(0, bytes(BLOCK), fin=False))])
    Crowd(target, 200, lambda: next(kinds)(), joining(target)).run()


def unread_live(target):
    """Half of them on the stream of the honest player."""
    keys = itertools.cycle([target.live_key, stream_key(target.port, target.token, "vault", 0)])
    Crowd(target, 50, lambda: iter([player_request(PREVIEW, next(keys))]), joining(target)).run()


def unread_recordings(target):
    """Playback and downloads of ten minutes, a stream for each player."""
    def opening(number):
        what, start = ((GET_PLAYBACK_URL, PLAYBACK), (GET_DOWNLOAD_URL, DOWNLOAD))[number % 2]
        span = {"beginTime": target.recorded_from, "endTime": target.recorded_from + 600}
        key = stream_key(target.port, target.token, "vault", 1, what, **span)
        return player_request(start, key, json.dumps({"channel": 1, **span}))

    requests = iter([opening(number) for number in range(20)])
    Crowd(target, 20, lambda: iter([next(requests, b"\x88\x80\0\0\0\0")]), joining(target)).run()


def broken_frames(key):
    text = player_request(PREVIEW, key)
    return [
        frame(TEXT, b"{}", masked=False),
        frame(TEXT, b"{}", reserved=4), frame(TEXT, b"{}", reserved=7),
        frame(3, b"x"), frame(7, b""), frame(11, b"x"), frame(15, b""),
        frame(PING, b"x" * 126), frame(PING, b"x", fin=False), frame(CLOSE, b"x" * 200),
        frame(0, b"x"), frame(0, b"x", fin=False),
        frame(TEXT, b"{", fin=False) + frame(TEXT, b"}"),
        frame(TEXT, b"{", fin=False) + frame(BINARY, b"}"),
        frame(TEXT, b"\xc3\x28"), frame(TEXT, b"\xed\xa0\x80"), frame(TEXT, b"\xf4\x90\x80\x80"),
        frame(TEXT, b"\xe2\x82", fin=False) + frame(0, b""),
        b"\x81\xff" + b"\xff" * 8 + b"\0\0\0\0", b"\x81\xff" + b"\x7f" + b"\xff" * 7 + b"\0\0\0\0",
        b"\x81\xfe\x00\x01\0\0\0\0x", b"\x81\xff" + struct.pack(">Q", 1) + b"\0\0\0\0x",
        frame_head(TEXT, LONGEST + 1) + bytes(BLOCK), frame(BINARY, b""), frame(BINARY, b"x" * 31),
        frame(BINARY, b"\xff" * 100_000),
        frame(CLOSE, b"\x03"), frame(CLOSE, struct.pack(">H", 0)), frame(CLOSE, struct.pack(">H", 1005)),
        frame(CLOSE, struct.pack(">H", 1000) + b"\xff"), frame(CLOSE, b"") + text * 100,
        text[:-3], text + text[:5], text * 500,
        frame(TEXT, b""), frame(TEXT, b"null"), frame(TEXT, b"[" * 5000), frame(TEXT, b"{" * LONGEST),
        frame(TEXT, b'{"cmd":1e300,"key":[]}'), frame(TEXT, b'{"cmd":-1,"key":"\\u0000","body":{}}'),
        player_request(PREVIEW, "k" * 100_000), player_request(PREVIEW, key, "\x00" * 10_000),
    ]


def malformed(target):
    """Each on a connection of its own, then noise."""
    send_each(target, itertools.chain(broken_frames(target.live_key), iter(lambda: os.urandom(2000), b"")))


def wrong_requests(target):
    """Every command with nonsense, on the stream that the honest player watches. Not the starts of playback
    and download: who holds a key may take its stream over."""
    commands = [command for command in [*range(PREVIEW, DOWNLOAD + 2), 0x7FFFFFFF, -1]
                if command not in (PLAYBACK, DOWNLOAD)]
    bodies = ["", "[" * 2000, "{}", '{"channel":-1,"beginTime":-9e18,"endTime":9e18}', "nan", "-1", "9" * 400,
              "\x00\x7f"]
    send_each(target, itertools.cycle(player_request(command, target.live_key, body)
                                      for body in bodies for command in commands))


def send_each(target, texts):
    """Each as a player of its own, who leaves at the first answer or after a tenth of a second."""
    for text in texts:
        if time.monotonic() >= target.until:
            return
        try:
            client, _ = join(target.port, target.token)
            with client:
                target.tally.count(1, len(text))
                client.settimeout(0.1)
                client.sendall(text)
                client.recv(BLOCK)
        except OSError:
            pass
