"""Live streams: what comes over UDP and RTP is imported as it is on the wire."""

import json
import signal
import socket
import struct
import tempfile
import time
import unittest
from pathlib import Path

from program import CAT, PAT, play, servicemux, table_set
from recording import Receiver


def free_port():
    receiver = Receiver()
    try:
        return receiver.port
    finally:
        receiver.close()


def in_rtp(number, payload):
    return struct.pack(">BBHII", 0x80, 33, number & 0xFFFF, number * 90, 7) + payload


class Relay:
    """Takes what is played to a port of this machine and sends it on."""

    def __init__(self, family, address):
        self.source = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.source.bind(("127.0.0.1", 0))
        self.source.settimeout(0.5)
        self.port = self.source.getsockname()[1]
        self._out = socket.socket(family, socket.SOCK_DGRAM)
        if family == socket.AF_INET:
            self._out.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("127.0.0.1"))
        else:
            self._out.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, socket.if_nametoindex("lo"))
        self._address = address
        self._number = 0

    def pass_on(self, rtp):
        try:
            payload = self.source.recv(65536)
        except TimeoutError:
            return
        self._number += 1
        self._out.sendto(in_rtp(self._number, payload) if rtp else payload, self._address)

    def close(self):
        self.source.close()
        self._out.close()


class LiveImport(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.tables = table_set(self.directory, pat=PAT, cat=CAT)

    def assert_imported(self, child, output):
        self.assertEqual(child.wait(), 0, child)
        tables = json.loads(output.read_text())
        self.assertEqual(tables["pat"]["transport_stream_id"], PAT["transport_stream_id"])
        self.assertEqual([int(program["pid"], 16) for program in tables["pat"]["programs"]], [16, 257])
        self.assertEqual(tables["cat"]["version_number"], CAT["version_number"])

    def relay(self, family, host, rtp, *options):
        port = free_port()
        name = f"[{host}]" if family == socket.AF_INET6 else host
        relay = Relay(family, (host, port))
        self.addCleanup(relay.close)
        playing = play([self.tables], "127.0.0.1", relay.port, "--quiet")
        self.addCleanup(playing.end)
        output = self.directory / "imported.json"
        child = servicemux(
            "import", f"{'rtp' if rtp else 'udp'}://{name}:{port}", "--duration", "3", "-o", output, *options
        )
        self.addCleanup(child.end)
        deadline = time.monotonic() + 60
        while child.running() and time.monotonic() < deadline:
            relay.pass_on(rtp)
        self.assert_imported(child, output)

    def test_udp_and_rtp_to_this_machine(self):
        for family, host in ((socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::1")):
            for rtp in (False, True):
                with self.subTest(host=host, rtp=rtp):
                    self.relay(family, host, rtp)

    def test_multicast_on_an_interface(self):
        for family, host in ((socket.AF_INET, "239.1.1.77"), (socket.AF_INET6, "ff12::77")):
            for rtp in (False, True):
                with self.subTest(host=host, rtp=rtp):
                    self.relay(family, host, rtp, "--interface", "lo")

    def test_a_signal_ends_it_and_keeps_what_came(self):
        port = free_port()
        output = self.directory / "imported.json"
        child = servicemux("import", f"udp://127.0.0.1:{port}", "-o", output)
        self.addCleanup(child.end)
        playing = play([self.tables], "127.0.0.1", port, "--duration", "2", "--quiet")
        self.addCleanup(playing.end)
        self.assertEqual(playing.wait(), 0, playing)
        self.assertTrue(child.running(), child)
        child.signal(signal.SIGINT)
        self.assert_imported(child, output)

    def test_silence_ends_after_the_duration(self):
        port = free_port()
        child = servicemux("import", f"udp://127.0.0.1:{port}", "--duration", "0.2")
        self.addCleanup(child.end)
        self.assertEqual(child.wait(), 1, child)
        self.assertIn("nothing to import", child.errors)


if __name__ == "__main__":
    unittest.main()
