"""ATSC signalling from the air: imported, played with classic timing for a minute, and held against the capture and
the clock."""

import functools
import math
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import captures
import decoders
import gstreamer
import mpegts
import psip
from program import import_tables, record
from psip import MGT_ID, PSIP_PID, STT_ID, TVCT_ID
from recording import mean_interval

CAPTURES = [captures.own("atsc.ts"), *captures.broadcast("atsc-sections.bin")]
SECONDS = 60
PERIODS = {MGT_ID: 0.15, TVCT_ID: 0.4, STT_ID: 1.0}
LARGEST_AGE = 2  # seconds


class Replay:
    """A capture and what came out of the socket when its import was played."""

    def __init__(self, capture, directory):
        self.name = capture.name
        self.original = by_table_id(sections_in(capture))
        self.played = record([import_tables(capture, directory)], "--timing", "classic", "--duration", SECONDS)
        self.packets = self.played.recording.packets(PSIP_PID)
        self.timed = self.played.recording.timed_sections(PSIP_PID)

    def only(self, table_id):
        """The one section that a table has in the capture."""
        (section,) = self.original[table_id]
        return section


def setUpModule():
    global REPLAYS
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor() as pool:
        REPLAYS = list(pool.map(lambda capture: Replay(capture, directory), CAPTURES))


def each_replay(test):
    """Decorates a test of one replay so that it is made of all of them."""

    @functools.wraps(test)
    def of_all(self):
        for replay in REPLAYS:
            with self.subTest(replay.name):
                test(self, replay)

    return of_all


def sections_in(capture):
    data = capture.read_bytes()
    if capture.suffix == ".bin":
        return mpegts.split_sections(data)
    return mpegts.sections_of(mpegts.split_packets(data), PSIP_PID)


def by_table_id(sections):
    """{table_id: its different sections} of the tables that are played."""
    return {table_id: {section for section in sections if section[0] == table_id} for table_id in PERIODS}


def packets_of(section):
    """How many a section takes behind its pointer_field."""
    return math.ceil((1 + len(section)) / 184)


class OnAir(unittest.TestCase):
    @each_replay
    def test_it_plays_to_the_end(self, replay):
        self.assertEqual(replay.played.status, 0, replay.played.story)

    @each_replay
    def test_the_counter_never_breaks_over_the_three_tables(self, replay):
        self.assertGreater(len(replay.packets), 7 * SECONDS)
        self.assertEqual(mpegts.counter_breaks(replay.packets), [])

    @each_replay
    def test_every_section_is_whole(self, replay):
        self.assertEqual({section[0] for _, section in replay.timed}, set(PERIODS))
        self.assertTrue(all(mpegts.crc_holds(section) for _, section in replay.timed))

    @each_replay
    def test_mgt_and_vct_are_on_air_as_they_were(self, replay):
        sent = by_table_id([section for _, section in replay.timed])
        for table_id in (MGT_ID, TVCT_ID):
            self.assertEqual(sent[table_id], {replay.only(table_id)})

    @each_replay
    def test_the_tables_share_the_slots_in_the_ratio_of_their_periods(self, replay):
        # MGT and VCT bring the slots that each needs. The STT brings none: no slot is spare for the table that takes
        # such, and the three stretch their periods alike.
        brought = sum(packets_of(replay.only(table_id)) / PERIODS[table_id] for table_id in (MGT_ID, TVCT_ID))
        stretch = (brought + 1 / PERIODS[STT_ID]) / brought
        for table_id, period in PERIODS.items():
            with self.subTest(table_id=table_id):
                times = [time for time, section in replay.timed if section[0] == table_id]
                expected = stretch * period
                self.assertAlmostEqual(mean_interval(times), expected, delta=0.02 * expected)


class SeenByGStreamer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gstreamer.need()
        with tempfile.TemporaryDirectory() as directory:
            file = Path(directory) / "received.ts"
            cls.tables = {
                replay.name: gstreamer.tables_in(decoders.write(replay.packets, file)) for replay in REPLAYS
            }

    @each_replay
    def test_it_reads_the_three_tables(self, replay):
        self.assertEqual(set(self.tables[replay.name]), set(PERIODS))

    @each_replay
    def test_the_mgt_lists_the_tables_of_the_capture(self, replay):
        self.assertEqual(self.tables[replay.name][MGT_ID], psip.mgt_tables(replay.only(MGT_ID)))

    @each_replay
    def test_the_vct_lists_the_channels_of_the_capture(self, replay):
        channels = psip.vct_channels(replay.only(TVCT_ID))
        self.assertTrue(all(channel.name for channel in channels))
        self.assertEqual(self.tables[replay.name][TVCT_ID], channels)

    @each_replay
    def test_each_stt_tells_the_time_at_which_it_comes(self, replay):
        timed = [(time, section) for time, section in replay.timed if section[0] == STT_ID]
        self.assertGreater(len(timed), SECONDS / 2)
        self.assertAlmostEqual(self.tables[replay.name][STT_ID], timed[0][0], delta=LARGEST_AGE)
        for time, section in timed:
            self.assertAlmostEqual(gstreamer.stt_time(section), time, delta=LARGEST_AGE)


if __name__ == "__main__":
    unittest.main()
