#!/usr/bin/env python3
"""One stalled player of each kind among fifty: what the others lose, and what becomes of it.

One 720p25 stream of 4 Mbit/s goes to players over WebSocket, MPEG-TS, MP4 and RTSP inside its connection, 49 of each
kind that read and one that does not. Printed are, for each kind, pictures that readers did without and their longest
silence, and how long the stalled one was kept and how many units it lost meanwhile; and the host's memory.

    bench/stalled_players.py [--players 50] [--seconds 40]

Needs a release build and ffmpeg.
"""

import argparse
import json
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

import many_players as many
import stream_relay as relay


def make_clip(path, seconds):
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size=1280x720:rate={relay.FRAMES_PER_SECOND}:duration={seconds}", "-vf", "noise=alls=20:allf=t",
         "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-pix_fmt", "yuv420p", "-b:v", "4M",
         "-minrate", "4M", "-maxrate", "4M", "-bufsize", "1M", "-nal-hrd", "cbr", "-g", "25", "-keyint_min", "25",
         "-sc_threshold", "0", str(path)], check=True)


def own_port(player):
    return player.getsockname()[1]


class Watch(threading.Thread):
    """Asks the host now and then how its players go."""

    def __init__(self, camera):
        super().__init__()
        self.camera, self.ended = camera, threading.Event()
        self.last_seen, self.dropped, self.resident = {}, {}, 0

    def run(self):
        while not self.ended.wait(0.5):
            with urllib.request.urlopen(f"http://127.0.0.1:{self.camera.port}/api/streams") as answer:
                for player in json.loads(answer.read())["streams"]:
                    self.last_seen[player["port"]] = time.monotonic()
                    self.dropped[player["port"]] = player["droppedUnits"]
            self.resident = max(self.resident, many.figures(self.camera.process.pid)["resident"])


def measure(camera, count, seconds):
    warm = many.websocket_player(camera.port)
    time.sleep(1)
    before = many.figures(camera.process.pid)["resident"]
    readers = [(kind, many.open_player(camera, kind)) for kind in many.KINDS for _ in range(count - 1)]
    ports = {own_port(player): kind for kind, player in readers}
    stalled = {}
    for kind in many.KINDS:
        player = many.open_player(camera, kind)
        player.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 64 << 10)
        stalled[kind] = player
    begun = time.monotonic()
    watch = Watch(camera)
    watch.start()
    _, silences = many.read_with_processes(readers, begun + 1, begun + seconds)
    watch.ended.set()
    watch.join()
    warm.close()
    lost = {kind: sum(watch.dropped.get(port, 0) for port, its in ports.items() if its == kind) for kind in many.KINDS}
    print(f"resident  {before / 1e6:.0f} MB before, {watch.resident / 1e6:.0f} MB at the most")
    good = True
    for kind in many.KINDS:
        port = own_port(stalled[kind])
        kept = watch.last_seen.get(port, begun) - begun
        is_closed = kept < seconds - 2
        good = good and is_closed and lost[kind] == 0
        print(f"{kind:10} readers lost {lost[kind]}, longest silence {max(silences[kind]) * 1000:.0f} ms; the stalled one "
              f"lost {watch.dropped.get(port, 0)} and was {'closed' if is_closed else 'still there'} after {kept:.0f} s")
    return good


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--players", type=int, default=50)
    parser.add_argument("--seconds", type=int, default=40)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vms-stalled-") as name:
        folder = pathlib.Path(name)
        make_clip(folder / "clip.mp4", 20)
        camera = relay.Camera(folder, folder / "clip.mp4")
        try:
            return 0 if measure(camera, arguments.players, arguments.seconds) else 1
        finally:
            camera.end()


if __name__ == "__main__":
    sys.exit(main())
