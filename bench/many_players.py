#!/usr/bin/env python3
"""A thousand players of four kinds on one host: memory, descriptors, threads, and the latest frame.

One 360p25 stream of 0.5 Mbit/s from a simulated camera goes to players over WebSocket, MPEG-TS, MP4 and RTSP (inside
the connection), a quarter each. A few processes read for all of them. Printed is what the host takes per player of
resident memory and descriptors, its threads before and with the players, what CPU it uses, and for each kind the
longest time in which a player got nothing: with a picture every 40 ms, what is beyond that is the latest one's delay.

    bench/many_players.py [--players 1000] [--seconds 10]

Needs a release build and ffmpeg.
"""

import argparse
import multiprocessing
import os
import pathlib
import resource
import selectors
import socket
import subprocess
import sys
import tempfile
import time

import stream_relay as relay

KINDS = ("websocket", "ts", "mp4", "rtsp")
PERIOD = 1 / relay.FRAMES_PER_SECOND
READERS = 4  # processes


def make_small_clip(path, seconds):
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
         f"testsrc2=size=640x360:rate={relay.FRAMES_PER_SECOND}:duration={seconds}", "-c:v", "libx264", "-preset",
         "ultrafast", "-tune", "zerolatency", "-pix_fmt", "yuv420p", "-b:v", "500k", "-maxrate", "500k", "-bufsize",
         "125k", "-g", "25", "-keyint_min", "25", "-sc_threshold", "0", str(path)], check=True)


def figures(pid):
    folder = pathlib.Path(f"/proc/{pid}")
    status = dict(line.split(":", 1) for line in (folder / "status").read_text().splitlines())
    return {"resident": int(status["VmRSS"].split()[0]) * 1024, "threads": int(status["Threads"]),
            "descriptors": len(os.listdir(folder / "fd"))}


def websocket_player(port):
    player = relay.connect(port)
    player.sendall(relay.UPGRADE.replace(b"/stream ", b"/stream?device=cam&channel=0 "))
    relay.read_head(player)
    return player


def open_player(camera, kind):
    if kind == "rtsp":
        return relay.rtsp_player(camera.rtsp_port)
    if kind == "websocket":
        return websocket_player(camera.port)
    return relay.http_player(camera.port, f"/live/cam/0.{kind}")


def read_all(players, begin, end, result):
    """Reads for many players. Between the two times it notes the longest silence of each."""
    selector = selectors.DefaultSelector()
    for kind, player in players:
        player.setblocking(False)
        selector.register(player, selectors.EVENT_READ, [kind, None, 0.0])
    gone = 0
    while (now := time.monotonic()) < end:
        for key, _ in selector.select(min(1, max(0, end - now))):
            try:
                data = key.fileobj.recv(1 << 18)
            except BlockingIOError:
                continue
            except OSError:
                data = b""
            arrived = time.monotonic()
            if not data:
                selector.unregister(key.fileobj)
                gone += 1
                continue
            if arrived >= begin:
                if key.data[1] is not None:
                    key.data[2] = max(key.data[2], arrived - key.data[1])
                key.data[1] = arrived
    silences = {}
    for key in list(selector.get_map().values()):
        kind, last, longest = key.data
        silences.setdefault(kind, []).append(max(longest, end - (last if last is not None else begin)))
    result.send((gone, silences))


def start_readers(players, begin, end):
    """Has the players read by other processes from here on."""
    context = multiprocessing.get_context("fork")
    readers = []
    for index in range(READERS):
        receiver, sender = context.Pipe(duplex=False)
        process = context.Process(target=read_all, args=(players[index::READERS], begin, end, sender))
        process.start()
        readers.append((process, receiver))
    for _, player in players:
        player.close()
    return readers


def collect(readers):
    """@return how many players the host has closed, and the longest silence of each other by kind"""
    gone, silences = 0, {}
    for process, receiver in readers:
        lost, part = receiver.recv()
        gone += lost
        for kind, longest in part.items():
            silences.setdefault(kind, []).extend(longest)
        process.join()
    return gone, silences


def read_with_processes(players, begin, end):
    return collect(start_readers(players, begin, end))


def measure(camera, count, seconds):
    relay_warm = websocket_player(camera.port)  # the stream is there before all others come
    time.sleep(1)
    before = figures(camera.process.pid)
    players = [(kind, open_player(camera, kind)) for i in range(count) for kind in [KINDS[i % len(KINDS)]]]
    begin = time.monotonic() + 3
    end = begin + seconds
    readers = start_readers(players, begin, end)
    time.sleep(max(0, begin - time.monotonic()))
    cpu, started = relay.cpu_seconds(camera.pids), time.monotonic()
    time.sleep(seconds - 0.5)
    with_them = figures(camera.process.pid)
    cpu = (relay.cpu_seconds(camera.pids) - cpu) / (time.monotonic() - started)
    gone, silences = collect(readers)
    relay_warm.close()
    return before, with_them, cpu, gone, silences


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--players", type=int, default=1000)
    parser.add_argument("--seconds", type=int, default=10)
    arguments = parser.parse_args()
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, max(soft, 2 * arguments.players + 100)), hard))
    with tempfile.TemporaryDirectory(prefix="vms-many-") as name:
        folder = pathlib.Path(name)
        make_small_clip(folder / "clip.mp4", 30)
        camera = relay.Camera(folder, folder / "clip.mp4")
        try:
            before, with_them, cpu, gone, silences = measure(camera, arguments.players, arguments.seconds)
        finally:
            camera.end()
    grown = with_them["resident"] - before["resident"]
    print(f"{arguments.players} players, {gone} of them lost")
    print(f"resident  {before['resident'] / 1e6:.0f} MB before, {with_them['resident'] / 1e6:.0f} MB with them: "
          f"{grown / arguments.players / 1000:.1f} kB each")
    print(f"descriptors {before['descriptors']} before, {with_them['descriptors']} with them")
    print(f"threads   {before['threads']} before, {with_them['threads']} with them")
    print(f"CPU       {cpu:.2f} of a core: "
          f"{cpu / relay.FRAMES_PER_SECOND / arguments.players * 1e6:.1f} us per frame and player")
    for kind in KINDS:
        delays = sorted(max(0, longest - PERIOD) * 1000 for longest in silences.get(kind, [0]))
        print(f"latest frame, {kind:10}: {delays[len(delays) // 2]:.0f} ms for the median player, "
              f"{delays[-1]:.0f} ms for the worst")
    return 1 if gone else 0


if __name__ == "__main__":
    sys.exit(main())
