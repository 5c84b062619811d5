"""An emulated FTDI chip with a device behind it that sends numbered lines."""
import math
import random
import re
import socket
import threading
import time

from machine import wait_until

STEPS = 64001  # multiples of 0.05 from -1600 to 1600


def line_of(number, columns):
    """The first column counts the lines, the others are that with changing sign."""
    value = (number % STEPS - STEPS // 2) / 20
    return ("\t".join(f"{value * (-1) ** column:.2f}" for column in range(columns)) + "\r\n").encode()


def near(rate, wanted):
    """As near as a line of that rate still can be read at."""
    return abs(rate - wanted) <= wanted * 0.03


class Chip:
    """Plugged in within a with statement. Sends so many lines a second, or noise while the port has not the rate
    `speaks_at`, and what it is sent where it `sends_back`; nobody else may send it anything. What it sends while nobody
    has the port open is lost, as with a real one.

    After an opening it waits for `pause` seconds. On a port that nobody has set up since it was plugged in, the kernel
    echoes what comes while it is still opening it, and no program can be faster.
    """

    def __init__(self, machine, serial, lines_per_second=0, columns=2, speaks_at=None, sends_back=False):
        self.machine, self.serial, self.rate, self.columns = machine, serial, lines_per_second, columns
        self.speaks_at, self.sends_back = speaks_at, sends_back
        self.next_line, self.pending = 0, b""
        self.opened_at, self.pause = math.inf, 0.1
        self.calls, self.rates = [], [0]  # what it has been told, and the line rates in it
        self.chance = random.Random(serial)

    def __enter__(self):
        self.trace = open(self.machine.trace_path, encoding="utf-8", errors="replace")
        self.trace.seek(0, 2)
        self.line = self.machine.connect(self.serial)
        self.line.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
        self.line.setblocking(False)
        address = wait_until(lambda: re.search(r"control 0x5, value 0x(\w+)", self.trace.readline()), "plugging in")
        self.dev = f"dev 0:{int(address[1], 16)} "
        self.tty = self.machine.run_until_it_prints(
            f"cd /sys/bus/usb-serial/devices; for t in *; do grep -q {self.serial} $t/../../serial && echo $t; done")
        self.going = True
        self.feeder = threading.Thread(target=self.feed)
        self.feeder.start()
        return self

    def __exit__(self, *_):
        if self.going:
            self.going = False
            self.feeder.join()
            self.line.close()
            self.machine.run_until_it_prints(f"test -e /dev/{self.tty} || echo gone")

    def unplug(self):
        """Stops within a line first. The number of whole lines that have been sent."""
        self.rate = 0
        wait_until(lambda: not self.pending, "sending the last lines")
        lines, self.pending = self.next_line, b"12"
        time.sleep(0.2)
        self.__exit__()
        return lines

    def feed(self):
        last, due = time.monotonic(), 0.0
        while self.going:
            time.sleep(0.002)
            now = time.monotonic()
            due, last = min(due + (now - last) * self.rate, self.rate / 10), now
            self.follow()
            if not self.pending:
                self.pending = self.compose(int(due))
                due -= int(due)
            self.exchange()

    def follow(self):
        for line in self.trace:
            if self.dev not in line:
                continue
            self.calls.append(line.split(self.dev)[1].strip())
            if "baud rate" in line:
                self.rates.append(int(line.split()[-1]))
            if "got control 0x4001" in line:
                opened = not line.endswith("0x300\n")
                self.opened_at = min(self.opened_at, time.monotonic()) if opened else math.inf

    def compose(self, lines):
        first, self.next_line = self.next_line, self.next_line + lines
        if time.monotonic() < self.opened_at + self.pause:
            return b""
        if self.speaks_at and not near(self.rates[-1], self.speaks_at):
            return bytes(self.chance.choice(b"\x80\xa5\xc0\xf8\xfe") for _ in range(lines * 16))
        return b"".join(line_of(number, self.columns) for number in range(first, first + lines))

    def exchange(self):
        try:
            while self.pending:
                self.pending = self.pending[self.line.send(self.pending):]
        except BlockingIOError:
            pass
        try:
            sent = self.line.recv(4096)
        except BlockingIOError:
            return
        if self.sends_back:
            self.pending += sent
        else:
            self.calls.append(f"sent {sent!r}")
