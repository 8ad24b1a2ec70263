"""ECMs that follow each other quickly, and sets of EMMs that leave in their time."""

import os
import unittest

import mpegts
from program import Child
from recording import Receiver

CA_MESSAGES = os.environ["CA_MESSAGES"]
ECMS = 200  # ten a second
ECM_PID, EMM_PID = 0x100, 0x200
SETS = (100, 50, 100)  # EMMs
EMM_SIZE = 150


class Messages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        receiver = Receiver()
        cls.addClassCleanup(receiver.close)
        child = Child([CA_MESSAGES, receiver.port, ECMS])
        cls.addClassCleanup(child.end)
        cls.status = child.wait()
        cls.recording = receiver.stop()
        cls.story = str(child)
        cls.ecms = cls.recording.sections(ECM_PID)
        cls.emms = cls.recording.sections(EMM_PID)

    def test_it_ends_by_itself(self):
        self.assertEqual(self.status, 0, self.story)

    def test_counters_never_break(self):
        for pid in (ECM_PID, EMM_PID):
            self.assertEqual(mpegts.counter_breaks(self.recording.packets(pid)), [], pid)

    def test_no_ecm_is_mixed_of_two(self):
        for ecm in self.ecms:
            self.assertEqual(len(set(ecm[3:])), 1)
            self.assertEqual(ecm[0], 0x80 + ecm[3] % 2)

    def test_ecms_take_over_in_their_order(self):
        numbers = [ecm[3] for ecm in self.ecms]
        self.assertEqual(numbers, sorted(numbers))
        self.assertGreater(len(set(numbers)), 0.8 * ECMS)  # one that comes early may end another before it left

    def test_each_emm_leaves_once_and_in_its_order(self):
        self.assertEqual([int.from_bytes(emm[3:5], "big") for emm in self.emms], list(range(sum(SETS))))
        self.assertTrue(all(set(emm[5:]) == {0xEE} for emm in self.emms))

    def test_a_set_leaves_in_half_a_second_and_one_behind_it_at_the_same_rate(self):
        first, behind, alone = self.packets_of_the_sets()
        span = first + behind
        self.assertAlmostEqual(self.interval(span) * len(first), 0.5, delta=0.025)
        self.assertAlmostEqual(self.interval(alone) * len(alone), 0.5, delta=0.025)

    def packets_of_the_sets(self):
        """The times of each set's packets; a set begins with a payload unit."""
        sets = []
        for time, packet in self.recording.timed_packets(EMM_PID):
            if packet.unit_start:
                sets.append([])
            sets[-1].append(time)
        sizes = [-(-(size * EMM_SIZE + 1) // 184) for size in SETS]
        self.assertEqual([len(times) for times in sets], sizes)
        return sets

    @staticmethod
    def interval(times):
        """Between two packets on average: packets leave together, in datagrams, so only those that end one count."""
        ends = [i for i in range(len(times) - 1) if times[i + 1] != times[i]]
        return (times[ends[-1]] - times[ends[0]]) / (ends[-1] - ends[0])


if __name__ == "__main__":
    unittest.main()
