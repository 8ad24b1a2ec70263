"""What `watch` says of streams: of some with a known fault, of recordings as tshark sees them, and of our own output."""

import json
import signal
import subprocess
import tempfile
import unittest
from collections import defaultdict
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import captures
import limits
import madestream
from madestream import EIT_PID, PAT_PID, PMT_PID, SDT_PID, SLOT, TIME_PID, Stream
from program import PAT, play, record, servicemux, table_set, wait_until
from recording import Receiver

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
LIMIT_BROKEN = 4
JITTER = 2.5  # ms that a made stream's tables move, since each packet has a slot
STAMPING = 0.0005


def watch(source, *options):
    """Exit status, report and what was said on stderr."""
    child = servicemux("watch", source, "--json", *options)
    try:
        status = child.wait()
        if not child.output:
            raise AssertionError(str(child))
        return status, json.loads(child.output), child.errors
    finally:
        child.end()


def broken(report):
    return [f"{fault['where']}: {fault['what']}" for fault in report["broken"]]


def by_name(report):
    return {table["name"]: table for table in report["tables"]}


class OfMadeStreams(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)

    def file(self, data, name="stream.ts"):
        path = self.directory / name
        path.write_bytes(data)
        return path

    def pcap(self, stream, name="stream.pcap"):
        return madestream.write_pcap(self.directory / name, stream.timed())

    def watch(self, stream, *options):
        return watch(self.pcap(stream), *options)

    def assert_named(self, stream, *expected):
        """Each of the faults is named, and nothing else; they count with --strict."""
        status, report, _ = self.watch(stream, "--strict")
        self.assertEqual(status, LIMIT_BROKEN)
        faults = broken(report)
        self.assertEqual(len(faults), len(expected), faults)
        for part in expected:
            self.assertTrue(any(part in fault for fault in faults), f"{part} is not in {faults}")
        self.assertEqual(self.watch(stream)[0], 0)


class WithoutAFault(OfMadeStreams):
    def test_nothing_is_broken(self):
        status, report, errors = self.watch(Stream(), "--strict")
        self.assertEqual((status, broken(report), report["times"]), (0, [], "arrivals"), errors)
        self.assertAlmostEqual(report["mean_kbps"], madestream.KBPS, delta=1)

    def test_every_figure_is_that_of_the_stream(self):
        report = self.watch(Stream(pcrs=False))[1]
        names = ["PAT", "SDT actual", "SDT other 2/8325", "EIT p/f actual 101", "EIT p/f other 101", "TDT", "PMT 101"]
        self.assertEqual([table["name"] for table in report["tables"]], names)
        tables = by_name(report)
        for name, version, size, period, limit in (
            ("PAT", 3, 20, 200, 500),
            ("PMT 101", 5, 16, 200, 500),
            ("SDT actual", 4, 415, 500, 2000),
            ("SDT other 2/8325", 4, 15, 2000, 10000),
            ("EIT p/f actual 101", 2, 36, 1000, 2000),
            ("EIT p/f other 101", 2, 18, 2000, 10000),
            ("TDT", None, 8, 1000, 30000),
        ):
            with self.subTest(name):
                table = tables[name]
                self.assertEqual((table["version_number"], table["bytes"]), (version, size))
                intervals = table["intervals"]
                self.assertEqual(intervals["limit"]["maximum"], limit)
                for figure in ("minimum", "mean", "maximum"):
                    self.assertAlmostEqual(intervals[figure], period, delta=JITTER)
        self.assertEqual(tables["EIT p/f actual 101"]["sections"], {"seen": 2, "last_section_number": 1})
        self.assertAlmostEqual(tables["EIT p/f actual 101"]["gaps"]["shortest"], 100, delta=JITTER)

    def test_arrivals_pcrs_and_a_bitrate_give_the_same_intervals(self):
        stream, plain = Stream(), Stream(pcrs=False)
        for arrivals, other, options, source in (
            (self.pcap(stream, "a.pcap"), self.file(stream.data(), "a.ts"), (), "pcr"),
            (self.pcap(plain, "b.pcap"), self.file(plain.data(), "b.ts"), ("--bitrate", madestream.KBPS), "bitrate"),
        ):
            with self.subTest(source):
                expected, found = watch(arrivals)[1], watch(other, *options)[1]
                self.assertEqual(found["times"], source)
                self.assertEqual(found["tables"].__len__(), expected["tables"].__len__())
                for before, after in zip(expected["tables"], found["tables"]):
                    for figure in ("minimum", "mean", "maximum"):
                        self.assertAlmostEqual(
                            before["intervals"][figure], after["intervals"][figure], delta=0.01, msg=before["name"]
                        )

    def test_a_pipe_is_read_like_a_file(self):
        path = self.file(Stream().data())
        child = servicemux("watch", "-", "--json", prefix=("sh", "-c", f'cat {path} | "$0" "$@"'))
        self.addCleanup(child.end)
        self.assertEqual(child.wait(), 0, str(child))
        self.assertEqual(json.loads(child.output), watch(path)[1])

    def test_without_times_it_says_that_intervals_are_not_judged(self):
        stream = Stream(pcrs=False)
        stream.stop(PAT_PID, 3)
        status, report, errors = watch(self.file(stream.data()), "--strict")
        self.assertEqual((status, report["times"], broken(report)), (0, "none", []))
        self.assertIn("are not judged", errors)

    def test_a_packet_may_come_twice(self):
        stream = Stream()
        stream.repeat(SDT_PID, 6)  # the last of a section
        status, report, _ = self.watch(stream, "--strict")
        self.assertEqual((status, broken(report)), (0, []))
        self.assertEqual([pid["doubled_packets"] for pid in report["pids"] if pid["pid"] == SDT_PID], [1])

    def test_the_duration_is_that_of_the_stream(self):
        report = self.watch(Stream(), "--duration", 2)[1]
        self.assertAlmostEqual(report["elapsed"], 2000, delta=2)


class WithAFault(OfMadeStreams):
    def test_a_lost_packet(self):
        stream = Stream()
        stream.drop(SDT_PID, 9)  # in the middle of a section
        self.assert_named(stream, "PID 0x0011: 1 continuity error", "PID 0x0011: 1 section cut short")

    def test_a_flipped_bit(self):
        for pid, nth, name in ((PAT_PID, 4, "PAT"), (EIT_PID, 4, "EIT p/f other 101"), (PMT_PID, 4, "PMT 101")):
            with self.subTest(name):
                stream = Stream()
                if pid == EIT_PID:
                    nth = next(n for n in range(99) if stream.packets[stream.find(pid, n)][5] == 0x4F)
                    nth = next(n for n in range(nth + 1, 99) if stream.packets[stream.find(pid, n)][5] == 0x4F)
                stream.flip(pid, nth, 5 + 12)
                self.assert_named(stream, f"{name} on PID 0x{pid:04X}: 1 section with a wrong CRC")

    def test_a_packet_that_came_three_times(self):
        stream = Stream()
        stream.repeat(SDT_PID, 9, times=2)
        self.assert_named(stream, "PID 0x0011: 1 continuity error")

    def test_the_transport_error_indicator(self):
        stream = Stream()
        stream.flip(PAT_PID, 5, 1, 0x80)
        self.assert_named(stream, "PID 0x0000: 1 packet with transport_error_indicator")

    def test_a_late_table(self):
        for pid, name, limit in ((PAT_PID, "PAT", 500), (PMT_PID, "PMT 101", 500)):
            with self.subTest(name):
                stream = Stream()
                for nth in (5, 5, 5):
                    stream.packets[stream.find(pid, nth)] = madestream.NULL_PACKET
                # The counter goes on, so that nothing but the time is wrong.
                self._renumber(stream, pid)
                self.assert_named(stream, f"{name} on PID 0x{pid:04X}: ")
                self.assertRegex(broken(self.watch(stream)[1])[0], rf"(79|80)\d\.\d ms of {limit} ms")

    def test_a_table_that_stops(self):
        stream = Stream(8)
        stream.stop(SDT_PID, 12)
        self.assert_named(stream, "SDT actual on PID 0x0011: came last ")

    def test_a_gap_of_20_ms(self):
        tables = [*madestream.TABLES, madestream.Table(SDT_PID, madestream.sdt(0x4A, 9), 3, 0.7)]
        near = madestream.Table(SDT_PID, madestream.sdt(0x4A, 9), 3, 0.72)
        status, report, _ = self.watch(Stream(tables=tables), "--strict")
        self.assertEqual((status, broken(report)), (0, []))
        self.assert_named(Stream(tables=[*tables, near]), "BAT 9 on PID 0x0011: ")
        fault = broken(self.watch(Stream(tables=[*tables, near]))[1])[0]
        self.assertRegex(fault, r"(19|2[0-2])\.\d ms of 25 ms \(EN 300 468 clause 5\.1\.4\.1\)")

    def test_a_loss_of_sync(self):
        stream = Stream()
        at = next(i for i in range(200, 999) if all(stream.packets[i + n] is madestream.NULL_PACKET for n in (-1, 0)))
        data = b"".join(stream.packets[:at]) + bytes(100) + b"".join(stream.packets[at:])
        status, report, _ = watch(self.file(data), "--strict")
        self.assertEqual(status, LIMIT_BROKEN)
        self.assertEqual(broken(report), ["input: 1 loss of sync"])
        self.assertEqual(report["input"]["skipped_bytes"], 100)

    def test_a_lost_rtp_packet(self):
        stream = Stream()
        timed = []
        for sequence, first in enumerate(range(0, len(stream.packets) - 6, 7)):
            head = bytes([0x80, 33]) + (sequence & 0xFFFF).to_bytes(2, "big") + bytes(8)
            timed.append((1.7e9 + first * SLOT, head + b"".join(stream.packets[first : first + 7])))
        del timed[50]
        _, report, _ = watch(madestream.write_pcap(self.directory / "rtp.pcap", timed))
        self.assertIn("input: 1 RTP packet lost", broken(report))

    @staticmethod
    def _renumber(stream, pid):
        counter = 0
        for i, packet in enumerate(stream.packets):
            if madestream.pid_of(packet) == pid:
                stream.packets[i] = packet[:3] + bytes([packet[3] & 0xF0 | counter]) + packet[4:]
                counter = (counter + 1) % 16


# What tshark calls what tells the sections of a table_id apart.
TSHARK_NUMBERS = {
    "PAT": ("mpeg_pat.tsid", "mpeg_pat.sect_num"),
    "PMT": ("mpeg_pmt.pg_num", "mpeg_pmt.sect_num"),
    "NIT": ("dvb_nit.sid", "dvb_nit.sect_num"),
    "SDT": ("dvb_sdt.tsid", "dvb_sdt.sect_num"),
    "EIT": ("dvb_eit.sid", "dvb_eit.sect_num"),
}
TSHARK_IDS = {0x00: "PAT", 0x02: "PMT", 0x40: "NIT", 0x42: "SDT", **dict.fromkeys(limits.mpegts.EIT_IDS, "EIT")}


def tshark_intervals(path):
    """{(pid, table_id, extension): every interval in ms}, of each section by itself."""
    fields = ["frame.time_epoch", "mp2t.pid", "mpeg_sect.tid", *(name for names in TSHARK_NUMBERS.values() for name in names)]
    options = [option for name in fields for option in ("-e", name)]
    command = ["tshark", "-r", path, "-d", "udp.port==5004,mp2t", "-T", "fields", "-E", "occurrence=a", *options]
    done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=True)
    last, intervals = {}, defaultdict(list)
    for line in done.stdout.splitlines():
        row = dict(zip(fields, line.split("\t")))
        ids = [int(text, 0) for text in row["mpeg_sect.tid"].split(",") if text]
        if len(ids) != 1 or ids[0] not in TSHARK_IDS:
            continue
        extension, number = (row[name] for name in TSHARK_NUMBERS[TSHARK_IDS[ids[0]]])
        if not extension or not number:
            continue
        table = int(row["mp2t.pid"], 0), ids[0], int(extension, 0)
        time, key = float(row["frame.time_epoch"]), (table, int(number, 0))
        if key in last:
            intervals[table].append(1000 * (time - last[key]))
        last[key] = time
    return intervals


class OfOurOwnOutput(unittest.TestCase):
    """Recorded once with each timing, and written down with one packet a frame, so that tshark tells them apart."""

    SECONDS = 12
    TIMINGS = ("classic", "standards")

    @classmethod
    def setUpClass(cls):
        directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(directory.cleanup)
        sleeper = limits.Sleeper()
        with ThreadPoolExecutor() as pool:
            running = {timing: pool.submit(cls._record, timing) for timing in cls.TIMINGS}
            played = {timing: future.result() for timing, future in running.items()}
        cls.late = sleeper.stop() + STAMPING
        cls.recordings = {}
        for timing, found in played.items():
            path = Path(directory.name) / f"{timing}.pcap"
            timed = found.recording.timed_packets()
            madestream.write_pcap(path, [(time, packet.raw) for time, packet in timed])
            cls.recordings[timing] = path, timed, watch(path)[1]

    @classmethod
    def _record(cls, timing):
        return record(
            [EXAMPLES / "dvb-t.json"], "--timing", timing, "--duration", cls.SECONDS, "--period", "eit_schedule_actual=9000",
            "--period", "eit_schedule_other=9000", "--bitrate", 2000
        )

    def test_tshark_sees_the_same_intervals(self):
        for timing, (path, _, report) in self.recordings.items():
            expected = tshark_intervals(path)
            self.assertGreater(len(expected), 15)
            found = {(table["pid"], table["table_id"], table["table_id_extension"]): table for table in report["tables"]}
            for table, intervals in expected.items():
                with self.subTest(timing=timing, table=table):
                    seen = found[table]["intervals"]
                    self.assertEqual(seen["count"], len(intervals))
                    self.assertAlmostEqual(seen["minimum"], min(intervals), delta=0.002)
                    self.assertAlmostEqual(seen["mean"], sum(intervals) / len(intervals), delta=0.002)
                    self.assertAlmostEqual(seen["maximum"], max(intervals), delta=0.002)

    def test_gaps_are_those_between_the_sections(self):
        for timing, (_, timed, report) in self.recordings.items():
            shortest = {}
            ends = {}
            for section in limits.sections_of(timed):
                key = section.table[:3]
                if key in ends:
                    shortest[key] = min(shortest.get(key, 1e9), 1000 * (section.begin - ends[key]))
                ends[key] = section.end
            self.assertGreater(len(shortest), 10)
            found = {}
            for table in report["tables"]:
                key = table["pid"], table["table_id"], table["table_id_extension"]
                gap = table["gaps"]["shortest"]
                if gap is not None:
                    found[key] = min(found.get(key, 1e9), gap)
            for key, gap in shortest.items():
                self.assertAlmostEqual(found[key], gap, delta=0.002, msg=f"{timing} {key}")

    def test_with_standards_no_limit_is_broken(self):
        _, _, report = self.recordings["standards"]
        # What the machine adds is no fault of the stream.
        for table in report["tables"]:
            with self.subTest(table["name"]):
                intervals, gap = table["intervals"], table["gaps"]["shortest"]
                if intervals["limit"] and intervals["maximum"] is not None:
                    self.assertLessEqual(intervals["maximum"], intervals["limit"]["maximum"] + 1000 * self.late)
                if gap is not None:
                    self.assertGreaterEqual(gap, limits.GAP * 1000 - 1000 * self.late)
        for pid in report["pids"]:
            self.assertEqual((pid["continuity_errors"], pid["crc_errors"], pid["syntax_errors"]), (0, 0, 0))

    def test_with_classic_no_distance_is_kept(self):
        _, _, report = self.recordings["classic"]
        self.assertTrue([fault for fault in broken(report) if "of 25 ms" in fault], broken(report))
        for pid in report["pids"]:
            self.assertEqual((pid["crc_errors"], pid["syntax_errors"], pid["cut_sections"]), (0, 0, 0))


class OfOurOwnPsip(unittest.TestCase):
    """Recorded with each timing: MGT, VCT and STT have the shortest periods there are."""

    SECONDS = 8
    TABLES = {"ATSC MGT": 150, "ATSC VCT terrestrial": 400, "ATSC STT": 1000}

    @classmethod
    def setUpClass(cls):
        sleeper = limits.Sleeper()
        with ThreadPoolExecutor() as pool, tempfile.TemporaryDirectory() as directory:
            running = {timing: pool.submit(cls._watch, Path(directory), timing) for timing in ("classic", "standards")}
            cls.reports = {timing: future.result() for timing, future in running.items()}
        cls.late = 1000 * (sleeper.stop() + STAMPING)

    @classmethod
    def _watch(cls, directory, timing):
        played = record([EXAMPLES / "atsc.json"], "--timing", timing, "--duration", cls.SECONDS)
        timed = [(datagram.time, datagram.payload) for datagram in played.recording.datagrams]
        return watch(madestream.write_pcap(directory / f"{timing}.pcap", timed))[1]

    def test_the_limits_are_those_of_psip(self):
        for report in self.reports.values():
            tables = by_name(report)
            self.assertEqual({name: tables[name]["intervals"]["limit"]["maximum"] for name in self.TABLES}, self.TABLES)

    def test_with_standards_they_hold(self):
        for name, limit in self.TABLES.items():
            self.assertLessEqual(by_name(self.reports["standards"])[name]["intervals"]["maximum"], limit + self.late)

    def test_with_classic_some_are_late(self):
        late = [name for name in self.TABLES if by_name(self.reports["classic"])[name]["intervals"]["late"]]
        self.assertIn("ATSC MGT", late)
        self.assertIn("ATSC MGT on PID 0x1FFB: ", " ".join(broken(self.reports["classic"])))


class Live(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        receiver = Receiver()
        self.port = receiver.port
        receiver.close()

    def start(self, *options):
        child = servicemux("watch", f"udp://127.0.0.1:{self.port}", *options)
        self.addCleanup(child.end)
        return child

    def play(self):
        player = play([table_set(self.directory, pat=PAT)], "127.0.0.1", self.port)
        self.addCleanup(player.end)
        return player

    def test_what_is_played_is_watched(self):
        child = self.start()
        self.play()
        # Its PMT is not there.
        wait_until(lambda: "PMT 101 on PID 0x0101 has not come" in child.output, child)
        child.signal(signal.SIGINT)
        self.assertEqual(child.wait(), 0, str(child))
        row = next(line for line in child.output.splitlines() if line.startswith("  PAT "))
        self.assertEqual(row.split()[:3], ["PAT", "0x0000", "3"])
        self.assertIn(" watched by arrival times", child.output)

    def test_what_goes_away_is_late_while_nothing_comes(self):
        child = self.start("--strict")
        player = self.play()
        wait_until(lambda: "1 PID   " in child.output, child)
        player.end()
        wait_until(lambda: child.output.count("PAT on PID 0x0000 came last") > 1, child)
        child.signal(signal.SIGTERM)
        self.assertEqual(child.wait(), LIMIT_BROKEN, str(child))
        self.assertIn("PAT on PID 0x0000: came last ", child.output)

    def test_json_tells_that_nothing_came(self):
        child = self.start("--json", "--duration", 1)
        self.assertEqual(child.wait(), 0, str(child))
        report = json.loads(child.output)
        self.assertEqual((report["packets"], broken(report)), (0, ["input: no packet"]))

    def test_a_stream_without_packets_is_a_fault(self):
        child = self.start("--duration", 1, "--strict", "--quiet")
        self.assertEqual(child.wait(), LIMIT_BROKEN, str(child))
        self.assertEqual((child.output, child.errors), ("", ""))


class OfBroadcasts(unittest.TestCase):
    def test_tshark_counts_the_same_errors(self):
        for path in captures.broadcast("dvb-t-si.ts", "dvb-table-updates.ts", "dvb-scrambled-service.ts"):
            with self.subTest(path.name):
                report = watch(path)[1]
                command = ["tshark", "-r", path, "-T", "fields", "-e", "mp2t.pid", "-e", "mp2t.analysis.skips"]
                done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=True)
                skips = defaultdict(int)
                packets = defaultdict(int)
                for line in done.stdout.splitlines():
                    pid, skipped = line.split("\t")
                    packets[int(pid, 0)] += 1
                    skips[int(pid, 0)] += 1 if skipped else 0
                for pid in report["pids"]:
                    self.assertEqual(pid["packets"], packets[pid["pid"]])
                    if pid["pid"] != 0x1FFF:
                        self.assertEqual(pid["continuity_errors"], skips[pid["pid"]], hex(pid["pid"]))


if __name__ == "__main__":
    unittest.main()
