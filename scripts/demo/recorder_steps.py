"""A recorder that plays real media: watched live, played back, downloaded, in step, talked to, turned."""

import json
import pathlib
import subprocess
import time

from process import StepFailed, run
from served import VMSHOST, ServedHost

SAMPLES = pathlib.Path(__file__).resolve().parents[1] / "make-sample-media.sh"
DAY = "20260305"
BEGIN = 1772697600  # 2026-03-05 08:00:00 UTC, when the day's first recordings begin
LENGTH = 20
MODULE = "files"
DEVICE = "hall"
SYNC_TOLERANCE_MS = 40

GET_PREVIEW_URL, SEARCH_RECORD, GET_PLAYBACK_URL, GET_DOWNLOAD_URL = 0x100103, 0x100102, 0x100104, 0x100105
PTZ_CONTROL, TRANSMISSION = 0x100109, 0x100111
SYNC_CREATE, SYNC_DESTROY, SYNC_ADD, SYNC_START = 0x100112, 0x100113, 0x100114, 0x100116
PTZ_MOVE, PTZ_ADD_PRESET, PTZ_CALL_PRESET = 0, 4, 6


def nal_units(stream):
    """The NAL units of an Annex B stream, without their start codes."""
    units, start = [], None
    at = stream.find(b"\0\0\1")
    while at >= 0:
        if start is not None:
            units.append(stream[start:at].rstrip(b"\0"))
        start = at + 3
        at = stream.find(b"\0\0\1", start)
    if start is not None:
        units.append(stream[start:].rstrip(b"\0"))
    return units


def pictures(stream):
    """What is left of an H.264 stream without delimiters and repeated parameter sets."""
    seen, kept = set(), []
    for unit in nal_units(stream):
        kind = unit[0] & 0x1F
        if kind == 9 or (kind in (7, 8) and unit in seen):
            continue
        seen.add(unit)
        kept.append(unit)
    return kept


class RecorderSteps:
    """The steps in order; each leaves what the next one needs in `self`."""

    def __init__(self, site, folder, broken):
        self.folder = folder
        self.broken = broken
        self.host = None

    def steps(self):
        return [
            ("recorder", "serve a recorder made of media files", self.start),
            ("live", "two players on one live stream", self.live),
            ("playback", "play a recording back and seek in it", self.playback),
            ("download", "download a recording, byte for byte", self.download),
            ("sync", "four channels played in step", self.sync),
            ("talk", "talk to the device", self.talk),
            ("ptz", "store a PTZ preset and call it", self.ptz),
        ]

    def close(self):
        if self.host is not None:
            self.host.end()

    def hints(self):
        return [
            f"curl {self.host.address}/api/devices",
            f"curl {self.host.address}/api/commands -d '" + json.dumps(self.host.command(
                GET_PREVIEW_URL, {"id": DEVICE, "channel": 0}, DEVICE)) + "'",
            f"{VMSHOST} play --url {self.host.stream_url} --key KEY --out live.ts",
        ]

    def ask(self, command, body, device=DEVICE):
        return self.host.ask(command, body, device)

    def start(self):
        root = self.folder / "recordings"
        run([SAMPLES, root / DEVICE, "--day", DAY, "--seconds", LENGTH], timeout=300)
        self.host = ServedHost(self.folder, MODULE, "libfamily_mediafile.so",
                               {"streamserver": {"content": str(root)}},
                               [{"id": "nowhere" if self.broken == "recorder" else DEVICE}])
        found = self.ask(SEARCH_RECORD, {"id": DEVICE, "channel": 0, "startTime": BEGIN - 86400,
                                         "endTime": BEGIN + 86400})["records"]
        if len(found) < 3:
            raise StepFailed(f"found {len(found)} recordings of channel 0")
        return f"{self.host.address}, {len(found)} recordings of channel 0 in two days"

    def live(self):
        """Players join within the two seconds in which a stream is fresh, so they share it."""
        channel = {"id": DEVICE, "channel": 0}
        first_key = self.ask(GET_PREVIEW_URL, channel)["uri"]
        first = self.host.player(first_key, "--units", 120)
        time.sleep(0.5)
        if self.broken == "live":
            channel["channel"] = 1
        second_key = self.ask(GET_PREVIEW_URL, channel)["uri"]
        second = self.host.player(second_key, "--units", 60)
        results = [first.result(), second.result()]
        if second_key != first_key:
            raise StepFailed(f"the second player got a stream of its own, {second_key}")
        for result in results:
            if result["lostUnits"] or not result["keyFrames"] or "h264" not in result["codecs"]:
                raise StepFailed(f"a player received {result}")
        return f"key {first_key}; first unit after {results[0]['firstUnitMs']:.0f} ms and " \
               f"{results[1]['firstUnitMs']:.0f} ms, {results[0]['units']} and {results[1]['units']} units"

    def playback(self):
        key = self.ask(GET_PLAYBACK_URL, {"channel": 0, "beginTime": BEGIN, "endTime": BEGIN + LENGTH})["uri"]
        trace = self.folder / "playback.trace"
        player = self.host.player(key, "--begin", BEGIN, "--end", BEGIN + LENGTH, "--seconds", 4, "--trace", trace)
        time.sleep(1.5)
        if self.broken != "playback":
            player.type(f"seek {BEGIN + 12}")
        player.result()
        times = [int(line.split()[4]) for line in trace.read_text().splitlines() if line.split()[1] == "h264"]
        jump = max(((after - before, before, after) for before, after in zip(times, times[1:])), default=None)
        if jump is None or jump[0] < 5000 or not 11000 <= jump[2] <= 12100:
            raise StepFailed(f"no jump to 12 s, but at most {jump}")
        return f"{len(times)} pictures; from {jump[1] / 1000:.1f} s to {jump[2] / 1000:.1f} s of the recording"

    def download(self):
        key = self.ask(GET_DOWNLOAD_URL, {})["uri"]
        target = self.folder / "download.ts"
        started = time.monotonic()
        result = self.host.player(key, "--download", "--begin", BEGIN, "--end", BEGIN + LENGTH, "--out", target).result()
        lasted = time.monotonic() - started
        name = "083000Z_motion" if self.broken == "download" else "080000Z_schedule"
        source = self.folder / "recordings" / DEVICE / "ch0" / f"{DAY}T{name}.mp4"
        video, sound = (
            [self.elementary(path, *options) for path in (source, target)]
            for options in (("-map", "0:v", "-c", "copy", "-bsf:v", "h264_mp4toannexb", "-f", "h264"),
                            ("-map", "0:a", "-c", "copy", "-f", "adts")))
        if pictures(video[0]) != pictures(video[1]):
            raise StepFailed("the pictures differ from those of " + str(source))
        # The encoder's first packet lies before the recording's begin and is no part of it.
        if not sound[1] or not sound[0].endswith(sound[1]) or len(sound[0]) - len(sound[1]) > 1024:
            raise StepFailed("the sound differs from that of " + str(source))
        count = result["codecs"]["h264"]["units"]
        return f"{count} pictures and {len(sound[1])} bytes of sound equal the source's, in {lasted:.1f} s"

    @staticmethod
    def elementary(path, *options):
        return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), *options, "-"],
                              check=True, capture_output=True).stdout

    def sync(self):
        """Send time against time in the recording must agree between the channels."""
        session = DEVICE + "-1"
        self.ask(SYNC_CREATE, {"id": session, "beginTime": BEGIN, "endTime": BEGIN + LENGTH}, session)
        self.ask(SYNC_ADD, [0, 1, 2, 3], session)
        traces = [self.folder / f"sync{channel}.trace" for channel in range(4)]
        players = [self.host.player(session, "--sync", "--channel", channel, "--seconds", 6, "--trace", trace)
                   for channel, trace in enumerate(traces)]
        time.sleep(1)
        self.ask(SYNC_START, "", session)
        if self.broken == "sync":
            players.pop().process.kill()
        for player in players:
            player.result()
        self.ask(SYNC_DESTROY, "", session)
        clocks = [self.clock_of(trace) for trace in traces]
        if min(len(clock) for clock in clocks) < 20:
            raise StepFailed(f"the channels sent {[len(clock) for clock in clocks]} pictures")
        middles = [sorted(clock)[len(clock) // 2] for clock in clocks]
        apart = (max(middles) - min(middles)) * 1000
        if apart > SYNC_TOLERANCE_MS:
            raise StepFailed(f"the channels are {apart:.0f} ms apart")
        return f"{[len(clock) for clock in clocks]} pictures, the channels' clocks {apart:.1f} ms apart"

    @staticmethod
    def clock_of(trace):
        """Wall-clock time at which the recording's time was 0, by each picture after the first half second."""
        lines = [line.split() for line in trace.read_text().splitlines()]
        video = [(float(at), int(timestamp) / 1000) for at, codec, _, _, timestamp, _ in lines
                 if codec in ("h264", "h265", "jpeg")]
        return [at - timestamp for at, timestamp in video if timestamp > 0.5]

    def talk(self):
        said = self.folder / "said.wav"
        run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=700:duration=1",
             "-ar", "8000", "-ac", "1", "-c:a", "pcm_alaw", said])
        key = self.ask(GET_PREVIEW_URL, {"id": DEVICE, "channel": 1})["uri"]
        player = self.host.player(key, "--seconds", 4)
        time.sleep(1)
        if self.broken != "talk":
            player.type(f"talk {said}")
        player.result()
        heard = sorted((self.folder / "recordings" / DEVICE / "talk").glob("*_ch1.wav"))
        if not heard:
            raise StepFailed("the device heard nothing")
        sound = [self.elementary(path, "-c", "copy", "-f", "alaw") for path in (said, heard[-1])]
        if sound[0] != sound[1]:
            raise StepFailed(f"{len(sound[0])} samples were said, {len(sound[1])} heard")
        return f"{len(sound[1])} samples of {heard[-1].name} equal what was said"

    def ptz(self):
        here = self.position()
        self.ptz_action(PTZ_ADD_PRESET, {"preset": {"presetIdx": 3, "presetName": "gate"}})
        turn = {"opt": 0, "turn": 4, "is_press": 1, "speed": 5}
        self.ptz_action(PTZ_MOVE, {"contrl": turn})
        time.sleep(0.5)
        self.ptz_action(PTZ_MOVE, {"contrl": {**turn, "is_press": 0}})
        there = self.position()
        if there == here:
            raise StepFailed(f"the head has not turned from {here}")
        if self.broken != "ptz":
            self.ptz_action(PTZ_CALL_PRESET, {"preset": {"presetIdx": 3}})
        deadline = time.monotonic() + 10
        while self.position() != here:
            if time.monotonic() > deadline:
                raise StepFailed(f"the head is at {self.position()} instead of {here}")
            time.sleep(0.1)
        return f"from {here} to {there} and back by the preset"

    def ptz_action(self, action, parameters):
        self.ask(PTZ_CONTROL, {"id": DEVICE, "channel": 0, "action": action, **parameters})

    def position(self):
        request = json.dumps({"channel": 0})
        return self.ask(TRANSMISSION, {"uri": "ptz/position", "request": request})
