#!/usr/bin/env python3
"""One status pass over many simulated cameras: seconds and resident memory of the host.

    bench/status_pass.py [--cameras 1000] [--silent 0] [--build build/release]
"""

import argparse
import json
import pathlib
import subprocess
import tempfile
import time


def start_simulator(bin_folder, cameras, silent):
    command = [bin_folder / "devsim", "onvif", "--count", str(cameras), "--no-rtsp", "--no-discovery"]
    for i in range(silent):
        command += ["--fault", f"{i * (cameras // max(silent, 1))}:silent"]
    process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE, text=True)
    described = []
    for line in process.stdout:
        entry = json.loads(line)
        if "ready" in entry:
            return process, described
        described.append(entry)
    raise SystemExit("devsim did not start")


def resident_mib(pid):
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1]) / 1024
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cameras", type=int, default=1000)
    parser.add_argument("--silent", type=int, default=0)
    parser.add_argument("--build", default="build/release")
    arguments = parser.parse_args()
    bin_folder = pathlib.Path(arguments.build).resolve() / "bin"

    simulator, cameras = start_simulator(bin_folder, arguments.cameras, arguments.silent)
    devices = [{"id": f"c{c['index']:05}", "ip": c["address"], "port": c["port"], "username": c["user"],
                "password": c["password"]} for c in cameras]
    with tempfile.NamedTemporaryFile("w", suffix=".json") as config:
        json.dump({"modules": [{"name": "onvif", "devices": devices}]}, config)
        config.flush()
        host = subprocess.Popen([str(bin_folder / "vmshost"), "watch", "--config", config.name, "--json",
                                 "--count", "3"], stdout=subprocess.PIPE, text=True)
        # The first report may stem from a pass that began before the devices were known.
        arrivals, reports = [], []
        for line in host.stdout:
            arrivals.append(time.monotonic())
            reports.append(json.loads(line)["devs"])
            memory = resident_mib(host.pid)
        host.wait()
    up = sum(1 for d in reports[-1] if d["status"][0]["state"] == 1)
    seconds = arrivals[-1] - arrivals[-2] - 5.0
    print(f"{len(reports[-1])} cameras, {up} up: pass {seconds:.2f} s "
          f"({1000 * seconds / max(len(reports[-1]), 1):.2f} ms a camera), host resident {memory:.1f} MiB, "
          f"simulator resident {resident_mib(simulator.pid):.1f} MiB")
    simulator.terminate()
    simulator.wait()


if __name__ == "__main__":
    main()
