#!/usr/bin/env python3
"""Real players on the addresses of a running host: ffprobe, ffmpeg, mpv, GStreamer.

    http_players.py VMSHOST FAMILY_MEDIAFILE
"""
import concurrent.futures
import http.client
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import urllib.parse

VMSHOST, FAMILY = sys.argv[1:3]
DEADLINE = 40  # s, of one player
H264 = ["-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-bf", "0", "-g", "25", "-keyint_min",
        "25", "-sc_threshold", "0"]
H265 = ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params",
        "log-level=error:keyint=25:min-keyint=25:scenecut=0:bframes=0:open-gop=0"]
TELEPHONE = ["-af", "asetnsamples=320", "-ar", "8000", "-ac", "1"]
CHANNELS = [  # what a channel holds, and its video and sound as players name them
    ("mp4", [*H264, "-c:a", "aac", "-ar", "16000", "-ac", "1"], "h264", "aac,16000"),
    ("mkv", [*H265, *TELEPHONE, "-c:a", "pcm_alaw"], "hevc", "aac,8000"),
    ("mkv", [*H264, *TELEPHONE, "-c:a", "pcm_mulaw"], "h264", "aac,8000"),
    ("mkv", ["-c:v", "mjpeg", "-pix_fmt", "yuvj420p", *TELEPHONE, "-c:a", "pcm_alaw"], None, None),
    ("mkv", [*H264, "-an"], "h264", None),
]
RANGE = "from=2026-03-05T08:00:00Z&to=2026-03-05T08:00:08Z"
failures = []


def check(what, condition, detail=""):
    if not condition:
        failures.append(f"{what}: {detail}")
        print(f"FAILED {what}: {detail}", flush=True)


def run(*command):
    """Output and errors of a player, and whether it ended well and in time."""
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              text=True, errors="replace", timeout=DEADLINE)
        return done.returncode == 0, done.stdout
    except subprocess.TimeoutExpired as late:
        return False, f"still running: {late.output}"


def make_recordings(folder):
    for number, (ending, codecs, _, _) in enumerate(CHANNELS):
        channel = folder / "hall" / f"ch{number}"
        channel.mkdir(parents=True)
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x180:rate=25:"
                        "duration=8", "-f", "lavfi", "-i", "sine=frequency=500:sample_rate=16000:duration=8",
                        "-pix_fmt", "yuv420p", *codecs, str(channel / f"20260305T080000Z_schedule.{ending}")],
                       check=True)


class Host:
    def __init__(self, folder):
        config = folder / "vms.json"
        config.write_text(json.dumps({
            "http": {"port": 0, "spool": {"folder": str(folder)}},
            "modules": [{"name": "files", "library": FAMILY, "config": {"streamserver": {"content": str(folder)}},
                         "devices": [{"id": "hall"}]}]}))
        self.process = subprocess.Popen([VMSHOST, "serve", "--config", config], stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().split()[1]
        self.place = urllib.parse.urlsplit(self.url).netloc

    def ask(self, target, method="GET", **headers):
        connection = http.client.HTTPConnection(self.place, timeout=DEADLINE)
        connection.request(method, target, headers=headers)
        answer = connection.getresponse()
        body = b"" if method == "HEAD" else answer.read()
        connection.close()
        return answer, body

    def status(self, target, method="GET", **headers):
        return self.ask(target, method, **headers)[0].status

    def end(self):
        self.process.terminate()
        return self.process.wait(timeout=DEADLINE)


def probe(host, path, video, sound):
    well, said = run("ffprobe", "-v", "error", "-show_entries", "stream=codec_name,sample_rate", "-of", "csv=p=0",
                     f"{host.url}{path}")
    check(f"ffprobe {path}", well and said.startswith(video) and ("aac" in said) == (sound is not None) and
          (sound or "") in said, said)


def decode(host, path, frames):
    well, said = run("ffmpeg", "-nostdin", "-v", "warning", "-i", f"{host.url}{path}", "-frames:v", str(frames), "-f",
                     "null", "-")
    check(f"ffmpeg {path}", well and said == "", said)


def mpv(host, path, video):
    well, said = run("mpv", "--no-config", "--vo=null", "--ao=null", "--untimed", "--frames=20",
                     "--term-playing-msg=playing=${video-format}", f"{host.url}{path}")
    check(f"mpv {path}", well and f"playing={video}" in said, said)


def gstreamer(host, path, sound):
    branches = ["d.", "!", "queue", "!", "videoconvert", "!", "video/x-raw", "!", "fakesink", "num-buffers=25",
                "sync=false"]
    if sound:
        branches += ["d.", "!", "queue", "!", "audioconvert", "!", "audio/x-raw", "!", "fakesink", "num-buffers=8",
                     "sync=false"]
    well, said = run("gst-launch-1.0", "-q", "souphttpsrc", f"location={host.url}{path}", "is-live=true", "!",
                     "decodebin", "name=d", *branches)
    check(f"GStreamer {path}", well, said)


def play_recording(host, number, video):
    for ending in ("ts", "mp4"):
        file = host.folder / f"play{number}.{ending}"
        answer, body = host.ask(f"/play/hall/{number}.{ending}?{RANGE}&speed=8")
        file.write_bytes(body)
        _, said = run("ffprobe", "-v", "error", "-select_streams", "v", "-count_packets", "-show_entries",
                      "stream=codec_name,nb_read_packets:format=duration", "-of", "csv=p=0", str(file))
        check(f"play {number}.{ending}", answer.status == 200 and said.startswith(video), said)


def download(host, number, video):
    path = f"/download/hall/{number}.mp4?{RANGE}"
    answer, whole = host.ask(path)
    file = host.folder / f"download{number}.mp4"
    file.write_bytes(whole)
    _, said = run("ffprobe", "-v", "error", "-show_entries", "stream=codec_name,nb_frames:format=duration", "-of",
                  "csv=p=0", str(file))
    check(f"download {number}", said.startswith(f"{video},200") and re.search(r"^(7\.9|8\.)", said, re.M), said)
    well, said = run("ffmpeg", "-nostdin", "-v", "warning", "-ss", "5.2", "-i", str(file), "-frames:v", "3", "-f",
                     "null", "-")
    check(f"seek in download {number}", well and said == "", said)
    tag = answer.headers["ETag"]
    rest, bytes_ = host.ask(path, Range="bytes=1000-", **{"If-Range": tag})
    check(f"resume {number}", rest.status == 206 and bytes_ == whole[1000:] and rest.headers["ETag"] == tag and
          rest.headers["Content-Range"] == f"bytes 1000-{len(whole) - 1}/{len(whole)}", dict(rest.headers))
    check("the last bytes", host.ask(path, Range="bytes=-7")[1] == whole[-7:])
    check("a range beyond", host.status(path, Range=f"bytes={len(whole)}-") == 416)
    check("garbage as a range", host.status(path, Range="bytes=9-3,x") == 200)
    check("another file's rest", host.status(path, Range="bytes=1000-", **{"If-Range": '"x"'}) == 200)
    check("head", host.ask(path, "HEAD")[0].headers["Content-Length"] == str(len(whole)))
    # A part of a file that does not exist yet is answered when its end is known.
    other = path.replace("08:00:00", "08:00:01")
    check("a part at once", host.status(other, Range="bytes=100-199") == 206)


def snapshots(host):
    for number in range(len(CHANNELS)):
        answer, picture = host.ask(f"/live/hall/{number}.jpg")
        check(f"snapshot {number}", answer.status == 200 and answer.headers["Content-Type"] == "image/jpeg" and
              picture[:3] == b"\xff\xd8\xff", answer.status)
    file = host.folder / "small.jpg"
    file.write_bytes(host.ask("/live/hall/1.jpg?width=100")[1])
    _, said = run("ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of", "csv=p=0", str(file))
    check("a small snapshot", said.strip() == "100,56", said)


def refusals(host):
    long = "x" * 10_000
    expected = {
        404: ["/live/nobody/0.ts", "/live/hall/0.avi", "/live/hall/0", "/live/hall", "/live/hall/77.ts",
              "/live/ha%2fll/0.ts", "/live/hall/0/0.ts", f"/live/{long}/0.ts", "/live//0.ts",
              f"/play/nobody/0.ts?{RANGE}", f"/play/hall/0.jpg?{RANGE}", f"/download/hall/0.ts?{RANGE}",
              "/play/hall/0.ts?from=2020-01-01&to=2020-01-02", "/download/hall/0.mp4?from=5&to=9"],
        400: ["/live/hall/x.ts", "/live/hall/0.ts?stream=-1", "/live/hall/-1.ts", "/live/hall/99999999999.ts",
              "/live/%00/0.ts", "/live/../0.ts", "/live/hall%2f..%2fx/..", "/live/hall/0.jpg?width=5000",
              "/live/hall/0.jpg?width=x", "/play/hall/0.ts", "/play/hall/0.ts?from=9&to=5",
              f"/play/hall/0.ts?{RANGE}&speed=0", f"/play/hall/0.ts?{RANGE}&speed=nan",
              f"/play/hall/0.ts?{RANGE}&speed=1e9", "/download/hall/0.mp4?from=2026-03-05&to=2026-03-06"],
        415: ["/live/hall/3.ts", "/live/hall/3.mp4", f"/play/hall/3.mp4?{RANGE}", f"/download/hall/3.mp4?{RANGE}"],
        405: [],
    }
    for status, targets in expected.items():
        for target in targets:
            got = host.status(target)
            check(f"GET {target[:60]}", got == status, f"{got}, not {status}")
    check("POST", host.status("/live/hall/0.ts", "POST") == 405)
    for path in ("/live/hall/0.ts", "/live/hall/0.mp4", f"/play/hall/0.ts?{RANGE}"):
        check(f"HEAD {path}", host.status(path, "HEAD") == 200)


def main():
    with tempfile.TemporaryDirectory(prefix="vms-players-") as name:
        folder = pathlib.Path(name)
        make_recordings(folder)
        host = Host(folder)
        host.folder = folder
        try:
            with concurrent.futures.ThreadPoolExecutor(6) as pool:
                jobs = [pool.submit(snapshots, host), pool.submit(refusals, host)]
                for number, (_, _, video, sound) in enumerate(CHANNELS):
                    if video is None:
                        continue
                    for ending in ("ts", "mp4"):
                        path = f"/live/hall/{number}.{ending}"
                        jobs.append(pool.submit(probe, host, path, video, sound))
                        jobs.append(pool.submit(decode, host, path, 50))
                        jobs.append(pool.submit(mpv, host, path, video))
                        jobs.append(pool.submit(gstreamer, host, path, sound))
                    jobs.append(pool.submit(play_recording, host, number, video))
                    jobs.append(pool.submit(download, host, number, video))
                for job in jobs:
                    job.result()
            left = json.loads(host.ask("/api/streams")[1])["streams"]
            check("players that have left", left == [], left)
        finally:
            status = host.end()
        check("the host ends", status == 0, status)
    print("failed" if failures else "all players play")
    return bool(failures)


if __name__ == "__main__":
    sys.exit(main())
