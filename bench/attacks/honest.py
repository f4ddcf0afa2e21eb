"""The honest clients beside an attack: a live player, an API client and a health check, a process each."""

import http.client
import json
import multiprocessing
import signal
import socket
import struct
import time

from attacks.wire import (BINARY, GET_CONNECT_TYPE, PREVIEW, command_body, fetch, join, player_request,
                          read_frames)

FACE = 3
LIVE_PAUSE = 0.005  # seconds between two live units at least
PATIENCE = 5  # seconds that a request may take


class Exchanges:
    """Asks one request after the other; keeps the worst time and counts what went wrong."""

    def __init__(self, pause, ask):
        self.pause, self.ask = pause, ask

    def run(self, stop, ready):
        worst, count, failures, complaint = 0.0, 0, 0, ""
        while not stop.is_set():
            started = time.monotonic()
            try:
                wrong = self.ask()
            except (OSError, ValueError, KeyError, http.client.HTTPException) as error:
                wrong = f"{type(error).__name__}: {error}"
            took = time.monotonic() - started
            ready.set()
            worst, count = max(worst, took), count + 1
            if wrong:
                failures, complaint = failures + 1, complaint or wrong
            stop.wait(max(0.0, self.pause - took))
        return {"worst_ms": worst * 1000, "count": count, "failed": failures, "complaint": complaint}


def health_check(port):
    def ask():
        status, _ = fetch(port, "GET", "/healthz", timeout=PATIENCE)
        return "" if status == 200 else f"status {status}"
    return Exchanges(0.1, ask)


def api_client(port, token):
    body = command_body("files", GET_CONNECT_TYPE, "hall", "")

    def ask():
        status, text = fetch(port, "POST", "/api/commands", token, body, timeout=PATIENCE)
        good = status == 200 and json.loads(text)["result"] == 1
        return "" if good else f"status {status}: {text[:80]}"
    return Exchanges(0.05, ask)


class LivePlayer:
    """Watches a live stream and counts the units that are missing between two that came. What it is given to begin
    with comes in one go and has no sound that is of no use any more: that is not missing."""

    def __init__(self, port, token, key):
        self.port, self.token, self.key = port, token, key
        self.units, self.lost, self.longest, self.last_serial, self.last_at = 0, 0, 0.0, None, None
        self.is_live = False  # what came at the beginning is through

    def run(self, stop, ready):
        complaint = ""
        try:
            client, rest = join(self.port, self.token)
            client.sendall(player_request(PREVIEW, self.key))
            client.settimeout(0.1)
            complaint = self.watch(client, bytearray(rest), stop, ready)
        except OSError as error:
            complaint = f"{type(error).__name__}: {error}"
        if self.last_at is not None:
            self.longest = max(self.longest, time.monotonic() - self.last_at)
        ready.set()
        return {"units": self.units, "lost": self.lost, "gap_ms": self.longest * 1000, "complaint": complaint}

    def watch(self, client, data, stop, ready):
        while not stop.is_set():
            try:
                piece = client.recv(1 << 18)
            except socket.timeout:
                continue
            if not piece:
                return "the host closed"
            data += piece
            for opcode, payload in read_frames(data):
                if opcode == BINARY and payload[4] & 3 != FACE:
                    self.take(struct.unpack_from("<I", payload, 12)[0])
                    if self.units == 10:
                        ready.set()
        return ""

    def take(self, serial):
        now = time.monotonic()
        if self.units and not self.is_live:
            self.is_live = now - self.last_at > LIVE_PAUSE
        if self.is_live:
            self.lost += max(0, serial - self.last_serial - 1)
            self.longest = max(self.longest, now - self.last_at)
        self.units, self.last_serial, self.last_at = self.units + 1, serial, now


class Honest:
    """One of them in a process of its own."""

    def __init__(self, client):
        context = multiprocessing.get_context("fork")
        self.stop, self.ready = context.Event(), context.Event()
        self.receiver, sender = context.Pipe(duplex=False)
        self.process = context.Process(target=self.run, args=(client, sender), daemon=True)
        self.process.start()
        sender.close()

    def run(self, client, sender):
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        sender.send(client.run(self.stop, self.ready))

    def result(self):
        self.stop.set()
        if not self.receiver.poll(PATIENCE + 5):
            raise RuntimeError("an honest client does not end")
        result = self.receiver.recv()
        self.process.join(5)
        return result

    def end(self):
        if self.process.is_alive():
            self.process.kill()
        self.process.join(5)
