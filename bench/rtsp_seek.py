#!/usr/bin/env python3
"""Whether seeks in an hour-long recording land where they were asked.

ffmpeg is told by RTSP to begin at ten places of a recording of one hour, some of them between seconds and
in the middle of groups of pictures. Each picture of the recording is known by its checksum, so what ffmpeg
shows at a time can be told from what it should show. All must be within 100 ms.

    bench/rtsp_seek.py [--minutes 60] [--seeks 10]

Needs a release build and ffmpeg; makes the recording first, which takes some minutes.
"""

import argparse
import json
import pathlib
import random
import subprocess
import sys
import tempfile

from stream_relay import FAMILIES, VMSHOST

RATE = 25
GROUP = 50


def make_recording(path, seconds):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
                    f"testsrc2=size=160x120:rate={RATE}:duration={seconds}", "-c:v", "libx264", "-preset",
                    "ultrafast", "-tune", "zerolatency", "-pix_fmt", "yuv420p", "-g", str(GROUP), "-keyint_min",
                    str(GROUP), "-sc_threshold", "0", str(path)], check=True)


def pictures(*arguments, count=None):
    """Time (s) and checksum of each picture that ffmpeg decodes."""
    limit = ["-frames:v", str(count)] if count else []
    text = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *arguments, "-an", "-copyts", *limit, "-enc_time_base",
                           "1:90000", "-vsync", "passthrough", "-f", "framemd5", "-"], check=True,
                          stdout=subprocess.PIPE, timeout=600).stdout.decode()
    found = []
    for line in text.splitlines():
        if not line.startswith("#"):
            fields = [field.strip() for field in line.split(",")]
            found.append((int(fields[2]) / 90000, fields[5]))
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=int, default=60)
    parser.add_argument("--seeks", type=int, default=10)
    arguments = parser.parse_args()
    seconds = arguments.minutes * 60
    worst = 0
    with tempfile.TemporaryDirectory(prefix="vms-seek-") as folder:
        folder = pathlib.Path(folder)
        recording = folder / "cam" / "ch0" / "20260101T000000Z_schedule.mp4"
        recording.parent.mkdir(parents=True)
        make_recording(recording, seconds)
        known = {checksum: time for time, checksum in pictures("-i", str(recording))}
        config = folder / "vms.json"
        config.write_text(json.dumps({
            "http": {"port": 0}, "rtsp": {"port": 0},
            "modules": [{"name": "files", "library": str(FAMILIES / "libfamily_mediafile.so"),
                         "config": {"streamserver": {"content": str(folder)}}, "devices": [{"id": "cam"}]}]}))
        host = subprocess.Popen([VMSHOST, "serve", "--config", config], stdout=subprocess.PIPE)
        try:
            address = host.stdout.readline().decode().split()[1]
            url = f"{address}/play/cam/0?from=2026-01-01T00:00:00Z&to=2026-01-01T{seconds // 3600:02}:" \
                  f"{seconds // 60 % 60:02}:00Z"
            chance = random.Random(7)
            for _ in range(arguments.seeks):
                asked = round(chance.uniform(1, seconds - 10), 3)
                shown = pictures("-rtsp_transport", "tcp", "-ss", str(asked), "-i", url, count=GROUP + RATE)
                errors = [abs(known[checksum] - time) for time, checksum in shown if time >= asked and checksum in known]
                if not errors:
                    raise RuntimeError(f"no known picture at {asked}")
                first = min(time for time, checksum in shown if time >= asked)
                landed = known[dict(shown)[first]]
                worst = max(worst, max(errors), abs(landed - asked))
                print(f"asked for {asked:9.3f} s: picture of {landed:9.3f} s; times differ by at most "
                      f"{1000 * max(errors):.0f} ms in {len(errors)} pictures", flush=True)
        finally:
            host.terminate()
            host.wait()
    print(f"worst: {1000 * worst:.0f} ms")
    return worst > 0.1


if __name__ == "__main__":
    sys.exit(main())
