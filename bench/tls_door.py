#!/usr/bin/env python3
"""What attackers at the TLS port cost those who are in, and those who want in.

One live player over TLS notes its longest wait for data, one honest client makes a connection of its own for
each request and notes how long that took and whether it was let in, meanwhile nobody attacks, 500 clients keep
half-open handshakes there (and come again, as fast as they can, when they are ended), or 8 make handshakes as
fast as they can. The attackers come from an address of their own, or from that of the honest.

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


def half_open(port, origin, count, until):
    """So many connections, each with the beginning of a handshake, renewed when they are ended."""
    waiting = select.poll()
    clients, done = {}, 0

    def come():
        client = socket.create_connection(("127.0.0.1", port), source_address=(origin, 0))
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


def handshakes(port, origin, until):
    done = 0
    while time.monotonic() < until:
        try:
            with CONTEXT.wrap_socket(
                    socket.create_connection(("127.0.0.1", port), source_address=(origin, 0))):
                done += 1
        except OSError:
            pass
    return done


def longest_wait(port, key, ready, until):
    """Milliseconds, of a player of the live stream."""
    player = stream_relay.tls_websocket_player(port, key)
    player.settimeout(5)
    ready.set()
    last, longest = time.monotonic(), 0
    while last < until:
        player.recv(1 << 18)
        now = time.monotonic()
        last, longest = now, max(longest, now - last)
    return longest * 1e3


def honest(port, until):
    """Milliseconds of each request, the handshake included, and how many were not let in."""
    times, failures = [], 0
    while time.monotonic() < until:
        started = time.monotonic()
        try:
            with CONTEXT.wrap_socket(socket.create_connection(("127.0.0.1", port), timeout=10)) as client:
                client.sendall(b"GET /healthz HTTP/1.0\r\nHost: localhost\r\n\r\n")
                while client.recv(4096):
                    pass
            times.append((time.monotonic() - started) * 1e3)
        except OSError:
            failures += 1
        time.sleep(0.05)
    return times, failures


def measure(server, pool, ready, name, attackers, seconds):
    until = time.monotonic() + seconds
    ready.clear()
    player = pool.apply_async(longest_wait, (server.port, server.new_key(), ready, until))
    ready.wait(10)
    attacks = [pool.apply_async(function, (server.port, *arguments, until)) for function, *arguments in attackers]
    client = pool.apply_async(honest, (server.port, until))
    before = stream_relay.cpu_seconds(server.pids)
    (times, failures), wait = client.get(), player.get()
    cpu = stream_relay.cpu_seconds(server.pids) - before
    done = sum(attack.get() for attack in attacks)
    print(f"{name:30}{done / seconds:10.0f}{cpu / seconds * 100:8.0f}{wait:14.0f}"
          f"{statistics.median(times or [0]):12.1f}{max(times, default=0):8.1f}{len(times):8}{failures:9}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=8)
    seconds = parser.parse_args().seconds
    with tempfile.TemporaryDirectory(prefix="vms-door-") as folder, multiprocessing.Manager() as manager, \
            multiprocessing.Pool(12) as pool:
        folder = pathlib.Path(folder)
        stream_relay.make_clip(folder / "clip.mp4", 10)
        server = stream_relay.over_tls(stream_relay.Camera)(folder, folder / "clip.mp4")
        try:
            print(f"{'':30}{'attacks/s':>10}{'CPU %':>8}{'longest wait':>14}{'request ms':>12}{'worst':>8}{'let in':>8}"
                  f"{'not':>9}")
            ready = manager.Event()
            measure(server, pool, ready, "nobody attacks", [], seconds)
            for origin, where in (("127.0.0.2", "elsewhere"), ("127.0.0.1", "the same address")):
                measure(server, pool, ready, f"500 half-open, {where}", [(half_open, origin, 500)], seconds)
                measure(server, pool, ready, f"8 shaking hands, {where}", [(handshakes, origin)] * 8, seconds)
        finally:
            server.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
