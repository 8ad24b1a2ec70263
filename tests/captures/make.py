#!/usr/bin/env python3
"""Makes the captures in this directory again: plays each example to a port of this machine and keeps what arrives.

    tests/captures/make.py [PROGRAM]

PROGRAM is build/bin/servicemux if not given. It takes as long as the slowest table's period, half a minute.
"""

import os
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
sys.path.append(str(HERE.parent / "wire"))

from program import record  # noqa: E402, it lies beside the tests that use it most

# Each table of an example comes at least once in so many seconds.
SECONDS = {"dvb-t": 32, "atsc": 5, "scrambled": 3}


def make(name):
    played = record([PROJECT / "examples" / f"{name}.json"], "--duration", SECONDS[name])
    if played.status != 0:
        raise SystemExit(played.story)
    capture = HERE / f"{name}.ts"
    capture.write_bytes(played.recording.data())
    print(f"{capture.relative_to(PROJECT)}: {capture.stat().st_size} bytes")


def main():
    program = Path(sys.argv[1] if len(sys.argv) > 1 else PROJECT / "build" / "bin" / "servicemux")
    os.environ["SERVICEMUX"] = str(program.resolve())
    with ThreadPoolExecutor() as pool:
        list(pool.map(make, SECONDS))


if __name__ == "__main__":
    main()
