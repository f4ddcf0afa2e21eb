"""Attacks on the API by plain names. Each takes the target and returns when its time is over."""

import http.client
import json
import os
import threading
import time

from attacks.crowd import Crowd
from attacks.http_attacks import once
from attacks.wire import SMALL_BUFFER, connect, fetch, request


def change_devices(target):
    """Adds and removes devices as fast as they are taken: each is an event."""
    number = 0
    while time.monotonic() < target.until:
        name = f"churn-{os.getpid()}-{number % 50}"
        number += 1
        body = json.dumps({"id": name, "module": "files", "ip": "hall", "name": "n" * 1000})
        try:
            fetch(target.port, "POST", "/api/devices", target.token, body)
            fetch(target.port, "DELETE", f"/api/devices/{name}", target.token)
            target.tally.count(2)
        except (OSError, http.client.HTTPException):
            time.sleep(0.01)


def unread_events(target):
    """1,000 clients of the events that never read, while devices come and go."""
    watch = request("GET", "/api/events?after=0", target.token)
    churn = threading.Thread(target=change_devices, args=(target,))
    churn.start()
    Crowd(target, 1000, once(watch), lambda: connect(target.port, SMALL_BUFFER)).run()
    churn.join()


def moves(target):
    """Movements of all channels and kinds, none of which is ever stopped."""
    actions = ("left", "zoom-in", "focus-far", "iris-open", "up", "zoom-out")
    number = 0
    while time.monotonic() < target.until:
        number += 1
        body = json.dumps({"device": "hall", "channel": number % 4096, "action": actions[number % len(actions)],
                           "duration": 60000})
        try:
            fetch(target.port, "POST", "/api/ptz", target.token, body)
            target.tally.count()
        except (OSError, http.client.HTTPException):
            time.sleep(0.01)
