"""Measures the library on the wire beside a bare loop that sends at the same rate, and writes down what came out.

Without --quick it takes about twenty minutes and remakes docs/bench and the table in the README; with it, less
than a minute, and it only shows the figures.
"""

import argparse
import json
import platform
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

import numpy

import periods
import plots
import report
from capture import MILLISECONDS
from programs import Programs

ROOT = Path(__file__).resolve().parents[2]

PMT_ID = 0x02
FLUSH_GAP = 25  # ms, above which the library does not wait for more packets before it sends a datagram
PACKETS_PER_DATAGRAM = 7


@dataclass(frozen=True)
class Plan:
    repeats: int
    multiplex: tuple  # settle and measure, seconds
    settle: float
    measure: float
    ceilings: tuple  # kbit/s
    subtables: tuple
    outputs: tuple
    samples: int


FULL = Plan(2, (35, 185), 3, 10, (1000, 10000, 50000, 100000), (10, 100, 1000, 10000), (1, 10, 50), 500)
QUICK = Plan(1, (1, 6), 1, 2, (1000, 100000), (10, 1000), (10,), 60)


class Bench:
    def __init__(self, programs, plan):
        self.programs, self.plan = programs, plan

    def run(self):
        return {
            "machine": machine(),
            "multiplex": self.multiplex(),
            "ceilings": [self.ceiling(kbps) for kbps in self.plan.ceilings],
            "subtables": [self.subtables(count) for count in self.plan.subtables],
            "outputs": [self.outputs(count) for count in self.plan.outputs],
            "intake": [self.intake(name, *options) for name, *options in INTAKES],
        }

    def multiplex(self):
        """The tables of a multiplex of ten services, far below the ceiling."""
        settle, measure = self.plan.multiplex
        result, capture, _ = self.measure("multiplex", 1, settle, measure, "--multiplex", repeats=1)
        gaps = capture.datagram_gaps()
        result["datagram_gap_p99"] = numpy.percentile(gaps, 99)
        result["packing_bound"] = (PACKETS_PER_DATAGRAM - 1) * (FLUSH_GAP + report.KILOBITS / 1024 * 1000)
        return result

    def ceiling(self, kbps):
        """The same, filled up with null packets."""
        options = "--multiplex", "--null-packets", "--bitrate", kbps
        wanted = kbps / report.KILOBITS
        timing = self.plan.settle, self.plan.measure
        result, _, told = self.measure(f"{kbps} kbit/s", 1, *timing, *options, floor_rate=wanted)
        result["ceiling"] = kbps
        result["share"] = result["rate"] / wanted
        result["floor_share"] = result["floor"]["rate"] / wanted
        result["overrun"] = told["statistics"]["packets_overrun"]
        result["ring_full_slots"] = told["statistics"]["ring_full_slots"]
        return result

    def subtables(self, count):
        """So many EIT present/following, two packets each every two seconds."""
        options = "--subtables", count, "--bitrate", 50000
        result, _, told = self.measure(f"{count} subtables", 1, self.plan.settle, 2 * self.plan.measure, *options)
        result["subtables"] = count
        result["bytes_per_subtable"] = told["heap_of_tables"] / count
        return result

    def outputs(self, count):
        """So many multiplexes in one process."""
        timing = self.plan.settle, 2 * self.plan.measure
        result, _, told = self.measure(f"{count} outputs", count, *timing, "--multiplex")
        result["outputs"] = count
        result["bytes_per_output"] = (told["resident"] - told["resident_before"]) / count
        return result

    def measure(self, name, ports, settle, measure, *options, repeats=None, floor_rate=None):
        """The costs and periods of a workload, and the costs of the floor, at the same rate unless it is given; of
        several runs those while the machine was least busy with others."""
        runs = [self.programs.send(ports, settle, measure, *options) for _ in range(repeats or self.plan.repeats)]
        told, capture = min(runs, key=lambda run: run[0]["other_load"])
        rate = capture.rate()
        floors = [self.programs.floor(floor_rate or rate, self.plan.measure) for _ in range(self.plan.repeats)]
        floor = min(floors, key=lambda run: run["other_load"])
        result = {
            "rate": rate,
            "library": costs(told),
            "floor": costs(floor),
            "kinds": periods.by_kind(capture.starts(), told["periods"]),
        }
        result["ratio"] = result["library"]["cpu_per_packet"] / result["floor"]["cpu_per_packet"]
        print(report.progress(name, result), flush=True)
        return result, capture, told

    def intake(self, name, *options):
        """From the call of newPMT to the first packet of the program on the wire."""
        told, capture = self.programs.intake(self.plan.samples, *options)
        first = {
            program: times[0] for (_, _, table, program), times in capture.starts().items() if table == PMT_ID
        }
        delays = [(first[program] - called) * MILLISECONDS for program, called in enumerate(told["calls"], 1)]
        p50, p99 = numpy.percentile(delays, [50, 99])
        print(f"intake, {name}: {p50:.3f} ms, p99 {p99:.3f} ms", flush=True)
        figures = {"samples": len(delays), "p50": p50, "p99": p99, "max": max(delays)}
        return {"name": name, **figures, "other_load": told["other_load"]}


INTAKES = (
    ("idle",),
    ("full, 1 Mbit/s", "--null-packets", "--bitrate", 1000),
    ("full, 10 Mbit/s", "--null-packets", "--bitrate", 10000),
)


def costs(told):
    seconds = (told["end"] - told["begin"]) * 1e-9
    packets = told["statistics"]["packets"]
    threads = told["threads"]
    cpu, voluntary, preempted = (
        sum(thread[what] for thread in threads.values()) for what in ("cpu", "voluntary", "preempted")
    )
    return {
        "rate": packets / seconds,
        "cpu_per_packet": cpu / 1000 / packets,  # us
        "cpu_by_thread": {name: thread["cpu"] / 1000 / packets for name, thread in threads.items()},
        "cpu": cpu * 1e-9 / seconds * 100,  # percent of one processor
        "switches": (voluntary + preempted) / seconds,
        "wakeups": voluntary / seconds,
        "resident": told["resident"],
        "other_load": told["other_load"],
    }


def machine():
    lscpu = subprocess.run(["lscpu"], check=True, capture_output=True, text=True, env={"LC_ALL": "C"}).stdout
    return {
        "cpu": re.search(r"Model name:\s*(.*)", lscpu)[1],
        "cores": int(re.search(r"^CPU\(s\):\s*(\d+)", lscpu, re.M)[1]),
        "kernel": platform.release(),
        "virtual": "Hypervisor vendor" in lscpu,
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true", help="less of everything, and no files")
    parser.add_argument("--programs", type=Path, default=ROOT / "build/bin", help="where the programs are")
    parser.add_argument("--out", type=Path, default=ROOT / "docs/bench", help="where the results go")
    arguments = parser.parse_args()
    results = Bench(Programs(arguments.programs), QUICK if arguments.quick else FULL).run()
    print("\n" + report.text(results))
    if arguments.quick:
        return
    arguments.out.mkdir(parents=True, exist_ok=True)
    (arguments.out / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    write_documents(results, arguments.out)


def write_documents(results, out):
    (out / "report.md").write_text(report.text(results))
    plots.write(results, out)
    report.replace_summary(ROOT / "README.md", results)


if __name__ == "__main__":
    main()
