"""The dump files, held against the sections on the wire."""

import os
import signal
import tempfile
import unittest
from pathlib import Path

import mpegts
from mpegts import CAT_PID, NIT_PID, PAT_PID
from program import CAT, NIT, PAT, play, table_set, wait_until
from recording import Receiver

# More programs than a section holds.
LARGE_PAT = {**PAT, "programs": [{"program_number": i, "pid": 0x100 + i} for i in range(1, 251)]}
FILES = {
    "PAT": ("table_PAT_3.bin", PAT_PID),
    "CAT": ("table_CAT_7.bin", CAT_PID),
    "NITact": ("table_NITact_11.bin", NIT_PID),
}


class Dumps(unittest.TestCase):
    def setUp(self):
        self.tables, self.dumps = (self.directory() for _ in range(2))
        self.receiver = Receiver()
        self.addCleanup(self.receiver.close)

    def directory(self):
        made = tempfile.TemporaryDirectory()
        self.addCleanup(made.cleanup)
        return Path(made.name)

    def play(self, **tables):
        file = table_set(self.tables, **tables)
        child = play([file], "127.0.0.1", self.receiver.port, "--dump", self.dumps)
        self.addCleanup(child.end)
        return child

    def on_air(self, pid):
        """The sections of a table by number, once all of them have been seen."""
        sections = {section[6]: section for section in self.receiver.recording.sections(pid)}
        if not sections or len(sections) <= max(section[7] for section in sections.values()):
            return []
        return [sections[number] for number in sorted(sections)]

    def test_they_hold_exactly_what_is_on_air_and_go_with_it(self):
        other = self.dumps / "notes.txt"
        other.write_text("kept")
        child = self.play(pat=LARGE_PAT, cat=CAT, nit=NIT)
        wait_until(lambda: all(self.on_air(pid) for _, pid in FILES.values()), child)
        for table, (file, pid) in FILES.items():
            with self.subTest(table):
                sections = self.on_air(pid)
                self.assertEqual(len(sections), 3 if table == "PAT" else 1)
                self.assertTrue(all(map(mpegts.crc_holds, sections)))
                self.assertEqual(mpegts.split_sections((self.dumps / file).read_bytes()), sections)
                self.assertEqual(os.readlink(self.dumps / f"current_{table}.bin"), file)
        names = {name for table, (file, _) in FILES.items() for name in (file, f"current_{table}.bin")}
        self.assertEqual(set(os.listdir(self.dumps)), names | {other.name})
        child.signal(signal.SIGINT)
        self.assertEqual(child.wait(), 0, child)
        self.assertEqual(os.listdir(self.dumps), [other.name])

    def test_a_table_that_is_not_in_the_set_has_no_file(self):
        child = self.play(cat=CAT)
        wait_until(lambda: self.on_air(CAT_PID), child)
        self.assertEqual(set(os.listdir(self.dumps)), {"table_CAT_7.bin", "current_CAT.bin"})


if __name__ == "__main__":
    unittest.main()
