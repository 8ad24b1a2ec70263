"""ATSC tables, read as ATSC A/65 gives them. A second opinion as mpegts.py is."""

from typing import NamedTuple

from mpegts import Malformed

PSIP_PID = 0x1FFB
MGT_ID, TVCT_ID, CVCT_ID, STT_ID = 0xC7, 0xC8, 0xC9, 0xCD
GPS_EPOCH = 315964800  # 1980-01-06, in seconds since 1970


class Table(NamedTuple):
    """One that a master guide table lists, A/65 clause 6.2."""

    table_type: int
    pid: int
    version: int
    size: int


class Channel(NamedTuple):
    """Of a virtual channel table, A/65 clauses 6.3.1 and 6.3.2."""

    name: str
    major: int
    minor: int
    program_number: int
    source_id: int


def mgt_tables(section):
    tables, rest = [], section[11:-4]
    for _ in range(int.from_bytes(section[9:11], "big")):
        entry, rest = _split(rest, 11)
        numbers = (int.from_bytes(field, "big") for field in (entry[0:2], entry[2:4], entry[4:5], entry[5:9]))
        table_type, pid, version, size = numbers
        tables.append(Table(table_type, pid & 0x1FFF, version & 0x1F, size))
        _, rest = _split(rest, int.from_bytes(entry[9:11], "big") & 0x0FFF)
    return tables


def vct_channels(section):
    channels, rest = [], section[10:-4]
    for _ in range(section[9]):
        entry, rest = _split(rest, 32)
        numbers = int.from_bytes(entry[14:17], "big")
        channels.append(
            Channel(
                name=entry[:14].decode("utf-16-be").rstrip("\0"),
                major=numbers >> 10 & 0x3FF,
                minor=numbers & 0x3FF,
                program_number=int.from_bytes(entry[24:26], "big"),
                source_id=int.from_bytes(entry[28:30], "big"),
            )
        )
        _, rest = _split(rest, int.from_bytes(entry[30:32], "big") & 0x03FF)
    return channels


def _split(data, size):
    if len(data) < size:
        raise Malformed(f"{size} bytes are wanted where {len(data)} are left")
    return data[:size], data[size:]
