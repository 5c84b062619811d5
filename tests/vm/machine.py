"""A virtual machine with a real kernel, and the emulated FTDI chips that are plugged into it."""
import contextlib
import math
import os
import re
import socket
import subprocess
import threading
import time

STEPS = 64001  # multiples of 0.05 from -1600 to 1600
PATIENCE = 60  # seconds; the machine may be busy with other things

# Makes the archive that the virtual machine boots from, with its first program and the programs under test.
PACK = """rm -rf root && mkdir -p root/bin && cp -r modules "$0" root && cp /bin/busybox root/bin
for program; do strip -o "root/bin/${program##*/}" "$program"; done
cd root && find . | /bin/busybox cpio -o -H newc >../initrd 2>/dev/null"""


def wait_until(condition, what):
    end = time.monotonic() + PATIENCE
    while not (result := condition()):
        assert time.monotonic() < end, f"{what} did not happen"
        time.sleep(0.02)
    return result


class Machine:
    def __init__(self, folder, programs, chips):
        """`programs` are statically linked and are copied to /bin. `chips` are the serial numbers of the chips that can
        be plugged in."""
        self.folder, self.trace_path = folder, f"{folder}/trace"
        files = [os.path.abspath(file) for file in (f"{os.path.dirname(__file__)}/init", *programs)]
        subprocess.run(["bash", "-ec", PACK, *files], cwd=folder, check=True)
        subprocess.run(["rm", "-f", "console", "trace", *chips], cwd=folder, check=True)
        command = ("qemu-system-x86_64 -accel tcg -m 512 -smp 2 -nodefaults -no-user-config -display none -no-reboot "
                   "-kernel vmlinux -initrd initrd -serial file:kernel.log -serial chardev:console -device qemu-xhci "
                   "-chardev socket,id=console,path=console,server=on,wait=off -trace usb_serial_* -D trace").split()
        for chip in chips:
            command += ["-chardev", f"socket,id={chip},path={chip},server=on,wait=off",
                        "-device", f"usb-serial,chardev={chip},serial={chip}"]
        command += ["-append", "console=ttyS0 quiet loglevel=4 panic=-1"]
        self.emulator = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL)
        with self.connect("console") as console:
            console.settimeout(2 * PATIENCE)
            self.console = console.makefile("rwb")
        while "ready" not in self.hear():
            pass

    def connect(self, name):
        connection = socket.socket(socket.AF_UNIX)
        wait_until(lambda: connection.connect_ex(f"{self.folder}/{name}") == 0, f"opening {name}")
        return connection

    def hear(self):
        line = self.console.readline()
        assert line, "the virtual machine has ended"
        return line.decode(errors="replace").replace("\r", "")

    def run(self, command, may_fail=False):
        """Returns what the command prints, without white space around it."""
        self.console.write(command.encode() + b"\n")
        self.console.flush()
        text = ""
        while not (code := re.match(r"\[done (\d+)\]", line := self.hear())):
            text += line
        assert may_fail or code[1] == "0", f"{command} gives {code[1]}: {text}"
        return text.strip()

    def run_until_it_prints(self, command):
        return wait_until(lambda: self.run(f"exec 2>/dev/null; {command}", may_fail=True), command)

    def end(self):
        self.emulator.kill()
        self.emulator.wait()


def line_of(number, columns):
    """The first column counts the lines; the others repeat it with alternating sign."""
    value = (number % STEPS - STEPS // 2) / 20
    return ("\t".join(f"{value * (-1) ** column:.2f}" for column in range(columns)) + "\r\n").encode()


def near(rate, wanted):
    """Whether a line at one rate can still be read at the other."""
    return abs(rate - wanted) <= wanted * 0.03


class Chip:
    """An emulated chip, plugged in for the length of a with statement.

    It sends `lines_per_second`, or noise while the port's rate isn't `speaks_at`. What it sends while the port is
    closed is lost, as with a real chip; after an opening it waits for `pause` seconds before it sends. With
    `sends_back` it returns what it receives; without it, receiving anything is a failure."""

    def __init__(self, machine, serial, lines_per_second=0, columns=2, speaks_at=None, sends_back=False):
        self.machine, self.serial, self.rate, self.columns = machine, serial, lines_per_second, columns
        self.speaks_at, self.sends_back = speaks_at, sends_back
        self.next_line, self.pending, self.received = 0, b"", b""
        # The pause is for the first opening after plugging in: until the program has set the port up, the kernel
        # echoes what arrives, and no program can be fast enough to prevent that.
        self.opened_at, self.pause = math.inf, 0.1
        self.calls, self.rates = [], [0]  # the control requests that the chip got, and the changes of its line rate

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
            self.trace.close()
            self.machine.run_until_it_prints(f"test -e /dev/{self.tty} || echo gone")
            assert self.sends_back or not self.received, f"{self.serial} received {self.received}"

    def unplug(self):
        """Stops within a line first. Returns the number of complete lines that were sent."""
        self.rate = 0
        wait_until(lambda: not self.pending, "sending the last lines")
        lines, self.pending = self.next_line, b"12"
        time.sleep(0.2)
        self.__exit__()
        return lines

    def dtr_levels(self):
        """The changes of the line DTR, 1 where it rose."""
        levels = []
        for value in re.findall(r"control 0x4001, value 0x(\w+)", "\n".join(self.calls)):
            levels += [int(value, 16) & 1] if int(value, 16) & 0x100 and levels[-1:] != [int(value, 16) & 1] else []
        return levels

    def assert_got(self, *wanted):
        assert set(wanted) <= set(self.calls), f"the chip never got {set(wanted) - set(self.calls)}"

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
                rate = int(line.split()[-1])
                self.rates += [rate] if rate != self.rates[-1] else []
            if "got control 0x4001" in line:
                opened = not line.endswith("0x300\n")
                self.opened_at = min(self.opened_at, time.monotonic()) if opened else math.inf

    def compose(self, lines):
        first, self.next_line = self.next_line, self.next_line + lines
        if time.monotonic() < self.opened_at + self.pause:
            return b""
        if self.speaks_at and not near(self.rates[-1], self.speaks_at):
            return b"\x80\xa5\xc0\xf8\xfe" * (3 * lines)
        return b"".join(line_of(number, self.columns) for number in range(first, first + lines))

    def exchange(self):
        with contextlib.suppress(BlockingIOError):
            while self.pending:
                self.pending = self.pending[self.line.send(self.pending):]
        with contextlib.suppress(BlockingIOError):
            self.received += (sent := self.line.recv(4096))
            self.pending += sent if self.sends_back else b""
