"""Signalling from the air: a capture is imported, played, and must come out of the socket as it was in the capture."""

import functools
import tempfile
import unittest
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

import captures
import decoders
import mpegts
from mpegts import CAT_ID, CAT_PID, NIT_ACTUAL_ID, NIT_PID, PAT_ID, PAT_PID
from program import Played, import_tables, record

CA_DESCRIPTOR = 0x09
TABLES = {PAT_PID: PAT_ID, CAT_PID: CAT_ID, NIT_PID: NIT_ACTUAL_ID}

# Which tables each of them has.
EXPECTED = {
    "dvb-t.ts": {PAT_PID, NIT_PID},
    "scrambled.ts": {PAT_PID, CAT_PID, NIT_PID},
    "atsc.ts": {PAT_PID},
    "dvb-table-updates.ts": {PAT_PID, CAT_PID, NIT_PID},
    "dvb-t-si.ts": {PAT_PID, NIT_PID},
    "dvb-scrambled-service.ts": {PAT_PID},
    "dvb-network-sections.bin": {PAT_PID, CAT_PID},
    "atsc-sections.bin": {PAT_PID},
}


CAPTURES = [
    *map(captures.own, ("dvb-t.ts", "scrambled.ts", "atsc.ts")),
    *captures.broadcast(
        "dvb-table-updates.ts",
        "dvb-t-si.ts",
        "dvb-scrambled-service.ts",
        "dvb-network-sections.bin",
        "atsc-sections.bin",
    ),
]


class Replay(NamedTuple):
    capture: Path
    way: str
    played: Played


def original_tables(capture):
    """The last complete version of each table of a capture, as {PID: sections}."""
    data = capture.read_bytes()
    if capture.suffix == ".ts":
        packets = mpegts.split_packets(data)
        sections = {pid: mpegts.sections_of(packets, pid) for pid in TABLES}
    else:
        sections = dict.fromkeys(TABLES, mpegts.split_sections(data))
    tables = {pid: mpegts.last_complete_table(sections[pid], table_id) for pid, table_id in TABLES.items()}
    return {pid: table for pid, table in tables.items() if table}


def replay(capture, way, directory):
    file = import_tables(capture, directory) if way == "imported" else capture
    return Replay(capture, way, record([file], "--duration", 3))


def setUpModule():
    global REPLAYS
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor(max_workers=2 * len(CAPTURES)) as pool:
        running = [
            pool.submit(replay, capture, way, directory)
            for capture in CAPTURES
            for way in ("imported", "played as it is")
        ]
        REPLAYS = [future.result() for future in running]


def each_replay(test):
    """Decorates a test of one replay, given it and the tables of its capture, so that it is made of all of them."""

    @functools.wraps(test)
    def of_all(self):
        for replay in REPLAYS:
            with self.subTest(replay.capture.name, way=replay.way):
                test(self, replay.played, original_tables(replay.capture))

    return of_all


class Captures(unittest.TestCase):
    def test_captures_hold_the_tables_that_they_are_known_for(self):
        for capture in CAPTURES:
            self.assertEqual(set(original_tables(capture)), EXPECTED[capture.name], capture)

    @each_replay
    def test_they_play_to_the_end(self, played, _):
        self.assertEqual(played.status, 0, played.story)

    @each_replay
    def test_exactly_the_tables_of_the_capture_are_sent(self, played, original):
        self.assertEqual(played.recording.pids() & set(TABLES), set(original), played.story)

    @each_replay
    def test_every_section_on_the_wire_is_whole_and_its_crc_is_right(self, played, original):
        for pid in original:
            sections = played.recording.sections(pid)
            started = len(played.recording.starts(pid))
            self.assertIn(len(sections), (started, started - 1))  # the last may be on its way
            self.assertTrue(all(map(mpegts.crc_holds, sections)))

    @each_replay
    def test_sections_say_what_the_last_complete_version_in_the_capture_said(self, played, original):
        for pid, table in original.items():
            contents = {mpegts.decode(section) for section in played.recording.sections(pid)}
            self.assertEqual(sorted(contents), table)


class OtherDecoders(unittest.TestCase):
    """What tshark and ffprobe read from the socket is what the capture holds."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.file = Path(directory.name) / "received.ts"

    @each_replay
    def test_tshark_has_no_complaint_and_sees_the_same_tables(self, played, original):
        packets = decoders.whole_tables(played.recording.packets())
        seen = decoders.tshark(decoders.write(packets, self.file))
        self.assertEqual(seen.complaints, set())
        self.assertEqual(seen.crcs, {decoders.CRC_GOOD})
        expected = {(pid, part.extension, part.version, as_listed(part)) for pid in original for part in original[pid]}
        self.assertEqual(seen.tables, expected)

    @each_replay
    def test_ffprobe_finds_the_programs_where_the_pat_points(self, played, original):
        programs = {number: pid for part in original[PAT_PID] for number, pid in part.body if number != 0}
        heard = played.recording.pids()
        missing = {number: pid for number, pid in programs.items() if pid not in heard}
        packets = played.recording.packets() + program_maps(missing)
        found = decoders.ffprobe_programs(decoders.write(packets, self.file))
        found.pop(0, None)  # stands for the services of the SDT that the PAT does not have
        self.assertEqual(found, programs)


def as_listed(part):
    """The entries of a section as a decoder lists them."""
    if part.table_id == CAT_ID:
        numbers = [(data[:2], data[2:4]) for tag, data in part.body if tag == CA_DESCRIPTOR]
        return tuple((int.from_bytes(system, "big"), int.from_bytes(pid, "big") & 0x1FFF) for system, pid in numbers)
    if part.table_id == NIT_ACTUAL_ID:
        return tuple((stream, network) for stream, network, _ in part.body[1])
    return part.body


def program_maps(programs):
    """A PMT with one stream for each program that the capture has none of; ffprobe passes over one without streams."""
    packets, counters = [], Counter()
    for number, pid in programs.items():
        pmt = mpegts.build_pmt(number, 0, 0x1FFF, [(0x1B, 0x1E00 | number & 0xFF)])
        packets += mpegts.split_packets(mpegts.build_packets(pid, pmt, counters[pid] % 16))
        counters[pid] += 1
    return packets


if __name__ == "__main__":
    unittest.main()
