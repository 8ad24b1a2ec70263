"""ATSC signalling from the air: imported, played for a minute, and held against the capture and the clock."""

import math
import tempfile
import unittest
from pathlib import Path

import decoders
import gstreamer
import mpegts
import psip
from program import import_tables, record
from psip import MGT_ID, PSIP_PID, STT_ID, TVCT_ID
from recording import mean_interval

CAPTURE = Path(__file__).resolve().parents[3] / "shared" / "captures" / "atsc-sections.bin"
SECONDS = 60
PERIODS = {MGT_ID: 0.15, TVCT_ID: 0.4, STT_ID: 1.0}
LARGEST_AGE = 2  # seconds


def setUpModule():
    global PLAYED, ORIGINAL
    if not CAPTURE.is_file():
        raise unittest.SkipTest(f"there is no {CAPTURE}")
    ORIGINAL = by_table_id(mpegts.split_sections(CAPTURE.read_bytes()))
    with tempfile.TemporaryDirectory() as directory:
        PLAYED = record([import_tables(CAPTURE, directory)], "--duration", SECONDS)


def by_table_id(sections):
    """{table_id: its different sections} of the tables that are played."""
    return {table_id: {section for section in sections if section[0] == table_id} for table_id in PERIODS}


def packets_of(section):
    """How many a section takes behind its pointer_field."""
    return math.ceil((1 + len(section)) / 184)


class OnAir(unittest.TestCase):
    def setUp(self):
        self.sections = PLAYED.recording.timed_sections(PSIP_PID)

    def test_it_plays_to_the_end(self):
        self.assertEqual(PLAYED.status, 0, PLAYED.story)

    def test_the_counter_never_breaks_over_the_three_tables(self):
        packets = PLAYED.recording.packets(PSIP_PID)
        self.assertGreater(len(packets), 7 * SECONDS)
        self.assertEqual(mpegts.counter_breaks(packets), [])

    def test_every_section_is_whole(self):
        self.assertEqual({section[0] for _, section in self.sections}, set(PERIODS))
        self.assertTrue(all(mpegts.crc_holds(section) for _, section in self.sections))

    def test_mgt_and_vct_are_on_air_as_they_were(self):
        sent = by_table_id([section for _, section in self.sections])
        for table_id in (MGT_ID, TVCT_ID):
            with self.subTest(table_id=table_id):
                self.assertEqual(len(ORIGINAL[table_id]), 1)
                self.assertEqual(sent[table_id], ORIGINAL[table_id])

    def test_the_tables_share_the_slots_in_the_ratio_of_their_periods(self):
        # MGT and VCT bring the slots that each needs. The STT brings none: no slot is spare for the table that takes
        # such, and the three stretch their periods alike.
        brought = sum(
            packets_of(section) / PERIODS[table_id]
            for table_id in (MGT_ID, TVCT_ID)
            for section in ORIGINAL[table_id]
        )
        stretch = (brought + 1 / PERIODS[STT_ID]) / brought
        for table_id, period in PERIODS.items():
            with self.subTest(table_id=table_id):
                times = [time for time, section in self.sections if section[0] == table_id]
                expected = stretch * period
                self.assertAlmostEqual(mean_interval(times), expected, delta=0.02 * expected)


class SeenByGStreamer(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        gstreamer.need()
        with tempfile.TemporaryDirectory() as directory:
            packets = PLAYED.recording.packets(PSIP_PID)
            cls.tables = gstreamer.tables_in(decoders.write(packets, Path(directory) / "received.ts"))

    def test_it_reads_the_three_tables(self):
        self.assertEqual(set(self.tables), set(PERIODS))

    def test_the_mgt_lists_the_tables_of_the_capture(self):
        (section,) = ORIGINAL[MGT_ID]
        self.assertEqual(self.tables[MGT_ID], psip.mgt_tables(section))

    def test_the_vct_lists_the_channels_of_the_capture(self):
        (section,) = ORIGINAL[TVCT_ID]
        channels = psip.vct_channels(section)
        self.assertTrue(all(channel.name for channel in channels))
        self.assertEqual(self.tables[TVCT_ID], channels)

    def test_each_stt_tells_the_time_at_which_it_comes(self):
        timed = [(time, section) for time, section in PLAYED.recording.timed_sections(PSIP_PID) if section[0] == STT_ID]
        self.assertGreater(len(timed), SECONDS / 2)
        self.assertAlmostEqual(self.tables[STT_ID], timed[0][0], delta=LARGEST_AGE)
        for time, section in timed:
            self.assertAlmostEqual(gstreamer.stt_time(section), time, delta=LARGEST_AGE)


if __name__ == "__main__":
    unittest.main()
