"""The timing of the standards on the wire, by the kernel's clock: three multiplexes at once, and beside them one that
asks for more than its ceiling has room for."""

import json
import re
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

import captures
import limits
from program import import_tables, record

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
STANDARDS = ("--timing", "standards")
LOADING = 3  # seconds until all tables are on air, three programs loading at once
SECONDS = 40
KBPS = 1024
OVERLOAD = 1.5
OVERLOAD_SECONDS = 60
STATED = re.compile(r"needs ([\d.]+) of ([\d.]+) kbit/s: all periods are ([\d.]+) times as long")

# What a machine without load is allowed too: the kernel stamps a datagram a little after it is sent.
STAMPING = 0.0005


class Output(NamedTuple):
    """One multiplex as it was received."""

    datagrams: list
    packets: list
    sections: list
    story: str

    @classmethod
    def of(cls, played):
        if played.status != 0:
            raise AssertionError(played.story)
        first = played.recording.datagrams[0].time
        datagrams = [datagram for datagram in played.recording.datagrams if datagram.time > first + LOADING]
        packets = [(time, packet) for time, packet in played.recording.timed_packets() if time > first + LOADING]
        return cls(datagrams, packets, limits.sections_of(packets), played.story)


def play(file, seconds, kbps):
    return Output.of(record([file], *STANDARDS, "--duration", seconds, "--bitrate", kbps))


def third_multiplex(directory):
    """From the air where there is something from the air."""
    capture = (captures.broadcast("dvb-network-sections.bin") or [captures.own("dvb-t.ts")])[0]
    return import_tables(capture, directory)


class Overload(NamedTuple):
    needed: float  # kbit/s
    kbps: int  # of the ceiling
    output: Output


def play_too_much(directory):
    """What repeats within two seconds, so that a minute tells its mean, under two thirds of the ceiling it needs."""
    tables = json.loads((EXAMPLES / "dvb-t.json").read_text())
    file = Path(directory) / "few.json"
    file.write_text(json.dumps({kind: tables[kind] for kind in ("pat", "nit", "pmts", "sdt_actual", "eit_pf")}))
    needed = sum(limits.required(play(file, 5, KBPS).sections).values()) / 1000
    kbps = round(needed / OVERLOAD)
    return Overload(needed, kbps, play(file, OVERLOAD_SECONDS, kbps))


def setUpModule():
    global OUTPUTS, OVERLOADED, LATE
    sleeper = limits.Sleeper()
    try:
        with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor() as pool:
            files = {
                "ten services": EXAMPLES / "dvb-t.json",
                "ATSC": EXAMPLES / "atsc.json",
                "a capture": third_multiplex(directory),
            }
            overload = pool.submit(play_too_much, directory)
            running = {name: pool.submit(play, file, SECONDS, KBPS) for name, file in files.items()}
            OUTPUTS = {name: future.result() for name, future in running.items()}
            OVERLOADED = overload.result()
    finally:
        LATE = sleeper.stop() + STAMPING
    print(f"this machine woke up {1000 * LATE:.3f} ms late, which is allowed")


def few(faults):
    return f"{len(faults)} faults, {1000 * LATE:.3f} ms allowed\n" + "\n".join(faults[:10])


class EveryOutput(unittest.TestCase):
    def hold(self, judge):
        for name, output in OUTPUTS.items():
            with self.subTest(name):
                faults = judge(output)
                self.assertEqual(len(faults), 0, few(faults))

    def test_all_of_it_is_there(self):
        self.hold(lambda output: limits.missing_sections(output.sections))
        for output in OUTPUTS.values():
            self.assertGreater(len(output.sections), 5 * SECONDS)

    def test_counters_never_break(self):
        self.hold(lambda output: limits.broken_counters(output.packets))

    def test_sections_are_whole(self):
        self.hold(lambda output: limits.broken_sections(output.packets, output.sections))

    def test_no_section_comes_later_than_its_period(self):
        self.hold(lambda output: limits.late_arrivals(output.sections, output.datagrams[-1].time, LATE))

    def test_no_section_comes_too_often(self):
        self.hold(lambda output: limits.short_means(output.sections))

    def test_25_ms_are_between_sections(self):
        self.hold(lambda output: limits.short_gaps(output.sections, LATE))

    def test_a_slow_pid_leaves_slowly(self):
        slot = 1.504 / KBPS
        self.hold(lambda output: limits.crowded_packets(output.datagrams, output.sections, slot, LATE))

    def test_no_second_is_above_the_ceiling(self):
        self.hold(lambda output: limits.excesses(output.datagrams, KBPS, LATE))

    def test_times_leave_at_their_second(self):
        self.hold(lambda output: limits.wrong_seconds(output.sections, LATE))


class TooMuch(unittest.TestCase):
    def stated(self):
        found = STATED.search(OVERLOADED.output.story)
        self.assertTrue(found, OVERLOADED.output.story[-1000:])
        return tuple(float(number) for number in found.groups())

    def test_play_says_in_one_sentence_what_is_needed(self):
        needed, ceiling, factor = self.stated()
        self.assertAlmostEqual(needed, OVERLOADED.needed, delta=0.02 * OVERLOADED.needed)
        self.assertEqual(round(ceiling), OVERLOADED.kbps)
        self.assertAlmostEqual(factor, OVERLOAD, delta=0.05 * OVERLOAD)

    def test_every_period_is_as_much_longer_as_is_stated(self):
        _, _, factor = self.stated()
        for (table, number), measured in limits.factors(OVERLOADED.output.sections).items():
            with self.subTest(f"{table} section {number}"):
                self.assertAlmostEqual(measured, factor, delta=0.02 * factor)

    def test_nothing_is_starved(self):
        _, _, factor = self.stated()
        output = OVERLOADED.output
        self.assertEqual(limits.missing_sections(output.sections), [])
        faults = limits.late_arrivals(output.sections, output.datagrams[-1].time, LATE, 2.5 * factor)
        self.assertEqual(len(faults), 0, few(faults))

    def test_the_ceiling_holds(self):
        faults = limits.excesses(OVERLOADED.output.datagrams, OVERLOADED.kbps, LATE)
        self.assertEqual(len(faults), 0, few(faults))


if __name__ == "__main__":
    unittest.main()
