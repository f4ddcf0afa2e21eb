#!/usr/bin/env bash
# Proves the lock annotations: clang parses every product file from the release build's compile
# commands with -Wthread-safety as an error. Nothing is generated.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

python3 - build/release/compile_commands.json "$PWD" <<'PY' | xargs -P "$(nproc)" -d '\n' -n 1 bash -c
import json, os, shlex, sys

commands, root = json.load(open(sys.argv[1])), sys.argv[2]
for entry in commands:
    source = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
    folder = source.removeprefix(root + "/").split("/")[0]
    if not source.startswith(root + "/") or folder in ("build", "tests", "bench", "fuzz"):
        continue
    words = shlex.split(entry["command"])
    flags = [w for w in words if w.startswith(("-D", "-I", "-std=", "-pthread"))]
    flags += [f for a, b in zip(words, words[1:]) if a == "-isystem" for f in (a, b)]
    command = ["clang++", "-fsyntax-only", "-Wno-everything", "-Werror=thread-safety", *flags, source]
    print("cd " + shlex.quote(entry["directory"]) + " && " + shlex.join(command))
PY
