"""Starts the host where threads run out: it says so and ends, or it serves and obeys SIGTERM."""

import http.client
import re
import resource
import subprocess

from attacks.host import ServedHost
from attacks.wire import fetch, stream_key

# A user whom nobody else is: the limit counts all threads of a user.
USER = 61_234
LIMITS = [*range(1, 24), *range(24, 129, 8)]
ENOUGH = 3  # limits in a row under which the host serves
PATIENCE = 10  # seconds until it serves or has given up


def last_words(host):
    lines = host.log.read_text(errors="replace").strip().splitlines()
    return lines[-1][:200] if lines else "not a word"


def refusal(host):
    """The host has ended, or does not get ready. @return whether that is right, and what was seen"""
    try:
        status = host.process.wait(1)
    except subprocess.TimeoutExpired:
        seconds, status = host.terminate()
        end = "does not obey SIGTERM" if seconds is None else f"ended with {status} after SIGTERM"
        return False, f"neither ready nor ended in {PATIENCE} s, {end}: {last_words(host)}"
    tells = re.search(r"thread|resource|process", last_words(host), re.IGNORECASE) is not None
    return status > 0 and tells, f"ended with {status}: {last_words(host)}"


def service(host, port, token):
    """The host serves. @return whether it answers at all and ends when told to, and what was seen"""
    try:
        health, _ = fetch(port, "GET", "/healthz")
    except (OSError, http.client.HTTPException) as error:
        health = type(error).__name__
    try:
        preview = "opened" if stream_key(port, token, "hall", 0) else "without a key"
    except (OSError, ValueError, http.client.HTTPException) as error:
        preview = f"{type(error).__name__} {str(error)[:60]}"
    seen = f"serves: health {health}, preview {preview}"
    if host.process.poll() is not None:
        return False, f"{seen}; then ended with {host.process.returncode}: {last_words(host)}"
    seconds, status = host.terminate()
    if seconds is None:
        return False, f"{seen}; does not obey SIGTERM"
    return status == 0 and health == 200, f"{seen}; ended with {status} after {seconds:.1f} s"


def run(build, config, folder, token, limits):
    """Yields rows of limit, whether the host behaves, and what was seen."""
    serving = 0
    for limit in limits or LIMITS:
        host = ServedHost(build, config, folder / f"threads-{limit}.log",
                          lambda: resource.setrlimit(resource.RLIMIT_NPROC, (limit, limit)),
                          user=USER, group=USER, extra_groups=[])
        try:
            port = host.await_ready(PATIENCE)
            good, seen = refusal(host) if port is None else service(host, port, token)
        finally:
            host.kill()
        yield {"limit": limit, "good": good, "seen": seen}
        serving = serving + 1 if port is not None and good else 0
        if serving == ENOUGH and not limits:
            return
