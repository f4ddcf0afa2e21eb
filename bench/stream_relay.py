#!/usr/bin/env python3
"""CPU per gigabyte of the stream server beside nginx with its RTMP module, and node-media-server.

One 720p25 stream of 2 Mbit/s goes to 1, 50 and 200 players over loopback, in turns through vmshost and
through its peers. All receive it over a connection: vmshost from a simulated camera, the others from ffmpeg. Every
player is a process of its own. CPU is what the serving processes used (user and system,
/proc/PID/task/TID/schedstat), bytes are what the players received.

    bench/stream_relay.py [--seconds 6] [--rounds 5] [--players 1 50 200] [--kind ws|ts|mp4|rtsp] [--recording]
                          [--peers nginx node] [--tls]

--kind is the way out of vmshost: WebSocket, MPEG-TS or MP4 over HTTP, or RTSP inside its connection. With --recording
vmshost reads and paces a recording itself, which the feeder of the others is not charged for. node-media-server gives
its players FLV over HTTP. With --tls vmshost is compared with a vmshost that speaks TLS instead. Those players leave
what they receive encrypted: they cost the machine what the others do.

Needs a release build and ffmpeg; nginx: the packages nginx-light and libnginx-mod-rtmp; node: Node 18 and `npm ci` in
bench/peers.
"""

import argparse
import json
import os
import pathlib
import mmap
import shutil
import signal
import socket
import ssl
import statistics
import struct
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[1]
VMSHOST = ROOT / "build/release/bin/vmshost"
DEVSIM = ROOT / "build/release/bin/devsim"
FAMILIES = ROOT / "build/release/lib"
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
         "-g", "25", "-keyint_min", "25", "-sc_threshold", "0", str(path)], check=True)


def to_simulator_clip(clip, target):
    """The form in which the simulator keeps its clips: magic, then per frame a key flag, a length and Annex B."""
    raw = target.with_suffix(".h264")
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-i", str(clip), "-c", "copy", "-bsf:v",
                    "h264_mp4toannexb", "-f", "h264", str(raw)], check=True)
    probe = subprocess.run(["ffprobe", "-v", "quiet", "-f", "h264", "-show_entries", "packet=size,flags", "-of",
                            "json", str(raw)], check=True, stdout=subprocess.PIPE)
    data, at, packed = raw.read_bytes(), 0, b"DSCLIP1\n"
    for packet in json.loads(probe.stdout)["packets"]:
        size = int(packet["size"])
        packed += struct.pack("<BI", "K" in packet["flags"], size) + data[at:at + size]
        at += size
    if at != len(data):
        raise RuntimeError("the clip has bytes outside its frames")
    target.write_bytes(packed)


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

UPGRADE = (b"GET /stream HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
           b"Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n")


def read_head(player):
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        head += receive_exactly(player, 1)
    if b" 101 " not in head.split(b"\r\n")[0]:
        raise ConnectionError(head.decode(errors="replace"))


def attach(player, key):
    player.sendall(UPGRADE)
    read_head(player)
    request = json.dumps({"cmd": 0x100200, "key": key, "body": ""}).encode()
    assert len(request) < 126
    player.sendall(bytes([0x81, 0x80 | len(request), 0, 0, 0, 0]) + request)


def websocket_player(port, key):
    player = connect(port)
    attach(player, key)
    return player


class TlsClient:
    """The TLS side of a socket, up to the moment when what comes is no longer read."""

    def __init__(self, player):
        context = ssl.create_default_context()
        context.check_hostname, context.verify_mode = False, ssl.CERT_NONE
        self.player, self.incoming, self.outgoing = player, ssl.MemoryBIO(), ssl.MemoryBIO()
        self.tls = context.wrap_bio(self.incoming, self.outgoing, server_side=False)
        self.until_done(self.tls.do_handshake)

    def until_done(self, step):
        while True:
            try:
                done = step()
                self.player.sendall(self.outgoing.read())
                return done
            except ssl.SSLWantReadError:
                self.player.sendall(self.outgoing.read())
                piece = self.player.recv(65536)
                if not piece:
                    raise ConnectionError("the server closed")
                self.incoming.write(piece)

    def sendall(self, data):
        self.until_done(lambda: self.tls.write(data))

    def recv(self, count):
        return self.until_done(lambda: self.tls.read(count))


def tls_websocket_player(port, key):
    player = connect(port)
    attach(TlsClient(player), key)
    return player


def http_player(port, path):
    player = connect(port)
    player.sendall(f"GET {path} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n".encode())
    return player


# RTSP 1.0, the picture alone, inside the connection

def rtsp_ask(player, text):
    """@return the answer's header and body"""
    player.sendall(text.encode())
    head = b""
    while not head.endswith(b"\r\n\r\n"):
        head += receive_exactly(player, 1)
    if b" 200 " not in head.split(b"\r\n")[0]:
        raise ConnectionError(head.decode(errors="replace"))
    length = [line for line in head.split(b"\r\n") if line.lower().startswith(b"content-length:")]
    body = receive_exactly(player, int(length[0].split(b":")[1])) if length else b""
    return head.decode(), body.decode()


def rtsp_player(port):
    player = connect(port)
    url = f"rtsp://127.0.0.1:{port}/live/cam/0"
    _, description = rtsp_ask(player, f"DESCRIBE {url} RTSP/1.0\r\nCSeq: 1\r\nAccept: application/sdp\r\n\r\n")
    track = [line.split(":", 1)[1] for line in description.splitlines()
             if line.startswith("a=control:") and line != "a=control:*"][0]
    target = track if track.startswith("rtsp://") else f"{url}/{track}"
    head, _ = rtsp_ask(player, f"SETUP {target} RTSP/1.0\r\nCSeq: 2\r\n"
                               "Transport: RTP/AVP/TCP;interleaved=0-1\r\n\r\n")
    session = [line.split(":", 1)[1].split(";")[0].strip() for line in head.splitlines()
               if line.lower().startswith("session:")][0]
    player.sendall(f"PLAY {url} RTSP/1.0\r\nCSeq: 3\r\nSession: {session}\r\n\r\n".encode())
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


class Players:
    """One process per player, each reading as fast as it can. Received bytes are counted in shared memory."""

    def __init__(self, sockets):
        self.counts = mmap.mmap(-1, 8 * len(sockets))
        self.pids = []
        for index, player in enumerate(sockets):
            pid = os.fork()
            if pid == 0:
                for other in sockets:
                    if other is not player:
                        other.close()
                self.read_for_ever(player, index)
            self.pids.append(pid)
        for player in sockets:
            player.close()

    def read_for_ever(self, player, index):
        try:
            player.settimeout(None)
            buffer, total = bytearray(1 << 18), 0
            while got := player.recv_into(buffer):
                total += got
                self.counts[8 * index:8 * index + 8] = struct.pack("<Q", total)
        finally:
            os._exit(1)

    def received(self):
        return struct.unpack(f"<{len(self.pids)}Q", self.counts[:])

    def end(self):
        for pid in self.pids:
            os.kill(pid, signal.SIGKILL)
            os.waitpid(pid, 0)


class Vmshost:
    """Serves one channel. A subclass starts what it comes from."""
    name = "vmshost"
    tls, scheme, player = {}, "http", staticmethod(websocket_player)
    wrap = staticmethod(lambda connection: connection)
    kind = "ws"

    def serve(self, folder, family, module, device):
        self.port, self.rtsp_port = free_port(), free_port()
        config = folder / "vms.json"
        config.write_text(json.dumps({
            "http": {"port": self.port, **self.tls}, "state": "state",
            "rtsp": {"port": self.rtsp_port},
            "modules": [{"name": "cams", "library": str(FAMILIES / f"libfamily_{family}.so"), "config": module,
                         "devices": [{"id": "cam", **device}]}]}))
        self.process = subprocess.Popen([VMSHOST, "serve", "--config", config], stdout=subprocess.PIPE)
        while not self.process.stdout.readline().startswith(b"ready "):
            pass
        self.pids = [self.process.pid]

    def new_key(self):
        body = json.dumps({"module": "cams", "id": "0x100103", "deviceId": "cam",
                           "body": {"id": "cam", "channel": 0}}).encode()
        address = f"{self.scheme}://127.0.0.1:{self.port}/api/commands"
        with urllib.request.urlopen(address, body, context=ssl._create_unverified_context()) as answer:
            return json.loads(json.loads(answer.read())["body"])["uri"]

    def players(self, count):
        if self.kind == "rtsp":
            return [rtsp_player(self.rtsp_port) for _ in range(count)]
        if self.kind != "ws":
            return [http_player(self.port, f"/live/cam/0.{self.kind}") for _ in range(count)]
        key = self.new_key()
        return [self.player(self.port, key) for _ in range(count)]

    def end(self):
        self.process.terminate()
        self.process.wait()


class Recording(Vmshost):
    def __init__(self, folder, clip):
        channel = folder / "cam" / "ch0"
        channel.mkdir(parents=True)
        shutil.copy(clip, channel / "20260101T000000Z_schedule.mp4")
        self.serve(folder, "mediafile", {"streamserver": {"content": str(folder)}}, {})


class Camera(Vmshost):
    def __init__(self, folder, clip):
        clips = folder / "clips"
        clips.mkdir()
        to_simulator_clip(clip, clips / "h264-main.clip")
        self.devsim = subprocess.Popen([DEVSIM, "httpdevice", "--mute", "--media-cache", clips],
                                       stdout=subprocess.PIPE)
        camera = json.loads(self.devsim.stdout.readline())
        self.devsim.stdout.readline()
        self.serve(folder, "httpdevice", {}, {"ip": "127.0.0.1", "port": camera["port"],
                                              "username": camera["user"], "password": camera["password"]})

    def end(self):
        super().end()
        self.devsim.terminate()
        self.devsim.wait()


def over_tls(kind):
    """The same, speaking TLS."""
    return type("Tls" + kind.__name__, (kind,), {
        "name": "with TLS", "tls": {"tls": "self-signed"}, "scheme": "https",
        "player": staticmethod(tls_websocket_player), "wrap": staticmethod(TlsClient)})


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


class Node:
    """node-media-server: RTMP in, FLV over HTTP out."""
    name = "node"

    def __init__(self, _folder, clip):
        self.port, rtmp = free_port(), free_port()
        self.process = subprocess.Popen(["node", "http_flv.js", str(rtmp), str(self.port)], stdout=subprocess.PIPE,
                                        cwd=ROOT / "bench/peers")
        self.process.stdout.readline()
        time.sleep(1)
        self.source = subprocess.Popen(
            ["ffmpeg", "-nostdin", "-v", "error", "-re", "-stream_loop", "-1", "-i", str(clip), "-c", "copy",
             "-f", "flv", f"rtmp://127.0.0.1:{rtmp}/live/cam"])
        time.sleep(2)
        self.pids = [self.process.pid]

    def players(self, count):
        return [http_player(self.port, "/live/cam.flv") for _ in range(count)]

    def end(self):
        self.source.terminate()
        self.source.wait()
        self.process.terminate()
        self.process.wait()


PEERS = {"nginx": Nginx, "node": Node}


def measure(server, count, seconds):
    players = Players(server.players(count))
    try:
        time.sleep(2)
        before, cpu, started = players.received(), cpu_seconds(server.pids), time.monotonic()
        memory = resident_bytes(server.pids[-1])
        time.sleep(seconds)
        after = players.received()
        cpu, lasted = cpu_seconds(server.pids) - cpu, time.monotonic() - started
    finally:
        players.end()
    if min(new - old for new, old in zip(after, before)) == 0:
        raise RuntimeError(f"{server.name}: a player received nothing")
    moved = sum(after) - sum(before)
    return {"cpu_per_gb": cpu / (moved / 1e9), "mbit": moved * 8e-6 / lasted / count,
            "us_per_frame": cpu / lasted / FRAMES_PER_SECOND * 1e6, "resident": memory}


def idle_connections(server, count):
    """Resident bytes per connection that has asked for nothing."""
    before = resident_bytes(server.pids[-1])
    connections = []
    for _ in range(count):
        connections.append(connect(server.port))
        stream = server.wrap(connections[-1])
        stream.sendall(UPGRADE)
        read_head(stream)
    time.sleep(1)
    grown = resident_bytes(server.pids[-1]) - before
    for connection in connections:
        connection.close()
    return grown / count


def print_table(servers, counts, results):
    print(f"{'':10}{'players':>8}{'Mbit/s each':>13}{'CPU s/GB':>10}{'us per frame':>14}")
    medians = {}
    for server in servers:
        for count in counts:
            rows = results[server.name, count]
            middle = {key: statistics.median(row[key] for row in rows) for key in rows[0]}
            medians[server.name, count] = middle
            print(f"{server.name:10}{count:8}{middle['mbit']:13.2f}{middle['cpu_per_gb']:10.2f}"
                  f"{middle['us_per_frame']:14.0f}")
    return medians


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=6)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--players", type=int, nargs="+", default=[1, 50, 200])
    parser.add_argument("--kind", choices=["ws", "ts", "mp4", "rtsp"], default="ws")
    parser.add_argument("--peers", choices=PEERS, nargs="+", default=["nginx"])
    parser.add_argument("--recording", action="store_true")
    parser.add_argument("--tls", action="store_true")
    arguments = parser.parse_args()
    Vmshost.kind = arguments.kind
    counts, results = arguments.players, {}
    with tempfile.TemporaryDirectory(prefix="vms-relay-") as folder:
        folder = pathlib.Path(folder)
        clip = folder / "clip.mp4"
        make_clip(clip, 30)
        servers = []
        try:
            ours = Recording if arguments.recording else Camera
            peers = [over_tls(ours)] if arguments.tls else [PEERS[name] for name in arguments.peers]
            for kind in (ours, *peers):
                (folder / kind.name).mkdir()
                servers.append(kind(folder / kind.name, clip))
            idle = [idle_connections(server, 500) for server in servers[:2 if arguments.tls else 1]]
            for _ in range(arguments.rounds):
                for count in counts:
                    for server in servers:
                        results.setdefault((server.name, count), []).append(
                            measure(server, count, arguments.seconds))
        finally:
            for server in servers:
                server.end()
    medians = print_table(servers, counts, results)
    most = counts[-1]
    for peer in servers[1:]:
        pair = (peer, servers[0]) if arguments.tls else (servers[0], peer)
        for count in counts if arguments.tls else [most]:
            ratios = [mine["cpu_per_gb"] / theirs["cpu_per_gb"]
                      for mine, theirs in zip(*(results[server.name, count] for server in pair))]
            print(f"at {count} players, {pair[0].name} to {pair[1].name}: " +
                  ", ".join(f"{ratio:.2f}" for ratio in ratios) + f"; median {statistics.median(ratios):.2f}")
    if len(counts) > 1:
        for server in servers:
            few, many = (medians[server.name, count] for count in counts[-2:])
            growth = (many["us_per_frame"] - few["us_per_frame"]) / (counts[-1] - counts[-2])
            print(f"{server.name}: {growth:.1f} us per frame and player from {counts[-2]} to {most} players")
        for server, bytes_each in zip(servers, idle):
            print(f"{server.name}: {bytes_each / 1000:.1f} kB per idle connection")
            grown = medians[server.name, most]["resident"] - medians[server.name, counts[0]]["resident"]
            print(f"{server.name}: {grown / (most - counts[0]) / 1000:.1f} kB per attached player")
    return 0


if __name__ == "__main__":
    sys.exit(main())
