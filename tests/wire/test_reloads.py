"""Two hundred random edits of ten services that are on air: what is edited becomes the next version of its table, and
nothing else notices."""

import json
import random
import tempfile
import time
import unittest
from collections import defaultdict
from pathlib import Path

import limits
import mpegts
from mpegts import CAT_ID, CAT_PID, NIT_ACTUAL_ID, NIT_PID, PAT_ID, PAT_PID, SDT_ACTUAL_ID, SDT_PID
import program
from program import play, servicemux
from recording import Receiver

EDITS = 200
SEED = 20261121
SERVICES = range(101, 111)
STREAM, NETWORK = 1, 0x2085
KBPS = 2000
STAMPING = 0.0005  # the kernel stamps a datagram a little after it is sent
PATIENCE = 20  # seconds; only what never comes needs them
# So that an edit of many sections is soon on the wire as a whole.
SET_PERIODS = {"eit_pf_actual": 500, "eit_schedule_actual": 1000}
PERIODS = {**limits.PERIODS, limits.EIT_PF_ACTUAL_ID: 0.5, 0x50: 1}
GONE = 0.1  # seconds until nothing is under way any more of a table that was taken off

EIT_PID, EIT_PF_ID, EIT_SCHEDULE_ID = mpegts.EIT_PID, limits.EIT_PF_ACTUAL_ID, 0x50


def name(dice):
    return "".join(dice.choices("abcdefgh ", k=dice.randrange(3, 40)))


def short_event(dice):
    return {"short_event": {"ISO_639_language_code": "eng", "event_name": name(dice), "text": name(dice)}}


def event(number, start, hours, dice):
    day, hour = divmod(start, 24)
    return {
        "event_id": number,
        "start_time": f"2026-11-{21 + day:02}T{hour:02}:00:00Z",
        "duration": f"{hours:02}:00:00",
        "descriptors": [short_event(dice)],
    }


def head(service):
    return {"service_id": service, "transport_stream_id": STREAM, "original_network_id": NETWORK}


def eit_pf(service, dice):
    return {**head(service), "events": [event(1, 12, 1, dice), event(2, 13, 2, dice)]}


def eit_schedule(service, dice):
    starts = range(0, 6, 3)
    return {**head(service), "events": [event(number, start, 3, dice) for number, start in enumerate(starts)]}


def pmt(service, dice):
    streams = [
        {"stream_type": 27, "elementary_pid": 0x1000 + service, "descriptors": []},
        {
            "stream_type": 15,
            "elementary_pid": 0x1100 + service,
            "descriptors": [{"stream_identifier": {"component_tag": dice.randrange(256)}}],
        },
    ]
    return {"program_number": service, "pid": pmt_pid(service), "pcr_pid": dice.randrange(0x1000, 0x1F00),
            "streams": streams}


def pmt_pid(service):
    return 0x100 + service


def sdt(dice, stream=STREAM):
    services = [
        {
            "service_id": service,
            "running_status": "running",
            "descriptors": [{"service": {"service_type": 1, "provider": "", "name": name(dice)}}],
        }
        for service in SERVICES
    ]
    return {"transport_stream_id": stream, "original_network_id": NETWORK, "services": services}


def nit(dice):
    return {"network_id": 1, "descriptors": [{"network_name": {"name": name(dice)}}], "transport_streams": []}


def cat(dice):
    return {"descriptors": [{"tag": 9, "data": dice.randbytes(4).hex()}]}


def pat(dice):
    programs = [{"program_number": service, "pid": pmt_pid(service)} for service in SERVICES]
    return {"transport_stream_id": STREAM, "programs": [{"program_number": 0, "pid": dice.randrange(16, 32)}] + programs}


def stream_bytes(*numbers):
    return b"".join(number.to_bytes(2, "big") for number in numbers)


class Tables:
    """A table set whose parts have names: those of limits.Table of the tables that the part makes on the wire."""

    SINGLE = {
        "pat": (pat, limits.Table(PAT_PID, PAT_ID, STREAM)),
        "cat": (cat, limits.Table(CAT_PID, CAT_ID)),
        "nit": (nit, limits.Table(NIT_PID, NIT_ACTUAL_ID, 1)),
        "sdt_actual": (sdt, limits.Table(SDT_PID, SDT_ACTUAL_ID, STREAM, stream_bytes(NETWORK))),
    }
    LISTS = {"pmts": pmt, "eit_pf": eit_pf, "eit_schedule": eit_schedule}
    OPTIONAL = ["cat", "nit", *((field, service) for field in LISTS for service in SERVICES)]

    def __init__(self, dice):
        self.dice = dice
        self.parts = {}  # name -> JSON
        for part in self.all_parts():
            self.renew(part)

    @classmethod
    def all_parts(cls):
        return [*cls.SINGLE, *((field, service) for field in cls.LISTS for service in SERVICES)]

    def renew(self, part):
        if part in self.SINGLE:
            self.parts[part] = self.SINGLE[part][0](self.dice)
        else:
            self.parts[part] = self.LISTS[part[0]](part[1], self.dice)

    @classmethod
    def on_wire(cls, part):
        if part in cls.SINGLE:
            return [cls.SINGLE[part][1]]
        field, service = part
        if field == "pmts":
            return [limits.Table(pmt_pid(service), limits.PMT_ID, service)]
        stream = stream_bytes(STREAM, NETWORK)
        if field == "eit_pf":
            return [limits.Table(EIT_PID, EIT_PF_ID, service, stream)]
        return [limits.Table(EIT_PID, EIT_SCHEDULE_ID, service, stream)]

    def edit(self):
        """Changes something and returns the names of the parts that are other ones now, on air or not."""
        kind = self.dice.random()
        if kind < 0.2:
            part = self.dice.choice(self.OPTIONAL)
            if part in self.parts:
                del self.parts[part]
            else:
                self.renew(part)
            return {part}
        changed = set()
        for _ in range(1 if kind < 0.9 else 4):
            changed.add(self.dice.choice(list(self.parts)))
        for part in changed:
            self.change(part)
        return changed

    def change(self, part):
        before = self.parts[part]
        while self.parts[part] == before:
            self.renew(part)

    def set(self):
        whole = {part: value for part, value in self.parts.items() if part in self.SINGLE} | {"periods": SET_PERIODS}
        for field in self.LISTS:
            whole[field] = [self.parts[field, service] for service in SERVICES if (field, service) in self.parts]
        return whole


class Wire:
    """What has come of each table, kept up to date with a recording that goes on."""

    def __init__(self, recording):
        self.recording = recording
        self.read = 0
        self.collectors = defaultdict(mpegts.SectionCollector)
        self.latest = defaultdict(dict)  # table -> number -> section

    def update(self):
        datagrams = self.recording.datagrams[self.read :]
        self.read += len(datagrams)
        for datagram in datagrams:
            for packet in mpegts.split_packets(datagram.payload):
                for section in self.collectors[packet.pid].feed(packet):
                    self.add(limits._table_of(packet.pid, section), section)

    def add(self, table, section):
        known = self.latest[table]
        if any(other[5] != section[5] for other in known.values()):
            known.clear()
        known[section[6]] = section

    def version(self, table):
        """Of a table of which all has come; None while it has not."""
        known = self.latest[table]
        if not known:
            return None
        last = next(iter(known.values()))[7]
        if table.table_id in limits.SCHEDULE_IDS:
            numbers = {segment + i for segment in range(0, last + 1, 8) for i in range(self.segment_size(known, segment))}
        else:
            numbers = set(range(last + 1))
        return next(iter(known.values()))[5] >> 1 & 0x1F if set(known) == numbers else None

    @staticmethod
    def segment_size(known, segment):
        return known[segment][12] % 8 + 1 if segment in known else 1

    def sections(self, tables):
        return b"".join(section for table in tables for _, section in sorted(self.latest[table].items()))


def without_versions(value):
    if isinstance(value, dict):
        return {key: without_versions(part) for key, part in value.items() if key != "version_number"}
    return [without_versions(part) for part in value] if isinstance(value, list) else value


def imported(path):
    """What an import makes of a file, versions left out."""
    child = servicemux("import", path)
    try:
        if child.wait() != 0:
            raise AssertionError(str(child))
        tables = without_versions(json.loads(child.output))
        tables.pop("periods", None)
        return tables
    finally:
        child.end()


class Edit:
    def __init__(self, tables, begin, end):
        self.tables, self.begin, self.end = tables, begin, end


def setUpModule():
    global RUN
    program.PATIENCE = 220  # it plays for long
    with tempfile.TemporaryDirectory() as directory:
        RUN = Run(Path(directory))


class Run:
    def __init__(self, directory):
        self.file, self.directory = directory / "tables.json", directory
        self.dice = random.Random(SEED)
        self.tables = Tables(self.dice)
        self.versions = {table: 0 for part in self.tables.parts for table in Tables.on_wire(part)}
        self.edits, self.seen = [], []  # seen: what was on the wire and in the file after each edit
        self.write(self.file)
        sleeper, receiver = limits.Sleeper(), Receiver()
        try:
            self.child = play([self.file], "127.0.0.1", receiver.port, "--bitrate", KBPS)
            try:
                self.wire = Wire(receiver.recording)
                self.await_wire("at the beginning")
                self.begin = time.time()
                for number in range(EDITS):
                    self.edit(number)
                self.end = time.time()
                self.story = str(self.child)
                self.child.signal(2)
                self.status = self.child.wait()
            finally:
                self.child.end()
            self.recording = receiver.stop()
        finally:
            receiver.close()
            self.late = sleeper.stop() + STAMPING
        self.faults = [fault for number, seen in enumerate(self.seen) for fault in self.compare(number, *seen)]
        print(f"this machine woke up {1000 * self.late:.3f} ms late, which is allowed")

    def write(self, path):
        path.write_text(json.dumps(self.tables.set()))

    def edit(self, number):
        changed = self.tables.edit()
        begin = time.time()
        if number % 2:
            self.write(self.file)
        else:
            new = self.directory / "new.json"
            self.write(new)
            new.rename(self.file)
        self.await_takeover(number + 1)
        touched = [table for part in changed for table in Tables.on_wire(part)]
        for table in touched:
            if table in self.on_air():
                self.versions[table] = (self.versions[table] + 1) % 32
        self.edits.append(Edit(touched, begin, time.time()))
        self.await_wire(f"edit {number}")
        self.seen.append((self.wire.sections(self.on_air()), self.file.read_bytes()))

    def on_air(self):
        return {table for part in self.tables.parts for table in Tables.on_wire(part)}

    def await_takeover(self, count):
        self.wait_for(lambda: self.child.errors.count("taken over") == count, f"takeover {count}")

    def await_wire(self, when):
        expected = {table: self.versions[table] for table in self.on_air()}

        def agrees():
            self.wire.update()
            return all(self.wire.version(table) == version for table, version in expected.items())

        try:
            self.wait_for(agrees, when)
        except AssertionError:
            others = [f"{table}: {self.wire.version(table)}, not {version}" for table, version in expected.items()
                      if self.wire.version(table) != version]
            raise AssertionError("\n".join([when, *others])) from None

    def wait_for(self, condition, what):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline or not self.child.running():
                raise AssertionError(f"{what} did not come\n{self.child}")
            time.sleep(0.01)

    def compare(self, number, wire, file):
        """Holds what was on the wire against a fresh import of the file."""
        sections = self.directory / "wire.bin"
        sections.write_bytes(wire)
        self.file.write_bytes(file)
        return [] if imported(sections) == imported(self.file) else [f"edit {number}: the wire is not what the file is"]


class Reloads(unittest.TestCase):
    def few(self, faults):
        self.assertEqual(len(faults), 0, f"{len(faults)} faults\n" + "\n".join(faults[:10]))

    def test_the_wire_is_what_the_file_is_after_each_edit(self):
        self.assertEqual(len(RUN.edits), EDITS)
        self.few(RUN.faults)

    def test_every_edit_is_told_once_and_nothing_else_is(self):
        lines = RUN.story.split("stderr: ")[1].splitlines()
        said = [line for line in lines if line.startswith("servicemux: ")]
        self.few([line for line in said if not line.startswith("servicemux: taken over: ")])
        self.assertEqual(len(said), EDITS)
        self.assertEqual(RUN.status, 0)

    def sections(self):
        packets = [(when, packet) for when, packet in RUN.recording.timed_packets() if RUN.begin < when < RUN.end]
        return limits.sections_of(packets), packets

    def test_versions_go_up_by_one_and_only_with_an_edit(self):
        faults, last = [], {}
        edits = defaultdict(list)
        for edit in RUN.edits:
            for table in edit.tables:
                edits[table].append(edit)
        for section in self.sections()[0]:
            version = section.content[5] >> 1 & 0x1F
            before, then = last.get(section.table, (version, section.begin))
            last[section.table] = version, section.begin
            if version == before:
                continue
            if version != (before + 1) % 32:
                faults.append(f"{section.table}: version {version} behind {before}")
            if not any(edit.begin < section.begin and then < edit.end + GONE for edit in edits[section.table]):
                faults.append(f"{section.table}: version {version} without an edit at {section.begin}")
        self.assertEqual(len(last), len(Tables.all_parts()))
        self.few(faults)

    def test_what_is_not_edited_misses_no_deadline(self):
        touched = defaultdict(list)
        for edit in RUN.edits:
            for table in edit.tables:
                touched[table].append(edit)
        faults, judged = [], 0
        for (table, number), found in limits._each_section(self.sections()[0]).items():
            for before, after in zip(found, found[1:]):
                if any(edit.begin < after.end and before.begin < edit.end + GONE for edit in touched[table]):
                    continue
                judged += 1
                if after.end - before.end > PERIODS[table.table_id] + RUN.late:
                    faults.append(f"{table} section {number}: {after.end - before.end:.4f} s at {before.end}")
        self.assertGreater(judged, 1000)
        self.few(faults)

    def test_what_is_taken_off_is_sent_no_more(self):
        sections, _ = self.sections()
        faults = []
        gone = {}  # table -> since when
        tables = Tables(random.Random(SEED))
        times = []
        for edit in RUN.edits:
            tables.edit()
            there = {table for part in tables.parts for table in Tables.on_wire(part)}
            for table in edit.tables:
                if table in there and table in gone:
                    times.append((table, gone.pop(table), edit.begin))
                elif table not in there:
                    gone[table] = edit.end + GONE
        times += [(table, since, RUN.end) for table, since in gone.items()]
        self.assertGreater(len(times), 5)
        for section in sections:
            faults += [f"{table}: at {section.begin}" for table, since, until in times
                       if section.table == table and since < section.begin < until]
        self.few(faults)

    def test_counters_never_break_and_sections_are_whole(self):
        sections, packets = self.sections()
        self.few(limits.broken_counters(packets))
        self.few([fault for fault in limits.broken_sections(packets, sections) if "CRC" in fault])

    def test_25_ms_are_between_sections(self):
        self.few(limits.short_gaps(self.sections()[0], RUN.late))


if __name__ == "__main__":
    unittest.main()
