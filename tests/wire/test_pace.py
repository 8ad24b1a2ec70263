"""How the programs send with classic timing: datagrams, periods, counters, null packets and the ceiling, in recordings
of ten seconds."""

import itertools
import math
import statistics
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor

import mpegts
from mpegts import CAT_PID, NIT_PID, NULL_PID, PACKET_SIZE, PAT_PID
from program import CAT, NIT, PAT, record, table_set
from recording import mean_interval

SECONDS = 10
LARGEST_DATAGRAM = 7 * PACKET_SIZE

PERIODS = {PAT_PID: 0.2, CAT_PID: 0.2, NIT_PID: 0.5}


def take_all_recordings():
    """Lets the outputs run side by side: each has a port and a process of its own."""
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor() as pool:
        everything = table_set(directory, "all.json", pat=PAT, cat=CAT, nit=NIT)
        pat_alone = table_set(directory, "pat.json", pat=PAT)
        outputs = {
            "tables": (everything,),
            "lone": (pat_alone,),
            "nulls": (pat_alone, "--null-period", 10),
            "crowded": (everything, "--bitrate", 64, "--null-period", 1),
        }
        running = {
            name: pool.submit(record, [file], "--timing", "classic", "--duration", SECONDS + 0.5, *options)
            for name, (file, *options) in outputs.items()
        }
        return {name: future.result() for name, future in running.items()}


def setUpModule():
    global PLAYED
    PLAYED = take_all_recordings()


def rate(datagrams):
    """In bit/s, fitted over all of them: where tables are due together, packets leave ahead of their slots."""
    times = [datagram.time - datagrams[0].time for datagram in datagrams]
    sizes = [8 * len(datagram.payload) for datagram in datagrams]
    return statistics.linear_regression(times, list(itertools.accumulate(sizes))).slope


class AllOutputs(unittest.TestCase):
    def test_they_end_by_themselves_after_their_duration(self):
        for name, played in PLAYED.items():
            with self.subTest(name):
                self.assertEqual(played.status, 0, played.story)
                datagrams = played.recording.datagrams
                self.assertGreater(datagrams[-1].time - datagrams[0].time, SECONDS - 2)

    def test_datagrams_hold_one_to_seven_whole_packets(self):
        for name, played in PLAYED.items():
            with self.subTest(name):
                sizes = {len(datagram.payload) for datagram in played.recording.datagrams}
                self.assertLessEqual(sizes, set(range(PACKET_SIZE, LARGEST_DATAGRAM + 1, PACKET_SIZE)))
                for packet in played.recording.packets():  # raises where one does not begin with 0x47
                    self.assertFalse(packet.raw[3] & 0x20, "an adaptation field")

    def test_counters_never_break(self):
        for name, played in PLAYED.items():
            for pid in played.recording.pids() - {NULL_PID}:  # undefined for null packets, 2.4.3.3
                with self.subTest(name, pid=pid):
                    packets = played.recording.packets(pid)
                    self.assertGreater(len(packets), SECONDS)
                    self.assertEqual(mpegts.counter_breaks(packets), [])


class Tables(unittest.TestCase):
    def setUp(self):
        self.recording = PLAYED["tables"].recording

    def test_nothing_but_the_tables_is_sent(self):
        self.assertEqual(self.recording.pids(), set(PERIODS))

    def test_each_comes_at_its_period(self):
        for pid, period in PERIODS.items():
            with self.subTest(pid=pid):
                starts = self.recording.starts(pid)
                self.assertGreater(len(starts), 0.9 * SECONDS / period)
                self.assertAlmostEqual(mean_interval(starts), period, delta=0.01 * period)

    def test_sections_start_a_packet_each_and_are_stuffed_with_ones(self):
        for packet in self.recording.packets():
            self.assertTrue(packet.unit_start)
            self.assertEqual(packet.payload[0], 0)
            size = mpegts.section_size(packet.payload[1:4])
            self.assertEqual(set(packet.payload[1 + size :]), {0xFF})

    def test_every_section_holds_what_the_table_set_says(self):
        (pat,), (cat,), (nit,) = (
            {mpegts.decode(section) for section in self.recording.sections(pid)}
            for pid in (PAT_PID, CAT_PID, NIT_PID)
        )
        self.assertEqual(pat, (0x00, 0x1234, 3, True, 0, 0, ((0, 16), (101, 257))))
        self.assertEqual(cat, (0x01, 0, 7, True, 0, 0, ((9, bytes.fromhex("0b00e064")),)))
        streams = ((0x1234, 0x2085, ((0x41, bytes.fromhex("006501")),)),)
        self.assertEqual(nit, (0x40, 0x3085, 11, True, 0, 0, (((0x40, b"wire"),), streams)))


class LonePacket(unittest.TestCase):
    def setUp(self):
        self.recording = PLAYED["lone"].recording

    def test_it_leaves_alone_when_nothing_else_is_due_soon(self):
        datagrams = self.recording.datagrams
        for before, after in zip(datagrams, datagrams[1:]):
            due = math.ceil((after.time - before.time) / PERIODS[PAT_PID] - 0.5)  # more than one where the machine hung
            self.assertLessEqual(len(after.payload), PACKET_SIZE * max(due, 1))

    def test_it_does_not_wait_for_company(self):
        times = [datagram.time for datagram in self.recording.datagrams]
        self.assertGreater(len(times), 0.9 * SECONDS / PERIODS[PAT_PID])
        self.assertAlmostEqual(mean_interval(times), PERIODS[PAT_PID], delta=0.01 * PERIODS[PAT_PID])


class NullPackets(unittest.TestCase):
    def setUp(self):
        self.recording = PLAYED["nulls"].recording

    def test_they_carry_no_information(self):
        for packet in self.recording.packets(NULL_PID):
            self.assertEqual(packet.raw[:3], bytes([0x47, 0x1F, 0xFF]))
            self.assertEqual(packet.raw[3] & 0xF0, 0x10)
            self.assertEqual(packet.payload, b"\xff" * 184)

    def test_they_come_at_the_period_asked_for(self):
        datagrams = self.recording.datagrams
        after_the_first = mpegts.split_packets(b"".join(datagram.payload for datagram in datagrams[1:]))
        count = sum(packet.pid == NULL_PID for packet in after_the_first)
        self.assertAlmostEqual((datagrams[-1].time - datagrams[0].time) / count, 0.01, delta=0.0001)

    def test_gaps_they_leave_are_too_short_for_a_datagram_that_is_not_full(self):
        sizes = [len(datagram.payload) for datagram in self.recording.datagrams]
        self.assertEqual(set(sizes[2:]), {LARGEST_DATAGRAM})  # behind the tables that were set one by one


class Ceiling(unittest.TestCase):
    def setUp(self):
        self.recording = PLAYED["crowded"].recording

    def test_it_holds_when_more_is_asked_for(self):
        full = [datagram for datagram in self.recording.datagrams if len(datagram.payload) == LARGEST_DATAGRAM]
        self.assertGreater(len(full), 50)
        self.assertAlmostEqual(rate(full), 64000, delta=640)

    def test_tables_keep_their_pace_beneath_it(self):
        for pid, period in PERIODS.items():
            with self.subTest(pid=pid):
                starts = self.recording.starts(pid)  # as fine as full datagrams are, 165 ms
                self.assertAlmostEqual(mean_interval(starts), period, delta=0.03 * period)


if __name__ == "__main__":
    unittest.main()
