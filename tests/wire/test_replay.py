"""Signalling from the air with all its services: imported, played with classic timing for 40 seconds, and held against
the capture."""

import re
import statistics
import tempfile
import unicodedata
import unittest
from collections import Counter, defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import captures
import decoders
import mpegts
from mpegts import EIT_IDS, EIT_PID, PAT_ID, PAT_PID, PMT_ID, SDT_ACTUAL_ID, SDT_OTHER_ID, SDT_PID
from program import import_tables, record

CAPTURES = [captures.own("dvb-t.ts"), *captures.broadcast("dvb-t-si.ts", "dvb-network-sections.bin")]
SECONDS = 40
BITRATE = 5000  # kbit/s
SERVICE_DESCRIPTOR = 0x48

# A mean over the recording may be off by so much of a period. The sections of our guide are long, and while one is on
# its way the others of its PID wait.
TOLERANCE = {"dvb-t.ts": 0.05}
TOLERANCE_OF_OTHERS = 0.01
PERIODS = {PMT_ID: 0.2, SDT_ACTUAL_ID: 0.5, SDT_OTHER_ID: 10, 0x4E: 2, 0x4F: 10, 0x50: 30}


class Replay:
    """A capture, its import and what came out of the socket when that was played."""

    def __init__(self, capture, directory):
        self.capture = capture
        options = ("--timing", "classic", "--bitrate", BITRATE, "--duration", SECONDS)
        self.played = record([import_tables(capture, directory)], *options)
        self.recording = self.played.recording
        self.pmt_pids = {pid for _, pid in programs_of(self.recording.sections(PAT_PID)).items()}

    def service_pids(self):
        return {SDT_PID, EIT_PID} | self.pmt_pids

    def original(self):
        """The last version of each subtable in the capture, as {subtable: set of sections}."""
        data = self.capture.read_bytes()
        if self.capture.suffix == ".bin":
            tables = last_versions(mpegts.split_sections(data))
            # Without PIDs, the PAT alone tells where a PMT belongs.
            programs = programs_of(section for section in mpegts.split_sections(data) if section[0] == PAT_ID)
            return {key: table for key, table in tables.items() if key[0] != PMT_ID or key[1] in programs}
        packets = mpegts.split_packets(data)
        return last_versions(section for pid in self.service_pids() for section in mpegts.sections_of(packets, pid))

    def sent(self):
        return last_versions(
            section for pid in self.service_pids() for section in self.recording.sections(pid)
        )


def programs_of(pat_sections):
    contents = [mpegts.decode(section) for section in pat_sections]
    return {number: pid for content in contents for number, pid in content.body if number != 0}


def subtable_of(content):
    """What tells one subtable from another, EN 300 468 clause 3.1."""
    if content.table_id in (SDT_ACTUAL_ID, SDT_OTHER_ID):
        return content.table_id, content.extension, content.body[0]
    if content.table_id in EIT_IDS:
        return content.table_id, content.extension, content.body[:2]
    return content.table_id, content.extension


def last_versions(sections):
    tables = {}
    for section in sections:
        if section[0] not in (PMT_ID, SDT_ACTUAL_ID, SDT_OTHER_ID, *EIT_IDS) or not mpegts.crc_holds(section):
            continue
        content = mpegts.decode(section)
        known = tables.setdefault(subtable_of(content), set())
        if any(other.version != content.version for other in known):
            known.clear()
        known.add(content)
    return tables


def setUpModule():
    global REPLAYS
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor() as pool:
        REPLAYS = list(pool.map(lambda capture: Replay(capture, directory), CAPTURES))


class Sections(unittest.TestCase):
    def test_they_play_to_the_end(self):
        for replay in REPLAYS:
            self.assertEqual(replay.played.status, 0, replay.played.story)

    def test_each_service_table_of_the_capture_is_on_air_as_it_was(self):
        for replay in REPLAYS:
            original, sent = replay.original(), replay.sent()
            self.assertGreater(len(original), 30)
            self.assertEqual(set(sent), set(original))
            for subtable, sections in original.items():
                with self.subTest(replay.capture.name, subtable=subtable):
                    self.assertEqual(sorted(sent[subtable]), sorted(sections))

    def test_counters_never_break(self):
        for replay in REPLAYS:
            for pid in replay.recording.pids():
                with self.subTest(replay.capture.name, pid=pid):
                    self.assertEqual(mpegts.counter_breaks(replay.recording.packets(pid)), [])

    def test_every_section_is_whole(self):
        for replay in REPLAYS:
            for pid in replay.service_pids():
                self.assertTrue(all(map(mpegts.crc_holds, replay.recording.sections(pid))))


class Periods(unittest.TestCase):
    def test_each_kind_of_table_keeps_its_period_on_average(self):
        for replay in REPLAYS:
            tolerance = TOLERANCE.get(replay.capture.name, TOLERANCE_OF_OTHERS)
            for table_id, intervals in self.intervals(replay).items():
                with self.subTest(replay.capture.name, table_id=table_id):
                    period = PERIODS[table_id]
                    self.assertAlmostEqual(statistics.fmean(intervals), period, delta=tolerance * period)

    @staticmethod
    def intervals(replay):
        """The distances of the first sections of each subtable, by table_id."""
        intervals = defaultdict(list)
        for pid in replay.service_pids():
            starts = defaultdict(list)
            for time, section in replay.recording.timed_sections(pid):
                if section[6] == 0:
                    starts[subtable_of(mpegts.decode(section))].append(time)
            first = next(iter(starts), None)  # the first of many also takes the slots that nothing is due for
            kinds = Counter(table_id for table_id, *_ in starts)
            for subtable, times in starts.items():
                if subtable != first or kinds[subtable[0]] == 1:
                    intervals[subtable[0]] += [after - before for before, after in zip(times, times[1:])]
        return intervals


class OtherDecoders(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.file = Path(directory.name) / "received.ts"

    def test_tshark_reads_every_section_without_a_complaint(self):
        for replay in REPLAYS:
            with self.subTest(replay.capture.name):
                packets = decoders.whole_tables(replay.recording.packets())
                complaints = decoders.tshark_complaints(decoders.write(packets, self.file))
                self.assertEqual(complaints, {})

    def test_ffprobe_lists_the_services_by_name(self):
        for replay in REPLAYS:
            with self.subTest(replay.capture.name):
                names = decoders.ffprobe_services(decoders.write(replay.recording.packets(), self.file))
                self.assertEqual(names, service_names(replay))


def service_names(replay):
    """{service_id: name} of the services that the SDT actual of a recording describes and its PAT has."""
    programs = programs_of(replay.recording.sections(PAT_PID))
    names = {}
    for section in replay.recording.sections(SDT_PID):
        if section[0] == SDT_ACTUAL_ID:
            for service_id, _, _, descriptors in mpegts.decode(section).body[1]:
                names |= {service_id: service_name(data) for tag, data in descriptors if tag == SERVICE_DESCRIPTOR}
    return {service_id: name for service_id, name in names.items() if service_id in programs}


def service_name(data):
    """EN 300 468 clause 6.2.33; the names in these captures are plain Latin letters, with an acute accent at most, or
    ISO/IEC 8859-9."""
    provider_size = data[1]
    name = data[3 + provider_size : 3 + provider_size + data[2 + provider_size]]
    if name[:1] == b"\x05":
        return name[1:].decode("iso8859-9")
    accented = re.sub(rb"\xc2(.)", b"\\1\xcc\x81", name)  # the accent stands before its letter, Unicode's behind it
    return unicodedata.normalize("NFC", accented.decode())


if __name__ == "__main__":
    unittest.main()
