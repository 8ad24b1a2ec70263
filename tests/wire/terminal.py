"""Runs a program on a terminal of its own, and sees what a user would see."""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time

PATIENCE = 30  # seconds
STYLES = re.compile(r"\x1b\[[0-9;?]*[a-zA-Z]")
BEGIN = "\x1b[?25l\r"  # of a block

UP, DOWN, PAGE_UP, PAGE_DOWN, HOME, END = "\x1b[A", "\x1b[B", "\x1b[5~", "\x1b[6~", "\x1b[H", "\x1b[F"


class Terminal:
    """A child whose stdin, stdout and stderr are a terminal with so many rows and columns. It must be ended."""

    def __init__(self, arguments, rows=24, columns=120):
        self.output = ""
        leader, follower = pty.openpty()
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self._leader, self._follower = leader, follower
        self.usual = self.mode()
        self.pid = os.fork()
        if self.pid == 0:
            os.login_tty(follower)
            os.environ["TERM"] = "xterm"
            os.execv(arguments[0], [str(argument) for argument in arguments])
        self._status = None

    def mode(self):
        return termios.tcgetattr(self._follower)

    def is_raw(self):
        return not self.mode()[3] & (termios.ICANON | termios.ECHO)

    def press(self, keys):
        os.write(self._leader, keys.encode())

    def read(self, timeout=0.05):
        while select.select([self._leader], [], [], timeout)[0]:
            self.output += os.read(self._leader, 65536).decode(errors="replace")
            timeout = 0

    def block(self):
        """The lines of the last block that is complete, without their styles."""
        blocks = self.output.split(BEGIN)
        whole = [text for text in blocks[1:] if text.endswith("\x1b[J")] or [""]
        return [STYLES.sub("", line).rstrip() for line in whole[-1].split("\n")]

    def wait_for(self, condition):
        """Until the block fulfils a condition, and returns it."""
        deadline = time.monotonic() + PATIENCE
        while not condition(self.block()):
            if time.monotonic() > deadline or self.ended():
                raise AssertionError("what was waited for did not come\n" + "\n".join(self.block()))
            self.read()
        return self.block()

    def wait_until(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > deadline:
                raise AssertionError("what was waited for did not come")
            self.read()

    def signal(self, number):
        os.kill(self.pid, number)

    def is_stopped(self):
        with open(f"/proc/{self.pid}/stat") as stat:
            return stat.read().rpartition(")")[2].split()[0] == "T"

    def ended(self):
        if self._status is None:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                self._status = os.waitstatus_to_exitcode(status)
        return self._status is not None

    def wait(self):
        """The exit status, negative after a signal."""
        self.wait_until(self.ended)
        self.read()
        return self._status

    def end(self):
        if not self.ended():
            os.kill(self.pid, signal.SIGKILL)
            os.kill(self.pid, signal.SIGCONT)
            self.wait()
        os.close(self._leader)
        os.close(self._follower)
