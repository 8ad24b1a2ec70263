"""The time tables: played for a minute, they tell the receiver's time and the offsets that they were given."""

import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from datetime import datetime
from pathlib import Path
from zoneinfo import ZoneInfo

import captures
import decoders
import mpegts
from mpegts import TDT_ID, TIME_PID, TOT_ID
from program import import_tables, record, table_set

SECONDS = 60
SECONDS_OF_OTHERS = 6
COUNT = range(58, 72)  # of each table in a minute: less than a second apart, and now and then twice in one
LARGEST_AGE = 2  # seconds
DAY = 24 * 3600

FRANCE = {
    "country_code": "FRA",
    "country_region_id": 0,
    "local_time_offset": "+01:00",
    "time_of_change": "2027-03-28T01:00:00Z",
    "next_time_offset": "+02:00",
}
FRANCE_ON_AIR = ("FRA", 0, 3600, datetime.fromisoformat("2027-03-28T01:00:00+00:00").timestamp(), 7200)
ZONES = (("PRT", 1, "Europe/Lisbon"), ("CAN", 6, "America/St_Johns"))

CAPTURES = [captures.own("dvb-t.ts"), *captures.broadcast("dvb-t-si.ts")]


def replay(capture, directory):
    return record([import_tables(capture, directory)], "--duration", SECONDS_OF_OTHERS)


def setUpModule():
    global OFFSETS, TDT_ALONE, REPLAYS
    zones = [dict(zip(("country_code", "country_region_id", "time_zone"), zone)) for zone in ZONES]
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor() as pool:
        offsets = table_set(directory, "offsets.json", time={"tdt": True, "local_time_offsets": [FRANCE, *zones]})
        alone = table_set(directory, "tdt.json", time={"tdt": True})
        minute = pool.submit(record, [offsets], "--duration", SECONDS)
        moment = pool.submit(record, [alone], "--duration", SECONDS_OF_OTHERS)
        replayed = {capture: pool.submit(replay, capture, directory) for capture in CAPTURES}
        OFFSETS, TDT_ALONE = minute.result(), moment.result()
        REPLAYS = {capture: running.result() for capture, running in replayed.items()}


def offset_in(zone, moment):
    """In seconds, east of Greenwich positive."""
    return datetime.fromtimestamp(moment, ZoneInfo(zone)).utcoffset().total_seconds()


def next_change(zone, moment):
    """When a zone that has summer time changes its offset next, in seconds since 1970."""
    before = int(moment)
    while offset_in(zone, before + DAY) == offset_in(zone, before):
        before += DAY
    after = before + DAY
    while after - before > 1:
        middle = (before + after) // 2
        if offset_in(zone, middle) == offset_in(zone, before):
            before = middle
        else:
            after = middle
    return after


def entries_at(moment):
    """All entries that the TOT has to have, the given one and those of the zones."""
    entries = [FRANCE_ON_AIR]
    for country, region, zone in ZONES:
        change = next_change(zone, moment)
        entries.append((country, region, offset_in(zone, moment), change, offset_in(zone, change)))
    return tuple(entries)


class AMinute(unittest.TestCase):
    def setUp(self):
        self.recording = OFFSETS.recording

    def test_it_ends_by_itself(self):
        self.assertEqual(OFFSETS.status, 0, OFFSETS.story)

    def test_nothing_else_is_sent(self):
        self.assertEqual(self.recording.pids(), {TIME_PID}, OFFSETS.story)

    def test_the_counter_never_breaks(self):
        packets = self.recording.packets(TIME_PID)
        self.assertGreater(len(packets), COUNT[0])
        self.assertEqual(mpegts.counter_breaks(packets), [])

    def test_both_tables_come_about_once_a_second(self):
        ids = [section[0] for section in self.recording.sections(TIME_PID)]
        self.assertEqual(set(ids), {TDT_ID, TOT_ID})
        for table_id in (TDT_ID, TOT_ID):
            self.assertIn(ids.count(table_id), COUNT, table_id)

    def test_the_crc_of_each_tot_is_right(self):
        tots = [section for section in self.recording.sections(TIME_PID) if section[0] == TOT_ID]
        self.assertGreater(len(tots), 0)
        self.assertTrue(all(map(mpegts.crc_holds, tots)))


class AMinuteSeenByTshark(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        timed = OFFSETS.recording.timed_packets(TIME_PID)
        with tempfile.TemporaryDirectory() as directory:
            file = decoders.write([packet for _, packet in timed], Path(directory) / "received.ts")
            tables = decoders.tshark_time_tables(file)
        cls.times = [time for time, _ in timed]
        cls.tables = tables
        cls.tots = [table for table in tables if table.table_id == TOT_ID]

    def test_it_reads_a_table_from_each_packet_without_a_complaint(self):
        self.assertEqual(len(self.tables), len(self.times))
        self.assertEqual({table.complaint for table in self.tables}, {""})

    def test_both_tables_come_about_once_a_second(self):
        self.assertIn(len(self.tots), COUNT)
        self.assertIn(len(self.tables) - len(self.tots), COUNT)

    def test_the_crc_of_each_tot_is_right(self):
        self.assertEqual({table.crc for table in self.tots}, {decoders.CRC_GOOD})

    def test_each_table_tells_the_time_at_which_it_comes(self):
        for time, table in zip(self.times, self.tables):
            self.assertAlmostEqual(table.utc, time, delta=LARGEST_AGE, msg=f"table_id {table.table_id:#x}")

    def test_the_time_goes_on_from_table_to_table(self):
        for table_id in (TDT_ID, TOT_ID):
            times = [table.utc for table in self.tables if table.table_id == table_id]
            self.assertEqual(times, sorted(times), table_id)

    def test_offsets_are_the_ones_given_and_those_of_the_time_zones(self):
        # Either, should a zone have changed meanwhile.
        expected = {entries_at(self.times[0]), entries_at(self.times[-1])}
        self.assertLessEqual({table.offsets for table in self.tots}, expected)


class TdtAlone(unittest.TestCase):
    def test_without_offsets_no_tot_is_sent(self):
        self.assertEqual(TDT_ALONE.status, 0, TDT_ALONE.story)
        ids = [section[0] for section in TDT_ALONE.recording.sections(TIME_PID)]
        self.assertGreater(len(ids), SECONDS_OF_OTHERS / 2)
        self.assertEqual(set(ids), {TDT_ID})


class Captures(unittest.TestCase):
    def test_their_local_time_offsets_are_on_air_as_they_were(self):
        for capture, replayed in REPLAYS.items():
            with self.subTest(capture.name):
                self.assertEqual(replayed.status, 0, replayed.story)
                original = mpegts.sections_of(mpegts.split_packets(capture.read_bytes()), TIME_PID)
                self.assertEqual(len(tot_descriptors(original)), 1)
                self.assertEqual(tot_descriptors(replayed.recording.sections(TIME_PID)), tot_descriptors(original))


def tot_descriptors(sections):
    """What stands between the UTC_time and the CRC of the TOTs, EN 300 468 clause 5.2.6."""
    return {section[8:-4] for section in sections if section[0] == TOT_ID and mpegts.crc_holds(section)}


if __name__ == "__main__":
    unittest.main()
