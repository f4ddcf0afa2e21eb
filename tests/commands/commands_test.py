#!/usr/bin/env python3
"""Runs each command that asks a running host: commands_test.py VMSHOST MEDIAFILE_LIBRARY"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import urllib.error
import urllib.request

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from running_host import TOKEN, WAIT, RunningHost

HALL = ["--device", "hall"]
DAY = ["--from", "2026-03-05", "--to", "2026-03-06"]


class Commands:
    def __init__(self, vmshost, host):
        self.vmshost, self.host = vmshost, host

    def run(self, *arguments, status=0, token=TOKEN):
        """@return standard output, or standard error where the command is to fail"""
        environment = {**os.environ, "VMS_URL": f"http://127.0.0.1:{self.host.port}", "VMS_TOKEN": token}
        done = subprocess.run([self.vmshost, *arguments], env=environment, capture_output=True, text=True, timeout=WAIT,
                              stdin=subprocess.DEVNULL)
        assert done.returncode == status, f"{arguments} ends with {done.returncode}: {done.stderr}"
        return done.stderr if status else done.stdout


def streams_of(path):
    probe = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "csv=p=0", path],
                           capture_output=True, text=True, check=True, timeout=WAIT)
    return probe.stdout.split()


def check_view(commands):
    live = json.loads(commands.run("view", *HALL, "--json"))
    assert set(live) == {"ts", "mp4", "jpg", "websocket", "rtsp"}, live
    assert live["mp4"].endswith("/live/hall/0.mp4") and live["rtsp"].startswith("rtsp://127.0.0.1:"), live
    odd = commands.run("view", "--device", "a/b c%", "--channel", "3", "--stream", "1")
    assert "/live/a%2Fb%20c%25/3.ts?stream=1" in odd, odd
    recorded = json.loads(commands.run("view", *HALL, *DAY, "--json"))
    assert set(recorded) == {"ts", "mp4", "download", "rtsp"}, recorded


def is_let_in(address):
    try:
        with urllib.request.urlopen(address, timeout=WAIT) as answer:
            return answer.status == 200 and answer.read(10) != b""
    except urllib.error.HTTPError as error:
        assert error.code in (401, 403), error.code
        return False


def check_signed(commands):
    plain = json.loads(commands.run("view", *HALL, "--json"))
    signed = json.loads(commands.run("view", *HALL, "--json", "--signed", "5m"))
    assert is_let_in(signed["jpg"]) and not is_let_in(plain["jpg"])
    assert not is_let_in(signed["jpg"].replace("/hall/", "/yard/")), "for another device"
    assert streams_of(signed["rtsp"]) == ["h264", "aac"]
    assert "30m" in commands.run("view", *HALL, "--signed", "soon", status=1)


def check_files(commands, folder):
    commands.run("record", *HALL, "--seconds", "1.5", "--out", str(folder / "live.mp4"))
    assert streams_of(folder / "live.mp4") == ["h264", "aac"]
    commands.run("snapshot", *HALL, "--width", "160", "--out", str(folder / "now.jpg"))
    assert (folder / "now.jpg").read_bytes()[:2] == b"\xff\xd8"
    subprocess.run(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "sine=duration=0.3:sample_rate=8000", "-c:a",
                    "pcm_alaw", str(folder / "say.wav")], check=True, timeout=WAIT)
    commands.run("talk", *HALL, "--file", str(folder / "say.wav"))
    said = commands.host.talks()
    assert len(said) == 1 and 2400 <= said[0].stat().st_size < 3000, said
    assert "no such device" in commands.run("record", "--device", "x", "--out", str(folder / "x.mp4"), status=1)
    assert "no such device" in commands.run("snapshot", "--device", "x", "--out", str(folder / "x.jpg"), status=1)
    assert not (folder / "x.mp4").exists() and not (folder / "x.jpg").exists()


def check_search_and_ptz(commands):
    found = commands.run("search", *HALL, *DAY).splitlines()
    assert len(found) == 2 and "2026-03-05T08:00:00Z" in found[1] and "motion" in found[1], found
    assert len(commands.run("search", *HALL, *DAY, "--type", "alarm").splitlines()) == 1
    assert "from" in commands.run("search", *HALL, "--from", "now", "--to", "1", status=1)
    commands.run("ptz", "left", *HALL, "--duration", "100")
    commands.run("ptz", "stop", *HALL)
    assert "action" in commands.run("ptz", "fly", *HALL, status=1)


def check_strangers(commands):
    assert "login or token" in commands.run("view", *HALL, status=1, token="wrong")
    assert "cannot ask" in commands.run("view", *HALL, "--url", "http://127.0.0.1:1", status=1)
    assert "http://" in commands.run("view", *HALL, "--url", "ftp://127.0.0.1", status=1)


def main():
    with RunningHost(sys.argv[1], sys.argv[2]) as host, tempfile.TemporaryDirectory() as folder:
        commands = Commands(sys.argv[1], host)
        check_view(commands)
        check_signed(commands)
        check_files(commands, pathlib.Path(folder))
        check_search_and_ptz(commands)
        check_strangers(commands)


if __name__ == "__main__":
    main()
