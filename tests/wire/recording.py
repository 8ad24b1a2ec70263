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
IP_RECVTOS = 13

BUFFER_SIZE = 8 << 20
NANOSECONDS = 1e9


@dataclass(frozen=True)
class Datagram:
    time: float  # seconds
    source: str
    ttl: int  # or hop limit
    payload: bytes
    dscp: int = 0


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
    """Records what comes to a UDP socket, in a thread of its own, from construction until stop().

    `ip` is of either family; a group of IPv6 is joined on `interface`.
    """

    def __init__(self, ip="127.0.0.1", group=None, port=0, interface=None):
        self.recording = Recording()
        self._failure = None
        self._wake, self._woken = socket.socketpair()
        self._family = socket.AF_INET6 if ":" in (group or ip) else socket.AF_INET
        self._socket = socket.socket(self._family, socket.SOCK_DGRAM)
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
        if self._family == socket.AF_INET:
            receiver.setsockopt(socket.IPPROTO_IP, IP_RECVTTL, 1)
            receiver.setsockopt(socket.IPPROTO_IP, IP_RECVTOS, 1)
        else:
            receiver.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_RECVHOPLIMIT, 1)
            receiver.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_RECVTCLASS, 1)
        if interface:
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, interface.encode())
            receiver.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        receiver.bind((group or ip, port))
        if group and self._family == socket.AF_INET:
            membership = socket.inet_aton(group) + socket.inet_aton(ip)
            receiver.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        elif group:
            membership = socket.inet_pton(socket.AF_INET6, group) + struct.pack("@I", socket.if_nametoindex(interface))
            receiver.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, membership)
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
        payload, ancillary, flags, (source, *_) = self._socket.recvmsg(65536, 512)
        if flags & (socket.MSG_TRUNC | socket.MSG_CTRUNC):
            raise RuntimeError("a datagram was cut")
        notes = {(level, kind): data for level, kind, data in ancillary}
        if any(notes.get((socket.SOL_SOCKET, SO_RXQ_OVFL), b"")):
            raise RuntimeError("the receiver was too slow and lost datagrams; the test says nothing")
        seconds, nanoseconds = struct.unpack("@ll", notes[socket.SOL_SOCKET, SO_TIMESTAMPNS])
        ttl, traffic_class = self._hops_and_class(notes)
        time = seconds + nanoseconds / NANOSECONDS
        self.recording.datagrams.append(Datagram(time, source, ttl, payload, traffic_class >> 2))

    def _hops_and_class(self, notes):
        if self._family == socket.AF_INET:
            (ttl,) = struct.unpack("@i", notes[socket.IPPROTO_IP, socket.IP_TTL])
            return ttl, notes[socket.IPPROTO_IP, socket.IP_TOS][0]
        kinds = (socket.IPV6_HOPLIMIT, socket.IPV6_TCLASS)
        return tuple(struct.unpack("@i", notes[socket.IPPROTO_IPV6, kind])[0] for kind in kinds)
