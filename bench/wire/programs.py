"""Starts the programs of the wire benchmarks, and sees to it that they end."""

import contextlib
import json
import resource
import subprocess
import tempfile
from pathlib import Path

from capture import Capture

PATIENCE = 60  # seconds that a program may take beyond its own time
TICKS = 100  # of /proc/stat, in a second


@contextlib.contextmanager
def started(command, **options):
    child = subprocess.Popen([str(part) for part in command], text=True, stdout=subprocess.PIPE, **options)
    with child:
        try:
            yield child
        finally:
            if child.poll() is None:
                child.kill()


def finish(child, seconds):
    """What the child writes until it ends by itself."""
    output, _ = child.communicate(timeout=seconds)
    if child.returncode != 0:
        raise subprocess.CalledProcessError(child.returncode, child.args)
    return output


class Programs:
    def __init__(self, directory):
        self.directory = Path(directory)

    def record(self, name, ports, seconds, options):
        """Runs a sender against a receiver; returns what the one tells and what the other got.

        `options` makes the sender's arguments of the ports. How many processors others used meanwhile stands in
        what it tells as "other_load".
        """
        with tempfile.TemporaryDirectory() as scratch:
            headers, payload = Path(scratch, "headers"), Path(scratch, "payload")
            files = ["--headers", headers, "--payload", payload]
            load = OtherLoad()
            with started(
                [self.directory / "wire_receiver", "--ports", ports, *files], stdin=subprocess.PIPE
            ) as receiver:
                numbers = [int(port) for port in receiver.stdout.readline().split()]
                with started([self.directory / name, *options(numbers)]) as sender:
                    told = json.loads(finish(sender, seconds + PATIENCE))
                finish(receiver, PATIENCE)
            told["other_load"] = load.measured()
            return told, Capture.load(headers, payload)

    def send(self, ports, settle, measure, *options):
        """Puts a workload on air; the capture is what came while it was measured."""
        timing = ["--settle", settle, "--measure", measure]
        told, capture = self.record(
            "wire_sender", ports, settle + measure, lambda numbers: ["--ports", *numbers, *timing, *options]
        )
        return told, capture.between(told["begin"], told["end"])

    def floor(self, rate, measure):
        told, _ = self.record(
            "wire_floor", 1, measure, lambda numbers: ["--port", *numbers, "--rate", rate, "--measure", measure]
        )
        return told

    def intake(self, samples, *options):
        return self.record(
            "wire_intake", 1, samples, lambda numbers: ["--port", *numbers, "--samples", samples, *options]
        )


class OtherLoad:
    """How many processors were busy with others than this process and its children, since construction."""

    def __init__(self):
        self._before = self._read()

    def measured(self):
        busy, own, elapsed = (after - before for after, before in zip(self._read(), self._before))
        return max(0.0, (busy - own) / elapsed)

    @staticmethod
    def _read():
        lines = Path("/proc/stat").read_text().splitlines()
        processors = [line.split() for line in lines if line.startswith("cpu")]
        times = [int(value) / TICKS for value in processors[0][1:9]]
        idle = times[3] + times[4]
        usages = resource.getrusage(resource.RUSAGE_SELF), resource.getrusage(resource.RUSAGE_CHILDREN)
        own = sum(usage.ru_utime + usage.ru_stime for usage in usages)
        return sum(times) - idle, own, sum(times) / (len(processors) - 1)
