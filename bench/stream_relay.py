#!/usr/bin/env python3
"""CPU per gigabyte of the stream server beside nginx with its RTMP module.

One 720p25 stream of 2 Mbit/s goes to 1, 50 and 200 players over loopback, first through vmshost, then
through nginx, each alone on the machine. CPU is what the serving processes used (user and system,
/proc/PID/task/TID/schedstat), bytes are what the players received.

    bench/stream_relay.py [--seconds 20] [--players 1 50 200]

Needs a release build, ffmpeg, and the packages nginx-light and libnginx-mod-rtmp.
"""

import argparse
import json
import os
import pathlib
import selectors
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[1]
VMSHOST = ROOT / "build/release/bin/vmshost"
FAMILY = ROOT / "build/release/lib/libfamily_mediafile.so"
FRAMES_PER_SECOND = 25


def cpu_seconds(pids):
    """Time that all threads of processes have run so far, to the nanosecond."""
    total = 0
    for pid in pids:
        for thread in pathlib.Path(f"/proc/{pid}/task").iterdir():
            total += int((thread / "schedstat").read_text().split()[0])
    return total / 1e9


def resident_bytes(pid):
    return int(pathlib.Path(f"/proc/{pid}/statm").read_text().split()[1]) * os.sysconf("SC_PAGE_SIZE")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def make_clip(path, seconds):
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size=1280x720:rate={FRAMES_PER_SECOND}:duration={seconds}", "-vf", "noise=alls=12:allf=t",
         "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-pix_fmt", "yuv420p",
         "-b:v", "2M", "-minrate", "2M", "-maxrate", "2M", "-bufsize", "500k", "-nal-hrd", "cbr",
         "-g", "50", "-keyint_min", "50", "-sc_threshold", "0", str(path)], check=True)


def connect(port):
    player = socket.create_connection(("127.0.0.1", port), timeout=10)
    player.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    return player


def receive_exactly(player, count):
    data = b""
    while len(data) < count:
        piece = player.recv(count - len(data))
        if not piece:
            raise ConnectionError("the server closed")
        data += piece
    return data


# WebSocket (RFC 6455)

def websocket_player(port, key):
    player = connect(port)
    player.sendall(b"GET /stream HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\n"
                   b"Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                   b"Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n")
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        head += receive_exactly(player, 1)
    if b" 101 " not in head.split(b"\r\n")[0]:
        raise ConnectionError(head.decode(errors="replace"))
    request = json.dumps({"cmd": 0x100200, "key": key, "body": ""}).encode()
    assert len(request) < 126
    player.sendall(bytes([0x81, 0x80 | len(request), 0, 0, 0, 0]) + request)
    return player


# RTMP 1.0: handshake, then AMF0 commands in chunks of type 0

def amf(value):
    if isinstance(value, str):
        return b"\x02" + struct.pack(">H", len(value)) + value.encode()
    if isinstance(value, (int, float)):
        return b"\x00" + struct.pack(">d", value)
    if value is None:
        return b"\x05"
    body = b"".join(struct.pack(">H", len(k)) + k.encode() + amf(v) for k, v in value.items())
    return b"\x03" + body + b"\x00\x00\x09"


def rtmp_command(stream, *values):
    body = b"".join(amf(value) for value in values)
    head = b"\x03" + b"\0\0\0" + struct.pack(">I", len(body))[1:] + b"\x14" + struct.pack("<I", stream)
    chunks = [body[at:at + 128] for at in range(0, len(body), 128)]
    return head + b"\xc3".join(chunks)


def rtmp_player(port):
    player = connect(port)
    player.sendall(b"\x03" + b"\0" * 1536)
    answer = receive_exactly(player, 1 + 2 * 1536)
    player.sendall(answer[1:1537])
    player.sendall(rtmp_command(0, "connect", 1, {"app": "live", "tcUrl": f"rtmp://127.0.0.1:{port}/live"}))
    player.sendall(rtmp_command(0, "createStream", 2, None))
    time.sleep(0.02)
    player.sendall(rtmp_command(1, "play", 0, None, "cam"))
    return player


class Drain:
    """A child process that reads all players as fast as it can and counts."""

    def __init__(self, players):
        self.reader, writer = os.pipe()
        self.ask, asked = socket.socketpair()
        self.pid = os.fork()
        if self.pid == 0:
            try:
                self.ask.close()
                # Players are elsewhere as a rule: they shall not push the server off its processor.
                os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))
                self.run(players, writer, asked)
            finally:
                os._exit(1)
        os.close(writer)
        asked.close()
        for player in players:
            player.close()

    @staticmethod
    def run(players, writer, asked):
        selector = selectors.EpollSelector()
        counts = dict.fromkeys(players, 0)
        for player in players:
            player.setblocking(False)
            selector.register(player, selectors.EVENT_READ)
        selector.register(asked, selectors.EVENT_READ)
        buffer = bytearray(1 << 18)
        while True:
            for event, _ in selector.select():
                if event.fileobj is asked:
                    if not asked.recv(1):
                        os._exit(0)
                    os.write(writer, json.dumps([sum(counts.values()), min(counts.values())]).encode() + b"\n")
                    continue
                got = event.fileobj.recv_into(buffer)
                if not got:
                    raise ConnectionError("a player was cut off")
                counts[event.fileobj] += got

    def bytes(self):
        """All bytes so far, and those of the player that got the fewest."""
        self.ask.send(b"?")
        line = b""
        while not line.endswith(b"\n"):
            piece = os.read(self.reader, 4096)
            if not piece:
                raise ConnectionError("the players have ended")
            line += piece
        return json.loads(line)

    def end(self):
        self.ask.close()
        os.close(self.reader)
        os.waitpid(self.pid, 0)


class Vmshost:
    name = "vmshost"

    def __init__(self, folder, clip):
        channel = folder / "cam" / "ch0"
        channel.mkdir(parents=True)
        shutil.copy(clip, channel / "20260101T000000Z_schedule.mp4")
        self.port = free_port()
        config = folder / "vms.json"
        config.write_text(json.dumps({
            "http": {"port": self.port},
            "modules": [{"name": "files", "library": str(FAMILY),
                         "config": {"streamserver": {"content": str(folder)}},
                         "devices": [{"id": "cam"}]}]}))
        self.process = subprocess.Popen([VMSHOST, "serve", "--config", config], stdout=subprocess.PIPE)
        self.process.stdout.readline()
        self.pids = [self.process.pid]

    def players(self, count):
        body = json.dumps({"module": "files", "id": "0x100103", "deviceId": "cam",
                           "body": {"id": "cam", "channel": 0}}).encode()
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/commands", body) as answer:
            key = json.loads(json.loads(answer.read())["body"])["uri"]
        return [websocket_player(self.port, key) for _ in range(count)]

    def end(self):
        self.process.terminate()
        self.process.wait()


class Nginx:
    name = "nginx"

    def __init__(self, folder, clip):
        self.port = free_port()
        config = folder / "nginx.conf"
        config.write_text(f"""
load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;
user root;
worker_processes 1;
daemon off;
pid {folder}/nginx.pid;
error_log {folder}/nginx.log;
events {{ worker_connections 1024; }}
rtmp {{ access_log off;
        server {{ listen 127.0.0.1:{self.port}; chunk_size 4096;
                  application live {{ live on; }} }} }}
""")
        self.process = subprocess.Popen(["nginx", "-c", str(config), "-p", str(folder)],
                                        stderr=subprocess.DEVNULL)
        time.sleep(1)
        self.source = subprocess.Popen(
            ["ffmpeg", "-nostdin", "-v", "error", "-re", "-stream_loop", "-1", "-i", str(clip), "-c", "copy",
             "-f", "flv", f"rtmp://127.0.0.1:{self.port}/live/cam"])
        time.sleep(2)
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        self.pids = [self.process.pid] + [int(child) for child in children.read_text().split()]

    def players(self, count):
        return [rtmp_player(self.port) for _ in range(count)]

    def end(self):
        self.source.terminate()
        self.source.wait()
        self.process.terminate()
        self.process.wait()


def measure(server, count, seconds):
    drain = Drain(server.players(count))
    time.sleep(3)
    before = drain.bytes()
    cpu, started = cpu_seconds(server.pids), time.monotonic()
    time.sleep(seconds)
    after = drain.bytes()
    cpu, lasted = cpu_seconds(server.pids) - cpu, time.monotonic() - started
    drain.end()
    if after[1] == before[1]:
        raise RuntimeError(f"{server.name}: a player received nothing")
    moved = after[0] - before[0]
    return {"players": count, "cpu": cpu, "gigabytes": moved / 1e9, "cpu_per_gb": cpu / (moved / 1e9),
            "mbit_per_player": moved * 8e-6 / lasted / count,
            "us_per_frame": cpu / lasted / FRAMES_PER_SECOND * 1e6}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--players", type=int, nargs="+", default=[1, 50, 200])
    arguments = parser.parse_args()
    results = {}
    with tempfile.TemporaryDirectory(prefix="vms-relay-") as folder:
        folder = pathlib.Path(folder)
        clip = folder / "clip.mp4"
        make_clip(clip, 30)
        for kind in (Vmshost, Nginx):
            place = folder / kind.name
            place.mkdir()
            server = kind(place, clip)
            try:
                results[kind.name] = [measure(server, count, arguments.seconds) for count in arguments.players]
            finally:
                server.end()
    print(f"{'':10}{'players':>8}{'Mbit/s each':>13}{'CPU s':>8}{'CPU s/GB':>10}{'us per frame':>14}")
    for name, rows in results.items():
        for row in rows:
            print(f"{name:10}{row['players']:8}{row['mbit_per_player']:13.2f}{row['cpu']:8.2f}"
                  f"{row['cpu_per_gb']:10.2f}{row['us_per_frame']:14.0f}")
    last = {name: rows[-1] for name, rows in results.items()}
    print(f"at {arguments.players[-1]} players: {last['vmshost']['cpu_per_gb'] / last['nginx']['cpu_per_gb']:.2f} "
          f"times the CPU per gigabyte of nginx")
    if len(arguments.players) > 1:
        for name, rows in results.items():
            growth = (rows[-1]["us_per_frame"] - rows[-2]["us_per_frame"]) / \
                     (rows[-1]["players"] - rows[-2]["players"])
            print(f"{name}: {growth:.1f} us per frame and player from {rows[-2]['players']} to "
                  f"{rows[-1]['players']} players")
    return 0


if __name__ == "__main__":
    sys.exit(main())
