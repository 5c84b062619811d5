#!/usr/bin/env python3
"""Runs the example host in a virtual machine, on the kernel's FTDI driver and emulated chips.

usage: vm_test.py FOLDER HALDEN_HOST HALDEN_KERNEL_TESTS [TEST]...
FOLDER is what ./fetch has filled, and the programs are linked statically.
"""
import json
import sys
import time

from machine import STEPS, Chip, Machine, line_of, near

SERIALS = ["FT00000A", "FT00000B"]

# Prints the number of frames, the first and the last line of a recording that misses none and mixes none up.
CHECK = r"""awk -F, 'NR > 1 { n = int($1 * 20 + %d.5); """ \
        r"""for (i = 2; i <= NF; i++) if ($i != (i %% 2 ? $1 : -$1)) bad = NR; """ \
        r"""if (NF != %d || (NR > 2 && n != (last + 1) %% %d)) bad = NR; if (NR == 2) first = n; last = n } """ \
        r"""END { print bad ? "bad line " bad : NR - 1 " " first " " last }' """


class Guest(Machine):
    """The virtual machine with what the tests do in it."""

    def start(self, name, arguments, device="linux", command="record --csv /tmp/{0}.csv"):
        """A run in the background."""
        self.run(f"rm -f /tmp/{name}.*; (halden-host {command.format(name)} --device {device} "
                 f"--registry /tmp/{name}.reg {arguments} 2>/tmp/{name}.txt >/dev/null; echo $? >/tmp/{name}.code) &")

    def await_said(self, name, text):
        said = self.run_until_it_prints(f"cat /tmp/{name}.code; grep '{text}' /tmp/{name}.txt")
        assert text in said, f"{name} says no {text!r} but {self.run(f'cat /tmp/{name}.txt')}"

    def recorded(self, name, columns=2):
        """Frames, first and last line, once it has ended."""
        code = self.run_until_it_prints(f"cat /tmp/{name}.code")
        assert code == "0", f"{name} gives {code}: {self.run(f'cat /tmp/{name}.txt')}"
        text = self.run(CHECK % (STEPS // 2, columns, STEPS) + f"/tmp/{name}.csv")
        assert "bad" not in text, f"{name}: {text}"
        return [int(number) for number in text.split()]


def finds_by_listening_and_loses_nothing_at_200_kilobytes_a_second(guest):
    columns, rate, speed, tries = 24, 1150, 0, 3  # what else the machine does may slow the chip down
    while speed <= 200000:
        assert tries > 0, f"only {speed:.0f} bytes a second came"
        tries -= 1
        with Chip(guest, SERIALS[0], rate, columns) as chip:
            guest.start("fast", f"--frames {rate * 10}", "linux,baud=3000000")
            guest.await_said("fast", "Recording")
            start = time.monotonic()
            guest.run_until_it_prints("cat /tmp/fast.code")
            speed = rate * len(line_of(0, columns)) * 10 / (time.monotonic() - start)
            assert guest.recorded("fast", columns)[0] == rate * 10
            chip.pause = 0
            for _ in range(10):
                listed = json.loads(guest.run("halden-host devices --device linux --registry /tmp/fast.reg --json"))
                device = [listed["devices"][0][key] for key in ["port", "chip", "serial", "line"]]
                assert device == ["COM1", "FT232BM", "FT00000A", "3000000,N,8,1"], f"{device} is listed"
        chip.assert_told("parity N, data bits 8, stop bits 1", "got control 0x4009, value 0x5",
                         "got control 0x4001, value 0x101", "got control 0x4001, value 0x202")
        assert 3000000 in chip.rates and chip.rates[-1] == 9600, chip.rates


def skips_a_silent_device_and_raises_the_rate_when_it_hears_noise(guest):
    with Chip(guest, SERIALS[0]), Chip(guest, SERIALS[1], 500, speaks_at=250000) as chip:
        start = time.monotonic()
        guest.start("raised", "--frames 200", "linux,baud=230400")
        guest.await_said("raised", "Found COM2")
        assert time.monotonic() - start > 2, "the first device had less than 2 s"
        assert guest.recorded("raised")[0] == 200
        stored = guest.run("cat /tmp/raised-ports.reg")
    assert '"FT00000B"="230400,N,8,1"' in stored, f"the configuration is {stored}"
    assert near(chip.rates[2], 230400) and chip.rates[3:] == [250000, 9600], chip.rates


def one_goes_on_when_the_other_is_unplugged_and_comes_back(guest):
    with Chip(guest, SERIALS[0], 500) as first, Chip(guest, SERIALS[1], 500):
        guest.start("first", "--seconds 30")
        guest.await_said("first", "Recording")
        guest.start("other", "--frames 3000")
        guest.await_said("other", "Found COM2")
        listed = guest.run("halden-host devices --device linux")
        assert f"/dev/{first.tty}: held by another program, halden-host (process " in listed, listed
        lines = first.unplug()
        assert guest.recorded("other")[0] == 3000
        with Chip(guest, SERIALS[0], 500):
            guest.start("again", "--frames 500")
            assert guest.recorded("again")[0] == 500
        frames, start, last = guest.recorded("first")
        assert last == lines - 1 and frames == last - start + 1, f"{frames} frames to {last} of {lines} lines"


def sleeps_while_nothing_comes(guest):
    # Of every thread but the first, which serves the host's polls.
    switches = ("p=$(pidof halden-host); for t in /proc/$p/task/*; do "
                "[ ${t##*/} = $p ] || grep ^voluntary $t/status; done")
    with Chip(guest, SERIALS[0]):
        guest.start("idle", "--answer port=0,channels=1,rate=10", command="watch")
        guest.await_said("idle", "Found COM1")
        before = guest.run(switches)
        guest.run("sleep 2")
        after = guest.run(switches)
        guest.run("killall halden-host")
    assert before == after and before, f"woken up from {before} to {after}"


def keeps_the_contract_of_devices(guest):
    with Chip(guest, SERIALS[0], sends_back=True) as chip, Chip(guest, SERIALS[1], sends_back=True):
        guest.run("mkdir -p /dev/shm; halden-kernel-tests --gtest_brief=1 --gtest_filter='OnARealKernel*'")
    chip.assert_told("got control 0x4001, value 0x100", "got control 0x4001, value 0x200",
                     "got control 0x4009, value 0x7", "got control 0x4009, value 0x1",
                     "parity E, data bits 7, stop bits 2", "got control 0x4004, value 0x308")


TESTS = [finds_by_listening_and_loses_nothing_at_200_kilobytes_a_second,
         skips_a_silent_device_and_raises_the_rate_when_it_hears_noise,
         one_goes_on_when_the_other_is_unplugged_and_comes_back, sleeps_while_nothing_comes,
         keeps_the_contract_of_devices]


def main(folder, host, kernel_tests, *names):
    failed = 0
    guest = Guest(folder, [host, kernel_tests], SERIALS)
    try:
        for test in TESTS:
            if names and test.__name__ not in names:
                continue
            start, failure = time.monotonic(), None
            try:
                test(guest)
            except AssertionError as error:
                failure, failed = error, failed + 1
            print(f"{test.__name__} ({time.monotonic() - start:.1f} s): {failure or 'ok'}", flush=True)
    finally:
        guest.end()
    return failed > 0


sys.exit(main(*sys.argv[1:]))
