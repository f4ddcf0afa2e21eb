"""The processes of an attack, and what they are told."""

import dataclasses
import multiprocessing
import os
import resource
import signal
import time
import traceback

from attacks.host import set_limit

MOST_MB = 4096  # that an attacking process may take


class Tally:
    """What the attackers of all processes have done."""

    def __init__(self):
        context = multiprocessing.get_context("fork")
        self.connections, self.sent = context.Value("q", 0), context.Value("q", 0)

    def count(self, connections=1, sent=0):
        for value, more in ((self.connections, connections), (self.sent, sent)):
            if more:
                with value.get_lock():
                    value.value += more


@dataclasses.dataclass
class Target:
    port: int
    token: str
    live_key: str  # the honest player's stream
    recorded_from: int  # device "vault" has ten minutes from there on its channel 1
    tally: Tally
    until: float = 0.0  # time.monotonic()


class Attackers:
    """The processes of one attack. They yield the processor to the host and the honest clients."""

    def __init__(self, attack, target, seconds):
        context = multiprocessing.get_context("fork")
        target.until = time.monotonic() + seconds
        self.processes = [context.Process(target=self.run, args=(attack, target), daemon=True)
                          for _ in range(attack.processes if attack.function else 0)]
        for process in self.processes:
            process.start()

    @staticmethod
    def run(attack, target):
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, signal.SIG_DFL)
        os.nice(15)
        set_limit(resource.RLIMIT_NOFILE, 1 << 20)
        set_limit(resource.RLIMIT_AS, MOST_MB << 20)
        try:
            attack.function(target)
        except Exception:
            traceback.print_exc()
            os._exit(1)

    def end(self):
        """@return whether they were at work to the end"""
        for process in self.processes:
            process.join(1)
            if process.exitcode is None:
                process.kill()
                process.join()
        return all(process.exitcode != 1 for process in self.processes)
