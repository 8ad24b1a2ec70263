"""The ECMs of a scrambled service: imported, played, and changed as its scrambler would."""

import itertools
import os
import tempfile
import unittest
from collections import Counter
from pathlib import Path

import captures
import mpegts
from mpegts import PAT_PID
from program import Child, servicemux
from recording import Receiver, mean_interval

ALTERNATE_ECMS = os.environ["ALTERNATE_ECMS"]
CHANGES = 2
CA_DESCRIPTOR = 0x09
ECM_IDS = (0x80, 0x81)
PERIOD = 0.1


def pmt_pids(pat_sections):
    return {pid for section in pat_sections for number, pid in mpegts.decode(section).body if number != 0}


def ecm_pids(pmt_sections):
    """The PIDs of the CA descriptors in the last PMT."""
    _, program, streams = mpegts.decode(pmt_sections[-1]).body
    descriptors = program + tuple(itertools.chain.from_iterable(own for _, _, own in streams))
    return {int.from_bytes(data[2:4], "big") & 0x1FFF for tag, data in descriptors if tag == CA_DESCRIPTOR}


class Ecms:
    """The tests of a capture; `CAPTURE` and the number of its ECM PIDs, `COUNT`, come from the test case."""

    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        tables = Path(directory.name) / "tables.json"
        importing = servicemux("import", cls.CAPTURE, "-o", tables)
        cls.addClassCleanup(importing.end)
        cls.import_status = importing.wait()
        receiver = Receiver()
        cls.addClassCleanup(receiver.close)
        child = Child([ALTERNATE_ECMS, receiver.port, tables, CHANGES])
        cls.addClassCleanup(child.end)
        cls.status = child.wait()
        cls.recording = receiver.stop()
        cls.story = f"{importing}\n{child}"
        cls.captured = mpegts.split_packets(cls.CAPTURE.read_bytes())
        (cls.pmt_pid,) = pmt_pids(cls.recording.sections(PAT_PID))
        cls.pids = ecm_pids(cls.recording.sections(cls.pmt_pid))

    def test_they_end_well(self):
        self.assertEqual((self.import_status, self.status), (0, 0), self.story)

    def test_the_pmt_on_air_names_the_pids_of_the_capture(self):
        self.assertEqual(self.pids, ecm_pids(mpegts.sections_of(self.captured, self.pmt_pid)))
        self.assertEqual(len(self.pids), self.COUNT)

    def test_each_pid_carries_the_last_ecm_of_the_capture(self):
        for pid in self.pids:
            with self.subTest(pid=pid):
                last = [s for s in mpegts.sections_of(self.captured, pid) if s[0] in ECM_IDS][-1]
                sent = {section[1:] for section in self.recording.sections(pid)}
                self.assertEqual(sent, {last[1:]})

    def test_the_table_id_changes_when_the_scrambler_says_so(self):
        for pid in self.pids:
            with self.subTest(pid=pid):
                ids = [section[0] for section in self.recording.sections(pid)]
                runs = [(table_id, len(list(run))) for table_id, run in itertools.groupby(ids)]
                self.assertEqual(len(runs), CHANGES + 1)
                self.assertEqual({table_id for table_id, _ in runs}, set(ECM_IDS))

    def test_each_comes_every_100_milliseconds_without_a_break(self):
        for pid in self.pids:
            with self.subTest(pid=pid):
                packets = self.recording.timed_packets(pid)
                self.assertEqual(mpegts.counter_breaks([packet for _, packet in packets]), [])
                starts = self.recording.starts(pid)
                self.assertAlmostEqual(mean_interval(starts), PERIOD, delta=0.02 * PERIOD)

    def test_nothing_else_has_these_table_ids(self):
        found = Counter()
        for pid in self.recording.pids() - self.pids:
            found.update(section[0] for section in self.recording.sections(pid))
        self.assertFalse(set(found) & set(ECM_IDS))


class OfOurOwnCapture(Ecms, unittest.TestCase):
    CAPTURE, COUNT = captures.own("scrambled.ts"), 4


for path in captures.broadcast("dvb-scrambled-service.ts"):

    class OfABroadcastCapture(Ecms, unittest.TestCase):
        CAPTURE, COUNT = path, 7


if __name__ == "__main__":
    unittest.main()
