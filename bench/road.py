#!/usr/bin/env python3
"""The whole road of a live picture on loopback: device, WebSocket client, module, stream server, player.

    bench/road.py [--seconds 20] [--channels 16]

Latency: between a simulated camera and vmshost stands a relay that notes when each frame is handed to
vmshost; the player in the same process notes when it arrives. What lies between is what vmshost adds,
and a little of this script. CPU: a recorder's channels go to a player each, without the relay. Needs a
release build.
"""

import argparse
import json
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request
import pathlib

from stream_relay import ROOT, VMSHOST, Players, connect, cpu_seconds, receive_exactly, websocket_player

DEVSIM = ROOT / "build/release/bin/devsim"
FAMILY = ROOT / "build/release/lib/libfamily_httpdevice.so"


def read_frame(receive):
    """One WebSocket frame of a server. @return its bytes, opcode and payload"""
    head = receive(2)
    length = head[1] & 0x7F
    if length >= 126:
        more = receive(2 if length == 126 else 8)
        head, length = head + more, int.from_bytes(more, "big")
    payload = receive(length)
    return head + payload, head[0] & 0xF, payload


class Relay:
    """Passes connections on to a device and notes when its video frames leave for the host."""

    def __init__(self, port):
        self.device = port
        self.left = {}
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            host, _ = self.listener.accept()
            device = connect(self.device)
            device.settimeout(None)
            host.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self.guarded, args=(self.to_device, host, device), daemon=True).start()
            threading.Thread(target=self.guarded, args=(self.to_host, device, host), daemon=True).start()

    @staticmethod
    def guarded(work, source, target):
        try:
            work(source, target)
        except OSError:
            pass
        source.close()
        target.close()

    @staticmethod
    def to_device(source, target):
        while data := source.recv(65536):
            target.sendall(data)

    def to_host(self, source, target):
        head = b""
        while not head.endswith(b"\r\n\r\n"):
            head += receive_exactly(source, 1)
        target.sendall(head)
        if b" 101 " not in head.split(b"\r\n")[0]:
            return self.to_device(source, target)
        while True:
            frame, opcode, payload = read_frame(lambda count: receive_exactly(source, count))
            if opcode == 2 and payload[4] == 1:
                self.left[struct.unpack_from("<I", payload, 12)[0]] = time.perf_counter()
            target.sendall(frame)


class Site:
    """Devices and a host that serves them."""

    def __init__(self, folder, options, through=None):
        self.devsim = subprocess.Popen([DEVSIM, "httpdevice", *options, "--media-cache", folder / "clips"],
                                       stdout=subprocess.PIPE, text=True)
        device = json.loads(self.devsim.stdout.readline())
        self.devsim.stdout.readline()
        port = through(device["port"]) if through else device["port"]
        config = folder / "road.json"
        config.write_text(json.dumps({"http": {"port": 0}, "modules": [{
            "name": "cameras", "library": str(FAMILY), "devices": [
                {"id": "cam", "ip": "127.0.0.1", "port": port, "username": device["user"],
                 "password": device["password"]}]}]}))
        self.host = subprocess.Popen([VMSHOST, "serve", "--config", config], stdout=subprocess.PIPE, text=True)
        self.port = int(self.host.stdout.readline().rsplit(":", 1)[1])

    def key(self, channel):
        body = json.dumps({"module": "cameras", "id": "0x100103", "deviceId": "cam",
                           "body": {"id": "cam", "channel": channel}}).encode()
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/commands", body) as answer:
            return json.loads(json.loads(answer.read())["body"])["uri"]

    def end(self):
        for process in (self.host, self.devsim):
            process.terminate()
            process.wait()


def added_latency(folder, seconds):
    relays = []

    def through(port):
        relays.append(Relay(port))
        return relays[0].port

    site = Site(folder, ["--count", "1"], through)
    try:
        player = websocket_player(site.port, site.key(0))
        arrived, end = {}, time.monotonic() + seconds
        while time.monotonic() < end:
            _, opcode, payload = read_frame(lambda count: receive_exactly(player, count))
            if opcode == 2 and struct.unpack_from("<I", payload, 4)[0] & 3 == 0:
                arrived.setdefault(struct.unpack_from("<I", payload, 16)[0], time.perf_counter())
    finally:
        site.end()
    # The first second holds the cached key picture, which left earlier.
    times = sorted(arrived)[25:]
    return sorted((arrived[at] - relays[0].left[at]) * 1000 for at in times if at in relays[0].left)


def cpu_per_gigabyte(folder, channels, seconds):
    site = Site(folder, ["--nvr", "1", "--channels", str(channels)])
    try:
        players = Players([websocket_player(site.port, site.key(channel)) for channel in range(channels)])
        time.sleep(2)
        before, cpu = sum(players.received()), cpu_seconds([site.host.pid])
        time.sleep(seconds)
        moved, cpu = sum(players.received()) - before, cpu_seconds([site.host.pid]) - cpu
        players.end()
    finally:
        site.end()
    return cpu / (moved / 1e9), moved * 8e-6 / seconds / channels


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=20)
    parser.add_argument("--channels", type=int, default=16)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vms-road-") as folder:
        folder = pathlib.Path(folder)
        times = added_latency(folder, arguments.seconds)
        print(f"{len(times)} pictures: added {statistics.median(times):.2f} ms in the median, "
              f"99% within {times[int(len(times) * 0.99) - 1]:.2f} ms")
        cpu, rate = cpu_per_gigabyte(folder, arguments.channels, arguments.seconds)
        print(f"{arguments.channels} channels of {rate:.1f} Mbit/s to a player each: {cpu:.2f} CPU s per GB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
