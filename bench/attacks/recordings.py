"""Sample recordings for the devices of the host under attack."""

import pathlib
import shutil
import subprocess

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
DAY, RECORDED_FROM = "20260305", 1772697600  # 08:00 UTC


def make_recordings(folder):
    """Device "hall" with live pictures, "vault" with JPEG on channel 0 and ten minutes on channel 1."""
    hall, vault = folder / "hall", folder / "vault"
    subprocess.run([SCRIPTS / "make-sample-media.sh", hall, "--day", DAY, "--seconds", "5"], check=True,
                   stdout=subprocess.DEVNULL)
    shutil.copytree(hall / "ch2", vault / "ch0")
    (vault / "ch1").mkdir()
    short, name = hall / "ch0" / f"{DAY}T080000Z_schedule.mp4", f"{DAY}T080000Z_schedule.mp4"
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-stream_loop", "119", "-i", short, "-c", "copy",
                    vault / "ch1" / name], check=True)
