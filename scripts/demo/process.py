"""Programs of the build, started and ended by the demo."""

import json
import pathlib
import select
import subprocess
import time

BIN = pathlib.Path(__file__).resolve().parents[2] / "build" / "release" / "bin"


class StepFailed(Exception):
    """A step did not do what it promises; the text says what was seen."""


def run(command, timeout=60, env=None):
    """Runs a program to its end and returns its standard output."""
    try:
        done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                              timeout=timeout, env=env)
    except subprocess.TimeoutExpired:
        raise StepFailed(f"{command[0]} did not end within {timeout} s") from None
    if done.returncode != 0:
        reason = done.stderr.strip() or f"exit status {done.returncode}"
        raise StepFailed(f"{pathlib.Path(str(command[0])).name}: {reason}")
    return done.stdout


class Background:
    """A program that runs until the demo ends it."""

    def __init__(self, command):
        self.name = pathlib.Path(str(command[0])).name
        self.process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)

    def json_lines_until(self, key, timeout=60):
        """Reads JSON lines up to one that has `key`; returns those before it."""
        lines, pending, deadline = [], b"", time.monotonic() + timeout
        while time.monotonic() < deadline:
            if not select.select([self.process.stdout], [], [], 0.5)[0]:
                continue
            data = self.process.stdout.read1(65536)
            if not data:
                error = self.process.stderr.read().decode(errors="replace").strip()
                raise StepFailed(f"{self.name} ended: {error or 'no message'}")
            *whole, pending = (pending + data).split(b"\n")
            for line in whole:
                entry = json.loads(line)
                if key in entry:
                    return lines
                lines.append(entry)
        raise StepFailed(f"{self.name} was not ready within {timeout} s")

    def line(self, timeout):
        """Reads the next line of text."""
        if not select.select([self.process.stdout], [], [], timeout)[0]:
            raise StepFailed(f"{self.name} was not ready within {timeout} s")
        line = self.process.stdout.readline().decode(errors="replace").strip()
        if not line:
            error = self.process.stderr.read().decode(errors="replace").strip()
            raise StepFailed(f"{self.name} ended: {error or 'no message'}")
        return line

    def end(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
