"""How the programs end: on a signal, and on input that they cannot take."""

import json
import os
import signal
import tempfile
import unittest
from pathlib import Path

import mpegts
from program import NIT, PAT, play, servicemux, table_set, wait_until
from recording import Receiver

BAD_INPUT, BAD_USAGE = 1, 2


def pat_with(**fields):
    return {"pat": {**PAT, **fields}}


def nit_with(original_network_id=1, **fields):
    stream = {"transport_stream_id": 1, "original_network_id": original_network_id, "descriptors": []}
    return {"nit": {**NIT, "transport_streams": [stream], **fields}}


class Scratch(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)

    def run_to_end(self, *arguments):
        child = servicemux(*arguments)
        self.addCleanup(child.end)
        return child, child.wait()


class Signals(Scratch):
    def test_they_end_it_cleanly(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            for options in ((), ("--quiet",)):
                with self.subTest(number.name, options=options):
                    self.check(number, options)

    def check(self, number, options):
        receiver = Receiver()
        self.addCleanup(receiver.close)
        child = play([table_set(self.directory, pat=PAT)], "127.0.0.1", receiver.port, *options)
        self.addCleanup(child.end)
        wait_until(lambda: receiver.recording.datagrams, child)
        child.signal(number)
        self.assertEqual(child.wait(), 0, child)
        self.assertEqual(mpegts.decode(receiver.stop().sections(0)[0]).version, 3)
        self.assertEqual(bool(child.output), not options, child)
        self.assertNotIn("servicemux: ", child.errors)


class Refusals(Scratch):
    """One line on stderr that tells what is wrong and where, and the exit status of its kind."""

    def check(self, status, words, *arguments):
        child, ended = self.run_to_end(*arguments)
        self.assertEqual(ended, status, child)
        self.assertEqual(child.errors.count("\n"), 1, child)
        self.assertTrue(child.errors.startswith("servicemux: "), child)
        self.assertTrue(child.errors.endswith("\n"), child)
        for word in words:
            self.assertIn(word, child.errors)
        self.assertEqual(child.output, "")

    def check_play(self, status, words, file, *options):
        self.check(status, words, "play", file, "--to", "127.0.0.1:9", "--duration", 1, *options)

    def check_file(self, words, name, content):
        """Such a file is refused both ways."""
        path = self.directory / name
        path.write_bytes(content)
        for command in (self.check_play, lambda status, words, file: self.check(status, words, "import", file)):
            command(BAD_INPUT, [str(path), *words], path)

    def check_tables(self, words, **tables):
        self.check_file(words, "tables.json", json.dumps(tables).encode())

    def test_table_sets_with_a_wrong_field(self):
        descriptors = "/nit/descriptors/0"
        for words, tables in (
            (["/pat", "colour"], pat_with(colour=1)),
            (["pta"], {"pta": PAT}),
            (["/pat", "transport_stream_id"], {"pat": {"version_number": 0, "programs": []}}),
            (["/pat/version_number", "three"], pat_with(version_number="three")),
            (["/pat/version_number", "1.5"], pat_with(version_number=1.5)),
            (["/pat/programs"], pat_with(programs={})),
            (["/pat/programs/0/pid", "9000"], pat_with(programs=[{"program_number": 1, "pid": 9000}])),
            (["/pat/transport_stream_id", "-1"], pat_with(transport_stream_id=-1)),
            (["/pat/transport_stream_id"], pat_with(transport_stream_id=10**30)),
            ([f"{descriptors}/data", "xyz"], nit_with(descriptors=[{"tag": 1, "data": "xyz"}])),
            ([f"{descriptors}/data", "3 hex digits"], nit_with(descriptors=[{"tag": 1, "data": "abc"}])),
            ([descriptors, "256"], nit_with(descriptors=[{"tag": 1, "data": "00" * 256}])),
            ([f"{descriptors}/tag", "256"], nit_with(descriptors=[{"tag": 256, "data": ""}])),
            (["/nit/transport_streams/0/original_network_id", "65536"], nit_with(original_network_id=65536)),
        ):
            with self.subTest(words):
                self.check_tables(words, **tables)

    def test_files_that_are_no_table_set(self):
        for name, content in {
            "empty": b"",
            "cut": b'{"pat": {',
            "a list": b"[]",
            "a number": b"1",
            "binary": bytes(range(256)),
            "deep": b"[" * 100000,
            "not UTF-8": b'{"\xff": 1}',
        }.items():
            with self.subTest(name):
                self.check_file([], "tables.json", content)

    def test_sections_that_are_cut(self):
        pat = mpegts.build_pat(1, 0, [(1, 256)])
        self.check_file([], "sections.bin", pat + pat[:7])

    def test_files_that_cannot_be_read(self):
        (self.directory / "directory.json").mkdir()
        for name in ("missing.json", "missing.ts", "directory.json"):
            with self.subTest(name):
                path = self.directory / name
                self.check_play(BAD_INPUT, [str(path)], path)
                self.check(BAD_INPUT, [str(path)], "import", path)

    def test_destinations_that_are_none(self):
        file = table_set(self.directory, pat=PAT)
        refused = {"127.0.0.1:65536": "65536", "127.0.0.1:0": '"0" is', "127.0.0.1:-1": "-1", "127.0.0.1:": '""',
                   "127.0.0.1:5004x": "5004x", "127.0.0.1:99999999999999999999": "99999999999999999999",
                   "127.0.0.1": "127.0.0.1", ":5004": '""', "127.0.0.256:1": "127.0.0.256",
                   "::1:5004": "brackets", "[::g]:5004": "::g", "tcp://127.0.0.1:9": "tcp://", "file:": "file:",
                   "": "--to"}
        for to, named in refused.items():
            with self.subTest(to):
                self.check(BAD_USAGE, ["--to", named], "play", file, "--to", to)

    def test_options_out_of_range(self):
        file = table_set(self.directory, pat=PAT)
        wrong = {
            "--vlan": ("0", "4"),
            "--ttl": ("0", "256"),
            "--dscp": ("-1", "64"),
            "--bitrate": ("0", "100001", "-1", "fast"),
            "--null-period": ("-5", "99999999999"),
            "--duration": ("-1", "nan", "soon"),
        }
        for option, value in ((option, value) for option, values in wrong.items() for value in values):
            with self.subTest(option, value=value):
                self.check(BAD_USAGE, [option, value], "play", file, "--to", "127.0.0.1:9", option, value)

    def test_options_that_do_not_go_together(self):
        file = table_set(self.directory, pat=PAT)
        device = ("--device-addressing",)
        for words, arguments in (
            (["--vlan", "--device-addressing"], ("--to", "127.0.0.1:9", "--vlan", 1)),
            (["--device-addressing", "--interface"], ("--to", "127.0.0.1:9", *device, "--interface", "lo")),
            (["--device-addressing", "--ttl"], ("--to", "127.0.0.1:9", *device, "--ttl", 3)),
            (["--device-addressing", "--dscp"], ("--to", "127.0.0.1:9", *device, "--dscp", 3)),
            (["--to", "one destination"], ("--to", "127.0.0.1:9", "--to", "127.0.0.1:10", *device)),
            (["--to", "UDP"], ("--to", "rtp://127.0.0.1:9", *device)),
            (["--to", "::1"], ("--to", "[::1]:9", *device)),
            (["--to", "localhost"], ("--to", "localhost:9", *device)),
            (["--to", "twice"], ("--to", "-", "--to", "127.0.0.1:9", "--to", "-")),
        ):
            with self.subTest(arguments):
                self.check(BAD_USAGE, words, "play", file, *arguments)

    def test_command_lines_that_are_none(self):
        file = table_set(self.directory, pat=PAT)
        to = ("--to", "127.0.0.1:9")
        for arguments in (
            (),
            ("sing",),
            ("import",),
            ("play",),
            ("play", file),
            ("play", *to),
            ("play", file, *to, "--louder"),
        ):
            with self.subTest(arguments):
                self.check(BAD_USAGE, [], *arguments)

    def test_dump_directories_that_would_do_harm(self):
        file = table_set(self.directory, pat=PAT)
        victim = self.directory / "victim"
        foreign = self.directory / "foreign"
        foreign.mkdir()
        (foreign / "firmware.bin").write_bytes(b"precious")
        endings = ("a;touch {};", "$(touch {})", "`touch {}`", "a b", "*", "a\ntouch {}\n")
        shell = [f"{self.directory}/{ending.format(victim)}" for ending in endings]
        for name in shell:
            os.makedirs(name, exist_ok=True)
        for name in (*shell, str(foreign), str(self.directory / "missing"), str(file), ""):
            with self.subTest(name):
                self.check_play(BAD_USAGE, ["--dump"], file, "--dump", name)
                self.assertFalse(victim.exists())
        self.assertEqual((foreign / "firmware.bin").read_bytes(), b"precious")


if __name__ == "__main__":
    unittest.main()
