"""A site network of the demo's own, so that discovery crosses a wire and meets nobody else."""

import os
import subprocess
import sys

INSIDE = "VMS_DEMO_NETWORK"
HOST_ADDRESS = "10.88.0.1"
CAMERA_ADDRESS = "10.88.0.2"


def _ok(*command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def enter_private_network():
    """Restarts the demo in a network namespace; returns only where that is not allowed or done."""
    if INSIDE in os.environ:
        return
    for flags in (["--net"], ["--user", "--map-root-user", "--net"]):
        if _ok("unshare", *flags, "true"):
            environment = dict(os.environ, **{INSIDE: "1"})
            os.execvpe("unshare", ["unshare", *flags, sys.executable, *sys.argv], environment)


class Site:
    """Where the cameras live: behind a virtual wire, or on loopback."""

    def __init__(self, private):
        self._holder = None
        self.prefix = []
        self.camera_options = []
        self.environment = dict(os.environ)
        self.wired = private and INSIDE in os.environ and self._lay_wire()
        if self.wired:
            self.camera_options = ["--bind", "0.0.0.0", "--rtsp-bind", "0.0.0.0"]
            self.camera_address = CAMERA_ADDRESS
            self.environment.pop("VMS_LOCAL_IPS", None)
        else:
            if INSIDE in os.environ:
                _ok("ip", "link", "set", "lo", "up")
            self.camera_address = "127.0.0.1"
            self.environment["VMS_LOCAL_IPS"] = "127.0.0.1"

    def _lay_wire(self):
        self._holder = subprocess.Popen(["unshare", "--net", "sh", "-c", "echo up; exec sleep infinity"],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        if self._holder.stdout.readline() != b"up\n":
            return False
        pid = str(self._holder.pid)
        inside = ["nsenter", f"--net=/proc/{pid}/ns/net"]
        laid = (_ok("ip", "link", "set", "lo", "up")
                and _ok("ip", "link", "add", "site0", "type", "veth", "peer", "name", "cam0")
                and _ok("ip", "link", "set", "cam0", "netns", pid)
                and _ok("ip", "addr", "add", f"{HOST_ADDRESS}/24", "dev", "site0")
                and _ok("ip", "link", "set", "site0", "up")
                and _ok(*inside, "ip", "link", "set", "lo", "up")
                and _ok(*inside, "ip", "addr", "add", f"{CAMERA_ADDRESS}/24", "dev", "cam0")
                and _ok(*inside, "ip", "link", "set", "cam0", "up"))
        if laid:
            self.prefix = inside
        return laid

    def describe(self):
        if self.wired:
            return f"own network namespaces, host {HOST_ADDRESS}, cameras {CAMERA_ADDRESS}"
        return "loopback (network namespaces are not in use)"

    def close(self):
        if self._holder is not None:
            self._holder.kill()
            self._holder.wait()
