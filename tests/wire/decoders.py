"""What decoders from elsewhere make of a recording. Each is given the packets as a file."""

import json
import subprocess
from collections import Counter
from dataclasses import dataclass, field

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


def tshark(path):
    fields = [name for names in _TSHARK_FIELDS.values() for name in names]
    columns = ["mp2t.pid", "mpeg_sect.crc.status", "_ws.expert.message", *fields]
    options = [option for column in columns for option in ("-e", column)]
    output = _run("tshark", "-r", path, "-o", "mpeg_sect.verify_crc:TRUE", "-T", "fields", *options)
    seen = Dissection()
    for line in output.splitlines():
        row = dict(zip(columns, line.split("\t")))
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
    columns = ["mp2t.pid", "_ws.expert.message", "mpeg_sect.crc.status"]
    options = [option for column in columns for option in ("-e", column)]
    output = _run("tshark", "-r", path, "-o", "mpeg_sect.verify_crc:TRUE", "-T", "fields", *options)
    complaints = Counter()
    for line in output.splitlines():
        pid, message, crc = line.split("\t")
        if message or set(crc.split(",")) - {CRC_GOOD, ""}:
            complaints[pid, message, crc] += 1
    return dict(complaints)
