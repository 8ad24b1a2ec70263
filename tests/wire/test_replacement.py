"""Tables of many packets, replaced while they are on air."""

import os
import unittest

import mpegts
from mpegts import CAT_ID, CAT_PID, NIT_PID, PAT_ID, PAT_PID
from program import Child
from recording import Receiver, mean_interval

REPLACE_TABLES = os.environ["REPLACE_TABLES"]
REPLACEMENTS = 60


def tells_its_version(content):
    """The rule of replaceTables.cpp: a table is filled with its version."""
    if content.table_id == PAT_ID:
        return {pid for _, pid in content.body} == {0x100 + content.version}
    if content.table_id == CAT_ID:
        return content.version == 0
    network, streams = content.body
    descriptors = network + sum((own for _, _, own in streams), ())
    return {byte for _, data in descriptors for byte in data} == {content.version}


class Course:
    """Follows the packets of one PID, each of which must be the next of its table or the first of a new version."""

    def __init__(self):
        self.abandoned = 0  # tables replaced before their last packet
        self.versions = []
        self._complete = {}  # (version, section number) -> bytes
        self._section = b""  # what has come of the section under way
        self._due = None  # (version, section number) that must start next unless a new version does

    def follow(self, packets):
        for packet in packets:
            if packet.unit_start:
                self._start(packet.payload)
            elif not self._section:
                raise AssertionError("a packet goes on where no section had begun")
            else:
                self._section += packet.payload
            self._finish()
        return self

    def _start(self, payload):
        if payload[0] != 0:
            raise AssertionError("pointer_field is not 0")
        version, number = payload[6] >> 1 & 0x1F, payload[7]
        if self._section or (version, number) != self._due:
            self._replace(version, number)
        self._section = payload[1:]
        self._due = version, number

    def _replace(self, version, number):
        """A table begins that was not due: the first, or one that takes over."""
        if number != 0:
            raise AssertionError(f"version {version} starts with section {number}, due was {self._due}")
        if self._due and version == self._due[0]:
            raise AssertionError(f"version {version} starts again before it has ended")
        if self._section or (self._due and self._due[1] != 0):
            self.abandoned += 1
        self.versions.append(version)

    def _finish(self):
        version, number = self._due
        size = mpegts.section_size(self._section)
        known = self._complete.get((version, number))
        if known and not (known + b"\xff" * 188).startswith(self._section):
            raise AssertionError(f"section {number} of version {version} has changed on its way")
        if len(self._section) < size:
            return
        section = self._section[:size]
        content = mpegts.decode(section)
        if not tells_its_version(content):
            raise AssertionError(f"section {number} of version {version} holds parts of another")
        self._complete[version, number] = section
        self._section = b""
        self._due = version, (number + 1) % (content.last_number + 1)

    def complete_tables(self):
        """The versions of which every section came in whole."""
        counts = {}
        for (version, _), section in self._complete.items():
            counts.setdefault(version, [0, section[7] + 1])[0] += 1
        return {version for version, (came, all_of_them) in counts.items() if came == all_of_them}


class Replacement(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        receiver = Receiver()
        cls.addClassCleanup(receiver.close)
        child = Child([REPLACE_TABLES, receiver.port, REPLACEMENTS])
        cls.addClassCleanup(child.end)
        cls.status = child.wait()
        cls.recording = receiver.stop()
        cls.story = str(child)

    def test_it_ends_by_itself(self):
        self.assertEqual(self.status, 0, self.story)

    def test_counters_run_on_over_every_replacement(self):
        for pid in (PAT_PID, CAT_PID, NIT_PID):
            packets = self.recording.packets(pid)
            self.assertGreater(len(packets), 100, pid)
            self.assertEqual(mpegts.counter_breaks(packets), [], pid)

    def test_a_table_that_takes_over_starts_at_its_first_packet_and_never_mixes_with_the_old(self):
        for pid in (PAT_PID, NIT_PID):
            with self.subTest(pid=pid):
                course = Course().follow(self.recording.packets(pid))
                self.assertGreater(course.abandoned, REPLACEMENTS // 4)
                self.assertGreater(len(course.complete_tables()), 3)

    def test_versions_take_over_in_the_order_they_were_handed_in(self):
        for pid in (PAT_PID, NIT_PID):
            with self.subTest(pid=pid):
                versions = Course().follow(self.recording.packets(pid)).versions
                steps = [(after - before) % 32 for before, after in zip(versions, versions[1:])]
                self.assertEqual(versions[0] + sum(steps), REPLACEMENTS - 1, versions)

    def test_a_table_that_stays_is_neither_changed_nor_delayed(self):
        course = Course().follow(self.recording.packets(CAT_PID))
        self.assertEqual((course.versions, course.abandoned), ([0], 0))
        self.assertAlmostEqual(mean_interval(self.recording.starts(CAT_PID)), 0.2, delta=0.002)

    def test_it_is_the_tables_that_were_handed_in(self):
        last = (REPLACEMENTS - 1) % 32
        pats = [mpegts.decode(section) for section in self.recording.sections(PAT_PID)]
        programs = {number: {p for c in pats if c.number == number for p, _ in c.body} for number in range(3)}
        self.assertEqual(sorted(sum(map(sorted, programs.values()), [])), list(range(1, 251)))
        self.assertIn(last, {content.version for content in pats})
        nits = [mpegts.decode(section) for section in self.recording.sections(NIT_PID)]
        streams = {tsid for content in nits for tsid, _, _ in content.body[1]}
        self.assertEqual(streams, set(range(1, 13)))


if __name__ == "__main__":
    unittest.main()
