"""An emulated FTDI chip with a device behind it that sends numbered lines."""
import math
import random
import re
import socket
import threading
import time

from machine import wait_until

STEPS = 64001  # multiples of 0.05 from -1600 to 1600


def fields(number, columns):
    """The first column counts the lines, the others are that with changing sign."""
    value = (number % STEPS - STEPS // 2) / 20
    return [value if column % 2 == 0 else -value for column in range(columns)]


def line_of(number, columns):
    return ("\t".join(f"{value:.2f}" for value in fields(number, columns)) + "\r\n").encode()


def near(rate, wanted):
    """As near as a line of that rate still can be read at."""
    return abs(rate - wanted) <= wanted * 0.03


class Chip:
    """Plugged in when made. Sends lines from `speak` on, or noise while the port has not the rate `speaks_at`; what it
    sends while nobody has the port open is lost, as with a real one.

    After an opening it waits for `pause` seconds. On a port that nobody has set up since it was plugged in, the kernel
    echoes what comes while it is still opening it, and no program can be faster.
    """

    def __init__(self, machine, serial, columns=2, speaks_at=None, sends_back=False):
        self.machine, self.columns = machine, columns
        self.speaks_at, self.sends_back = speaks_at, sends_back
        self.rate, self.next_line, self.written = 0, 0, b""
        self.opened_at, self.pause, self.baud = math.inf, 0.1, 0
        self.pending = b""
        self.chance = random.Random(serial)
        before = len(machine.trace())
        self.line = machine.connect(serial)
        self.line.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
        self.line.setblocking(False)
        found = wait_until(lambda: re.search(r"control 0x5, value 0x(\w+)", machine.trace()[before:]), "plugging in")
        self.dev = f"dev 0:{int(found[1], 16)} "
        self.plugged_at = before
        self.tty = self.await_tty(serial)
        self.trace = open(machine.trace_path)
        self.trace.seek(before)
        self.going = True
        self.feeder = threading.Thread(target=self.feed)
        self.feeder.start()

    def await_tty(self, serial):
        command = f"for t in /sys/bus/usb-serial/devices/*; do grep -q {serial} $t/../../serial && echo ${{t##*/}}; done"
        return wait_until(lambda: self.machine.run(command + " 2>/dev/null")[0].strip(), f"a tty for {serial}")

    def calls(self):
        """What the chip has been told since it was plugged in."""
        lines = self.machine.trace()[self.plugged_at:].splitlines()
        return [line.split(self.dev)[1] for line in lines if self.dev in line]

    def rates(self):
        return [int(call.split()[-1]) for call in self.calls() if call.startswith("baud rate")]

    def follow(self):
        """Learns from the trace what has been set since the last call."""
        for line in self.trace:
            if self.dev + "baud rate" in line:
                self.baud = int(line.split()[-1])
            if self.dev + "got control 0x4001" in line:
                opened = not line.endswith("0x300\n")
                self.opened_at = min(self.opened_at, time.monotonic()) if opened else math.inf

    def speak(self, lines_per_second):
        self.rate = lines_per_second

    def hush(self):
        """Stops within a line. The number of whole lines that have been sent."""
        self.rate = 0
        wait_until(lambda: not self.pending, "sending the last lines")
        lines = self.next_line
        self.pending = b"12"
        return lines

    def unplug(self):
        if self.going:
            self.going = False
            self.feeder.join()
            self.line.close()
            self.trace.close()
            wait_until(lambda: self.machine.run(f"test -e /dev/{self.tty}")[1] != 0, f"the end of {self.tty}")

    def feed(self):
        last = time.monotonic()
        due = 0.0
        while self.going:
            time.sleep(0.002)
            now = time.monotonic()
            due = min(due + (now - last) * self.rate, self.rate / 10)
            last = now
            self.follow()
            if not self.pending:
                self.pending = self.compose(int(due))
                due -= int(due)
            self.exchange()

    def compose(self, lines):
        first, self.next_line = self.next_line, self.next_line + lines
        if time.monotonic() < self.opened_at + self.pause:
            return b""
        if self.speaks_at and not near(self.baud, self.speaks_at):
            return bytes(self.chance.choice(b"\x80\xa5\xc0\xf8\xfe") for _ in range(lines * 16))
        return b"".join(line_of(number, self.columns) for number in range(first, first + lines))

    def exchange(self):
        try:
            while self.pending:
                self.pending = self.pending[self.line.send(self.pending):]
        except BlockingIOError:
            pass
        try:
            written = self.line.recv(4096)
            self.written += written
            if self.sends_back:
                self.pending += written
        except BlockingIOError:
            pass
