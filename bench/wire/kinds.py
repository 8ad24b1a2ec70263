"""The kinds of tables, and how often each is to be repeated."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Kind:
    table_ids: range
    period: int  # ms
    # What carries the time leaves within 100 ms after the second that it tells, so its intervals are off by that.
    slack: int = 0

    @property
    def longest(self):
        return self.period + self.slack


KINDS = {
    "PAT": Kind(range(0x00, 0x01), 200),
    "CAT": Kind(range(0x01, 0x02), 200),
    "NIT": Kind(range(0x40, 0x41), 500),
    "PMT": Kind(range(0x02, 0x03), 200),
    "SDT actual": Kind(range(0x42, 0x43), 500),
    "SDT other": Kind(range(0x46, 0x47), 10000),
    "EIT p/f": Kind(range(0x4E, 0x4F), 2000),
    "EIT p/f other": Kind(range(0x4F, 0x50), 10000),
    "EIT schedule": Kind(range(0x50, 0x60), 30000),
    "EIT schedule other": Kind(range(0x60, 0x70), 60000),
    "TDT": Kind(range(0x70, 0x71), 1000, 100),
    "TOT": Kind(range(0x73, 0x74), 1000, 100),
    "ATSC MGT": Kind(range(0xC7, 0xC8), 150),
    "ATSC VCT": Kind(range(0xC8, 0xCA), 400),
    "ATSC STT": Kind(range(0xCD, 0xCE), 1000, 100),
}


def of_kind(sections, kind):
    ids = kind.table_ids
    return sections[(sections["table_id"] >= ids.start) & (sections["table_id"] < ids.stop)]
