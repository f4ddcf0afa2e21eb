"""A running `vmshost serve`, its HTTP API and its players."""

import json
import subprocess
import urllib.error
import urllib.request

from process import BIN, Background, StepFailed

VMSHOST = BIN / "vmshost"


class Player:
    """A `vmshost play` that runs beside the demo."""

    def __init__(self, server, key, *arguments):
        self.process = subprocess.Popen(
            [str(word) for word in (VMSHOST, "play", "--url", server, "--key", key, "--json", *arguments)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def type(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def result(self, timeout=60):
        try:
            output, error = self.process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.communicate()
            raise StepFailed(f"a player did not end within {timeout} s") from None
        if self.process.returncode != 0:
            raise StepFailed(error.strip())
        return json.loads(output)


class ServedHost:
    """Serves one module; its log goes to a file."""

    def __init__(self, folder, module, library, settings, devices):
        self.module = module
        self.log_file = folder / f"{module}.log"
        config = folder / f"{module}.json"
        config.write_text(json.dumps({
            "http": {"port": 0},
            "modules": [{"name": module, "library": str(BIN.parent / "lib" / library), "config": settings,
                         "devices": devices}]}))
        self.process = Background([VMSHOST, "serve", "--config", config], errors=self.log_file)
        self.address = self.process.line(timeout=30).split()[-1]
        self.stream_url = self.address.replace("http://", "ws://") + "/stream"

    def end(self):
        self.process.end()

    def log(self):
        return self.log_file.read_text(errors="replace")

    def command(self, command, body, device):
        return {"module": self.module, "id": hex(command), "deviceId": device, "body": body}

    def answer(self, command, body, device):
        """What the module answers: {"result", "body"}."""
        request = json.dumps(self.command(command, body, device)).encode()
        try:
            with urllib.request.urlopen(self.address + "/api/commands", request, timeout=60) as answer:
                return json.load(answer)
        except urllib.error.HTTPError as error:
            raise StepFailed(f"command {command:#x}: {error.read().decode().strip()}") from None

    def ask(self, command, body, device):
        """The body of a successful answer."""
        reply = self.answer(command, body, device)
        if reply["result"] != 1:
            raise StepFailed(f"command {command:#x} was refused: {reply['body']}")
        return json.loads(reply["body"]) if reply["body"] else {}

    def player(self, key, *arguments):
        return Player(self.stream_url, key, *arguments)
