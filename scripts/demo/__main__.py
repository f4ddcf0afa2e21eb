"""The demo: every step against simulated devices, each checked, each breakable on purpose."""

import argparse
import pathlib
import signal
import sys
import tempfile
import time

from http_family_steps import HttpFamilySteps
from network import Site, enter_private_network
from onvif_steps import OnvifSteps
from process import StepFailed
from recorder_steps import RecorderSteps

SUITES = [OnvifSteps, RecorderSteps, HttpFamilySteps]


def step_names():
    return [name for suite in SUITES for name, _, _ in suite(None, None, None).steps()]


def parse_arguments():
    parser = argparse.ArgumentParser(prog="demo", description=__doc__)
    parser.add_argument("--once", action="store_true", help="run every step once and end")
    parser.add_argument("--break", dest="broken", metavar="STEP", choices=step_names(),
                        help="spoil this step: " + ", ".join(step_names()))
    parser.add_argument("--list", action="store_true", help="name the steps")
    arguments = parser.parse_args()
    if arguments.broken and not arguments.once:
        parser.error("--break goes with --once")
    return arguments


def run_steps(suites):
    """Returns whether all steps worked; stops at the first that did not."""
    for suite in suites:
        for name, title, action in suite.steps():
            started = time.monotonic()
            try:
                seen = action()
            except (StepFailed, OSError, ValueError, KeyError, LookupError) as error:
                print(f"  FAILED  {name:<10} {title}\n          {type(error).__name__}: {error}", flush=True)
                return False
            print(f"  ok      {name:<10} {title} ({time.monotonic() - started:.1f} s)\n          {seen}",
                  flush=True)
    return True


def keep_running(suites):
    print("\nThe devices keep running; Ctrl-C ends them. In another terminal, try:")
    for suite in suites:
        for hint in suite.hints():
            print("  " + hint)
    sys.stdout.flush()
    while True:
        signal.pause()


def main():
    arguments = parse_arguments()
    if arguments.list:
        print("\n".join(step_names()))
        return 0
    if arguments.once:
        enter_private_network()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    site = Site(private=arguments.once)
    with tempfile.TemporaryDirectory(prefix="vms-demo-") as folder:
        suites = [suite(site, pathlib.Path(folder), arguments.broken) for suite in SUITES]
        print(f"Network: {site.describe()}", flush=True)
        try:
            worked = run_steps(suites)
            if worked and not arguments.once:
                keep_running(suites)
        except KeyboardInterrupt:
            print("\nended")
            return 0
        finally:
            for suite in reversed(suites):
                suite.close()
            site.close()
    print("demo: every step worked" if worked else "demo: a step failed", flush=True)
    return 0 if worked else 1


if __name__ == "__main__":
    sys.exit(main())
