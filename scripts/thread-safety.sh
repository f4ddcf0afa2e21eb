#!/usr/bin/env bash
# Proves the lock annotations: clang parses every product file that knows of them, from the release
# build's compile commands, with -Wthread-safety as an error. Nothing is generated.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

python3 - build/release "$PWD" <<'PY' | xargs -P "$(nproc)" -d '\n' -n 1 bash -c
import json, os, shlex, subprocess, sys

build, root = sys.argv[1:3]


def objects_with_annotations():
    """Objects whose last compilation read the header of the annotations."""
    found, current = set(), None
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], check=True, capture_output=True, text=True)
    for line in listing.stdout.splitlines():
        if line.startswith(" "):
            if line.endswith("/platform/ThreadAnnotations.h"):
                found.add(current)
        elif ": #deps" in line:
            current = line.split(":")[0]
    return found


annotated = objects_with_annotations()
if not annotated:
    sys.exit("thread-safety: the release build knows no dependencies; build it first")
for entry in json.load(open(f"{build}/compile_commands.json")):
    source = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
    folder = source.removeprefix(root + "/").split("/")[0]
    if not source.startswith(root + "/") or folder in ("build", "tests", "bench", "fuzz"):
        continue
    words = shlex.split(entry["command"])
    if words[words.index("-o") + 1] not in annotated:
        continue
    flags = [w for w in words if w.startswith(("-D", "-I", "-std=", "-pthread"))]
    flags += [f for a, b in zip(words, words[1:]) if a == "-isystem" for f in (a, b)]
    command = ["clang++", "-fsyntax-only", "-Wno-everything", "-Werror=thread-safety", *flags, source]
    print("cd " + shlex.quote(entry["directory"]) + " && " + shlex.join(command))
PY
