#!/usr/bin/env python3
"""Time from a player's request to its first media unit, and to the first picture that decodes by itself.

    bench/attach.py [--rounds 300]

One player keeps a live stream of the media-file family going; others connect at any moment of a group of
pictures, ask and leave, one after the other. Needs a release build and ffmpeg.
"""

import argparse
import json
import pathlib
import statistics
import sys
import tempfile
import time

from stream_relay import Recording, make_clip, read_head, connect, receive_exactly, websocket_player, UPGRADE


def request_frame(key):
    text = json.dumps({"cmd": 0x100200, "key": key, "body": ""}).encode()
    return bytes([0x81, 0x80 | len(text), 0, 0, 0, 0]) + text


def is_key_picture(unit):
    flags = int.from_bytes(unit[4:8], sys.byteorder)
    return flags & 3 == 0 and flags >> 2 & 31 == 1


def attach_ms(port, key):
    """Milliseconds to the first unit and to the first key picture."""
    player = connect(port)
    player.sendall(UPGRADE)
    read_head(player)
    frame = request_frame(key)
    started = time.perf_counter()
    player.sendall(frame)
    first = None
    while True:
        opcode, length = receive_exactly(player, 2)
        if length >= 126:
            length = int.from_bytes(receive_exactly(player, 2 if length == 126 else 8), "big")
        payload = receive_exactly(player, length)
        elapsed = (time.perf_counter() - started) * 1000
        if opcode & 0xF == 2:
            first = first or elapsed
            if is_key_picture(payload):
                break
    player.close()
    return first, elapsed


def report(what, times):
    times = sorted(times)
    print(f"{what}, {len(times)} attaches: median {statistics.median(times):.2f} ms, "
          f"99% within {times[int(len(times) * 0.99) - 1]:.2f} ms, worst {times[-1]:.2f} ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=300)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vms-attach-") as folder:
        folder = pathlib.Path(folder)
        make_clip(folder / "clip.mp4", 10)
        server = Recording(folder, folder / "clip.mp4")
        try:
            key = server.new_key()
            keeper = websocket_player(server.port, key)
            keeper.settimeout(5)
            receive_exactly(keeper, 100_000)
            keeper.setblocking(False)
            times = []
            for _ in range(arguments.rounds):
                times.append(attach_ms(server.port, key))
                try:
                    keeper.recv(1 << 22)
                except BlockingIOError:
                    pass
        finally:
            server.end()
    report("first unit", [first for first, _ in times])
    report("first decodable picture", [picture for _, picture in times])
    return 0


if __name__ == "__main__":
    sys.exit(main())
