"""Measures how long large table sets take to come on air and how much memory they need on the way and then.

  load.py [--program build/bin/servicemux] [--megabytes 47 300]
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent / "wire"))

import guide

SAMPLE_SERVICES = 10
MEGABYTE = 1e6
KIBIBYTE = 1024


def write_guide(megabytes, path):
    """As many services as make a file of this size."""
    sample = len(json.dumps(guide.table_set(SAMPLE_SERVICES))) / SAMPLE_SERVICES
    path.write_text(json.dumps(guide.table_set(round(megabytes * MEGABYTE / sample))))


def memory(process, field):
    """In MB: VmRSS, VmHWM."""
    text = Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(rf"{field}:\s+(\d+)", text).group(1)) * KIBIBYTE / MEGABYTE


def measure(program, path):
    """Seconds until it is on air, peak and resident MB."""
    command = [program, "play", path, "--to", "127.0.0.1:9", "--bitrate", "100000"]
    began = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
    process.stdout.readline()  # the first line of the view comes a second after all is on air
    seconds = time.monotonic() - began - 1
    figures = seconds, memory(process, "VmHWM"), memory(process, "VmRSS")
    process.terminate()
    process.communicate()
    return figures


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--program", default="build/bin/servicemux")
    parser.add_argument("--megabytes", type=int, nargs="+", default=[47, 300])
    arguments = parser.parse_args()
    print("   file  on air after     peak  resident")
    for megabytes in arguments.megabytes:
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "guide.json"
            write_guide(megabytes, path)
            seconds, peak, resident = measure(arguments.program, path)
            print(f"{os.path.getsize(path) / MEGABYTE:4.0f} MB {seconds:11.1f} s {peak:5.0f} MB {resident:6.0f} MB", flush=True)


if __name__ == "__main__":
    main()
