"""Starts the programs of the wire benchmarks, and sees to it that they end."""

import contextlib
import json
import re
import resource
import signal
import subprocess
import tempfile
import time
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

    def record(self, ports, send):
        """Runs senders against a receiver; returns what `send`, which gets the ports, tells, and what was received.

        How many processors others used meanwhile stands in what it tells as "other_load".
        """
        with tempfile.TemporaryDirectory() as scratch:
            headers, payload = Path(scratch, "headers"), Path(scratch, "payload")
            files = ["--headers", headers, "--payload", payload]
            load = OtherLoad()
            with started(
                [self.directory / "wire_receiver", "--ports", ports, *files], stdin=subprocess.PIPE
            ) as receiver:
                told = send([int(port) for port in receiver.stdout.readline().split()])
                finish(receiver, PATIENCE)
            told["other_load"] = load.measured()
            return told, Capture.load(headers, payload)

    def tell(self, name, seconds, *arguments):
        """Runs a program that tells something as JSON."""
        with started([self.directory / name, *arguments]) as sender:
            return json.loads(finish(sender, seconds + PATIENCE))

    def send(self, ports, timing, settle, measure, *options):
        """Puts a workload on air; the capture is what came while it was measured."""
        times = ["--settle", settle, "--measure", measure]
        told, capture = self.record(
            ports,
            lambda numbers: self.tell(
                "wire_sender", settle + measure, "--ports", *numbers, "--timing", timing, *times, *options
            ),
        )
        return told, capture.between(told["begin"], told["end"])

    def floor(self, rate, settle, measure, *options):
        times = ["--settle", settle, "--measure", measure]
        told, _ = self.record(
            1,
            lambda numbers: self.tell(
                "wire_floor", settle + measure, "--port", *numbers, "--rate", rate, *times, *options
            ),
        )
        return told

    def intake(self, samples, timing, *options):
        return self.record(
            1,
            lambda numbers: self.tell(
                "wire_intake", samples, "--port", *numbers, "--timing", timing, "--samples", samples, *options
            ),
        )

    def play(self, plays, settle, measure, *options):
        """Plays table sets at the same time, each with its timing and its files; the capture is what came while it
        was measured, with the number of its play as output. What each of the processes used meanwhile is told in
        "plays"."""

        def send(numbers):
            with contextlib.ExitStack() as stack:
                players = [
                    stack.enter_context(started(self.player(timing, files, port, options)))
                    for (timing, files), port in zip(plays, numbers)
                ]
                time.sleep(settle)
                before, begin = [cpu_of(player) for player in players], time.time_ns()
                time.sleep(measure)
                after, end = [cpu_of(player) for player in players], time.time_ns()
                told = [
                    {"cpu": (late - early) / (end - begin) * 100, "resident": resident_of(player)}
                    for player, early, late in zip(players, before, after)
                ]
                for player in players:
                    player.send_signal(signal.SIGINT)
                    finish(player, PATIENCE)
            return {"plays": told, "begin": begin, "end": end}

        told, capture = self.record(len(plays), send)
        return told, capture.between(told["begin"], told["end"])

    def player(self, timing, files, port, options):
        to = f"127.0.0.1:{port}"
        return [self.directory / "servicemux", "play", *files, "--to", to, "--timing", timing, "--quiet", *options]


def cpu_of(child):
    """What all threads of a process used so far, in ns."""
    tasks = Path(f"/proc/{child.pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text().split()[0]) for task in tasks)


def resident_of(child):
    status = Path(f"/proc/{child.pid}/status").read_text()
    return int(re.search(r"^VmRSS:\s*(\d+)", status, re.M)[1]) * 1024


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
