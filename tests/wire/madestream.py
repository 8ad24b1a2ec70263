"""A transport stream of a constant bitrate with a few tables, without a fault, and ways to put faults into it."""

import heapq
import itertools
import struct
from typing import NamedTuple

import mpegts

KBPS = 1000
SLOT = mpegts.PACKET_SIZE * 8 / KBPS / 1000  # seconds that a packet takes
PCR_PID = 0x0200
NULL_PACKET = b"\x47\x1f\xff\x10" + b"\xff" * 184

PAT_PID, PMT_PID, SDT_PID, EIT_PID, TIME_PID = 0x0000, 0x0100, 0x0011, 0x0012, 0x0014


class Table(NamedTuple):
    pid: int
    section: bytes
    period: float  # seconds
    offset: float = 0.0


def eit(table_id, service_id, stream, number=0, last=0):
    body = stream.to_bytes(2, "big") + b"\x20\x85" + bytes([last, table_id])
    return mpegts.build_section(table_id, service_id, 2, body, number, last)


def sdt(table_id, stream, size=0):
    return mpegts.build_section(table_id, stream, 4, b"\x20\x85\xff" + b"\xff" * size)


TABLES = (
    Table(PAT_PID, mpegts.build_pat(1, 3, [(0, 0x10), (101, PMT_PID)]), 0.2, 0.01),
    Table(PMT_PID, mpegts.build_pmt(101, 5, 0x1FFF, []), 0.2, 0.03),
    Table(SDT_PID, sdt(0x42, 1, 400), 0.5, 0.05),  # three packets
    Table(SDT_PID, sdt(0x46, 2), 2.0, 0.1),
    Table(EIT_PID, eit(0x4E, 101, 1, 0, 1), 1.0, 0.2),
    Table(EIT_PID, eit(0x4E, 101, 1, 1, 1), 1.0, 0.3),
    Table(EIT_PID, eit(0x4F, 101, 2), 2.0, 0.4),
    Table(TIME_PID, b"\x70\x70\x05\xee\x00\x12\x00\x00", 1.0, 0.5),
)


class Stream:
    """Packets, one in each slot."""

    def __init__(self, seconds=6, tables=TABLES, pcrs=True):
        self.packets = []
        counters = {}
        due = [(table.offset, i) for i, table in enumerate(tables)]
        heapq.heapify(due)
        queue = []
        for slot in range(round(seconds / SLOT)):
            now = slot * SLOT
            while due and due[0][0] <= now:
                at, i = heapq.heappop(due)
                queue.append((tables[i].pid, tables[i].section))
                heapq.heappush(due, (at + tables[i].period, i))
            if pcrs and slot % 25 == 0:
                self.packets.append(self._pcr(now))
                continue
            if not queue:
                self.packets.append(NULL_PACKET)
                continue
            if isinstance(queue[0], tuple):
                pid, section = queue.pop(0)
                packets = mpegts.build_packets(pid, section, counters.get(pid, 0))
                counters[pid] = (counters.get(pid, 0) + len(packets) // 188) % 16
                queue[:0] = [packets[i : i + 188] for i in range(0, len(packets), 188)]
            self.packets.append(queue.pop(0))

    @staticmethod
    def _pcr(seconds):
        ticks = round(seconds * 27e6)
        pcr = (ticks // 300) << 15 | 0x7E00 | ticks % 300
        field = b"\x10" + pcr.to_bytes(6, "big") + b"\xff" * 176
        return bytes([0x47, PCR_PID >> 8, PCR_PID & 0xFF, 0x20, len(field)]) + field

    def find(self, pid, nth):
        """Where the nth packet of a PID is."""
        return next(itertools.islice((i for i, p in enumerate(self.packets) if pid_of(p) == pid), nth, None))

    def drop(self, pid, nth):
        self.packets[self.find(pid, nth)] = NULL_PACKET

    def flip(self, pid, nth, byte, bit=1):
        at = self.find(pid, nth)
        packet = bytearray(self.packets[at])
        packet[byte] ^= bit
        self.packets[at] = bytes(packet)

    def repeat(self, pid, nth, times=1):
        """Puts copies of a packet in the place of null packets behind it."""
        at = self.find(pid, nth)
        for _ in range(times):
            copy = next(i for i in range(at, len(self.packets)) if self.packets[i] is NULL_PACKET)
            self.packets[copy] = self.packets[at]

    def move(self, pid, nth, seconds):
        """Has a packet come so much later."""
        at = self.find(pid, nth)
        to = at + round(seconds / SLOT)
        while self.packets[to] is not NULL_PACKET:
            to += 1
        self.packets[to], self.packets[at] = self.packets[at], NULL_PACKET

    def stop(self, pid, nth):
        """Has a PID send nothing from its nth packet on."""
        for i in range(self.find(pid, nth), len(self.packets)):
            if pid_of(self.packets[i]) == pid:
                self.packets[i] = NULL_PACKET

    def data(self):
        return b"".join(self.packets)

    def timed(self, begin=1_700_000_000):
        return [(begin + i * SLOT, packet) for i, packet in enumerate(self.packets)]


def pid_of(packet):
    return (packet[1] & 0x1F) << 8 | packet[2]


def write_pcap(path, timed, port=5004):
    """One datagram for each (time in seconds, payload), with times to the nanosecond."""
    out = struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 65535, 101)  # raw IP
    for time, payload in timed:
        nanoseconds = round(time * 1e9)
        udp = struct.pack(">HHHH", 40000, port, 8 + len(payload), 0) + payload
        ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 0, 0x4000, 1, 17, 0, b"\x7f\0\0\1", b"\x7f\0\0\1")
        frame = ip[:10] + _checksum(ip).to_bytes(2, "big") + ip[12:] + udp
        out += struct.pack("<IIII", nanoseconds // 10**9, nanoseconds % 10**9, len(frame), len(frame)) + frame
    path.write_bytes(out)
    return path


def _checksum(header):
    total = sum(struct.unpack(">10H", header))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total ^ 0xFFFF
