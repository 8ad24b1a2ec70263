"""Tables of whatever kind: a capture is imported and played, and section for section what is received is the capture,
tables that have no kind of their own included."""

import functools
import json
import tempfile
import unittest
from collections import Counter, defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import NamedTuple

import captures
import mpegts
from mpegts import CAT_ID, EIT_IDS, NIT_ACTUAL_ID, PAT_ID, PMT_ID, SDT_ACTUAL_ID, SDT_OTHER_ID, TDT_ID, TOT_ID
from program import import_tables, record

SECONDS = 8
PERIOD = 1500  # ms, of all tables: each section comes several times
BITRATE = 20000  # kbit/s
PERIODS = (
    "pat pmt cat nit sdt_actual sdt_other eit_pf_actual eit_pf_other eit_schedule_actual eit_schedule_other".split()
)

BAT_ID, NIT_OTHER_ID, AIT_ID, RST_ID, DIT_ID, TSDT_ID = 0x4A, 0x41, 0x74, 0x71, 0x7E, 0x03
MGT_ID, VCT_ID, RRT_ID, ATSC_EIT_ID, ATSC_ETT_ID, STT_ID = 0xC7, 0xC8, 0xCA, 0xCB, 0xCC, 0xCD
ECM_IDS = (0x80, 0x81)
PRIVATE_ID, EMM_ID = 0x90, 0x82
PSIP_PID = 0x1FFB

# Made by the clock of the machine that plays them.
TIMES = (TDT_ID, TOT_ID, STT_ID)
# What a decoder reads of these has to agree; of all others every byte.
DECODED = (PAT_ID, CAT_ID, PMT_ID, NIT_ACTUAL_ID, SDT_ACTUAL_ID, SDT_OTHER_ID, *EIT_IDS)

# How many sections without a kind of their own each of them has, the latest of each.
OUTSIDE = {
    "outside.ts": 17,
    "dvb-t.ts": 0,
    "scrambled.ts": 1,
    "atsc.ts": 0,
    "dvb-table-updates.ts": 0,
    "dvb-t-si.ts": 0,
    "dvb-scrambled-service.ts": 0,
    "dvb-network-sections.bin": 4,
    "atsc-sections.bin": 18,
}


def short_section(table_id, payload):
    return bytes([table_id, 0x70 | len(payload) >> 8, len(payload) & 0xFF]) + payload


def descriptors(*entries):
    body = b"".join(bytes([tag, len(data)]) + data for tag, data in entries)
    return (0xF000 | len(body)).to_bytes(2, "big") + body


def network(table_id, number, version, *streams, part=0, last=0):
    """A section of a BAT or NIT; each has the name."""
    loop = b"".join((i).to_bytes(2, "big") + b"\x20\x85" + descriptors((0x41, b"\0\1\1")) for i in streams)
    body = descriptors((0x47, b"Bouquet")) + (0xF000 | len(loop)).to_bytes(2, "big") + loop
    section = bytearray(mpegts.build_section(table_id, number, version, body, part, last)[:-4])
    section[1] |= 0x40  # reserved_future_use
    return bytes(section) + mpegts.crc32(section).to_bytes(4, "big")


def outside():
    """A transport stream with all kinds of tables that have no kind of their own here, as {PID: sections}."""
    build = mpegts.build_section
    pmt = mpegts.build_pmt(1, 0, 0x1FFF, [(0x05, 0x300), (0x86, 0x301), (0x06, 0x302)])
    return {
        0x0000: [mpegts.build_pat(1, 0, [(1, 0x100)])],
        0x0100: [pmt],
        0x0001: [build(CAT_ID, 0xFFFF, 0, b"\x09\x04\x0b\x00\xe3\x03")],
        0x0002: [build(TSDT_ID, 0xFFFF, 0, b"\x05\x04TEST")],
        0x0010: [network(NIT_OTHER_ID, 7, 1, 1, 2), network(NIT_OTHER_ID, 8, 1, *range(40))],
        # The first version is replaced, and the second one is of two sections.
        0x0011: [
            network(BAT_ID, 500, 1, 1),
            network(BAT_ID, 500, 2, 1, 2, part=0, last=1),
            network(BAT_ID, 500, 2, 3, part=1, last=1),
            build(BAT_ID, 501, 0, b"not laid out as it should be"),
        ],
        # Only the latest counts of these two.
        0x0013: [short_section(RST_ID, b"\0\1\0\2\0\3\0\4\1"), short_section(RST_ID, b"\0\1\0\2\0\3\0\4\4")],
        0x001E: [short_section(DIT_ID, b"\x80")],
        0x0300: [build(AIT_ID, 1, 3, b"application"), short_section(PRIVATE_ID, b"one"), short_section(PRIVATE_ID, b"two")],
        0x0301: [short_section(0xFC, b"splice")],
        # Each is for other receivers.
        0x0303: [short_section(EMM_ID, b"for one"), short_section(EMM_ID, b"for another")],
        # Nothing says that there are sections.
        0x0555: [build(PRIVATE_ID, 9, 4, b"p" * 3000, part, 1) for part in (0, 1)],
        PSIP_PID: [build(RRT_ID, 0xFF01, 2, b"ratings")],
    }


def write_outside(directory):
    path = Path(directory) / "outside.ts"
    counters, data = Counter(), b""
    for _ in range(2):  # what comes again is there once
        for pid, sections in outside().items():
            for section in sections:
                packets = mpegts.build_packets(pid, section, counters[pid])
                counters[pid] += len(packets) // mpegts.PACKET_SIZE
                data += packets
    path.write_bytes(data)
    return path


def subtable_of(section):
    """What tells one subtable of a PID from another."""
    table_id = section[0]
    if not section[1] & 0x80:
        # Those that tell of a moment follow one another, others stand side by side.
        return table_id, b"" if table_id in (RST_ID, DIT_ID, 0xFC, *ECM_IDS) else section
    if table_id in (PAT_ID, CAT_ID, NIT_ACTUAL_ID, SDT_ACTUAL_ID):
        return table_id, b""
    if table_id == ATSC_EIT_ID:
        return table_id, section  # several tables of a file of sections have the same identifiers, on other PIDs
    identifiers = {SDT_OTHER_ID: 2, ATSC_ETT_ID: 5, **dict.fromkeys(EIT_IDS, 4)}.get(table_id, 0)
    return table_id, section[3:5] + section[8 : 8 + identifiers]


def content_of(section):
    return mpegts.decode(section) if section[0] in DECODED else section


def latest(sections):
    """The last version of each subtable, as {subtable: {section_number: content}}."""
    tables, versions = defaultdict(dict), {}
    for section in sections:
        subtable, has_syntax = subtable_of(section), section[1] & 0x80
        if section[0] in TIMES or (has_syntax and not mpegts.crc_holds(section)):
            continue
        version = section[5] & 0x3F if has_syntax else None
        if versions.setdefault(subtable, version) != version:
            tables[subtable].clear()
        versions[subtable] = version
        tables[subtable][section[6] if has_syntax else 0] = content_of(section)
    return dict(tables)


class Replay(NamedTuple):
    name: str
    original: dict  # PID, or None in a file of sections: sections in the order in which they came
    recording: object
    status: int
    story: str

    def sent(self, pid):
        pids = self.recording.pids() if pid is None else [pid]
        return [section for each in sorted(pids) for section in self.recording.sections(each)]


def sections_in(capture):
    data = capture.read_bytes()
    if capture.suffix == ".bin":
        return {None: mpegts.split_sections(data)}
    packets = mpegts.split_packets(data)
    pids = {packet.pid for packet in packets} - {mpegts.NULL_PID}
    return {pid: mpegts.sections_of(packets, pid) for pid in pids}


def replay(capture, directory, *options):
    tables = import_tables(capture, directory)
    table_set = json.loads(tables.read_text())
    table_set["periods"] = dict.fromkeys(PERIODS, PERIOD)
    for entry in table_set.get("sections", []):
        entry["period"] = PERIOD
    tables.write_text(json.dumps(table_set))
    played = record([tables], "--bitrate", BITRATE, "--duration", SECONDS, *options)
    return Replay(capture.name, sections_in(capture), played.recording, played.status, played.story)


def setUpModule():
    global REPLAYS, CLASSIC
    with tempfile.TemporaryDirectory() as directory, tempfile.TemporaryDirectory() as other, ThreadPoolExecutor(
        max_workers=10
    ) as pool:
        made = write_outside(directory)
        broadcast = [name for name in OUTSIDE if captures.broadcast(name)]
        files = [made, *map(captures.own, ("dvb-t.ts", "scrambled.ts", "atsc.ts")), *captures.broadcast(*broadcast)]
        running = [pool.submit(replay, file, directory) for file in files]
        classic = pool.submit(replay, made, other, "--timing", "classic")
        REPLAYS = [future.result() for future in running]
        CLASSIC = classic.result()


def each_replay(test):
    @functools.wraps(test)
    def of_all(self):
        for replay in REPLAYS:
            with self.subTest(replay.name):
                test(self, replay)

    return of_all


def without_place(pmts, programs):
    """A PMT of a file of sections has no PID unless the PAT names its program."""
    return {key: table for key, table in pmts.items() if key[0] != PMT_ID or int.from_bytes(key[1], "big") in programs}


class Replays(unittest.TestCase):
    @each_replay
    def test_they_play_to_the_end(self, replay):
        self.assertEqual(replay.status, 0, replay.story)

    @each_replay
    def test_section_for_section_they_are_the_capture(self, replay):
        for pid, sections in replay.original.items():
            expected, sent = latest(sections), latest(replay.sent(pid))
            if pid is None:
                programs = {number for key in expected if key[0] == PAT_ID for part in expected[key].values()
                            for number, _ in part.body}
                expected = without_place(expected, programs)
            if any(section[0] in ECM_IDS for section in sections):  # the latest of a PID, whichever key it is of
                self.assertEqual(len(sent), 1)
                expected = {key: table for key, table in expected.items() if key in sent}
            with self.subTest(pid=pid):
                self.assertEqual(sorted(sent), sorted(expected))
                for subtable, table in expected.items():
                    self.assertEqual(sent[subtable], table, subtable)

    @each_replay
    def test_tables_outside_the_system_are_as_many_as_they_are_known_for(self, replay):
        known = (*DECODED, *TIMES, *ECM_IDS, MGT_ID, VCT_ID)
        found = 0
        for pid in replay.original:
            tables = latest(replay.sent(pid))
            found += sum(len(table) for key, table in tables.items() if key[0] not in known)
        self.assertEqual(found, OUTSIDE[replay.name])

    @each_replay
    def test_no_pid_has_what_the_capture_has_not(self, replay):
        if None not in replay.original:
            with_sections = {pid for pid, sections in replay.original.items() if sections}
            self.assertEqual(replay.recording.pids() - {mpegts.TIME_PID}, with_sections - {mpegts.TIME_PID})

    @each_replay
    def test_counters_never_break(self, replay):
        for pid in replay.recording.pids():
            self.assertEqual(mpegts.counter_breaks(replay.recording.packets(pid)), [], pid)

    @each_replay
    def test_no_section_is_broken(self, replay):
        for pid in replay.recording.pids():
            for section in replay.recording.sections(pid):
                if section[1] & 0x80:
                    self.assertTrue(mpegts.crc_holds(section), pid)


class Classic(unittest.TestCase):
    def test_tables_that_have_their_pid_alone_are_sent(self):
        for pid in (0x0002, 0x0011, 0x0300, 0x0555, PSIP_PID):
            self.assertEqual(latest(CLASSIC.sent(pid)), latest(CLASSIC.original[pid]), pid)

    def test_counters_never_break(self):
        for pid in CLASSIC.recording.pids():
            self.assertEqual(mpegts.counter_breaks(CLASSIC.recording.packets(pid)), [], pid)


if __name__ == "__main__":
    unittest.main()
