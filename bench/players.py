#!/usr/bin/env python3
"""How soon a player over HTTP sees its first picture.

One 720p25 stream of 2 Mbit/s with a key picture a second is watched by 50 others; then one more joins,
again and again, at any moment of a group:

* request to the first byte of a picture, by a plain socket;
* request to the first decoded picture, by ffmpeg with the options of docs/players.md. The start of ffmpeg itself,
  measured with a file, is part of it.

    bench/players.py [--kinds mp4 ts] [--joins 30] [--watchers 50]

Needs a release build and ffmpeg.
"""

import argparse
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

from stream_relay import Camera, Players, Vmshost, http_player, make_clip

OPTIONS = {"mp4": ["-fpsprobesize", "0", "-flags", "low_delay", "-threads", "1"],
           "ts": ["-fpsprobesize", "0", "-probesize", "32768", "-flags", "low_delay", "-threads", "1"]}


def first_picture(port, kind):
    """Seconds from the request to the first byte behind the head of the answer and of the container."""
    begun = time.perf_counter()
    player = http_player(port, f"/live/cam/0.{kind}")
    data = b""
    # A picture of the clip has some thousand bytes; tables and heads have less.
    while len(data) < 4000:
        piece = player.recv(65536)
        if not piece:
            raise ConnectionError(data.decode(errors="replace"))
        data += piece
    player.close()
    return time.perf_counter() - begun


def decoded_picture(source, options):
    begun = time.perf_counter()
    subprocess.run(["ffmpeg", "-nostdin", "-v", "fatal", *options, "-i", source, "-an", "-frames:v", "1", "-f",
                    "rawvideo", "-y", "/dev/null"], check=True)
    return time.perf_counter() - begun


def say(what, seconds):
    milliseconds = sorted(1000 * value for value in seconds)
    print(f"{what:46} median {statistics.median(milliseconds):7.1f} ms, worst {milliseconds[-1]:7.1f} ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--kinds", nargs="+", choices=["mp4", "ts"], default=["mp4", "ts"])
    parser.add_argument("--joins", type=int, default=30)
    parser.add_argument("--watchers", type=int, default=50)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vms-players-") as folder:
        folder = pathlib.Path(folder)
        clip = folder / "clip.mp4"
        make_clip(clip, 10)
        (folder / "vmshost").mkdir()
        server = Camera(folder / "vmshost", clip)
        try:
            for kind in arguments.kinds:
                Vmshost.kind = kind
                watchers = Players(server.players(arguments.watchers))
                try:
                    time.sleep(3)
                    url = f"http://127.0.0.1:{server.port}/live/cam/0.{kind}"
                    bytes_seen, pictures = [], []
                    for join in range(arguments.joins):
                        time.sleep(0.137)  # another moment of the group each time
                        bytes_seen.append(first_picture(server.port, kind))
                        pictures.append(decoded_picture(url, OPTIONS[kind]))
                finally:
                    watchers.end()
                say(f"{kind}: request to first bytes of a picture", bytes_seen)
                say(f"{kind}: request to first decoded picture", pictures)
            say("ffmpeg alone, with a file", [decoded_picture(clip, []) for _ in range(10)])
        finally:
            server.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
