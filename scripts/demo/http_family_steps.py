"""A camera and a recorder that speak HTTP/JSON and WebSocket: from login to picture, faces and records."""

import json
import time
import urllib.request

from process import BIN, Background, StepFailed
from served import VMSHOST, ServedHost

MODULE = "cameras"
CAMERA, RECORDER = "gate", "vault"
CHANNELS = 4
PASSWORD = "s3cret"
DROPS = 2
UNTIL = 1772697600  # 2026-03-05 08:00:00 UTC, up to when the devices have recordings

SEARCH_RECORD, GET_PREVIEW_URL, GET_PLAYBACK_URL, DEVICE_TEST, SESSION_ID = \
    0x100102, 0x100103, 0x100104, 0x100106, 0x100107


class HttpFamilySteps:
    """The steps in order; each leaves what the next one needs in `self`."""

    def __init__(self, site, folder, broken):
        self.folder = folder
        self.broken = broken
        self.devsim = None
        self.host = None
        self.devices = []
        self.control = ""

    def steps(self):
        return [
            ("devices", "start a simulated camera and recorder", self.start_devices),
            ("login", "take them in and log in", self.login),
            ("test", "test them", self.test),
            ("picture", "live picture to a player", self.picture),
            ("faces", f"faces, over {DROPS} dropped event channels", self.faces),
            ("records", "search the recorder and play back", self.records),
            ("password", "a wrong password is told", self.wrong_password),
        ]

    def close(self):
        for running in (self.host, self.devsim):
            if running is not None:
                running.end()

    def hints(self):
        camera = self.devices[0]
        return [
            f"curl {self.host.address}/api/commands -d '" + json.dumps(self.host.command(
                GET_PREVIEW_URL, {"id": CAMERA, "channel": 0}, CAMERA)) + "'",
            f"curl {self.control}/devices/{camera['index']}/state",
            f"{VMSHOST} play --url {self.host.stream_url} --key KEY --out gate.ts",
        ]

    def description(self, device, identifier, password=PASSWORD):
        return {"id": identifier, "ip": device["address"], "port": device["port"], "httpPort": device["port"],
                "username": device["user"], "password": password}

    def state(self, device):
        with urllib.request.urlopen(f"{self.control}/devices/{device['index']}/state", timeout=10) as answer:
            return json.load(answer)

    def start_devices(self):
        options = ["--count", 1, "--nvr", 1, "--channels", CHANNELS, "--password", PASSWORD,
                   "--recorded-until", UNTIL, "--face-interval-ms", 300, "--media-cache", self.folder / "clips",
                   "--fault", f"0:eventsDrop={1000 if self.broken == 'faces' else DROPS}"]
        if self.broken == "devices":
            options += ["--bind", "198.51.100.1"]
        if self.broken == "picture":
            options += ["--fault", "0:wsDrop=0"]
        self.devsim = Background([BIN / "devsim", "httpdevice", *options])
        *self.devices, ready = self.devsim.json_lines_through("ready", timeout=120)
        self.control = ready["control"]
        return ", ".join(f"{d['kind']} on port {d['port']}" for d in self.devices)

    def login(self):
        passwords = [PASSWORD, "wrong" if self.broken == "login" else PASSWORD]
        self.host = ServedHost(self.folder, MODULE, "libfamily_httpdevice.so", {}, [
            self.description(device, identifier, password)
            for device, identifier, password in zip(self.devices, (CAMERA, RECORDER), passwords)])
        sessions = [self.host.answer(SESSION_ID, "", identifier)["body"] for identifier in (CAMERA, RECORDER)]
        known = [self.state(device)["sessions"] for device in self.devices]
        if not all(sessions) or not all(known):
            raise StepFailed(f"the devices know {known} sessions, the driver {[bool(s) for s in sessions]}")
        return f"sessions of {len(sessions[0])} and {len(sessions[1])} characters"

    def test(self):
        found = []
        for device, identifier in zip(self.devices, (CAMERA, RECORDER)):
            description = self.description(device, identifier)
            if self.broken == "test":
                description["port"] = 1
            found.append(self.host.ask(DEVICE_TEST, description, ""))
        channels = [answer["channelnum"] for answer in found]
        if channels != [1, CHANNELS]:
            raise StepFailed(f"the devices say that they have {channels} channels")
        return ", ".join(f"{answer['name']}: {answer['channelnum']} channels, {answer['ver']}" for answer in found)

    def picture(self):
        key = self.host.ask(GET_PREVIEW_URL, {"id": CAMERA, "channel": 0}, CAMERA)["uri"]
        result = self.host.player(key, "--units", 100, "--seconds", 15).result()
        video = result["codecs"].get("h264", {"units": 0})
        if video["units"] < 40 or not result["keyFrames"] or result["lostUnits"]:
            raise StepFailed(f"the player received {result}")
        return f"{video['units']} pictures of {video['width']}x{video['height']}, first after " \
               f"{result['firstUnitMs']:.0f} ms, codecs {', '.join(result['codecs'])}"

    def faces(self):
        """The driver subscribes again after each drop; faces that come after the last one prove it."""
        key = self.host.ask(GET_PREVIEW_URL, {"id": CAMERA, "channel": 0, "streamNo": 1, "face": 1},
                            CAMERA)["uri"]
        trace = self.folder / "faces.trace"
        self.host.player(key, "--seconds", 10, "--trace", trace).result()
        subscriptions = self.state(self.devices[0])["stats"]["counts"].get("events:start", 0)
        faces = [float(line.split()[0]) for line in trace.read_text().splitlines() if line.split()[1] == "face"]
        # A channel that drops does so after one event, and the next try is a second away; the last one
        # lets events come at their pace of 0.3 s.
        steady = sum(1 for before, after in zip(faces, faces[1:]) if 0.1 < after - before < 0.6)
        if subscriptions <= DROPS or steady < 5:
            raise StepFailed(f"{subscriptions} subscriptions, {len(faces)} faces, {steady} at their pace")
        return f"{len(faces)} faces over {subscriptions} subscriptions"

    def records(self):
        begin = UNTIL - 3600
        window = {"id": RECORDER, "channel": 2, "startTime": begin - 7200, "endTime": UNTIL}
        if self.broken == "records":
            window["startTime"], window["endTime"] = UNTIL + 1, UNTIL + 3600
        found = self.host.ask(SEARCH_RECORD, window, RECORDER)["records"]
        if not found:
            raise StepFailed("nothing was found")
        key = self.host.ask(GET_PLAYBACK_URL, {"channel": 2, "beginTime": begin, "endTime": begin + 20},
                            RECORDER)["uri"]
        result = self.host.player(key, "--channel", 2, "--begin", begin, "--end", begin + 20,
                                  "--seconds", 3).result()
        video = result["codecs"].get("h264", {"units": 0})
        if video["units"] < 40:
            raise StepFailed(f"the player received {result}")
        return f"{len(found)} recordings; {video['units']} pictures up to {video['lastTimestamp'] / 1000:.1f} s " \
               f"of one"

    def wrong_password(self):
        password = PASSWORD if self.broken == "password" else "wrong"
        answer = self.host.answer(DEVICE_TEST, self.description(self.devices[0], "", password), "")
        if answer["result"] != -1:
            raise StepFailed(f"the device test answered {answer}")
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline:
            lines = [line for line in self.host.log().splitlines() if "password" in line]
            if lines:
                return lines[-1].split(" module ", 1)[-1]
            time.sleep(0.1)
        raise StepFailed("the log does not say so: " + self.host.log()[-300:])
