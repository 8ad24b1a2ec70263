"""What a receiver wrote down: packets, when the kernel got them, and the sections that they carry."""

from dataclasses import dataclass

import numpy

PACKET_SIZE = 188
PAYLOAD_SIZE = 184
NULL_PID = 0x1FFF
SDT = 0x42, 0x46
EIT_FIRST, EIT_LAST = 0x4E, 0x6F

HEADER = numpy.dtype([("time", "<i8"), ("size", "<u4"), ("output", "<u4")])

# What tells a subtable, and a section, from all others of an output, how long it is, and when its first and its last
# byte came. The stream is that of an EIT or SDT: transport_stream_id and original_network_id.
SECTION = numpy.dtype(
    [(name, "<i8") for name in ("output", "pid", "table_id", "extension", "stream", "number", "size", "begin", "end")]
)
SUBTABLE = ["output", "pid", "table_id", "extension", "stream"]

SECONDS = 1e-9
MILLISECONDS = 1e-6


class Unusable(Exception):
    """What was recorded says nothing about what was to be measured."""


@dataclass(frozen=True)
class Capture:
    """One entry for each datagram in `datagrams`, and for each packet in the others. Times in ns."""

    datagrams: numpy.ndarray
    times: numpy.ndarray
    outputs: numpy.ndarray
    packets: numpy.ndarray  # a row of bytes each

    @classmethod
    def load(cls, headers, payload):
        datagrams = numpy.fromfile(headers, HEADER)
        packets = numpy.fromfile(payload, numpy.uint8).reshape(-1, PACKET_SIZE)
        counts = datagrams["size"] // PACKET_SIZE
        if counts.sum() != len(packets) or (packets[:, 0] != 0x47).any():
            raise Unusable("the datagrams hold something else than packets")
        return cls(
            datagrams,
            numpy.repeat(datagrams["time"], counts),
            numpy.repeat(datagrams["output"], counts),
            packets,
        )

    def between(self, begin, end):
        inside = (self.times >= begin) & (self.times < end)
        datagrams = self.datagrams[(self.datagrams["time"] >= begin) & (self.datagrams["time"] < end)]
        return Capture(datagrams, self.times[inside], self.outputs[inside], self.packets[inside])

    def rate(self):
        """Packets per second: those that came after the first datagram, in the time that they took."""
        seconds = (self.datagrams["time"][-1] - self.datagrams["time"][0]) * SECONDS
        return self.datagrams["size"][1:].sum() / PACKET_SIZE / seconds

    def datagram_gaps(self):
        """How long after the one before each datagram of the first output came, in ms."""
        return numpy.diff(self.datagrams["time"][self.datagrams["output"] == 0]) * MILLISECONDS

    def busiest_second(self):
        """The most packets of the first output that came in any second."""
        times = self.times[self.outputs == 0]
        return (numpy.searchsorted(times, times + 10**9) - numpy.arange(len(times))).max()

    def sections(self):
        """All sections that came whole, in the order in which they began on their PIDs."""
        pids = (self.packets[:, 1].astype(int) & 0x1F) << 8 | self.packets[:, 2]
        carried = numpy.flatnonzero(pids != NULL_PID)
        carried = carried[numpy.lexsort((pids[carried], self.outputs[carried]))]
        packets, times, pids = self.packets[carried], self.times[carried], pids[carried]
        outputs = self.outputs[carried].astype(int)
        first = numpy.flatnonzero(packets[:, 1] & 0x40)
        heads = packets[first].astype(int)
        if (heads[:, 4] != 0).any():
            raise Unusable("a section does not begin its packet")
        found = numpy.zeros(len(first), SECTION)
        found["output"], found["pid"], found["table_id"] = outputs[first], pids[first], heads[:, 5]
        found["size"] = 3 + ((heads[:, 6] & 0x0F) << 8 | heads[:, 7])
        # The short sections of TDT and TOT have neither extension nor number.
        long = heads[:, 6] & 0x80 != 0
        found["extension"] = numpy.where(long, heads[:, 8] << 8 | heads[:, 9], 0)
        found["number"] = numpy.where(long, heads[:, 11], 0)
        found["stream"] = streams(heads)
        last = first + found["size"] // PAYLOAD_SIZE  # the pointer_field takes one more byte
        whole = last < numpy.append(first[1:], len(packets))
        last = numpy.where(whole, last, first)
        whole &= (outputs[last] == outputs[first]) & (pids[last] == pids[first])
        found["begin"], found["end"] = times[first], times[last]
        return found[whole]


def streams(heads):
    """The transport stream that each section is about, in one number; 0 where its kind does not tell."""
    two = heads[:, 13] << 8 | heads[:, 14]
    four = two << 16 | heads[:, 15] << 8 | heads[:, 16]
    is_eit = (heads[:, 5] >= EIT_FIRST) & (heads[:, 5] <= EIT_LAST)
    return numpy.where(is_eit, four, numpy.where(numpy.isin(heads[:, 5], SDT), two, 0))


def in_order(sections, fields):
    """The sections, those that agree in these fields together and in the order of their beginnings, and for each
    whether it follows another one of them."""
    order = numpy.lexsort([sections["begin"], *(sections[field] for field in reversed(fields))])
    ordered = sections[order]
    follows = numpy.zeros(len(ordered), bool)
    follows[1:] = numpy.logical_and.reduce([ordered[field][1:] == ordered[field][:-1] for field in fields])
    return ordered, follows


def groups(sections, fields):
    """The same, each group by itself."""
    ordered, follows = in_order(sections, fields)
    return numpy.split(ordered, numpy.flatnonzero(~follows)[1:]) if len(ordered) else []
