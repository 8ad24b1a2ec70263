"""Where packets go when the program opens its outputs itself: sockets of either family, RTP, files and stdout."""

import os
import re
import signal
import socket
import struct
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import decoders
import mpegts
from mpegts import NULL_PID, PAT_PID
from namespaces import Namespace, NotPermitted
from program import CAT, MORTAL, NIT, PAT, PATIENCE, Child, play_to, table_set, wait_until
from recording import Receiver

OUTPUT_FAILED = 3
PORT = 5004
RTP_HEADER = 12


def versions(packets):
    return {mpegts.decode(section).version for section in mpegts.sections_of(packets, PAT_PID)}


class Outputs(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.tables = table_set(directory.name, pat=PAT)

    def play(self, *destinations, options=(), prefix=()):
        child = play_to([self.tables], destinations, *options, prefix=prefix)
        self.addCleanup(child.end)
        return child

    def receiver(self, *arguments, **options):
        receiver = Receiver(*arguments, **options)
        self.addCleanup(receiver.close)
        return receiver

    def end(self, child, status=0):
        child.signal(signal.SIGINT)
        self.assertEqual(child.wait(), status, child)


class InANetwork(Outputs):
    """The sender has two links to a network, and a route for groups that leads to the other one."""

    def setUp(self):
        super().setUp()
        try:
            self.sender, self.network = self.namespace(), self.namespace()
        except NotPermitted as reason:
            self.skipTest(str(reason))
        self.sender.link("wanted", "10.88.1.1", self.network, "first", "10.88.1.2")
        self.sender.link("other", "10.88.2.1", self.network, "second", "10.88.2.2")
        for namespace, interface, address in (
            (self.sender, "wanted", "2001:db8:1::1"),
            (self.network, "first", "2001:db8:1::2"),
            (self.sender, "other", "2001:db8:2::1"),
            (self.network, "second", "2001:db8:2::2"),
        ):
            namespace.ip("address", "add", f"{address}/64", "dev", interface, "nodad")
        self.sender.ip("route", "add", "224.0.0.0/4", "dev", "other")
        # Of IPv6 each interface has a route for groups of its own: this one goes before them.
        groups = ("multicast", "ff00::/8", "dev", "other", "table", "local", "metric", "1")
        self.sender.ip("-6", "route", "add", *groups)

    def namespace(self):
        made = Namespace()
        self.addCleanup(made.delete)
        return made

    def ear(self, address, group=None, interface=None):
        with self.network.entered():
            return self.receiver(address, group=group, port=PORT, interface=interface)

    def play_here(self, *destinations, options=()):
        return self.play(*destinations, options=options, prefix=self.sender.prefix)

    def check_group(self, group, first, second, source, interface):
        heard, silent = self.ear(first, group, "first"), self.ear(second, group, "second")
        destination = f"[{group}]:{PORT}" if ":" in group else f"{group}:{PORT}"
        child = self.play_here(destination, options=("--interface", interface, "--ttl", 7, "--dscp", 34))
        wait_until(lambda: len(heard.recording.sections(PAT_PID)) >= 5, child)
        self.end(child)
        recording = heard.stop()
        self.assertEqual({(datagram.source, datagram.ttl, datagram.dscp) for datagram in recording.datagrams},
                         {(source, 7, 34)})
        self.assertEqual(versions(recording.packets()), {3})
        self.assertEqual(silent.stop().datagrams, [])
        self.assertIn("nothing lost", child.output.splitlines()[-1])
        self.assertEqual(child.errors, "")

    def test_an_ipv4_group_leaves_through_the_interface_of_a_name(self):
        # Neither of them ends in 224 to 239.
        self.check_group("239.1.1.1", "10.88.1.2", "10.88.2.2", "10.88.1.1", "wanted")

    def test_an_ipv4_group_leaves_through_the_interface_of_an_address(self):
        self.check_group("224.1.1.1", "10.88.1.2", "10.88.2.2", "10.88.1.1", "10.88.1.1")

    def test_an_ipv6_group_leaves_through_the_interface_of_a_name(self):
        self.check_group("ff05::77", "2001:db8:1::2", "2001:db8:2::2", "2001:db8:1::1", "wanted")

    def test_an_ipv6_group_leaves_through_the_interface_of_an_address(self):
        self.check_group("ff05::77", "2001:db8:1::2", "2001:db8:2::2", "2001:db8:1::1", "2001:db8:1::1")

    def test_a_group_without_an_interface_takes_the_route(self):
        silent, heard = self.ear("10.88.1.2", "239.1.1.230", "first"), self.ear("10.88.2.2", "239.1.1.230", "second")
        child = self.play_here(f"239.1.1.230:{PORT}")
        wait_until(lambda: heard.recording.datagrams, child)
        self.end(child)
        self.assertEqual({(datagram.source, datagram.ttl) for datagram in heard.stop().datagrams}, {("10.88.2.1", 1)})
        self.assertEqual(silent.stop().datagrams, [])

    def test_what_only_ends_like_a_group_is_sent_to_directly(self):
        self.network.ip("address", "add", "10.88.1.230/24", "dev", "first")
        heard = self.ear("10.88.1.230")
        child = self.play_here(f"udp://10.88.1.230:{PORT}", options=("--ttl", 9, "--dscp", 46))
        wait_until(lambda: heard.recording.datagrams, child)
        self.end(child)
        self.assertEqual({(datagram.ttl, datagram.dscp) for datagram in heard.stop().datagrams}, {(9, 46)})

    def test_what_is_sent_to_directly_comes_from_the_interface_that_was_asked_for(self):
        for target, source in (("10.88.1.2", "10.88.2.1"), ("2001:db8:1::2", "2001:db8:2::1")):
            with self.subTest(target):
                heard = self.ear(target)
                text = f"[{target}]" if ":" in target else target
                child = self.play_here(f"{text}:{PORT}", options=("--interface", "other"))
                wait_until(lambda: heard.recording.datagrams, child)
                self.end(child)
                self.assertEqual({datagram.source for datagram in heard.stop().datagrams}, {source})

    def check_outage(self, destination, down, up, ear):
        """The output fails and comes back, is named both times, and only then."""
        child = self.play_here(destination, options=("--interface", "wanted", "--null-period", 20))
        where = f"{destination} through wanted"
        wait_until(lambda: ear.recording.datagrams, child)
        down()
        wait_until(lambda: f"servicemux: {where}: " in child.errors, child)
        wait_until(lambda: re.search(r"\d datagrams? not sent: ", child.output), child)
        up()
        wait_until(lambda: f"servicemux: {where}: it works again, " in child.errors, child)
        before = len(ear.recording.datagrams)
        wait_until(lambda: len(ear.recording.datagrams) > before + 3, child)
        self.end(child)
        lines = child.errors.splitlines()
        # A link that is taken away may be unreachable first and no device then.
        self.assertLessEqual(len(lines), 3, child)
        for line in lines:
            self.assertTrue(line.startswith(f"servicemux: {where}: "), child)
        ear.stop()

    def test_a_link_that_goes_down_is_named_and_taken_up_again(self):
        group, address = "239.1.1.1", "10.88.1.2"
        self.check_outage(f"{group}:{PORT}", lambda: self.sender.ip("link", "set", "wanted", "down"),
                          lambda: self.sender.ip("link", "set", "wanted", "up"),
                          self.ear(address, group, "first"))

    def test_an_ipv6_link_that_goes_down_is_named_and_taken_up_again(self):
        def up():
            self.sender.ip("link", "set", "wanted", "up")
            self.sender.ip("address", "replace", "2001:db8:1::1/64", "dev", "wanted", "nodad")

        self.check_outage(f"rtp://[ff05::77]:{PORT}", lambda: self.sender.ip("link", "set", "wanted", "down"), up,
                          self.ear("2001:db8:1::2", "ff05::77", "first"))

    def test_an_interface_that_is_made_anew_is_found_again(self):
        def make():
            self.sender.link("made", "10.88.3.1", self.network, "far", "10.88.3.2")
            return self.ear("10.88.3.2", "239.1.1.1", "far")

        ear = make()
        child = self.play_here(f"239.1.1.1:{PORT}", options=("--interface", "made", "--null-period", 20))
        wait_until(lambda: ear.recording.datagrams, child)
        ear.stop()
        self.sender.ip("link", "delete", "made")
        wait_until(lambda: "through made: " in child.errors, child)
        again = make()
        wait_until(lambda: again.recording.datagrams, child)
        wait_until(lambda: "it works again" in child.errors, child)
        self.end(child)
        again.stop()

    def test_an_interface_that_is_down_is_named(self):
        self.sender.ip("link", "set", "wanted", "down")
        for destination in (f"239.1.1.1:{PORT}", f"[ff05::77]:{PORT}", f"rtp://239.1.1.1:{PORT}"):
            with self.subTest(destination):
                child = self.play_here(destination, options=("--interface", "wanted"))
                self.assertEqual(child.wait(), OUTPUT_FAILED, child)
                self.assertRegex(child.errors, rf"^servicemux: {re.escape(destination)} through wanted: [^\n]+\n$")
                self.assertEqual(child.output, "")

    def test_an_interface_that_is_not_there_is_named(self):
        for interface, reason in (("eth9", "there is no interface eth9"),
                                  ("10.99.9.9", "no interface has the address 10.99.9.9")):
            child = self.play_here(f"239.1.1.1:{PORT}", options=("--interface", interface))
            self.assertEqual(child.wait(), OUTPUT_FAILED, child)
            self.assertEqual(child.errors, f"servicemux: 239.1.1.1:{PORT} through {interface}: {reason}\n")


class Several(Outputs):
    def test_they_get_the_same_packets_and_are_counted_each(self):
        plain, rtp, ipv6 = self.receiver(), self.receiver(), self.receiver("::1")
        path = self.directory / "out.ts"
        names = [f"udp://127.0.0.1:{plain.port}", f"rtp://127.0.0.1:{rtp.port}", f"[::1]:{ipv6.port}", f"file:{path}"]
        child = self.play(*names, options=("--duration", 2, "--null-period", 3))
        self.assertEqual(child.wait(), 0, child)
        sent = [datagram.payload for datagram in plain.stop().datagrams]
        self.assertGreater(len(sent), 20)
        self.assertEqual([datagram.payload for datagram in ipv6.stop().datagrams], sent)
        self.assertEqual([datagram.payload[RTP_HEADER:] for datagram in rtp.stop().datagrams], sent)
        written = path.read_bytes()
        self.assertTrue(b"".join(sent).startswith(written), "a file is closed a little before")
        self.assertGreater(len(written), len(b"".join(sent)) / 2)
        summary = child.output.splitlines()[-5:]
        self.assertIn("nothing lost", summary[0])
        for name, line in zip(names, summary[1:]):
            self.assertRegex(line, rf"^  {re.escape(name)}: [\d ]+ datagrams, [\d ]+ bytes, nothing lost$")
        self.assertIn(f"to {names[0]}  ", child.output)

    def test_one_that_cannot_be_opened_ends_it_before_anything_is_sent(self):
        heard = self.receiver()
        child = self.play(f"127.0.0.1:{heard.port}", "file:/no/such/out.ts")
        self.assertEqual(child.wait(), OUTPUT_FAILED, child)
        self.assertEqual(child.errors, "servicemux: file:/no/such/out.ts: No such file or directory\n")
        self.assertEqual(heard.stop().datagrams, [])

    def test_a_receiver_that_is_missing_is_no_failure(self):
        receiver = self.receiver()
        port = receiver.port
        receiver.stop()
        child = self.play(f"127.0.0.1:{port}", options=("--duration", 2, "--null-period", 10))
        self.assertEqual(child.wait(), 0, child)
        self.assertEqual(child.errors, "")
        self.assertRegex(child.output.splitlines()[-1], r"nothing lost, [\d ]+ came back refused$")

    def test_names_are_looked_up(self):
        try:
            socket.getaddrinfo("localhost", None)
        except OSError as reason:
            self.skipTest(f"this machine does not know localhost: {reason}")
        ipv4 = self.receiver()
        ipv6 = self.receiver("::1", port=ipv4.port)
        child = self.play(f"udp://localhost:{ipv4.port}")
        wait_until(lambda: ipv4.recording.datagrams or ipv6.recording.datagrams, child)
        self.end(child)
        child = self.play("udp://no-such-host.invalid:5004")
        self.assertEqual(child.wait(), OUTPUT_FAILED, child)
        self.assertRegex(child.errors, r"^servicemux: udp://no-such-host\.invalid:5004: [^\n]+\n$")


class Rtp(Outputs):
    def test_its_headers_are_those_of_rfc_2250(self):
        heard = self.receiver()
        child = self.play(f"rtp://127.0.0.1:{heard.port}", options=("--duration", 3, "--null-period", 5))
        self.assertEqual(child.wait(), 0, child)
        recording = heard.stop()
        headers = [struct.unpack("!BBHII", datagram.payload[:RTP_HEADER]) for datagram in recording.datagrams]
        self.assertEqual({header[:2] for header in headers}, {(0x80, 33)})
        self.assertEqual(len({header[4] for header in headers}), 1)
        for before, after in zip(headers, headers[1:]):
            self.assertEqual(after[2], (before[2] + 1) % 0x10000)
        ticks = (headers[-1][3] - headers[0][3]) % 2**32
        seconds = recording.datagrams[-1].time - recording.datagrams[0].time
        self.assertAlmostEqual(ticks / 90000, seconds, delta=0.25 * seconds)
        for datagram in recording.datagrams:
            self.assertLessEqual(len(datagram.payload), RTP_HEADER + 7 * 188)
            mpegts.split_packets(datagram.payload[RTP_HEADER:])

    def test_gstreamer_takes_the_packets_out_of_it(self):
        # Reads from a socket that is there before the first datagram; a port of the kernel's choice may be gone.
        probe = self.receiver()
        port = probe.port
        probe.stop()
        path = self.directory / "rtp.ts"
        caps = "application/x-rtp,media=video,clock-rate=90000,encoding-name=MP2T,payload=33"
        pipeline = ["gst-launch-1.0", "-q", "udpsrc", f"port={port}", "num-buffers=50", f"caps={caps}", "!",
                    "rtpmp2tdepay", "!", "filesink", f"location={path}"]
        known = subprocess.run(["gst-inspect-1.0", "rtpmp2tdepay"], capture_output=True, timeout=PATIENCE, check=False)
        if known.returncode:
            self.skipTest("GStreamer has no rtpmp2tdepay")
        decoder = Child(pipeline)
        self.addCleanup(decoder.end)
        child = self.play(f"rtp://127.0.0.1:{port}", options=("--null-period", 10))
        self.assertEqual(decoder.wait(), 0, decoder)
        self.end(child)
        packets = mpegts.split_packets(path.read_bytes())
        self.assertEqual({packet.pid for packet in packets}, {PAT_PID, NULL_PID})
        self.assertEqual(versions(packets), {3})
        self.assertEqual(mpegts.counter_breaks([packet for packet in packets if packet.pid == PAT_PID]), [])


class FilesAndStdout(Outputs):
    def setUp(self):
        super().setUp()
        self.tables = table_set(self.directory, pat=PAT, cat=CAT, nit=NIT)

    def check_stream(self, path, child):
        packets = decoders.whole_tables(mpegts.split_packets(path.read_bytes()))
        self.assertGreater(len(packets), 10, child)
        for pid in {packet.pid for packet in packets}:
            self.assertEqual(mpegts.counter_breaks([packet for packet in packets if packet.pid == pid]), [])
        seen = decoders.tshark(decoders.write(packets, self.directory / "whole.ts"))
        self.assertEqual(seen.complaints, set())
        self.assertEqual(seen.crcs, {decoders.CRC_GOOD})
        self.assertEqual({table[0] for table in seen.tables}, {mpegts.PAT_PID, mpegts.CAT_PID, mpegts.NIT_PID})

    def test_a_file_is_a_transport_stream(self):
        path = self.directory / "out.ts"
        path.write_bytes(b"what was there" * 1000000)
        child = self.play(f"file:{path}", options=("--duration", 3))
        self.assertEqual(child.wait(), 0, child)
        self.check_stream(path, child)
        self.assertIn("nothing lost", child.output.splitlines()[-1])

    def piped(self, command, *options):
        """Runs it in a shell, its stdout into `command`; returns the exit status of each of the two and its stderr."""
        program = [os.environ["SERVICEMUX"], "play", str(self.tables), "--to", "-", *map(str, options)]
        script = f'"$@" | {command}; echo "${{PIPESTATUS[*]}}"'
        done = subprocess.run(["bash", "-c", script, "bash", *program], capture_output=True, text=True,
                              timeout=PATIENCE, cwd=self.directory, check=False)
        return done.stdout.split(), done.stderr

    def test_stdout_has_the_packets_and_nothing_else(self):
        statuses, errors = self.piped("cat > out.ts", "--duration", 3)
        self.assertEqual(statuses, ["0", "0"], errors)
        self.check_stream(self.directory / "out.ts", errors)
        self.assertIn(" kbit/s  ", errors, "the view is on stderr")
        self.assertIn(" on air, ", errors.splitlines()[-1])
        statuses, errors = self.piped("cat > out.ts", "--duration", 1, "--quiet")
        self.assertEqual((statuses, errors), (["0", "0"], ""))

    def test_it_ends_when_its_reader_has_had_enough(self):
        statuses, errors = self.piped("head -c 1880 > out.ts")
        self.assertEqual(statuses, ["0", "0"], errors)
        self.assertEqual(len(mpegts.split_packets((self.directory / "out.ts").read_bytes())), 10)
        self.assertEqual(errors.count("servicemux: stdout: its reader is gone\n"), 1, errors)

    def start(self, stdout, *destinations):
        """With a pipe's end as its stdout; returns the process and the path of what it writes to stderr."""
        path = self.directory / "errors"
        to = [word for destination in destinations for word in ("--to", destination)]
        with path.open("wb") as errors:
            process = subprocess.Popen([*MORTAL, os.environ["SERVICEMUX"], "play", self.tables, *to],
                                       stdout=stdout, stderr=errors)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        os.close(stdout)
        return process, path

    def test_it_fails_when_there_was_no_reader_at_all(self):
        reader, writer = os.pipe()
        os.close(reader)
        process, errors = self.start(writer, "-")
        self.assertEqual(process.wait(PATIENCE), OUTPUT_FAILED, errors.read_text())
        self.assertIn("servicemux: stdout: its reader is gone\n", errors.read_text())

    def test_one_of_several_that_got_nothing_is_an_output_that_could_not_be_used(self):
        heard = self.receiver()
        reader, writer = os.pipe()
        os.close(reader)
        process, errors = self.start(writer, f"127.0.0.1:{heard.port}", "-")
        deadline = time.monotonic() + PATIENCE
        while "stdout: its reader is gone" not in errors.read_text() and time.monotonic() < deadline:
            time.sleep(0.05)
        process.terminate()
        self.assertEqual(process.wait(PATIENCE), OUTPUT_FAILED, errors.read_text())

    def test_other_destinations_outlive_the_reader(self):
        heard = self.receiver()
        reader, writer = os.pipe()
        process, errors = self.start(writer, "-", f"127.0.0.1:{heard.port}")
        self.assertEqual(os.read(reader, 188)[:1], b"G")
        os.close(reader)
        deadline = time.monotonic() + PATIENCE
        while "stdout: its reader is gone" not in errors.read_text() and time.monotonic() < deadline:
            time.sleep(0.05)
        before = len(heard.recording.datagrams)
        while len(heard.recording.datagrams) < before + 3 and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertGreaterEqual(len(heard.stop().datagrams), before + 3, errors.read_text())
        process.terminate()
        self.assertEqual(process.wait(PATIENCE), 0, errors.read_text())
        self.assertEqual(errors.read_text().count("servicemux: "), 1)

    def test_what_is_no_ordinary_file_is_left_alone(self):
        (self.directory / "directory").mkdir()
        os.mkfifo(self.directory / "fifo")
        for name, reason in (("directory", "it is a directory"), ("fifo", "it is there and no ordinary file"),
                             ("missing/out.ts", "No such file or directory")):
            with self.subTest(name):
                path = self.directory / name
                child = self.play(f"file:{path}")
                self.assertEqual(child.wait(), OUTPUT_FAILED, child)
                self.assertEqual(child.errors, f"servicemux: file:{path}: {reason}\n")
        before = self.tables.read_bytes()
        child = self.play(f"file:{self.tables}")
        self.assertEqual(child.wait(), OUTPUT_FAILED, child)
        self.assertEqual(child.errors, f"servicemux: file:{self.tables}: it is one of the files to play\n")
        self.assertEqual(self.tables.read_bytes(), before)

    def test_a_full_disk_is_named_and_ends_with_the_status_of_an_output_that_could_not_be_used(self):
        disk = self.directory / "disk"
        disk.mkdir()
        full = f"mount -t tmpfs -o size=4k none {disk} && {{ head -c 4096 /dev/zero > {disk}/fill; exec \"$@\"; }}"
        prefix = ("unshare", "-m", "sh", "-c", full, "sh")
        if subprocess.run([*prefix, "true"], capture_output=True, timeout=PATIENCE, check=False).returncode:
            self.skipTest("no small disk can be mounted here")
        child = self.play(f"file:{disk}/out.ts", options=("--duration", 3), prefix=prefix)
        self.assertEqual(child.wait(), OUTPUT_FAILED, child)
        self.assertEqual(child.errors, f"servicemux: file:{disk}/out.ts: No space left on device; it is tried again\n")
        self.assertRegex(child.output.splitlines()[-1],
                         r" in 0 datagrams, 0 bytes, \d+ datagrams not sent: No space left on device$")


class Rights(Outputs):
    def test_what_is_missing_of_them_is_said_once(self):
        heard = self.receiver()
        unprivileged = ("setpriv", "--bounding-set", "-sys_nice", "--inh-caps", "-sys_nice")
        child = self.play(f"127.0.0.1:{heard.port}", options=("--duration", 1),
                          prefix=("prlimit", "--rtprio=0", *unprivileged))
        self.assertEqual(child.wait(), 0, child)
        heard.stop()
        self.assertRegex(child.errors, r"^servicemux: no real-time priority \(CAP_SYS_NICE\): [^\n]+\n$")


if __name__ == "__main__":
    unittest.main()
