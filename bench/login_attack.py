#!/usr/bin/env python3
"""How long an honest login takes, alone and beside 64 attackers who try passwords as fast as they can.

    bench/login_attack.py [--logins 20] [--attackers 64]

Attackers come from one address that is not the honest one's, from 64 addresses, or from one with the honest
one's name. As many who only ask for /healthz show what such a crowd costs by itself. Needs a release build;
addresses of 127.0.0.0/8 stand for other machines.
"""

import argparse
import http.client
import json
import multiprocessing
import os
import pathlib
import statistics
import subprocess
import tempfile
import threading
import time

BIN = pathlib.Path(__file__).resolve().parent.parent / "build/release/bin"
PASSWORD = "correct horse battery"


def connect(port, address):
    return http.client.HTTPConnection("127.0.0.1", port, timeout=60, source_address=(address, 0))


def login(connection, name, password):
    """@return the answer's status"""
    connection.request("POST", "/api/session", json.dumps({"name": name, "password": password}))
    answer = connection.getresponse()
    answer.read()
    return answer.status


def ask_health(connection):
    connection.request("GET", "/healthz")
    answer = connection.getresponse()
    answer.read()
    return answer.status


def guess(port, addresses, name, stop, results):
    """Tries one password after the other from each address at once, in a process of its own."""
    statuses = {}
    lock = threading.Lock()

    def run(address):
        connection = connect(port, address)
        while not stop.is_set():
            status = login(connection, name, "guess") if name else ask_health(connection)
            with lock:
                statuses[status] = statuses.get(status, 0) + 1

    threads = [threading.Thread(target=run, args=(address,)) for address in addresses]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    results.put(statuses)


class Attack:
    def __init__(self, port, addresses, name):
        self.stop = multiprocessing.Event()
        self.results = multiprocessing.Queue()
        self.statuses = {}
        self.process = multiprocessing.Process(target=guess,
                                               args=(port, addresses, name, self.stop, self.results))

    def __enter__(self):
        self.process.start()
        return self

    def __exit__(self, *_):
        self.stop.set()
        self.statuses = self.results.get(timeout=60)
        self.process.join()


def measure(what, port, logins, addresses, name):
    times, statuses = [], {}
    with Attack(port, addresses, name) as attack:
        time.sleep(2 if addresses else 0)
        for _ in range(logins):
            started = time.perf_counter()
            status = login(connect(port, "127.0.0.1"), "anna", PASSWORD)
            times.append((time.perf_counter() - started) * 1000)
            statuses[status] = statuses.get(status, 0) + 1
            time.sleep(0.05)
    print(f"{what}: median {statistics.median(times):.0f} ms, worst {max(times):.0f} ms; answers {statuses}; "
          f"attackers' {dict(sorted(attack.statuses.items(), key=str))}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--logins", type=int, default=20)
    parser.add_argument("--attackers", type=int, default=64)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        config = pathlib.Path(folder) / "vms.json"
        config.write_text(json.dumps({"http": {"port": 0}, "state": "state", "modules": [{"name": "onvif"}]}))
        subprocess.run([BIN / "vmshost", "user", "add", "anna", "--role", "admin", "--config", config], check=True,
                       env={**os.environ, "VMS_PASSWORD": PASSWORD})
        host = subprocess.Popen([BIN / "vmshost", "serve", "--config", config], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True)
        try:
            port = int(host.stdout.readline().rsplit(":", 1)[1])
            measure("alone", port, options.logins, [], "")
            many = [f"127.0.1.{i + 1}" for i in range(options.attackers)]
            measure("as many who only ask for health", port, options.logins, many, "")
            one = ["127.0.0.2"] * options.attackers
            measure("attackers of one address", port, options.logins, one, "root")
            measure("attackers of one address, with her name", port, options.logins, one, "anna")
            measure("attackers of as many addresses", port, options.logins, many, "root")
            measure("attackers of as many addresses, with her name", port, options.logins, many, "anna")
        finally:
            host.terminate()
            host.wait()


if __name__ == "__main__":
    main()
