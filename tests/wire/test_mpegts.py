"""The second opinion itself, on streams made by hand."""

import unittest

import mpegts
from mpegts import Malformed, Packet, SectionCollector

NULL_PACKET = bytes([0x47, 0x1F, 0xFF, 0x10]) + b"\xff" * 184


def feed(data):
    collector = SectionCollector()
    return [section for packet in mpegts.split_packets(data) for section in collector.feed(packet)]


def pat(count, version=0):
    return mpegts.build_pat(1, version, [(i, 0x100 + i) for i in range(1, count + 1)])


class Packets(unittest.TestCase):
    def test_a_header_gives_its_fields(self):
        packet = Packet.parse(bytes([0x47, 0x41, 0x23, 0x1A]) + b"\0" * 184)
        self.assertEqual((packet.pid, packet.unit_start, packet.counter), (0x123, True, 10))
        self.assertEqual(packet.payload, b"\0" * 184)

    def test_an_adaptation_field_is_no_payload(self):
        packet = Packet.parse(bytes([0x47, 0x00, 0x00, 0x30, 3]) + b"aaa" + b"\1" * 180)
        self.assertEqual(packet.payload, b"\1" * 180)
        self.assertEqual(Packet.parse(bytes([0x47, 0x00, 0x00, 0x20, 183]) + b"a" * 183).payload, b"")

    def test_what_is_no_packet_is_refused(self):
        for raw in (b"", NULL_PACKET[:-1], b"\x46" + NULL_PACKET[1:], NULL_PACKET[:1] + b"\x9f" + NULL_PACKET[2:],
                    NULL_PACKET[:3] + b"\x90" + NULL_PACKET[4:]):
            with self.subTest(raw=raw[:4]), self.assertRaises(Malformed):
                Packet.parse(raw)
        with self.assertRaises(Malformed):
            mpegts.split_packets(NULL_PACKET + b"\x47")

    def test_counters_wrap_and_breaks_are_found(self):
        def packets(*counters):
            return [Packet.parse(NULL_PACKET[:3] + bytes([0x10 | counter]) + NULL_PACKET[4:]) for counter in counters]

        self.assertEqual(mpegts.counter_breaks(packets(14, 15, 0, 1)), [])
        self.assertEqual(mpegts.counter_breaks(packets(14, 0, 0, 1)), [(1, 14, 0), (2, 0, 0)])


class Sections(unittest.TestCase):
    def test_the_crc_is_the_one_of_the_standard(self):
        self.assertEqual(mpegts.crc32(b"123456789"), 0x0376E6E7)  # the catalogued check value of CRC-32/MPEG-2
        self.assertTrue(mpegts.crc_holds(pat(1)))

    def test_one_flipped_bit_anywhere_breaks_the_crc(self):
        section = pat(3)
        for bit in range(8 * len(section)):
            broken = bytearray(section)
            broken[bit // 8] ^= 1 << bit % 8
            self.assertFalse(mpegts.crc_holds(broken), bit)

    def test_a_section_is_put_together_from_its_packets(self):
        for count in (1, 43, 44, 100):
            with self.subTest(programs=count):
                self.assertEqual(feed(mpegts.build_packets(0, pat(count))), [pat(count)])

    def test_sections_that_share_a_packet_come_apart(self):
        self.assertEqual(feed(mpegts.build_packets(0, pat(1) + pat(2))), [pat(1), pat(2)])

    def test_a_section_ends_in_front_of_the_next_in_one_packet(self):
        first, second = pat(44), pat(1)  # the first is one byte longer than a packet takes
        rest = first[183:]
        data = mpegts.build_packets(0, first)[:188]
        data += (bytes([0x47, 0x40, 0, 0x11, len(rest)]) + rest + second).ljust(188, b"\xff")
        self.assertEqual(feed(data), [first, second])

    def test_a_section_that_lost_a_packet_is_dropped_and_the_next_is_not(self):
        packets = mpegts.build_packets(0, pat(100))
        self.assertEqual(len(packets), 3 * 188)
        again = mpegts.build_packets(0, pat(100, version=1), counter=3)
        self.assertEqual(feed(packets[:188] + packets[376:] + again), [pat(100, version=1)])

    def test_a_repeated_packet_is_taken_once(self):
        packets = mpegts.build_packets(0, pat(100))
        self.assertEqual(feed(packets[:188] + packets), [pat(100)])

    def test_a_section_file_comes_apart_and_a_cut_one_is_refused(self):
        self.assertEqual(mpegts.split_sections(pat(1) + pat(2)), [pat(1), pat(2)])
        with self.assertRaises(Malformed):
            mpegts.split_sections(pat(1) + pat(2)[:-1])


class Tables(unittest.TestCase):
    def test_a_pat_gives_its_programs(self):
        content = mpegts.decode(mpegts.build_pat(0x1234, 5, [(0, 16), (7, 0x1FFE)]))
        self.assertEqual(content, (0x00, 0x1234, 5, True, 0, 0, ((0, 16), (7, 0x1FFE))))

    def test_reserved_bits_make_no_difference(self):
        body = bytes.fromhex("00071100")
        with_ones = mpegts.build_section(0x00, 1, 0, bytes.fromhex("0007f100"))
        self.assertEqual(mpegts.decode(mpegts.build_section(0x00, 1, 0, body)), mpegts.decode(with_ones))
        cat = [mpegts.decode(mpegts.build_section(0x01, extension, 0, b"")) for extension in (0, 0xFFFF)]
        self.assertEqual(cat[0], cat[1])

    def test_a_nit_gives_its_descriptors_and_streams(self):
        body = bytes.fromhex("f003400141" "f00f" "00010002f000" "00030004f003" "410100")
        content = mpegts.decode(mpegts.build_section(0x40, 9, 1, body))
        self.assertEqual(content.body, (((0x40, b"A"),), ((1, 2, ()), (3, 4, ((0x41, b"\0"),)))))

    def test_loops_that_do_not_add_up_are_refused(self):
        for name, table_id, body in (
            ("half a program", 0x00, "0007e1"),
            ("a descriptor longer than the section", 0x01, "0905e1"),
            ("a descriptor longer than its loop", 0x40, "f002 4001 f000"),
            ("bytes behind the streams", 0x40, "f000f000ff"),
            ("a stream loop longer than the section", 0x40, "f000f006"),
        ):
            with self.subTest(name), self.assertRaises(Malformed):
                mpegts.decode(mpegts.build_section(table_id, 1, 0, bytes.fromhex(body)))

    def test_a_wrong_crc_is_refused(self):
        with self.assertRaisesRegex(Malformed, "CRC"):
            mpegts.decode(pat(1)[:-1] + b"\0")

    def test_the_last_version_that_came_in_whole_counts(self):
        def section(version, number):
            return mpegts.build_section(0x00, 1, version, b"", number, last_number=1)

        sections = [section(0, 0), section(0, 1), section(1, 1), section(1, 0), section(2, 0)]
        table = mpegts.last_complete_table(sections, 0x00)
        self.assertEqual([(part.version, part.number) for part in table], [(1, 0), (1, 1)])
        self.assertEqual(mpegts.last_complete_table(sections[4:], 0x00), [])


if __name__ == "__main__":
    unittest.main()
