"""ONVIF: find cameras, take them in, play one, see one go down."""

import json

from process import BIN, Background, StepFailed, run

COUNT = 3
DOWN = COUNT - 1
MODULE = "onvif"
VMSHOST = BIN / "vmshost"


class OnvifSteps:
    """The steps in order; each leaves what the next one needs in `self`."""

    def __init__(self, site, folder, broken):
        self.site = site
        self.folder = folder
        self.broken = broken
        self.devsim = None
        self.cameras = []
        self.found = []
        self.url = ""

    def steps(self):
        return [
            ("cameras", "start simulated cameras", self.start_cameras),
            ("discover", "find them with WS-Discovery", self.discover),
            ("enqueue", "take them into the module", self.enqueue),
            ("url", "ask one for its RTSP URL", self.preview_url),
            ("play", "play two seconds of it", self.play),
            ("status", "report which are up and which is down", self.status),
        ]

    def close(self):
        if self.devsim is not None:
            self.devsim.end()

    def host(self, *arguments, timeout=60):
        return run([VMSHOST, *arguments], timeout=timeout, env=self.site.environment)

    def start_cameras(self):
        options = ["--count", COUNT, "--name", "Gate", "--discovery-delay-ms", "100",
                   "--rtsp-port", "0", "--media-cache", self.folder / "media"]
        if self.broken != "status":
            options += ["--fault", f"{DOWN}:refused"]
        if self.broken == "discover":
            options.append("--no-discovery")
        if self.broken == "play":
            options.append("--no-rtsp")
        if self.broken == "cameras":
            options += ["--bind", "198.51.100.1"]
        else:
            options += self.site.camera_options
        self.devsim = Background([*self.site.prefix, BIN / "devsim", "onvif", *options])
        self.cameras = self.devsim.json_lines_through("ready", timeout=120)[:-1]
        return f"{len(self.cameras)} cameras, ports {', '.join(str(c['port']) for c in self.cameras)}"

    def discover(self):
        lines = self.host("discover", "--json").splitlines()
        self.found = [json.loads(line) for line in lines]
        expected = {(self.site.camera_address, c["port"]) for c in self.cameras}
        seen = {(f["ip"], f["port"]) for f in self.found}
        if seen != expected:
            raise StepFailed(f"found {sorted(seen)}, expected {sorted(expected)}")
        return ", ".join(sorted(f"{f['name']} at {f['ip']}:{f['port']}" for f in self.found))

    def enqueue(self):
        by_port = {c["port"]: c for c in self.cameras}
        devices = [{"id": f"cam-{by_port[f['port']]['index']}", "name": f["name"], "ip": f["ip"],
                    "port": f["port"], "username": by_port[f["port"]]["user"],
                    "password": "wrong" if self.broken == "url" else by_port[f["port"]]["password"]}
                   for f in self.found]
        if self.broken == "enqueue":
            devices.pop()
        self.config = self.folder / "demo.json"
        self.config.write_text(json.dumps({"modules": [{"name": MODULE, "devices": devices}]}))
        taken = {d["id"] for d in self.report()["devs"]}
        if taken != {f"cam-{c['index']}" for c in self.cameras}:
            raise StepFailed(f"the module knows {sorted(taken)} only")
        return f"the module knows {', '.join(sorted(taken))}"

    def report(self):
        return json.loads(self.host("watch", "--config", self.config, "--count", 1, "--json"))

    def preview_url(self):
        answer = json.loads(self.host("call", "--config", self.config, "--module", MODULE, "--id",
                                      "0x100103", "--device", "cam-0", "--body", '{"id": "cam-0"}'))
        if answer["result"] != 1:
            raise StepFailed(f"the module answered {answer}")
        self.url = json.loads(answer["body"])["uri"]
        return self.url

    def play(self):
        probe = json.loads(run(
            ["ffprobe", "-v", "error", "-rtsp_transport", "tcp", "-select_streams", "v",
             "-read_intervals", "%+2", "-count_frames", "-show_entries",
             "stream=codec_name,width,height,nb_read_frames", "-of", "json", self.url], timeout=30))
        video = probe["streams"][0]
        frames = int(video["nb_read_frames"])
        if video["codec_name"] != "h264" or not 25 <= frames <= 100:
            raise StepFailed(f"played {video}")
        return f"{video['codec_name']}, {video['width']}x{video['height']}, {frames} frames"

    def status(self):
        states = {d["id"]: {s["state"] for s in d["status"]} for d in self.report()["devs"]}
        expected = {f"cam-{c['index']}": {0} if c["index"] == DOWN else {1} for c in self.cameras}
        if states != expected:
            raise StepFailed(f"reported {states}, expected {expected}")
        return ", ".join(f"{i} {'down' if s == {0} else 'up'}" for i, s in sorted(states.items()))

    def hints(self):
        camera = self.cameras[0]
        login = f"--ip {camera['address']} --port {camera['port']} --user {camera['user']}"
        return [
            f"VMS_LOCAL_IPS=127.0.0.1 {VMSHOST} discover",
            f"VMS_PASSWORD={camera['password']} {VMSHOST} onvif-url {login}",
            f"ffplay -rtsp_transport tcp {self.url}",
            f"{VMSHOST} onvif-test {login} --password wrong",
            f"{VMSHOST} watch --config {self.config}",
        ]
