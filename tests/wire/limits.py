"""Holds what was recorded against the limits of EN 300 468 clause 5.1.4.1, TR 101 290 and ATSC A/65.

Each judge returns one line for each time that a limit was not held. Times are in seconds. `late` is how late the
machine itself may be; Sleeper measures it.
"""

import itertools
import json
import os
import subprocess
import sys
import time
from collections import defaultdict
from typing import NamedTuple

import mpegts
from mpegts import EIT_IDS, NULL_PID, PACKET_SIZE, SDT_ACTUAL_ID, SDT_OTHER_ID, TDT_ID, TOT_ID
from psip import CVCT_ID, GPS_EPOCH, MGT_ID, STT_ID, TVCT_ID

GAP = 0.025
SLOT = PACKET_SIZE * 8 / 1e6  # of a packet at 1 Mbit/s
UTC_WINDOW = 0.1

CAT_ID, PMT_ID, PAT_ID = 0x01, 0x02, 0x00
EIT_PF_ACTUAL_ID, EIT_PF_OTHER_ID = 0x4E, 0x4F
SCHEDULE_IDS = range(0x50, 0x70)
TIME_IDS = (TDT_ID, TOT_ID, STT_ID)

PERIODS = {
    PAT_ID: 0.2,
    CAT_ID: 0.2,
    PMT_ID: 0.2,
    0x40: 0.5,
    0x41: 10,
    0x4A: 10,
    SDT_ACTUAL_ID: 0.5,
    SDT_OTHER_ID: 10,
    EIT_PF_ACTUAL_ID: 2,
    EIT_PF_OTHER_ID: 10,
    **dict.fromkeys(range(0x50, 0x60), 30),
    **dict.fromkeys(range(0x60, 0x70), 60),
    TDT_ID: 1,
    TOT_ID: 1,
    0x80: 0.1,
    0x81: 0.1,
    MGT_ID: 0.15,
    TVCT_ID: 0.4,
    CVCT_ID: 0.4,
    STT_ID: 1,
}


class Table(NamedTuple):
    pid: int
    table_id: int
    extension: int = 0
    stream: bytes = b""  # of SDTs and EITs: the bytes that tell their streams apart

    def __str__(self):
        return f"PID {self.pid:#06x} table {self.table_id:#04x}/{self.extension:#x}{'/' * bool(self.stream)}{self.stream.hex()}"


class Section(NamedTuple):
    """One that came in whole. `begin` and `end` are when its first and its last packet came."""

    table: Table
    number: int
    begin: float
    end: float
    packets: int
    content: bytes


def _table_of(pid, section):
    table_id = section[0]
    if not section[1] & 0x80:
        return Table(pid, table_id)
    extension = 0 if table_id == CAT_ID else int.from_bytes(section[3:5], "big")
    size = 4 if table_id in EIT_IDS else 2 if table_id in (SDT_ACTUAL_ID, SDT_OTHER_ID) else 0
    return Table(pid, table_id, extension, section[8 : 8 + size])


def _has_crc(section):
    return section[1] & 0x80 or section[0] == TOT_ID


def by_pid(timed_packets):
    """(time, packet) pairs of each PID, without null packets."""
    pids = defaultdict(list)
    for timed in timed_packets:
        if timed[1].pid != NULL_PID:
            pids[timed[1].pid].append(timed)
    return pids


def sections_of(timed_packets):
    """All sections, in the order of their ends."""
    found = []
    for pid, timed in by_pid(timed_packets).items():
        collector, begin, count = mpegts.SectionCollector(), None, 0
        for time_, packet in timed:
            if packet.unit_start:
                begin, count = time_, 0
            count += 1
            for content in collector.feed(packet):
                number = content[6] if content[1] & 0x80 else 0
                found.append(Section(_table_of(pid, content), number, begin, time_, count, content))
    return sorted(found, key=lambda section: section.end)


def _grouped(sections, key):
    groups = defaultdict(list)
    for section in sections:
        groups[key(section)].append(section)
    return groups


def _each_section(sections):
    return _grouped(sections, lambda section: (section.table, section.number))


def _ms(seconds):
    return f"{1000 * seconds:.3f} ms"


# What is sent


def broken_counters(timed_packets):
    return [
        f"PID {pid:#06x}: counter {after} behind {before}"
        for pid, timed in by_pid(timed_packets).items()
        for _, before, after in mpegts.counter_breaks([packet for _, packet in timed])
    ]


def broken_sections(timed_packets, sections):
    """Sections that are cut or interleaved with others, or whose CRC is wrong; the last of a PID may be under way."""
    faults = [str(section.table) + ": wrong CRC" for section in sections
              if _has_crc(section.content) and not mpegts.crc_holds(section.content)]
    whole = _grouped(sections, lambda section: section.table.pid)
    for pid, timed in by_pid(timed_packets).items():
        begins = [time_ for time_, packet in timed if packet.unit_start]
        if begins and not (whole[pid] and whole[pid][-1].begin == begins[-1]):
            begins.pop()
        if len(begins) != len(whole[pid]):
            faults.append(f"PID {pid:#06x}: {len(begins)} sections begin, {len(whole[pid])} are whole")
    return faults


def missing_sections(sections):
    """Of tables that are there at all. Schedules have gaps in their numbers."""
    faults = []
    for table, found in _grouped(sections, lambda section: section.table).items():
        if table.table_id in SCHEDULE_IDS or not found[0].content[1] & 0x80:
            continue
        missing = set(range(found[0].content[7] + 1)) - {section.number for section in found}
        faults += [f"{table}: section {number} never came" for number in sorted(missing)]
    return faults


# When it is sent


def late_arrivals(sections, end, late, factor=1):
    """Sections that came later than a period after they came before, or have not come since, at `end`."""
    faults = []
    for (table, number), found in _each_section(sections).items():
        limit = factor * PERIODS[table.table_id] + late + (UTC_WINDOW if table.table_id in TIME_IDS else 0)
        arrivals = [section.end for section in found] + [end]
        faults += [
            f"{table} section {number}: {_ms(after - before)} of {_ms(limit - late)} at {before:.6f}"
            for before, after in zip(arrivals, arrivals[1:])
            if after - before > limit
        ]
    return faults


def short_gaps(sections, late):
    faults = []
    shared = _grouped(sections, lambda section: section.table[:3])
    for found in shared.values():
        faults += [
            f"{after.table}: begins {_ms(after.begin - before.end)} behind the last section"
            for before, after in zip(found, found[1:])
            if after.begin - before.end < GAP - late
        ]
    return faults


def short_means(sections):
    """Sections that came more often than they need to."""
    faults = []
    for (table, number), found in _each_section(sections).items():
        if len(found) <= 10:
            continue
        mean = (found[-1].end - found[0].end) / (len(found) - 1)
        if mean < 0.9 * PERIODS[table.table_id]:
            faults.append(f"{table} section {number}: every {_ms(mean)}")
    return faults


def wrong_seconds(sections, late):
    """Times that left at another time, by the clock that stamps the datagrams."""
    faults = []
    for section in sections:
        if section.table.table_id in TIME_IDS:
            behind = section.begin - carried_second(section.content)
            if not 0 <= behind <= UTC_WINDOW + late:
                faults.append(f"{section.table}: {_ms(behind)} behind the second that it carries")
    return faults


def carried_second(section):
    """Since 1970."""
    if section[0] == STT_ID:
        return int.from_bytes(section[9:13], "big") + GPS_EPOCH - section[13]
    day, clock = int.from_bytes(section[3:5], "big"), section[5:8].hex()
    return (day - 40587) * 86400 + int(clock[:2]) * 3600 + int(clock[2:4]) * 60 + int(clock[4:])


# How fast it is sent


def required(sections):
    """bit/s that the tables ask for, by PID."""
    rates = defaultdict(float)
    for (table, _), found in _each_section(sections).items():
        rates[table.pid] += found[0].packets * PACKET_SIZE * 8 / PERIODS[table.table_id]
    return rates


def crowded_packets(datagrams, sections, slot, late):
    """Three packets of a slow PID within less time than they take at 1 Mbit/s. Those of one datagram are taken to
    stand one slot of the ceiling apart, those of several as far as these, or as their slots where that is more."""
    rates, faults, places = required(sections), [], defaultdict(list)
    for datagram in datagrams:
        for i, packet in enumerate(mpegts.split_packets(datagram.payload)):
            places[packet.pid].append((datagram.time, i * slot))
    for pid, sent in places.items():
        if pid == NULL_PID or rates[pid] >= 1e6:
            continue
        for (begin, first_slot), (end, last_slot) in zip(sent, sent[2:]):
            span = end - begin + max(0, last_slot - first_slot)
            if span < 2 * SLOT - late:
                faults.append(f"PID {pid:#06x}: three packets within {_ms(span)} at {begin:.6f}")
    return faults


def excesses(datagrams, kbps, late):
    """Seconds in which more left than the ceiling allows. What is `late` falls into the next second."""
    faults, begin, bits = [], 0, 0
    allowed = 1000 * kbps * (1 + late)
    for datagram in datagrams:
        bits += 8 * len(datagram.payload)
        while datagrams[begin].time <= datagram.time - 1:
            bits -= 8 * len(datagrams[begin].payload)
            begin += 1
        if bits > allowed:
            faults.append(f"{bits} bits in the second up to {datagram.time:.6f}")
    return faults


def factors(sections):
    """By how much the mean interval of each section is longer than its period."""
    return {
        (table, number): (found[-1].end - found[0].end) / (len(found) - 1) / PERIODS[table.table_id]
        for (table, number), found in _each_section(sections).items()
        if len(found) > 1
    }


# The machine


class Sleeper:
    """A process that wakes up every two milliseconds, above all others where it may, and writes down how late."""

    def __init__(self):
        self._process = subprocess.Popen([sys.executable, "-B", __file__], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def stop(self):
        """The longest lateness in seconds since construction."""
        output, _ = self._process.communicate(b"\n", timeout=30)
        return json.loads(output)

    @staticmethod
    def run():
        try:
            os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(97))
        except PermissionError:
            pass
        os.set_blocking(sys.stdin.fileno(), False)
        longest, due = 0, time.monotonic()
        for count in itertools.count():
            due = max(due + 0.002, time.monotonic())
            time.sleep(max(0, due - time.monotonic()))
            longest = max(longest, time.monotonic() - due)
            if count % 50 == 0 and sys.stdin.buffer.read(1) is not None:
                break
        print(json.dumps(longest))


if __name__ == "__main__":
    Sleeper.run()
