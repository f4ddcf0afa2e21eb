#!/usr/bin/env python3
"""Fails on an include that runs upwards in the order of the folders, and on a cycle of includes."""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
LIBRARY = ("module", "platform", "websocket", "deviceapi", "onvif", "videodevice")
# Whom a folder may include beside itself; a family's own folders and the host's are in order below.
MAY = {
    "module": {"platform"},  # its sources: its headers include nothing else, see below
    "platform": {"module", "websocket/INetEventHandle.h"},
    "media": {"platform", "module"},
    "onvif": {"module", "platform"},
    "deviceapi": {"module", "platform"},
    "websocket": {"module", "platform", "videodevice"},
    "videodevice": {"module", "platform"},
    "drivers": {*LIBRARY, "media"},
    "host": {"module", "platform", "media", "websocket/INetEventHandle.h"},
    "sim": {"platform/Mutex.h"},  # no line that speaks a protocol
}
HOST = ["text", "process", "config", "state", "modules", "status", "net", "stream", "relay", "sources", "http",
        "auth", "players", "server", "api", "play", "client", "cli"]

includes, wrong = {}, []
for file in sorted(f for top in MAY for kind in ("h", "cpp") for f in (ROOT / top).rglob(f"*.{kind}")):
    name = file.relative_to(ROOT).as_posix()
    top, sub = name.split("/")[:2]
    includes[name] = [i for i in re.findall(r'^#include "([^"]+)"', file.read_text(), re.M) if (ROOT / i).exists()]
    for included in includes[name]:
        to, its_sub = included.split("/")[:2]
        allowed = to == top or ((to in MAY[top] or included in MAY[top]) and not (top == "module" and name.endswith(".h")))
        if to == top == "host" and "." not in sub + its_sub:
            allowed = HOST.index(its_sub) <= HOST.index(sub)
        if to == top == "drivers" and its_sub not in (sub, "common"):
            allowed = False
        if not allowed:
            wrong.append(f"{name} includes {included}")

state = {}
def visit(name, path):
    if state.get(name) == "open":
        wrong.append("cycle: " + " -> ".join(path[path.index(name):] + [name]))
    if name not in state:
        state[name] = "open"
        for included in includes.get(name, []):
            visit(included, path + [name])
        state[name] = "done"

for name in includes:
    visit(name, [])
print("\n".join(wrong) or f"{len(includes)} files in order")
sys.exit(bool(wrong))
