"""What decoders from elsewhere make of a recording. Each is given the packets as a file."""

import json
import subprocess
import unittest
from collections import Counter
from dataclasses import dataclass, field
from datetime import datetime, timezone
from typing import NamedTuple

import mpegts

PATIENCE = 60  # seconds


def whole_tables(packets):
    """Without the end of each PID, where the recording may have cut a section in two."""
    last_start = {packet.pid: i for i, packet in enumerate(packets) if packet.unit_start}
    return [packet for i, packet in enumerate(packets) if i < last_start.get(packet.pid, 0)]


def write(packets, path):
    path.write_bytes(b"".join(packet.raw for packet in packets))
    return path


def _run(*arguments):
    done = subprocess.run(arguments, capture_output=True, text=True, timeout=PATIENCE)
    if done.returncode:
        raise AssertionError(f"{' '.join(map(str, arguments))}: {done.stderr}")
    return done.stdout


@dataclass
class Dissection:
    """What tshark saw in the packets of PAT, CAT and NIT, over all of them."""

    complaints: set = field(default_factory=set)  # malformed packets, expert information
    crcs: set = field(default_factory=set)  # what it thinks of the sections' CRCs
    tables: set = field(default_factory=set)  # (PID, extension, version, what its loop lists)


CRC_GOOD = "1"

# What tshark 4 calls the extension, the version and the entries of each table.
_TSHARK_FIELDS = {
    mpegts.PAT_PID: ("mpeg_pat.tsid", "mpeg_pat.version", "mpeg_pat.prog_num", "mpeg_pat.prog_map_pid"),
    mpegts.CAT_PID: ("mpeg_ca.sect_num", "mpeg_ca.version", "mpeg_descr.ca.sys_id", "mpeg_descr.ca.pid"),
    mpegts.NIT_PID: ("dvb_nit.sid", "dvb_nit.version", "dvb_nit.ts.id", "dvb_nit.ts.original_network_id"),
}


def _numbers(text):
    return tuple(int(number, 0) for number in text.split(",") if number)


def _tshark_rows(path, columns, aggregator=","):
    """The fields that tshark reads from each packet, by their names; what comes several times is aggregated."""
    options = [option for column in columns for option in ("-e", column)]
    formats = ("-T", "fields", "-E", f"aggregator={aggregator}")
    output = _run("tshark", "-r", path, "-o", "mpeg_sect.verify_crc:TRUE", *formats, *options)
    return [dict(zip(columns, line.split("\t"))) for line in output.splitlines()]


def tshark(path):
    fields = [name for names in _TSHARK_FIELDS.values() for name in names]
    seen = Dissection()
    for row in _tshark_rows(path, ["mp2t.pid", "mpeg_sect.crc.status", "_ws.expert.message", *fields]):
        pid = int(row["mp2t.pid"], 0)
        if pid not in _TSHARK_FIELDS:
            continue
        seen.complaints |= {row["_ws.expert.message"]} - {""}
        seen.crcs |= {row["mpeg_sect.crc.status"]} - {""}
        extension, version, *entries = (_numbers(row[name]) for name in _TSHARK_FIELDS[pid])
        if version:
            seen.tables.add((pid, *extension, *version, tuple(zip(*entries))))
    return seen


def ffprobe_programs(path):
    """The programs that ffprobe finds, as {program_number: pmt_pid}."""
    output = _run("ffprobe", "-v", "error", "-f", "mpegts", "-show_programs", "-of", "json", path)
    return {program["program_num"]: program["pmt_pid"] for program in json.loads(output)["programs"]}


def ffprobe_services(path):
    """The services that ffprobe finds by name, as {program_number: service_name}."""
    output = _run("ffprobe", "-v", "error", "-f", "mpegts", "-show_programs", "-of", "json", path)
    programs = json.loads(output)["programs"]
    named = {program["program_num"]: program["tags"]["service_name"] for program in programs if "tags" in program}
    return {number: name for number, name in named.items() if number != 0}  # 0 is the NIT in a PAT


def tshark_complaints(path):
    """How often tshark has which complaint about a section, its CRC included."""
    complaints = Counter()
    for row in _tshark_rows(path, ["mp2t.pid", "_ws.expert.message", "mpeg_sect.crc.status"]):
        pid, message, crc = row.values()
        if message or set(crc.split(",")) - {CRC_GOOD, ""}:
            complaints[pid, message, crc] += 1
    return dict(complaints)


class EventTable(NamedTuple):
    """What tshark reads from a section of an EIT."""

    number: int
    last_number: int
    segment_last: int
    last_table_id: int
    events: int


def tshark_event_tables(path):
    """One for each section of a file that has nothing but EITs in it, in their order."""
    numbers = [f"dvb_eit.{name}" for name in ("sect_num", "last_sect_num", "segment_last_sect_num", "last_tid")]
    tables = []
    for row in _tshark_rows(path, [*numbers, "dvb_eit.evt.id"]):
        if row[numbers[0]]:  # else the section has not ended yet
            tables.append(EventTable(*(int(row[name], 0) for name in numbers), len(_numbers(row["dvb_eit.evt.id"]))))
    return tables


class TimeTable(NamedTuple):
    """What tshark reads from a TDT or TOT. Times are in seconds since 1970."""

    table_id: int
    utc: float
    crc: str  # CRC_GOOD, something else, or empty where the table has none
    complaint: str
    offsets: tuple  # (country, region, offset in seconds, when it changes, next offset) each


_OFFSET_FIELDS = [
    f"mpeg_descr.local_time_offset.{name}"
    for name in ("country_code", "region_id", "polarity", "offset", "time_of_change", "next_time_offset")
]
_TIME_FIELDS = {mpegts.TDT_ID: "dvb_tdt.utc_time", mpegts.TOT_ID: "dvb_tot.utc_time"}


def tshark_time_tables(path):
    """One for each packet of a file that has nothing else in it; skips the test where tshark cannot read them."""
    _need_tshark_fields([*_TIME_FIELDS.values(), *_OFFSET_FIELDS])
    columns = ["mpeg_sect.tid", "mpeg_sect.crc.status", "_ws.expert.message", *_TIME_FIELDS.values(), *_OFFSET_FIELDS]
    tables = []
    for row in _tshark_rows(path, columns, aggregator=";"):  # commas stand in the dates
        table_id = int(row["mpeg_sect.tid"], 0)
        utc = _seconds_since_1970(row[_TIME_FIELDS[table_id]])
        entries = zip(*(row[name].split(";") for name in _OFFSET_FIELDS)) if row[_OFFSET_FIELDS[0]] else ()
        offsets = tuple(_local_time_offset(*entry) for entry in entries)
        tables.append(TimeTable(table_id, utc, row["mpeg_sect.crc.status"], row["_ws.expert.message"], offsets))
    return tables


def _need_tshark_fields(names):
    known = {line.split("\t")[2] for line in _run("tshark", "-G", "fields").splitlines() if line.startswith("F\t")}
    missing = sorted(set(names) - known)
    if missing:
        raise unittest.SkipTest(f"tshark does not know {', '.join(missing)}")


def _local_time_offset(country, region, polarity, offset, change, next_offset):
    sign = -1 if int(polarity, 0) else 1  # one for both
    return country, int(region, 0), sign * float(offset), _seconds_since_1970(change), sign * float(next_offset)


def _seconds_since_1970(text):
    """From what tshark 4 makes of a UTC_time: Mar 28, 2027 01:00:00.000000000 UTC"""
    moment = datetime.strptime(text.partition(".")[0], "%b %d, %Y %H:%M:%S")
    return moment.replace(tzinfo=timezone.utc).timestamp()
