"""Measures the library on the wire, with both of its timings, beside bare loops that send at the same rate, and writes
down what came out.

Without --quick it takes three quarters of an hour and remakes docs/bench and the table in the README; with it, less than a
minute, and it only shows the figures.
"""

import argparse
import json
import platform
import re
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

import numpy

import guide
import limits
import periods
import plots
import report
from capture import MILLISECONDS
from programs import Programs

ROOT = Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples"
BROADCAST = ROOT.parent / "shared" / "captures"  # beside few clones

TIMINGS = "classic", "standards"
# The bare loops: one sleeps to each packet's slot, the other to each datagram's.
FLOORS = {"floor": (), "datagram_floor": ("--per-datagram",)}

PMT_ID = 0x02
FLUSH_GAP = 25  # ms, above which Classic does not wait for more packets before it sends a datagram
GUIDE_CEILING = 45000  # kbit/s


@dataclass(frozen=True)
class Plan:
    repeats: int
    multiplex: tuple  # settle and measure, seconds
    settle: float
    measure: float
    ceilings: tuple  # kbit/s
    subtables: tuple
    outputs: tuple
    guide: tuple  # services, settle and measure
    played: tuple  # table sets, settle, in which all is put on air at once, and measure
    intakes: tuple
    samples: int


INTAKES = (
    ("idle",),
    ("full, 1 Mbit/s", "--null-packets", "--bitrate", 1000),
    ("full, 10 Mbit/s", "--null-packets", "--bitrate", 10000),
)
PLAYED = EXAMPLES / "dvb-t.json", EXAMPLES / "atsc.json", BROADCAST / "dvb-network-sections.bin"

FULL = Plan(
    repeats=2,
    multiplex=(35, 125),
    settle=3,
    measure=10,
    ceilings=(1000, 10000, 50000, 100000),
    subtables=(10, 1000, 10000),
    outputs=(1, 10, 50),
    guide=(300, 5, 65),
    played=(PLAYED, 3, 600),
    intakes=INTAKES,
    samples=500,
)
QUICK = Plan(
    repeats=1,
    multiplex=(0.5, 3),
    settle=0.5,
    measure=1.2,
    ceilings=(1000, 100000),
    subtables=(1000,),
    outputs=(10,),
    guide=(300, 0.5, 1),
    played=((), 0, 0),
    intakes=INTAKES[:1],
    samples=30,
)


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
            "guide": self.guide(),
            "played": self.played(),
            "intake": [self.intake(name, *options) for name, *options in self.plan.intakes],
        }

    def multiplex(self):
        """The tables of a multiplex of ten services, far below the ceiling."""

        def more(result, told, capture):
            result["limits"] = limits.by_kind(capture.sections())
            result["datagram_gap_p99"] = numpy.percentile(capture.datagram_gaps(), 99)
            result["packets_per_datagram"] = told["statistics"]["packets"] / told["statistics"]["datagrams"]

        settle, measure = self.plan.multiplex
        result = self.measure("multiplex", 1, settle, measure, "--multiplex", repeats=1, more=more)
        result["packing_bound"] = (report.PACKETS_PER_DATAGRAM - 1) * (FLUSH_GAP + report.KILOBITS / 1024 * 1000)
        return result

    def ceiling(self, kbps):
        """The same, filled up with null packets."""
        wanted = kbps / report.KILOBITS

        def more(result, told, capture):
            result["share"] = result["rate"] / wanted
            result["busiest_second"] = capture.busiest_second() / wanted
            result["lost"] = told["lost_in_all"] + told["statistics"]["send_errors"]
            result["ring_full_slots"] = told["statistics"]["ring_full_slots"]

        options = "--multiplex", "--null-packets", "--bitrate", kbps
        timing = self.plan.settle, self.plan.measure
        result = self.measure(f"{kbps} kbit/s", 1, *timing, *options, floor_rate=wanted, more=more)
        result["ceiling"] = kbps
        for floor in FLOORS:
            result[floor]["share"] = result[floor]["rate"] / wanted
        return result

    def subtables(self, count):
        """So many EIT present/following, two packets each every two seconds."""

        def more(result, told, _):
            result["bytes_per_subtable"] = told["heap_of_tables"] / count

        options = "--subtables", count, "--bitrate", 50000
        result = self.measure(
            f"{count} subtables", 1, self.plan.settle, 3 * self.plan.measure, *options, repeats=1, more=more
        )
        result["subtables"] = count
        return result

    def outputs(self, count):
        """So many multiplexes in one process."""

        def more(result, told, _):
            result["bytes_per_output"] = (told["resident"] - told["resident_before"]) / count

        timing = self.plan.settle, 2 * self.plan.measure
        result = self.measure(f"{count} outputs", count, *timing, "--multiplex", repeats=1, more=more)
        result["outputs"] = count
        return result

    def measure(self, name, ports, settle, measure, *options, repeats=None, floor_rate=None, more=lambda *_: None):
        """The costs and periods of a workload with each timing, and the costs of the floors, at the rate of the first
        timing unless it is given; of several runs those while the machine was least busy with others. `more` adds to
        the figures of a timing."""
        result = {}
        for timing in TIMINGS:
            runs = [
                self.programs.send(ports, timing, settle, measure, *options)
                for _ in range(repeats or self.plan.repeats)
            ]
            told, capture = min(runs, key=lambda run: run[0]["other_load"])
            result[timing] = {
                "rate": capture.rate(),
                "library": costs(told),
                "kinds": periods.by_kind(capture.sections()),
            }
            more(result[timing], told, capture)
        rate = floor_rate or result[TIMINGS[0]]["rate"]
        for floor, how in FLOORS.items():
            result[floor] = self.floor(rate, how)
        for timing in TIMINGS:
            print(report.progress(f"{name}, {timing}", result, timing), flush=True)
        return result

    def floor(self, rate, how):
        times = self.plan.settle, self.plan.measure
        runs = [self.programs.floor(rate, *times, *how) for _ in range(self.plan.repeats)]
        return costs(min(runs, key=lambda run: run["other_load"]))

    def guide(self):
        """Present/following and seven days of so many services of another stream, beside the tables of a multiplex:
        from the sender, and as a table set that is played."""
        services, settle, measure = self.plan.guide
        result = {"services": services, "sender": {}, "played": {}}
        for timing in TIMINGS:
            options = "--multiplex", "--guide", services, "--bitrate", GUIDE_CEILING
            told, _ = self.programs.send(1, timing, settle, measure, *options)
            result["sender"][timing] = {
                "cpu": costs(told)["cpu"],
                "resident": told["resident"],
                "section_bytes": told["section_bytes"],
            }
            if self.plan.played[0]:
                result["played"][timing] = self.played_guide(timing)
            cpus = [one[timing]["cpu"] for _, one in report.guides({"guide": result})]
            print(f"guide, {timing}: {' and '.join(f'{cpu:.1f} %' for cpu in cpus)}", flush=True)
        return result

    def played_guide(self, timing):
        services, settle, measure = self.plan.guide
        with tempfile.TemporaryDirectory() as scratch:
            path = Path(scratch, "guide.json")
            path.write_text(json.dumps(guide.table_set(services)))
            files = EXAMPLES / "dvb-t.json", path
            told, capture = self.programs.play([(timing, files)], settle, measure, "--bitrate", GUIDE_CEILING)
        sections = capture.sections()
        return {
            **told["plays"][0],
            "section_bytes": limits.distinct_bytes(sections),
            "limits": limits.by_kind(sections),
        }

    def played(self):
        """The limits of table sets, all played with both timings at the same time."""
        paths, settle, measure = self.plan.played
        plays = [(timing, [path]) for path in paths if path.exists() for timing in TIMINGS]
        if not plays:
            return []
        told, capture = self.programs.play(plays, settle, measure)
        sections = capture.sections()
        results = {}
        for number, (timing, (path,)) in enumerate(plays):
            own = sections[sections["output"] == number]
            result = results.setdefault(path, {"name": path.name, "other_load": told["other_load"]})
            result[timing] = {**told["plays"][number], "limits": limits.by_kind(own)}
        print(f"played {len(results)} sets, others used {told['other_load']:.2f} processors", flush=True)
        return list(results.values())

    def intake(self, name, *options):
        """From the call of newPMT to the first packet of the program on the wire."""
        result = {"name": name}
        for timing in TIMINGS:
            told, capture = self.programs.intake(self.plan.samples, timing, *options)
            pmts = capture.sections()
            pmts = pmts[pmts["table_id"] == PMT_ID]
            programs, first = numpy.unique(pmts["extension"], return_index=True)  # of each program on its one PID
            delays = (pmts["begin"][first] - numpy.array(told["calls"])[programs - 1]) * MILLISECONDS
            p50, p99 = numpy.percentile(delays, [50, 99])
            print(f"intake, {name}, {timing}: {p50:.3f} ms, p99 {p99:.3f} ms", flush=True)
            result[timing] = {"samples": len(delays), "p50": p50, "p99": p99, "max": delays.max()}
        return result


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
    print("\n" + report.text(results, []))
    if arguments.quick:
        return
    arguments.out.mkdir(parents=True, exist_ok=True)
    (arguments.out / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    write_documents(results, arguments.out)


def write_documents(results, out):
    (out / "report.md").write_text(report.text(results, plots.names(results)))
    plots.write(results, out)
    report.replace_summary(ROOT / "README.md", results)


if __name__ == "__main__":
    main()
