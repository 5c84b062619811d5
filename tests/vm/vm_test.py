#!/usr/bin/env python3
"""Runs the example host in a virtual machine, on the kernel's FTDI driver and emulated chips.

usage: vm_test.py FOLDER HALDEN_HOST HALDEN_KERNEL_TESTS [TEST]...
FOLDER is what ./fetch has filled, and the programs are linked statically.
"""
import json
import sys
import time
import traceback

from chip import STEPS, Chip, line_of, near
from machine import Machine, wait_until

SERIALS = ["FT00000A", "FT00000B"]

# Prints the number of frames, the first and the last line of a recording that misses none and mixes none up.
CHECK = r"""awk -F, 'NR > 1 { n = int($1 * 20 + %d.5); for (i = 2; i <= NF; i++) if ($i != (i %% 2 ? $1 : -$1)) bad = NR;
if (NF != %d || (NR > 2 && n != (last + 1) %% %d)) bad = NR; if (NR == 2) first = n; last = n }
END { print bad ? "bad line " bad : NR - 1 " " first " " last }' """


class Failed(AssertionError):
    pass


def expect(true, what):
    if not true:
        raise Failed(what)


class Guest:
    """What the tests do in the virtual machine."""

    def __init__(self, machine):
        self.machine = machine

    def run(self, command, seconds=20):
        text, code = self.machine.run(command, seconds)
        expect(code == 0, f"{command} gives {code}: {text}")
        return text

    def start(self, name, arguments, device="linux", seconds=20):
        """A recording in the background."""
        self.machine.run(f"rm -f /tmp/{name}.*")
        self.run(f"(timeout {seconds} halden-host record --device {device} --csv /tmp/{name}.csv --registry "
                 f"/tmp/{name}.reg {arguments} 2>/tmp/{name}.txt; echo $? >/tmp/{name}.code) &")

    def said(self, name):
        return self.machine.run(f"cat /tmp/{name}.txt")[0]

    def await_said(self, name, text):
        wait_until(lambda: text in self.said(name) or self.ended(name), f"{text!r} of {name}")
        expect(text in self.said(name), f"{name} says {self.said(name)} and not {text!r}")

    def ended(self, name):
        return self.machine.run(f"cat /tmp/{name}.code 2>/dev/null")[0].strip()

    def recorded(self, name, columns=2):
        """Frames, first and last line, once it has ended."""
        code = wait_until(lambda: self.ended(name), f"the end of {name}", 30)
        expect(code == "0", f"{name} gives {code}: {self.said(name)}")
        text = self.run((CHECK % (STEPS // 2, columns, STEPS)).replace("\n", " ") + f"/tmp/{name}.csv")
        expect("bad" not in text, f"{name}: {text}")
        return [int(number) for number in text.split()]


def expect_only_listening(chip):
    expect(chip.written == b"", f"the device was sent {chip.written!r}")


def finds_by_listening_and_records_every_line(guest):
    chip = Chip(guest.machine, SERIALS[0])
    try:
        chip.speak(1000)
        guest.start("all", "--frames 3000", "linux,baud=115200")
        frames, _, _ = guest.recorded("all")
        expect(frames == 3000, f"{frames} frames")
        calls = chip.calls()
        for wanted in ["parity N, data bits 8, stop bits 1", "got control 0x4009, value 0x5",
                       "got control 0x4001, value 0x101", "got control 0x4001, value 0x202"]:
            expect(wanted in calls, f"{wanted!r} is missing in {calls}")
        rates = chip.rates()
        expect(any(near(rate, 115200) for rate in rates) and rates[-1] == 9600, f"the rates are {rates}")
        expect_only_listening(chip)
        chip.pause = 0
        for _ in range(10):
            listed = json.loads(guest.run("halden-host devices --device linux --registry /tmp/all.reg --json"))
            device = [listed["devices"][0][key] for key in ["port", "chip", "serial", "line"]]
            expect(device == ["COM1", "FT232BM", "FT00000A", "115200,N,8,1"], f"{device} is listed")
        expect_only_listening(chip)
    finally:
        chip.unplug()


def skips_a_silent_device(guest):
    silent, speaking = Chip(guest.machine, SERIALS[0]), Chip(guest.machine, SERIALS[1])
    try:
        speaking.speak(200)
        start = time.monotonic()
        guest.start("second", "--frames 100")
        guest.await_said("second", "Found COM2")
        expect(time.monotonic() - start > 2, "the first device had less than 2 s")
        guest.recorded("second")
        expect_only_listening(silent)
    finally:
        silent.unplug()
        speaking.unplug()


def raises_the_rate_when_it_hears_noise(guest):
    chip = Chip(guest.machine, SERIALS[0], speaks_at=250000)
    try:
        chip.speak(500)
        guest.start("raised", "--frames 200", "linux,baud=230400")
        frames, _, _ = guest.recorded("raised")
        expect(frames == 200, f"{frames} frames")
        rates = chip.rates()
        expect(near(rates[1], 230400) and rates[2:] == [250000, 9600], f"the rates are {rates}")
        stored = guest.run("cat /tmp/raised-ports.reg")
        expect("230400,N,8,1" in stored, f"the configuration is {stored}")
        expect_only_listening(chip)
    finally:
        chip.unplug()


def one_goes_on_when_the_other_is_unplugged_and_comes_back(guest):
    first, second = Chip(guest.machine, SERIALS[0]), Chip(guest.machine, SERIALS[1])
    try:
        first.speak(500)
        second.speak(500)
        guest.start("first", "--seconds 9")
        guest.await_said("first", "Recording")
        guest.start("other", "--frames 3000")
        guest.await_said("other", "Found COM2")
        listed = guest.run("halden-host devices --device linux")
        expect(f"/dev/{first.tty}: held by another program, halden-host (process " in listed, listed)
        lines = first.hush()
        time.sleep(0.2)
        first.unplug()
        frames, start, last = guest.recorded("first")
        expect(last == lines - 1 and frames == last - start + 1, f"{frames} frames to {last} of {lines} lines")
        frames, _, _ = guest.recorded("other")
        expect(frames == 3000, f"{frames} frames of the other")

        first = Chip(guest.machine, SERIALS[0])
        first.speak(500)
        guest.start("again", "--frames 500")
        frames, _, _ = guest.recorded("again")
        expect(frames == 500, f"{frames} frames")
        expect_only_listening(second)
    finally:
        first.unplug()
        second.unplug()


def loses_nothing_at_200_kilobytes_a_second(guest):
    columns, rate = 24, 1150
    chip = Chip(guest.machine, SERIALS[0], columns)
    try:
        chip.speak(rate)
        guest.start("fast", f"--frames {rate * 10}", "linux,baud=3000000", 40)
        guest.await_said("fast", "Recording")
        start = time.monotonic()
        wait_until(lambda: guest.ended("fast"), "the end of a recording of 10 s", 40)
        speed = rate * len(line_of(0, columns)) * 10 / (time.monotonic() - start)
        frames, _, _ = guest.recorded("fast", columns)
        expect(frames == rate * 10, f"{frames} frames")
        expect(speed > 200000, f"only {speed:.0f} bytes a second came")
        expect_only_listening(chip)
    finally:
        chip.unplug()


def sleeps_while_nothing_comes(guest):
    chip = Chip(guest.machine, SERIALS[0])
    # Of every thread but the first, which serves the host's polls.
    switches = ("p=$(pidof halden-host); for t in /proc/$p/task/*; do "
                "[ ${t##*/} = $p ] || grep ^voluntary $t/status; done")
    try:
        guest.run("halden-host watch --device linux --answer port=0,channels=1,rate=10 --seconds 9 "
                  ">/dev/null 2>/tmp/idle.txt &")
        guest.await_said("idle", "Found COM1")
        before = guest.run(switches)
        guest.run("sleep 2")
        after = guest.run(switches)
        expect(before == after and before, f"woken up from {before} to {after}")
    finally:
        guest.machine.run("killall halden-host")
        chip.unplug()


def keeps_the_contract_of_devices(guest):
    chips = [Chip(guest.machine, serial, sends_back=True) for serial in SERIALS]
    try:
        guest.run("mkdir -p /dev/shm; halden-kernel-tests --gtest_brief=1 --gtest_filter='OnARealKernel*'", 60)
        calls = chips[0].calls()
        for wanted in ["got control 0x4001, value 0x100", "got control 0x4001, value 0x200",
                       "got control 0x4009, value 0x7", "got control 0x4009, value 0x1",
                       "parity E, data bits 7, stop bits 2", "got control 0x4004, value 0x308"]:
            expect(wanted in calls, f"{wanted!r} is missing in {calls}")
    finally:
        for chip in chips:
            chip.unplug()


TESTS = [finds_by_listening_and_records_every_line, skips_a_silent_device, raises_the_rate_when_it_hears_noise,
         one_goes_on_when_the_other_is_unplugged_and_comes_back, loses_nothing_at_200_kilobytes_a_second,
         sleeps_while_nothing_comes, keeps_the_contract_of_devices]


def main(folder, host, kernel_tests, *names):
    failed = 0
    machine = Machine(folder, [host, kernel_tests], SERIALS)
    try:
        for test in TESTS:
            if names and test.__name__ not in names:
                continue
            start, failure = time.monotonic(), "ok"
            try:
                test(Guest(machine))
            except AssertionError as error:
                failure, failed = error if isinstance(error, Failed) else traceback.format_exc(), failed + 1
            print(f"{test.__name__} ({time.monotonic() - start:.1f} s): {failure}", flush=True)
    finally:
        machine.end()
    return failed > 0


sys.exit(main(*sys.argv[1:]))
