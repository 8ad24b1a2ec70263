"""Receives datagrams and keeps what the kernel knows about each: when it came, from where, with which TTL."""

import select
import socket
import struct
import threading
from dataclasses import dataclass, field

import mpegts

# Linux numbers that the socket module does not have.
SO_RCVBUFFORCE = 33
SO_TIMESTAMPNS = 35
SO_RXQ_OVFL = 40
IP_RECVTTL = 12

BUFFER_SIZE = 8 << 20
NANOSECONDS = 1e9


@dataclass(frozen=True)
class Datagram:
    time: float  # seconds
    source: str
    ttl: int
    payload: bytes


@dataclass
class Recording:
    datagrams: list = field(default_factory=list)

    def data(self):
        return b"".join(datagram.payload for datagram in self.datagrams)

    def packets(self, pid=None):
        return [packet for _, packet in self.timed_packets(pid)]

    def timed_packets(self, pid=None):
        return [
            (datagram.time, packet)
            for datagram in list(self.datagrams)  # it may be growing
            for packet in mpegts.split_packets(datagram.payload)
            if pid in (None, packet.pid)
        ]

    def pids(self):
        return {packet.pid for packet in self.packets()}

    def sections(self, pid):
        return mpegts.sections_of(self.packets(), pid)

    def timed_sections(self, pid):
        """Each whole section of a PID with when it began, in seconds."""
        collector, began, timed = mpegts.SectionCollector(), None, []
        for time, packet in self.timed_packets(pid):
            if packet.unit_start:
                began = time  # each section begins a packet
            timed += [(began, section) for section in collector.feed(packet)]
        return timed

    def starts(self, pid):
        """When each section of a PID began, in seconds."""
        return [time for time, packet in self.timed_packets(pid) if packet.unit_start]


def mean_interval(times):
    """The mean distance; what delays one of them hardly moves it."""
    return (times[-1] - times[0]) / (len(times) - 1)


class Receiver:
    """Records what comes to a UDP socket, in a thread of its own, from construction until stop()."""

    def __init__(self, ip="127.0.0.1", group=None, port=0, interface=None):
        self.recording = Recording()
        self._failure = None
        self._wake, self._woken = socket.socketpair()
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        try:
            self._set_up(ip, group, port, interface)
        except OSError:
            self.close()
            raise
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _set_up(self, ip, group, port, interface):
        receiver = self._socket
        self._make_room()
        receiver.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
        receiver.setsockopt(socket.SOL_SOCKET, SO_RXQ_OVFL, 1)
        receiver.setsockopt(socket.IPPROTO_IP, IP_RECVTTL, 1)
        if interface:
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, interface.encode())
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        receiver.bind((group or ip, port))
        if group:
            membership = socket.inet_aton(group) + socket.inet_aton(ip)
            receiver.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        self.port = receiver.getsockname()[1]

    def _make_room(self):
        try:
            self._socket.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, BUFFER_SIZE)
        except PermissionError:
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, BUFFER_SIZE)

    def stop(self):
        """Returns the recording, with everything in it that had arrived. Raises what went wrong on the way."""
        if self._thread.is_alive():
            self._wake.send(b"x")
            self._thread.join(timeout=10)
        self.close()
        if self._failure:
            raise self._failure
        return self.recording

    def close(self):
        for endpoint in (self._socket, self._wake, self._woken):
            endpoint.close()

    def _run(self):
        try:
            while self._woken not in select.select([self._socket, self._woken], [], [])[0]:
                self._receive()
            while select.select([self._socket], [], [], 0)[0]:
                self._receive()
        except Exception as failure:
            self._failure = failure

    def _receive(self):
        payload, ancillary, flags, (source, _) = self._socket.recvmsg(65536, 512)
        if flags & (socket.MSG_TRUNC | socket.MSG_CTRUNC):
            raise RuntimeError("a datagram was cut")
        notes = {(level, kind): data for level, kind, data in ancillary}
        if any(notes.get((socket.SOL_SOCKET, SO_RXQ_OVFL), b"")):
            raise RuntimeError("the receiver was too slow and lost datagrams; the test says nothing")
        seconds, nanoseconds = struct.unpack("@ll", notes[socket.SOL_SOCKET, SO_TIMESTAMPNS])
        (ttl,) = struct.unpack("@i", notes[socket.IPPROTO_IP, socket.IP_TTL])
        self.recording.datagrams.append(Datagram(seconds + nanoseconds / NANOSECONDS, source, ttl, payload))
