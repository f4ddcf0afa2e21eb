"""A `vmshost serve` under attack: its start, what it takes of the machine, its end."""

import json
import os
import pathlib
import resource
import select
import signal
import subprocess
import time

START_LIMIT = 30  # seconds
END_LIMIT = 8
DEVICES = [{"id": "hall"}, {"id": "vault"}]


def write_config(path, build, recordings, token):
    path.write_text(json.dumps({
        "http": {"port": 0, "token": token},
        "modules": [
            {"name": "files", "library": str(build / "lib/libfamily_mediafile.so"),
             "config": {"streamserver": {"content": str(recordings)}}, "devices": DEVICES},
            {"name": "onvif", "library": str(build / "lib/libdeviceaccess.so"), "devices": []}]}))


def set_limit(kind, soft):
    hard = resource.getrlimit(kind)[1]
    resource.setrlimit(kind, (soft if hard == resource.RLIM_INFINITY else min(soft, hard), hard))


class ServedHost:
    """Runs in a session of its own: Ctrl-C is for the script, which then ends the host."""

    def __init__(self, build, config, log, limit, **options):
        """limit: called in the new process before the program starts."""
        self.log = log
        with open(log, "wb") as errors:
            self.process = subprocess.Popen(
                [build / "bin/vmshost", "serve", "--config", config], stdout=subprocess.PIPE, stderr=errors,
                start_new_session=True, preexec_fn=limit, **options)

    def await_ready(self, patience=START_LIMIT):
        """@return the port, or None if the host has ended or says nothing"""
        if not select.select([self.process.stdout], [], [], patience)[0]:
            return None
        line = self.process.stdout.readline().decode(errors="replace")
        return int(line.rsplit(":", 1)[1]) if line.startswith("ready ") else None

    def figures(self):
        """Resident MB, threads and descriptors; None once the host has gone."""
        folder = pathlib.Path(f"/proc/{self.process.pid}")
        try:
            lines = dict(line.split(":", 1) for line in (folder / "status").read_text().splitlines())
            return {"mb": int(lines["VmRSS"].split()[0]) / 1024, "threads": int(lines["Threads"]),
                    "descriptors": len(os.listdir(folder / "fd"))}
        except (OSError, KeyError):
            return None

    def terminate(self):
        """@return seconds until the host had ended, and its status; None, None if it has not in time"""
        started = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        try:
            status = self.process.wait(END_LIMIT)
        except subprocess.TimeoutExpired:
            return None, None
        return time.monotonic() - started, status

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()
