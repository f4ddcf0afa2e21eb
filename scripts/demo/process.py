"""Programs of the build, started and ended by the demo."""

import contextlib
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

    def __init__(self, command, errors=None):
        """errors: file for standard error; without one it is kept for the message of a failed start."""
        self.name = pathlib.Path(str(command[0])).name
        self.errors = errors
        with open(errors, "wb") if errors else contextlib.nullcontext(subprocess.PIPE) as target:
            self.process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE,
                                            stderr=target)

    def complaint(self):
        text = self.errors.read_bytes() if self.errors else self.process.stderr.read()
        return text.decode(errors="replace").strip() or "no message"

    def json_lines_through(self, key, timeout=60):
        """Reads JSON lines up to one that has `key`; returns them all."""
        lines, pending, deadline = [], b"", time.monotonic() + timeout
        while time.monotonic() < deadline:
            if not select.select([self.process.stdout], [], [], 0.5)[0]:
                continue
            data = self.process.stdout.read1(65536)
            if not data:
                raise StepFailed(f"{self.name} ended: {self.complaint()}")
            *whole, pending = (pending + data).split(b"\n")
            for line in whole:
                entry = json.loads(line)
                lines.append(entry)
                if key in entry:
                    return lines
        raise StepFailed(f"{self.name} was not ready within {timeout} s")

    def line(self, timeout):
        """Reads the next line of text."""
        if not select.select([self.process.stdout], [], [], timeout)[0]:
            raise StepFailed(f"{self.name} was not ready within {timeout} s")
        line = self.process.stdout.readline().decode(errors="replace").strip()
        if not line:
            raise StepFailed(f"{self.name} ended: {self.complaint()}")
        return line

    def end(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
