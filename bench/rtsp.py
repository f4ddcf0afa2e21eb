#!/usr/bin/env python3
"""What RTSP players cost, and how long they wait.

One 720p25 stream of 2 Mbit/s from a simulated camera goes to players inside their connections, over UDP,
and for comparison over WebSocket, from the same host. CPU is what the host used
(/proc/PID/task/TID/schedstat). Then, with others watching, new players come in the middle of groups of
pictures: how long from their first byte to the first one of a key picture, and how long until ffmpeg, told
not to wait, has decoded one.

    bench/rtsp.py [--seconds 6] [--rounds 3] [--players 1 50 200] [--joins 20] [--others 50]

Needs a release build and ffmpeg.
"""

import argparse
import json
import pathlib
import re
import select
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from stream_relay import Camera, FRAMES_PER_SECOND, Players, connect, cpu_seconds, free_port, make_clip, \
    receive_exactly


class RtspCamera(Camera):
    """The same host with RTSP."""
    name = "rtsp"

    def serve(self, folder, family, module, device):
        super().serve(folder, family, module, device)
        self.end_host()
        config = json.loads((folder / "vms.json").read_text())
        self.rtsp_port = free_port()
        config["rtsp"] = {"port": self.rtsp_port}
        (folder / "vms.json").write_text(json.dumps(config))
        from stream_relay import VMSHOST
        self.process = subprocess.Popen([VMSHOST, "serve", "--config", folder / "vms.json"],
                                        stdout=subprocess.PIPE)
        while b"ready" not in self.process.stdout.readline():
            pass
        self.pids = [self.process.pid]

    def end_host(self):
        self.process.terminate()
        self.process.wait()

    @property
    def url(self):
        return f"rtsp://127.0.0.1:{self.rtsp_port}/live/cam/0"


class Session:
    """A player on a raw socket that watches the pictures."""

    def __init__(self, server, udp=False):
        self.udp = None
        self.server = server
        self.begun = time.monotonic()
        self.socket = connect(server.rtsp_port)
        self.sequence = 0
        self.session = ""
        transport = "RTP/AVP/TCP;unicast;interleaved=0-1"
        if udp:
            self.udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            self.udp.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
            self.udp.bind(("127.0.0.1", 0))
            transport = f"RTP/AVP;unicast;client_port={self.udp.getsockname()[1]}"
        self.ask("DESCRIBE", server.url, "Accept: application/sdp\r\n")
        head = self.ask("SETUP", server.url + "/track0", f"Transport: {transport}\r\n")
        self.session = re.search(r"Session: (\w+)", head).group(1)
        self.ask("PLAY", server.url, "")

    def ask(self, method, url, headers):
        self.sequence += 1
        session = f"Session: {self.session}\r\n" if self.session else ""
        self.socket.sendall(f"{method} {url} RTSP/1.0\r\nCSeq: {self.sequence}\r\n{session}{headers}\r\n".encode())
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            head += receive_exactly(self.socket, 1)
        head = head.decode()
        if " 200 " not in head.split("\r\n")[0]:
            raise ConnectionError(head)
        length = re.search(r"Content-Length: (\d+)", head)
        if length:
            receive_exactly(self.socket, int(length.group(1)))
        return head

    def until_key_picture(self):
        """Seconds from the connection on."""
        while True:
            head = receive_exactly(self.socket, 4)
            packet = receive_exactly(self.socket, head[2] << 8 | head[3])
            kind = packet[12] & 0x1f
            if head[1] == 0 and (kind in (24, 5) or (kind == 28 and packet[13] & 0x1f == 5)):
                return time.monotonic() - self.begun


class UdpPlayers:
    """Their control connections, and one thread that takes what comes for all of them."""

    def __init__(self, sessions):
        self.sessions = sessions
        self.total = 0
        self.running = True
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        poll = select.epoll()
        ends = {session.udp.fileno(): session.udp for session in self.sessions}
        buffer = bytearray(2048)
        for number, end in ends.items():
            end.setblocking(False)
            poll.register(number, select.EPOLLIN)
        while self.running:
            for number, _ in poll.poll(0.2):
                try:
                    while True:
                        self.total += ends[number].recv_into(buffer)
                except BlockingIOError:
                    pass

    def end(self):
        self.running = False
        self.thread.join()
        for session in self.sessions:
            session.socket.close()
            session.udp.close()


def us_per_frame(server, seconds, bytes_received):
    time.sleep(2)
    before, cpu, started = bytes_received(), cpu_seconds(server.pids), time.monotonic()
    time.sleep(seconds)
    cpu, lasted = cpu_seconds(server.pids) - cpu, time.monotonic() - started
    if bytes_received() == before:
        raise RuntimeError("the players received nothing")
    return cpu / lasted / FRAMES_PER_SECOND * 1e6


def measure(server, kind, count, seconds):
    if kind == "udp":
        players = UdpPlayers([Session(server, udp=True) for _ in range(count)])
        received = lambda: players.total
    else:
        sockets = ([Session(server).socket for _ in range(count)] if kind == "tcp" else server.players(count))
        players = Players(sockets)
        received = lambda: sum(players.received())
    try:
        return us_per_frame(server, seconds, received)
    finally:
        players.end()


def first_decoded(server):
    """Seconds until ffmpeg, told not to wait, has a picture; its own start included."""
    started = time.monotonic()
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-rtsp_transport", "tcp", "-flags", "low_delay",
                    "-probesize", "32", "-analyzeduration", "0", "-fpsprobesize", "0", "-i", server.url, "-frames:v", "1",
                    "-an", "-f", "null", "-"], check=True, timeout=30)
    return time.monotonic() - started


def ffmpeg_start():
    """Seconds that ffmpeg takes for a picture that needs no network."""
    started = time.monotonic()
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "color=size=1280x720", "-frames:v", "1",
                    "-f", "null", "-"], check=True)
    return time.monotonic() - started


def joins(server, count, others):
    watching = Players([Session(server).socket for _ in range(others)])
    try:
        time.sleep(1)
        keys, pictures = [], []
        for _ in range(count):
            session = Session(server)
            keys.append(session.until_key_picture())
            session.socket.close()
            pictures.append(first_decoded(server))
            time.sleep(0.137)
    finally:
        watching.end()
    return keys, pictures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=6)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--players", type=int, nargs="+", default=[1, 50, 200])
    parser.add_argument("--joins", type=int, default=20)
    parser.add_argument("--others", type=int, default=50)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vms-rtsp-") as folder:
        folder = pathlib.Path(folder)
        clip = folder / "clip.mp4"
        make_clip(clip, 30)
        server = RtspCamera(folder, clip)
        try:
            print(f"{'':12}" + "".join(f"{count:>10}" for count in arguments.players) + "   players: us per frame")
            for kind in ("websocket", "tcp", "udp"):
                medians = [statistics.median(measure(server, kind, count, arguments.seconds)
                                             for _ in range(arguments.rounds)) for count in arguments.players]
                line = f"{kind:12}" + "".join(f"{median:10.0f}" for median in medians)
                if len(medians) > 1:
                    growth = (medians[-1] - medians[0]) / (arguments.players[-1] - arguments.players[0])
                    line += f"   {growth:.1f} us for each further player"
                print(line, flush=True)
            keys, pictures = joins(server, arguments.joins, arguments.others)
        finally:
            server.end()
    for name, times in (("first byte of a key picture", keys), ("ffmpeg's first picture", pictures)):
        print(f"{name}: median {1000 * statistics.median(times):.1f} ms, worst {1000 * max(times):.1f} ms "
              f"({len(times)} joins, {arguments.others} others)")
    starts = statistics.median(ffmpeg_start() for _ in range(5))
    print(f"of that ffmpeg's own start: {1000 * starts:.0f} ms")
    return 0


if __name__ == "__main__":
    sys.exit(main())
