"""Transport-stream packets, sections and tables, read as ISO/IEC 13818-1 and EN 300 468 give them.

Nothing in here comes from the code under test: it is the second opinion that the wire tests hold against it.
"""

from dataclasses import dataclass
from typing import NamedTuple

PACKET_SIZE = 188
SYNC_BYTE = 0x47

PAT_PID, CAT_PID, NIT_PID, SDT_PID, EIT_PID, TIME_PID, NULL_PID = 0, 1, 0x0010, 0x0011, 0x0012, 0x0014, 0x1FFF
PAT_ID, CAT_ID, PMT_ID, NIT_ACTUAL_ID, SDT_ACTUAL_ID, SDT_OTHER_ID = 0x00, 0x01, 0x02, 0x40, 0x42, 0x46
EIT_IDS = range(0x4E, 0x70)
TDT_ID, TOT_ID = 0x70, 0x73
STUFFING_ID = 0xFF


class Malformed(Exception):
    """What was read is not what the standards allow."""


# Packets, ISO/IEC 13818-1 clause 2.4.3.2


@dataclass(frozen=True)
class Packet:
    pid: int
    unit_start: bool
    counter: int
    payload: bytes
    raw: bytes

    @classmethod
    def parse(cls, raw):
        if len(raw) != PACKET_SIZE or raw[0] != SYNC_BYTE:
            raise Malformed(f"{len(raw)} bytes from {raw[:1].hex()} are no packet")
        if raw[1] & 0x80:
            raise Malformed("transport_error_indicator is set")
        if raw[3] & 0xC0:
            raise Malformed("a packet of tables is scrambled")
        adaptation, has_payload = raw[3] & 0x20, raw[3] & 0x10
        start = 5 + raw[4] if adaptation else 4
        return cls(
            pid=(raw[1] & 0x1F) << 8 | raw[2],
            unit_start=bool(raw[1] & 0x40),
            counter=raw[3] & 0x0F,
            payload=raw[start:] if has_payload else b"",
            raw=raw,
        )


def split_packets(data):
    if len(data) % PACKET_SIZE:
        raise Malformed(f"{len(data)} bytes are no whole number of packets")
    return [Packet.parse(data[i : i + PACKET_SIZE]) for i in range(0, len(data), PACKET_SIZE)]


def counter_breaks(packets):
    """The places where the counter of one PID's packets does not go up by one, as (index, before, after)."""
    counters = [packet.counter for packet in packets]
    return [
        (i, before, after)
        for i, (before, after) in enumerate(zip(counters, counters[1:]), start=1)
        if after != (before + 1) % 16
    ]


# Sections, ISO/IEC 13818-1 clause 2.4.4


def _crc_table():
    table = []
    for byte in range(256):
        register = byte << 24
        for _ in range(8):
            register = (register << 1) ^ (0x04C11DB7 if register & 0x80000000 else 0)
        table.append(register & 0xFFFFFFFF)
    return table


_CRC_TABLE = _crc_table()


def crc32(data):
    """The decoder of ISO/IEC 13818-1 annex A: 0 over a whole section whose CRC_32 is right."""
    register = 0xFFFFFFFF
    for byte in data:
        register = (register << 8 & 0xFFFFFFFF) ^ _CRC_TABLE[register >> 24 ^ byte]
    return register


def section_size(start):
    """The size of a section in bytes, from its first three."""
    return 3 + ((start[1] & 0x0F) << 8 | start[2])


def split_sections(data):
    """Sections that stand back to back, as in a section file."""
    sections = []
    while data:
        if len(data) < 3 or len(data) < section_size(data):
            raise Malformed(f"{len(data)} bytes at the end are no whole section")
        size = section_size(data)
        sections.append(data[:size])
        data = data[size:]
    return sections


class SectionCollector:
    """Puts the sections of one PID together. What lost its beginning or a packet in between is dropped."""

    def __init__(self):
        self._buffer = None  # None: waiting for a section to start
        self._counter = None

    def feed(self, packet):
        """Takes the next packet, returns the sections that it completes."""
        if packet.counter == self._counter:
            return []  # the one repetition that the standard allows
        if self._counter is not None and packet.counter != (self._counter + 1) % 16:
            self._buffer = None
        self._counter = packet.counter
        if not packet.unit_start:
            return self._take(packet.payload)
        start = 1 + packet.payload[0]  # behind the pointer_field and the end of the previous section
        sections = self._take(packet.payload[1:start])
        self._buffer = b""
        return sections + self._take(packet.payload[start:])

    def _take(self, data):
        sections = []
        if self._buffer is None:
            return sections
        self._buffer += data
        while len(self._buffer) >= 3 and self._buffer[0] != STUFFING_ID:
            size = section_size(self._buffer)
            if len(self._buffer) < size:
                return sections
            sections.append(self._buffer[:size])
            self._buffer = self._buffer[size:]
        if not self._buffer or self._buffer[0] == STUFFING_ID:
            self._buffer = None
        return sections


def sections_of(packets, pid):
    collector = SectionCollector()
    return [section for packet in packets if packet.pid == pid for section in collector.feed(packet)]


# Tables. What a decoder reads from a section; reserved bits and the CRC have no place in it.


class Content(NamedTuple):
    table_id: int
    extension: int
    version: int
    current_next: bool
    number: int
    last_number: int
    body: tuple


class _Reader:
    """Takes fields off the front of a body."""

    def __init__(self, data):
        self._data = data

    def __bool__(self):
        return bool(self._data)

    def take(self, size):
        if size > len(self._data):
            raise Malformed(f"{size} bytes are wanted where {len(self._data)} are left")
        taken, self._data = self._data[:size], self._data[size:]
        return taken

    def number(self, bits=16):
        """The low `bits` of the next two bytes; the others are reserved."""
        return int.from_bytes(self.take(2), "big") & ((1 << bits) - 1)

    def loop(self):
        """What a 12-bit length field says, as a reader of its own."""
        return _Reader(self.take(self.number(bits=12)))

    def descriptors(self):
        found = []
        while self:
            tag, size = self.take(2)
            found.append((tag, self.take(size)))
        return tuple(found)


def _pat_body(reader):
    programs = []
    while reader:
        programs.append((reader.number(), reader.number(bits=13)))
    return tuple(programs)


def _cat_body(reader):
    return reader.descriptors()


def _nit_body(reader):
    network, streams, loop = reader.loop().descriptors(), [], reader.loop()
    if reader:
        raise Malformed("bytes are left behind the transport stream loop")
    while loop:
        streams.append((loop.number(), loop.number(), loop.loop().descriptors()))
    return network, tuple(streams)


def _pmt_body(reader):
    pcr_pid, program, streams = reader.number(bits=13), reader.loop().descriptors(), []
    while reader:
        streams.append((reader.take(1)[0], reader.number(bits=13), reader.loop().descriptors()))
    return pcr_pid, program, tuple(streams)


def _status_and_descriptors(reader):
    """running_status and free_CA_mode stand in the four bits before the length of a loop."""
    head = reader.take(2)
    size = (head[0] & 0x0F) << 8 | head[1]
    return head[0] >> 4, _Reader(reader.take(size)).descriptors()


def _sdt_body(reader):
    original_network_id, services = reader.number(), []
    reader.take(1)
    while reader:
        services.append((reader.number(), reader.take(1)[0] & 3, *_status_and_descriptors(reader)))
    return original_network_id, tuple(services)


def _eit_body(reader):
    stream, network, (segment_last, last_table_id), events = reader.number(), reader.number(), reader.take(2), []
    while reader:
        event_id, start, duration = reader.number(), reader.take(5), reader.take(3)
        events.append((event_id, start, duration, *_status_and_descriptors(reader)))
    return stream, network, segment_last, last_table_id, tuple(events)


_BODIES = {
    PAT_ID: _pat_body,
    CAT_ID: _cat_body,
    PMT_ID: _pmt_body,
    NIT_ACTUAL_ID: _nit_body,
    SDT_ACTUAL_ID: _sdt_body,
    SDT_OTHER_ID: _sdt_body,
    **dict.fromkeys(EIT_IDS, _eit_body),
}


def crc_holds(section):
    return crc32(section) == 0


def decode(section):
    """Reads a section of PAT, CAT, PMT, NIT actual, SDT or EIT; raises Malformed unless every byte of it has its place."""
    if len(section) < 12 or len(section) != section_size(section):
        raise Malformed(f"{len(section)} bytes are no whole section")
    if not section[1] & 0x80:
        raise Malformed("section_syntax_indicator is not set")
    if not crc_holds(section):
        raise Malformed("the CRC is wrong")
    table_id, extension = section[0], int.from_bytes(section[3:5], "big")
    return Content(
        table_id=table_id,
        extension=0 if table_id == CAT_ID else extension,  # reserved there
        version=section[5] >> 1 & 0x1F,
        current_next=bool(section[5] & 1),
        number=section[6],
        last_number=section[7],
        body=_BODIES[table_id](_Reader(section[8:-4])),
    )


def last_complete_table(sections, table_id):
    """The sections of the last version of a table that came in whole, decoded and in order; [] if none did.

    Sections that are broken or not yet applicable do not count.
    """
    complete, gathered, parts = [], None, {}
    for section in sections:
        if section[0] != table_id or not crc_holds(section):
            continue
        content = decode(section)
        if not content.current_next:
            continue
        table = (content.extension, content.version, content.last_number)
        if table != gathered:
            gathered, parts = table, {}
        parts[content.number] = content
        if len(parts) > content.last_number:
            complete = [parts[number] for number in sorted(parts)]
    return complete


# The other way, for tests that need a stream of their own making


def build_section(table_id, extension, version, body, number=0, last_number=0):
    size = 5 + len(body) + 4
    section = bytes([table_id, 0xB0 | size >> 8, size & 0xFF])
    section += extension.to_bytes(2, "big") + bytes([0xC1 | version << 1, number, last_number]) + body
    return section + crc32(section).to_bytes(4, "big")


def build_pat(transport_stream_id, version, programs):
    body = b"".join(number.to_bytes(2, "big") + (0xE000 | pid).to_bytes(2, "big") for number, pid in programs)
    return build_section(PAT_ID, transport_stream_id, version, body)


def build_packets(pid, section, counter=0):
    """The packets of one section, which starts behind a pointer_field of 0."""
    payload, packets, flag = b"\0" + section, b"", 0x40
    while payload:
        header = bytes([SYNC_BYTE, flag | pid >> 8, pid & 0xFF, 0x10 | counter])
        packets += header + payload[:184].ljust(184, b"\xff")
        payload, flag, counter = payload[184:], 0, (counter + 1) % 16
    return packets


def build_pmt(program_number, version, pcr_pid, streams):
    body = (0xE000 | pcr_pid).to_bytes(2, "big") + b"\xf0\x00"
    body += b"".join(bytes([kind]) + (0xE000 | pid).to_bytes(2, "big") + b"\xf0\x00" for kind, pid in streams)
    return build_section(PMT_ID, program_number, version, body)
