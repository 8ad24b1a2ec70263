"""One service's present and following events are replaced while those of 200 others are on air."""

import os
import unittest
from collections import defaultdict

import mpegts
from mpegts import EIT_PID
from program import Child
from recording import Receiver, mean_interval

REPLACE_EVENTS = os.environ["REPLACE_EVENTS"]
SERVICES = 201
REPLACED = SERVICES // 2
REPLACEMENTS = 6
PERIOD = 2.0


class Replacement(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        receiver = Receiver()
        cls.addClassCleanup(receiver.close)
        child = Child([REPLACE_EVENTS, receiver.port, SERVICES, REPLACEMENTS])
        cls.addClassCleanup(child.end)
        cls.status = child.wait()
        cls.recording = receiver.stop()
        cls.story = str(child)
        cls.handed_in = {int(version): int(time) / 1e9 for version, time in map(str.split, child.output.splitlines())}
        cls.starts = defaultdict(list)  # (service_id, version) -> when each present section began
        for time, section in cls.recording.timed_sections(EIT_PID):
            if section[6] == 0:
                cls.starts[int.from_bytes(section[3:5], "big"), section[5] >> 1 & 0x1F].append(time)

    def test_it_ends_by_itself(self):
        self.assertEqual(self.status, 0, self.story)

    def test_the_counter_never_breaks(self):
        packets = self.recording.packets(EIT_PID)
        self.assertGreater(len(packets), SERVICES * 10)
        self.assertEqual(mpegts.counter_breaks(packets), [])

    def test_every_section_is_whole(self):
        sections = self.recording.sections(EIT_PID)
        self.assertGreater(len(sections), SERVICES * 10)
        self.assertTrue(all(map(mpegts.crc_holds, sections)))

    def test_the_others_keep_their_period(self):
        settled = self.handed_in[1]  # before, the first one takes the slots that nothing is due for
        others = {
            service: [time for time in times if time > settled]
            for (service, _), times in self.starts.items()
            if service != REPLACED
        }
        self.assertEqual(len(others), SERVICES - 1)
        for service, times in others.items():
            with self.subTest(service=service):
                self.assertAlmostEqual(mean_interval(times), PERIOD, delta=0.01 * PERIOD)

    def test_each_new_version_is_on_air_within_a_period_and_the_old_one_gone(self):
        for version, handed_in in self.handed_in.items():
            with self.subTest(version=version):
                new, old = self.starts[REPLACED, version], self.starts[REPLACED, version - 1]
                self.assertGreaterEqual(new[0], max(old))  # the last old one may leave in the same datagram
                self.assertLess(new[0] - handed_in, 1.1 * PERIOD)  # the rest is what the machine may take


if __name__ == "__main__":
    unittest.main()
