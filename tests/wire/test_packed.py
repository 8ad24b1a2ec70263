"""Events of several sections in the layout that an EIT record has when it says nothing about it."""

import os
import tempfile
import unittest
from pathlib import Path

import decoders
import mpegts
from mpegts import EIT_PID
from program import Child
from recording import Receiver

PACKED_EVENTS = os.environ["PACKED_EVENTS"]
EVENTS = 40
SECTIONS = 3


class PackedEvents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        receiver = Receiver()
        cls.addClassCleanup(receiver.close)
        child = Child([PACKED_EVENTS, receiver.port, EVENTS])
        cls.addClassCleanup(child.end)
        cls.status = child.wait()
        cls.recording = receiver.stop()
        cls.story = str(child)
        cls.generated = [bytes.fromhex(line) for line in child.output.splitlines()]
        cls.received = cls.recording.sections(EIT_PID)

    def test_it_ends_by_itself(self):
        self.assertEqual(self.status, 0, self.story)

    def test_sections_are_byte_for_byte_those_of_the_generator(self):
        self.assertEqual(len(self.generated), SECTIONS)
        self.assertGreater(len(self.received), 2 * SECTIONS)
        for i, section in enumerate(self.received):
            self.assertEqual(section, self.generated[i % SECTIONS], i)

    def test_receivers_are_told_to_look_for_every_section(self):
        contents = [mpegts.decode(section) for section in self.received]
        stream, network, segment_last, last_table_id, _ = zip(*(content.body for content in contents))
        self.assertEqual({content.last_number for content in contents}, {SECTIONS - 1})
        self.assertEqual(set(segment_last), {SECTIONS - 1})
        self.assertEqual((set(stream), set(network), set(last_table_id)), ({4}, {0x20FA}, {0x4E}))
        ids = [event_id for content in contents[:SECTIONS] for event_id, *_ in content.body[-1]]
        self.assertEqual(ids, list(range(1, EVENTS + 1)))

    def test_tshark_reads_every_section_and_has_no_complaint(self):
        packets = decoders.whole_tables(self.recording.packets(EIT_PID))
        with tempfile.TemporaryDirectory() as directory:
            file = decoders.write(packets, Path(directory) / "received.ts")
            self.assertEqual(decoders.tshark_complaints(file), {})
            tables = decoders.tshark_event_tables(file)
        self.assertGreater(len(tables), SECTIONS)
        last = SECTIONS - 1
        self.assertEqual({table[:-1] for table in tables}, {(n, last, last, 0x4E) for n in range(SECTIONS)})
        self.assertEqual(sum(table.events for table in tables[:SECTIONS]), EVENTS)


if __name__ == "__main__":
    unittest.main()
