"""What a receiver wrote down: packets, when the kernel got them, and which table each of them begins."""

from dataclasses import dataclass

import numpy

PACKET_SIZE = 188
NULL_PID = 0x1FFF

HEADER = numpy.dtype([("time", "<i8"), ("size", "<u4"), ("output", "<u4")])

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

    def starts(self):
        """When each table began: arrays of times by (output, PID, table_id, table_id_extension)."""
        pids = (self.packets[:, 1].astype(int) & 0x1F) << 8 | self.packets[:, 2]
        begins = (self.packets[:, 1] & 0x40 != 0) & (pids != NULL_PID)
        rows = self.packets[begins].astype(int)
        if (rows[:, 4] != 0).any():
            raise Unusable("a section does not begin its packet")
        # The short sections of TDT and TOT have neither extension nor number.
        long = rows[:, 6] & 0x80 != 0
        extensions = numpy.where(long, rows[:, 8] << 8 | rows[:, 9], 0)
        first = ~long | (rows[:, 11] == 0)
        keys = numpy.stack([self.outputs[begins].astype(int), pids[begins], rows[:, 5], extensions], axis=1)[first]
        return group(keys, self.times[begins][first])


def group(keys, times):
    """The times of each key, in their order."""
    unique, which = numpy.unique(keys, axis=0, return_inverse=True)
    order = numpy.argsort(which, kind="stable")
    parts = numpy.split(times[order], numpy.cumsum(numpy.bincount(which))[:-1]) if len(unique) else []
    return {tuple(key): part for key, part in zip(unique.tolist(), parts)}
