"""A running vmshost with one device that plays a short clip."""
import json
import pathlib
import shutil
import subprocess
import tempfile
import time

WAIT = 30  # s, for everything that must happen
TOKEN = "token of the test"
ADMIN_PASSWORD = "word-9 of the test"


class RunningHost:
    """Starts with `with`, and ends with it. `port` is where it serves."""

    def __init__(self, vmshost, library):
        self._vmshost = vmshost
        self._library = str(pathlib.Path(library).resolve())

    def __enter__(self):
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix="vmshost-api-"))
        self._make_clip()
        config = self._folder / "config.json"
        config.write_text(json.dumps(self._config()))
        self._errors = open(self._folder / "errors", "w+")
        self._process = subprocess.Popen([self._vmshost, "serve", "--config", str(config)], text=True,
                                         stdout=subprocess.PIPE, stderr=self._errors)
        for line in self._process.stdout:
            if line.startswith("ready "):
                self.port = int(line.rsplit(":", 1)[1])
                return self
        raise RuntimeError("vmshost does not serve: " + self.errors())

    def __exit__(self, *_):
        self._process.terminate()
        self.status = self._process.wait(WAIT)
        self._errors.close()
        shutil.rmtree(self._folder)

    def talks(self):
        """Files of what has been said to the device."""
        return sorted((self._folder / "hall" / "talk").glob("*.wav"))

    def errors(self):
        self._errors.flush()
        return (self._folder / "errors").read_text()

    def _config(self):
        return {"http": {"port": 0, "token": TOKEN}, "rtsp": {"port": 0}, "state": str(self._folder / "state"),
                "users": [{"name": "admin", "role": "admin", "password": ADMIN_PASSWORD}],
                "modules": [{"name": "files", "library": self._library,
                             "config": {"streamserver": {"content": str(self._folder)}},
                             "devices": [{"id": "hall"}]},
                            {"name": "onvif"}]}

    def _make_clip(self):
        folder = self._folder / "hall" / "ch0"
        folder.mkdir(parents=True)
        subprocess.run(
            ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x180:rate=25:duration=4",
             "-f", "lavfi", "-i", "sine=duration=4", "-c:v", "libx264", "-preset", "ultrafast", "-bf", "0",
             "-g", "25", "-pix_fmt", "yuv420p", "-c:a", "aac",
             str(folder / "20260305T080000Z_motion.mp4")], check=True, timeout=WAIT)
