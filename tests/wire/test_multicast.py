"""Outputs with the device's addressing that leave as multicast, through an interface that the test makes for them."""

import re
import signal
import tempfile
import unittest
from pathlib import Path

import mpegts
from mpegts import PAT_PID
from namespaces import Namespace, NotPermitted
from program import PAT, play, table_set, wait_until
from recording import Receiver

GROUP = "239.1.1.230"  # what ends in 224 to 239 is a group by the address plan of the device
PORT = 5004
LOSS = "bytes to socket: -1 (101: Network is unreachable)"
OUTPUT_FAILED = 3


class Multicast(unittest.TestCase):
    def setUp(self):
        try:
            self.device = self.namespace()
        except NotPermitted as reason:
            self.skipTest(str(reason))
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.tables = table_set(directory.name, pat=PAT)

    def namespace(self):
        made = Namespace()
        self.addCleanup(made.delete)
        return made

    def receiver(self, namespace, interface, address):
        """Joins the group on one interface and hears only that."""
        with namespace.entered():
            receiver = Receiver(address, group=GROUP, port=PORT, interface=interface)
        self.addCleanup(receiver.close)
        return receiver

    def play(self, *options):
        child = play([self.tables], GROUP, PORT, "--device-addressing", *options, prefix=self.device.prefix)
        self.addCleanup(child.end)
        return child


class WithInterfaces(Multicast):
    """The device has two VLANs, and its route for groups leads to neither of the one that is asked for."""

    def setUp(self):
        super().setUp()
        network = self.namespace()
        self.device.link("ethInt.100", "10.88.1.1", network, "first", "10.88.1.2")
        self.device.link("ethInt.11", "10.88.2.1", network, "second", "10.88.2.2")
        self.first = self.receiver(network, "first", "10.88.1.2")
        self.second = self.receiver(network, "second", "10.88.2.2")

    def check_output(self, child, heard, source, silent):
        wait_until(lambda: len(heard.recording.sections(PAT_PID)) >= 5, child)
        self.assertEqual(self.device.bound_udp_sockets(), {(GROUP, PORT)})
        child.signal(signal.SIGTERM)
        self.assertEqual(child.wait(), 0, child)
        recording = heard.stop()
        self.assertEqual({(datagram.source, datagram.ttl) for datagram in recording.datagrams}, {(source, 1)})
        self.assertEqual({mpegts.decode(section).version for section in recording.sections(PAT_PID)}, {3})
        self.assertEqual(silent.stop().datagrams, [])
        self.assertNotIn("Could not write", child.errors)
        self.assertNotIn("socket open error", child.errors.lower())

    def test_vlan_1_leaves_through_its_own_interface_even_where_the_route_leads_elsewhere(self):
        self.device.ip("route", "add", "224.0.0.0/4", "dev", "ethInt.11")
        self.check_output(self.play("--vlan", 1), self.first, "10.88.1.1", self.second)

    def test_vlan_2_leaves_through_the_interface_of_the_slot(self):
        self.device.ip("route", "add", "224.0.0.0/4", "dev", "ethInt.100")
        self.check_output(self.play("--vlan", 2), self.second, "10.88.2.1", self.first)


class WithoutInterface(Multicast):
    def test_nothing_is_sent_and_the_interface_is_named(self):
        for vlan, name in ((1, "ethInt.100"), (2, "ethInt.11"), (3, "ethInt.12")):
            with self.subTest(vlan):
                child = self.play("--vlan", vlan)
                self.assertEqual(child.wait(), OUTPUT_FAILED, child)
                self.assertEqual(
                    child.errors, f"servicemux: {GROUP}:{PORT} through {name}: there is no interface {name}\n"
                )
                self.assertEqual(child.output, "")


class WithAnInterfaceThatIsDown(Multicast):
    """It has its address, and no datagram leaves through it."""

    def setUp(self):
        super().setUp()
        self.device.link("ethInt.100", "10.88.1.1", self.namespace(), "first", "10.88.1.2")
        self.device.ip("link", "set", "ethInt.100", "down")

    def test_a_flood_of_losses_is_summed_up(self):
        child = self.play("--vlan", 1, "--duration", 3, "--null-period", 3)
        self.assertEqual(child.wait(), OUTPUT_FAILED, child)
        lines = [line for line in child.errors.splitlines() if LOSS in line]
        self.assertLess(len(lines), 60, child)  # of each size of a datagram a few
        repeated = [re.search(r"repeated (\d+) times", line) for line in lines]
        self.check_losses(child, [int(found[1]) if found else 1 for found in repeated], at_least=100)

    def check_losses(self, child, logged, at_least):
        reported = int(re.search(r"0 bytes, (\d+) datagrams not sent$", child.output.strip())[1])
        self.assertGreaterEqual(reported, at_least, child)
        self.assertIn(sum(logged) - reported, range(4), child)  # some may follow the last report

    def test_everything_but_the_sending_goes_on(self):
        with tempfile.TemporaryDirectory() as directory:
            child = self.play("--vlan", 1, "--dump", directory)
            wait_until(lambda: child.errors.count(LOSS) >= 3 and "PAT" in child.output, child)
            self.assertEqual(len(mpegts.split_sections((Path(directory) / "current_PAT.bin").read_bytes())), 1)
            child.signal(signal.SIGINT)
            self.assertEqual(child.wait(), OUTPUT_FAILED, child)
            self.assertEqual(list(Path(directory).iterdir()), [])


if __name__ == "__main__":
    unittest.main()
