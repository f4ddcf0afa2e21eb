#!/usr/bin/env python3
"""What attackers at the TLS port cost those who are in, and those who want in.

One live player over TLS notes its longest wait for data, one honest client makes a connection of its own for
each request and notes how long that took, meanwhile nobody attacks, 500 clients keep half-open handshakes
there (and come again when they are ended), or 8 make handshakes as fast as they can.

    bench/tls_door.py [--seconds 8]

Needs a release build and ffmpeg.
"""

import argparse
import multiprocessing
import pathlib
import select
import socket
import ssl
import statistics
import sys
import tempfile
import time

import stream_relay

HALF_HELLO = b"\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03"
CONTEXT = ssl._create_unverified_context()


def half_open(port, count, until):
    """So many connections, each with the beginning of a handshake, renewed when they are ended."""
    waiting = select.poll()
    clients, done = {}, 0

    def come():
        client = socket.create_connection(("127.0.0.1", port))
        client.sendall(HALF_HELLO)
        clients[client.fileno()] = client
        waiting.register(client, select.POLLIN | select.POLLHUP)

    while time.monotonic() < until:
        try:
            if len(clients) < count:
                come()
                done += 1
        except OSError:
            pass
        for descriptor, _ in waiting.poll(0 if len(clients) < count else 50):
            waiting.unregister(descriptor)
            clients.pop(descriptor).close()
    return done


def handshakes(port, until):
    done = 0
    while time.monotonic() < until:
        try:
            with CONTEXT.wrap_socket(socket.create_connection(("127.0.0.1", port))):
                done += 1
        except OSError:
            pass
    return done


def longest_wait(port, key, until):
    """Milliseconds, of a player of the live stream."""
    player = stream_relay.tls_websocket_player(port, key)
    player.settimeout(5)
    last, longest = time.monotonic(), 0
    while last < until:
        player.recv(1 << 18)
        now = time.monotonic()
        last, longest = now, max(longest, now - last)
    return longest * 1e3


def honest(port, until):
    """Milliseconds of each request, the handshake included."""
    times = []
    while time.monotonic() < until:
        started = time.monotonic()
        with CONTEXT.wrap_socket(socket.create_connection(("127.0.0.1", port), timeout=10)) as client:
            client.sendall(b"GET /healthz HTTP/1.0\r\nHost: localhost\r\n\r\n")
            while client.recv(4096):
                pass
        times.append((time.monotonic() - started) * 1e3)
        time.sleep(0.05)
    return times


def measure(server, pool, name, attackers, seconds):
    until = time.monotonic() + seconds
    attacks = [pool.apply_async(function, (server.port, *arguments, until)) for function, *arguments in attackers]
    player = pool.apply_async(longest_wait, (server.port, server.new_key(), until))
    client = pool.apply_async(honest, (server.port, until))
    before = stream_relay.cpu_seconds(server.pids)
    times, wait = client.get(), player.get()
    cpu = stream_relay.cpu_seconds(server.pids) - before
    done = sum(attack.get() for attack in attacks)
    print(f"{name:24}{done / seconds:10.0f}{cpu / seconds * 100:8.0f}{wait:14.0f}{statistics.median(times):12.1f}"
          f"{max(times):8.1f}{len(times):9}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=8)
    seconds = parser.parse_args().seconds
    with tempfile.TemporaryDirectory(prefix="vms-door-") as folder, multiprocessing.Pool(12) as pool:
        folder = pathlib.Path(folder)
        stream_relay.make_clip(folder / "clip.mp4", 10)
        server = stream_relay.over_tls(stream_relay.Camera)(folder, folder / "clip.mp4")
        try:
            print(f"{'':24}{'attacks/s':>10}{'CPU %':>8}{'longest wait':>14}{'request ms':>12}{'worst':>8}{'count':>9}")
            measure(server, pool, "nobody attacks", [], seconds)
            measure(server, pool, "500 half-open", [(half_open, 500)], seconds)
            measure(server, pool, "8 shaking hands", [(handshakes,)] * 8, seconds)
        finally:
            server.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
