"""Runs the programs under test as children that cannot outlive their test."""

import json
import os
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import NamedTuple

from recording import Receiver, Recording

PATIENCE = 90  # seconds; only a child that hangs needs them
MORTAL = ("setpriv", "--pdeathsig", "KILL")  # for when the test itself is killed


class Child:
    """A running child. What it writes is collected; it is killed when its time is over."""

    def __init__(self, arguments):
        self.arguments = [str(argument) for argument in arguments]
        self._files = [tempfile.TemporaryFile(), tempfile.TemporaryFile()]
        self._process = subprocess.Popen(
            [*MORTAL, *self.arguments], stdin=subprocess.DEVNULL, stdout=self._files[0], stderr=self._files[1]
        )
        self._timer = threading.Timer(PATIENCE, self._process.kill)
        self._timer.daemon = True
        self._timer.start()

    def running(self):
        return self._process.poll() is None

    def signal(self, number):
        self._process.send_signal(number)

    def wait(self):
        """Returns the exit status, which is negative after a signal: -9 is a child that hung."""
        status = self._process.wait()
        self._timer.cancel()
        return status

    def end(self):
        """Ends it whatever it does, for clean-up."""
        if self.running():
            self._process.kill()
        self.wait()
        for file in self._files:
            file.close()

    @property
    def output(self):
        return self._read(self._files[0])

    @property
    def errors(self):
        return self._read(self._files[1])

    @staticmethod
    def _read(file):
        return os.pread(file.fileno(), 1 << 24, 0).decode(errors="replace")

    def __str__(self):
        return f"{' '.join(self.arguments)}\nstdout: {self.output}\nstderr: {self.errors}"


def servicemux(*arguments, prefix=()):
    """`prefix` is what its command line begins with, to run it somewhere else."""
    return Child([*prefix, os.environ["SERVICEMUX"], *arguments])


def import_tables(capture, directory):
    """Makes a table set of a capture and returns its path."""
    tables = Path(directory) / f"{capture.name}.json"
    child = servicemux("import", capture, "-o", tables)
    try:
        if child.wait() != 0:
            raise AssertionError(str(child))
        return tables
    finally:
        child.end()


def play(files, ip, port, *options, prefix=()):
    return servicemux("play", *files, "--to", f"{ip}:{port}", *options, prefix=prefix)


def play_to(files, destinations, *options, prefix=()):
    """`destinations` as the command line has them."""
    to = [word for destination in destinations for word in ("--to", destination)]
    return servicemux("play", *files, *to, *options, prefix=prefix)


class Played(NamedTuple):
    recording: Recording
    status: int
    story: str  # for messages


def record(files, *options):
    """Plays tables to a port of this machine until they end by themselves, and records it."""
    receiver = Receiver()
    try:
        child = play(files, "127.0.0.1", receiver.port, *options)
        try:
            status = child.wait()
            return Played(receiver.stop(), status, str(child))
        finally:
            child.end()
    finally:
        receiver.close()


def wait_until(condition, child, timeout=30):
    """Waits for what a child does; fails when it does not come, or the child ends before."""
    deadline = time.monotonic() + timeout
    while not condition():
        if not child.running() or time.monotonic() > deadline:
            raise AssertionError(f"what was waited for did not come\n{child}")
        time.sleep(0.05)


def table_set(directory, name="tables.json", **tables):
    """Writes a table set and returns its path."""
    path = Path(directory) / name
    path.write_text(json.dumps(tables))
    return path


# Small tables that most tests can do with.

PAT = {
    "transport_stream_id": 0x1234,
    "version_number": 3,
    "programs": [{"program_number": 0, "pid": 16}, {"program_number": 101, "pid": 257}],
}
CAT = {"version_number": 7, "descriptors": [{"tag": 9, "data": "0b00e064"}]}
NIT = {
    "network_id": 0x3085,
    "version_number": 11,
    "descriptors": [{"tag": 0x40, "data": b"wire".hex()}],
    "transport_streams": [
        {
            "transport_stream_id": 0x1234,
            "original_network_id": 0x2085,
            "descriptors": [{"tag": 0x41, "data": "006501"}],
        }
    ],
}
