"""The live views of `watch` and `play` on a terminal: what a user presses and sees, and how the terminal is left."""

import os
import signal
import socket
import tempfile
import threading
import unittest
from pathlib import Path

from madestream import SLOT, Stream
from program import PAT, table_set
from recording import Receiver
from terminal import DOWN, END, HOME, PAGE_DOWN, PAGE_UP, UP, Terminal

PROGRAM = os.environ["SERVICEMUX"]
SUFFICIENT = 24  # rows for everything
FIRST_ROW = "TABLE"  # the line above has the titles


class Feeder:
    """Sends a stream again and again, without its PAT, in about its time."""

    def __init__(self, port):
        self._over = threading.Event()
        self._port = port
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def _run(self):
        stream = Stream(2).packets
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            while not self._over.is_set():
                for first in range(0, len(stream), 7):
                    try:
                        sender.sendto(b"".join(stream[first : first + 7]), ("127.0.0.1", self._port))
                    except ConnectionRefusedError:
                        pass  # not yet there
                    if self._over.wait(7 * SLOT):
                        return

    def stop(self):
        self._over.set()
        self._thread.join()


def free_port():
    receiver = Receiver()
    try:
        return receiver.port
    finally:
        receiver.close()


def rows(block):
    """The names and PIDs of the rows that are seen."""
    begin = next((i for i, line in enumerate(block) if FIRST_ROW in line), len(block)) + 1
    found = []
    for line in block[begin:]:
        if not line or " above" in line or " more" in line:
            break
        words = line.split()
        pid = next(i for i, word in enumerate(words) if word.startswith("0x"))
        found.append((" ".join(words[:pid]).split(",")[0], int(words[pid], 0)))
    return found


class View(unittest.TestCase):
    def run_on(self, arguments, **screen):
        terminal = Terminal([PROGRAM, *arguments], **screen)
        self.addCleanup(terminal.end)
        return terminal


class OfWatch(View):
    def setUp(self):
        self.port = free_port()

    def feed(self):
        feeder = Feeder(self.port)
        self.addCleanup(feeder.stop)
        return feeder

    def watch(self, *options, **screen):
        return self.run_on(["watch", f"udp://127.0.0.1:{self.port}", *options], **screen)

    def test_every_table_and_every_pid_has_a_row(self):
        terminal = self.watch(rows=40)
        self.feed()
        terminal.wait_for(lambda block: len(rows(block)) >= 14)
        names = {name for name, _ in rows(terminal.block())}
        self.assertLessEqual({"PAT", "PMT 101", "SDT actual", "EIT p/f actual 101", "TDT", "packets"}, names)

    def test_what_is_late_comes_first_and_s_sorts_otherwise(self):
        terminal = self.watch(rows=40)
        feeder = self.feed()
        terminal.wait_for(lambda block: len(rows(block)) >= 14)
        feeder.stop()
        terminal.wait_for(lambda block: {name for name, _ in rows(block)[:2]} == {"PAT", "PMT 101"})
        terminal.press("s")
        block = terminal.wait_for(lambda block: "s: by PID" in block[-2])
        pids = [pid for _, pid in rows(block)]
        self.assertEqual(pids, sorted(pids))
        terminal.press("s")
        block = terminal.wait_for(lambda block: "s: by name" in block[-2])
        names = [name for name, _ in rows(block)]
        self.assertEqual(names, sorted(names))
        terminal.press("s")
        terminal.wait_for(lambda block: "s: worst first" in block[-2])

    def test_on_a_small_screen_every_row_can_be_reached(self):
        terminal = self.watch(rows=12)
        self.feed()
        terminal.wait_for(lambda block: "7 PIDs   7 tables" in str(block))  # all there are
        terminal.press("ss")
        block = terminal.wait_for(lambda block: "s: by name" in block[-2] and len(rows(block)) >= 3)
        first = rows(block)
        terminal.press(DOWN)
        terminal.wait_for(lambda block: rows(block)[:2] == first[1:3])
        terminal.press(UP)
        terminal.wait_for(lambda block: rows(block)[:3] == first[:3])
        terminal.press(END)
        at_the_end = terminal.wait_for(lambda block: " above" in str(block) and " more" not in str(block))
        last = rows(at_the_end)
        self.assertEqual(last[-1][0], "packets")
        terminal.press(PAGE_UP)
        terminal.wait_for(lambda block: any(" more" in line for line in block))
        terminal.press(HOME)
        terminal.wait_for(lambda block: rows(block)[:3] == first[:3])
        terminal.press(PAGE_DOWN)
        terminal.wait_for(lambda block: rows(block) and rows(block)[0] not in first)

    def test_q_ends_it_and_leaves_the_report(self):
        terminal = self.watch()
        self.feed()
        terminal.wait_for(lambda block: "PAT" in str(rows(block)))
        self.assertTrue(terminal.is_raw())
        terminal.press("q")
        self.assertEqual(terminal.wait(), 0)
        self.assertEqual(terminal.mode(), terminal.usual)
        self.assertIn(" watched by arrival times", terminal.output)
        self.assertTrue(terminal.output.rstrip().endswith("\x1b[?25h"))


class EveryEnd(View):
    """However a view ends, the terminal is as before."""

    def setUp(self):
        self.port = free_port()
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        tables = table_set(directory.name, pat=PAT)
        self.programs = {
            "watch": ["watch", f"udp://127.0.0.1:{self.port}"],
            "play": ["play", str(tables), "--to", f"127.0.0.1:{self.port}"],
        }

    def started(self, arguments):
        terminal = self.run_on(arguments)
        terminal.wait_for(lambda block: len(block) > 3)
        self.assertTrue(terminal.is_raw())
        return terminal

    def test_by_a_signal(self):
        endings = {
            signal.SIGINT: 0, signal.SIGTERM: 0,
            signal.SIGQUIT: -signal.SIGQUIT, signal.SIGABRT: -signal.SIGABRT, signal.SIGSEGV: -signal.SIGSEGV,
        }
        for name, arguments in self.programs.items():
            for number, expected in endings.items():
                with self.subTest(f"{name} {number.name}"):
                    terminal = self.started(arguments)
                    terminal.signal(number)
                    self.assertEqual(terminal.wait(), expected)
                    self.assertEqual(terminal.mode(), terminal.usual)
                    self.assertGreater(terminal.output.rfind("\x1b[?25h"), terminal.output.rfind("\x1b[?25l"))

    def test_by_ctrl_c(self):
        for name, arguments in self.programs.items():
            with self.subTest(name):
                terminal = self.started(arguments)
                terminal.press("\x03")
                self.assertEqual(terminal.wait(), 0)
                self.assertEqual(terminal.mode(), terminal.usual)

    def test_by_the_duration(self):
        for name, arguments in self.programs.items():
            with self.subTest(name):
                terminal = self.run_on([*arguments, "--duration", "1"])
                self.assertEqual(terminal.wait(), 0)
                self.assertEqual(terminal.mode(), terminal.usual)

    def test_while_it_is_stopped(self):
        for name, arguments in self.programs.items():
            with self.subTest(name):
                terminal = self.started(arguments)
                terminal.signal(signal.SIGTSTP)
                terminal.wait_until(terminal.is_stopped)
                self.assertEqual(terminal.mode(), terminal.usual)
                terminal.signal(signal.SIGCONT)
                terminal.wait_until(terminal.is_raw)

    def test_q_does_not_take_an_output_off_air(self):
        terminal = self.started(self.programs["play"])
        terminal.press("qs")
        terminal.wait_for(lambda block: "s: by PID" in "".join(block[-3:]))
        self.assertFalse(terminal.ended())


class OfPlay(View):
    def test_its_tables_are_scrolled_and_sorted(self):
        with tempfile.TemporaryDirectory() as directory:
            pmts = [
                {"program_number": i, "pid": 0x200 - i, "pcr_pid": 0x1FFF, "version_number": 1, "streams": []}
                for i in range(1, 31)
            ]
            programs = [{"program_number": i, "pid": 0x200 - i} for i in range(1, 31)]
            pat = {"transport_stream_id": 1, "version_number": 1, "programs": programs}
            tables = table_set(directory, pat=pat, pmts=pmts)
            terminal = self.run_on(["play", str(tables), "--to", f"127.0.0.1:{free_port()}"], rows=14)
            terminal.wait_for(lambda block: any("and " in line and " more" in line for line in block))
            terminal.press("s")
            block = terminal.wait_for(lambda block: "s: by PID" in "".join(block[-3:]))
            self.assertEqual([pid for _, pid in rows(block)][:3], [0, 0x200 - 30, 0x200 - 29])
            terminal.press(PAGE_DOWN)
            terminal.wait_for(lambda block: rows(block) and rows(block)[0][1] > 0x200 - 29)
            terminal.press(END)
            block = terminal.wait_for(lambda block: rows(block) and rows(block)[-1] == ("PMT 1", 0x200 - 1))
            terminal.press(HOME)
            terminal.wait_for(lambda block: rows(block) and rows(block)[0] == ("PAT", 0))


if __name__ == "__main__":
    unittest.main()
