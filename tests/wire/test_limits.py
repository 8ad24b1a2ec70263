"""The judges of timing, on recordings made by hand: each limit is broken once and must be named."""

import time
import unittest

import limits
import mpegts
from mpegts import EIT_PID, PAT_PID, TIME_PID, Packet, build_packets, build_section
from recording import Datagram

UTC = 1767225600
TDT = bytes.fromhex("707005") + (61041).to_bytes(2, "big")


class Stream:
    """Datagrams of one packet each, with counters that follow."""

    def __init__(self):
        self.datagrams = []
        self.counters = {}

    def send(self, time_, pid, section, spacing=0.004):
        counter = self.counters.get(pid, 0)
        data = build_packets(pid, section, counter)
        for start in range(0, len(data), 188):
            self.datagrams.append(Datagram(time_, "", 1, data[start : start + 188]))
            time_ += spacing
            counter += 1
        self.counters[pid] = counter % 16
        return self

    @property
    def packets(self):
        return [(datagram.time, Packet.parse(datagram.payload)) for datagram in self.datagrams]

    @property
    def sections(self):
        return limits.sections_of(self.packets)


def pat(number=0, last=0, size=8):
    return build_section(0x00, 1, 0, bytes(size), number, last)


def eit(stream, table_id=0x4F):
    return build_section(table_id, 101, 0, stream.to_bytes(2, "big") + bytes(6))


def pats(*times):
    stream = Stream()
    for time_ in times:
        stream.send(time_, PAT_PID, pat())
    return stream


class WhatIsSent(unittest.TestCase):
    def test_a_counter_that_does_not_follow(self):
        stream = pats(0, 0.1, 0.2)
        self.assertEqual(limits.broken_counters(stream.packets), [])
        del stream.datagrams[1]
        self.assertEqual(len(limits.broken_counters(stream.packets)), 1)

    def test_a_section_that_is_cut(self):
        stream = Stream()
        for i in range(4):
            stream.send(i, PAT_PID, pat(size=300))
        self.assertEqual(limits.broken_sections(stream.packets, stream.sections), [])
        del stream.datagrams[-1]
        self.assertEqual(limits.broken_sections(stream.packets, stream.sections), [])  # the last is under way
        del stream.datagrams[3]
        self.assertEqual(len(limits.broken_sections(stream.packets, stream.sections)), 1)

    def test_a_wrong_crc(self):
        stream = Stream().send(0, PAT_PID, pat()[:-1] + b"\0")
        self.assertEqual(len(limits.broken_sections(stream.packets, stream.sections)), 1)

    def test_a_section_that_never_comes(self):
        stream = Stream().send(0, PAT_PID, pat(0, 1))
        self.assertEqual(len(limits.missing_sections(stream.sections)), 1)
        stream.send(0.1, PAT_PID, pat(1, 1))
        self.assertEqual(limits.missing_sections(stream.sections), [])


class When(unittest.TestCase):
    def test_an_arrival_that_is_late(self):
        self.assertEqual(limits.late_arrivals(pats(0, 0.2, 0.4).sections, 0.5, 0.001), [])
        self.assertEqual(len(limits.late_arrivals(pats(0, 0.202, 0.4).sections, 0.5, 0.001)), 1)
        self.assertEqual(limits.late_arrivals(pats(0, 0.202, 0.4).sections, 0.5, 0.003), [])
        self.assertEqual(limits.late_arrivals(pats(0, 0.3, 0.6).sections, 0.7, 0, factor=1.6), [])

    def test_a_section_that_stays_away(self):
        self.assertEqual(len(limits.late_arrivals(pats(0, 0.2).sections, 0.5, 0.001)), 1)

    def test_each_section_of_a_table_has_its_period(self):
        stream = pats(0, 0.1, 0.2, 0.3).send(0.05, PAT_PID, pat(1))
        self.assertEqual(len(limits.late_arrivals(stream.sections, 0.31, 0.001)), 1)

    def test_a_gap_that_is_short(self):
        self.assertEqual(limits.short_gaps(pats(0, 0.0251).sections, 0), [])
        self.assertEqual(len(limits.short_gaps(pats(0, 0.0249).sections, 0)), 1)
        self.assertEqual(limits.short_gaps(pats(0, 0.0249).sections, 0.001), [])

    def test_the_gap_is_shared_by_sections_and_streams_but_not_by_tables(self):
        self.assertEqual(len(limits.short_gaps(pats(0).send(0.02, PAT_PID, pat(1)).sections, 0)), 1)
        self.assertEqual(len(limits.short_gaps(Stream().send(0, EIT_PID, eit(1)).send(0.02, EIT_PID, eit(2)).sections, 0)), 1)
        self.assertEqual(
            limits.short_gaps(Stream().send(0, EIT_PID, eit(1)).send(0.02, EIT_PID, eit(1, 0x4E)).sections, 0), []
        )

    def test_the_gap_counts_from_the_last_packet_of_a_section(self):
        stream = Stream().send(0, PAT_PID, pat(size=300), spacing=0.01).send(0.03, PAT_PID, pat())
        self.assertEqual(len(limits.short_gaps(stream.sections, 0)), 1)

    def test_a_mean_that_is_short(self):
        self.assertEqual(len(limits.short_means(pats(*(0.17 * i for i in range(20))).sections)), 1)
        self.assertEqual(limits.short_means(pats(*(0.19 * i for i in range(20))).sections), [])

    def test_a_time_that_leaves_at_another_time(self):
        for behind, faults in ((-0.01, 1), (0, 0), (0.1, 0), (0.12, 1)):
            with self.subTest(behind):
                stream = Stream().send(UTC + 3723 + behind, TIME_PID, TDT + bytes.fromhex("010203"))
                self.assertEqual(len(limits.wrong_seconds(stream.sections, 0.001)), faults)

    def test_the_second_of_an_stt(self):
        body = b"\0" + (UTC - 315964800 + 18).to_bytes(4, "big") + b"\x12\x60\x00"
        self.assertEqual(limits.carried_second(build_section(0xCD, 0, 0, body)), UTC)


class HowFast(unittest.TestCase):
    def test_packets_of_a_slow_pid_that_crowd(self):
        for spacing, faults in ((0.00151, 0), (0.0014, 1)):
            stream = Stream().send(0, PAT_PID, pat(size=500), spacing)
            self.assertEqual(len(limits.crowded_packets(stream.datagrams, stream.sections, 0, 0)), faults)

    def test_packets_of_one_datagram_stand_a_slot_apart(self):
        stream = Stream().send(0, PAT_PID, pat(size=500))
        datagram = Datagram(0, "", 1, b"".join(datagram.payload for datagram in stream.datagrams))
        for slot, faults in ((0.002, 0), (0.001, 1)):
            self.assertEqual(len(limits.crowded_packets([datagram], stream.sections, slot, 0)), faults)

    def test_a_second_above_the_ceiling_wherever_it_begins(self):
        stream = pats(*(0.5 + i / 10 for i in range(10)))
        self.assertEqual(limits.excesses(stream.datagrams, 15.04, 0), [])
        stream.send(1.49, PAT_PID, pat())
        self.assertEqual(len(limits.excesses(stream.datagrams, 15.04, 0)), 1)

    def test_what_tables_ask_for(self):
        self.assertEqual(limits.required(pats(0, 0.2).send(0.3, PAT_PID, pat(1)).sections), {0: 2 * 1504 / 0.2})

    def test_factors_are_those_of_the_mean(self):
        self.assertAlmostEqual(next(iter(limits.factors(pats(0, 0.3, 0.6).sections).values())), 1.5)


class TheMachine(unittest.TestCase):
    def test_a_sleeper_tells_how_late_it_was(self):
        sleeper = limits.Sleeper()
        time.sleep(0.3)
        late = sleeper.stop()
        self.assertGreater(late, 0)
        self.assertLess(late, 10)


if __name__ == "__main__":
    unittest.main()
