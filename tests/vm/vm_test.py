#!/usr/bin/env python3
"""Runs the example host in a virtual machine, on the kernel's FTDI driver and emulated chips.

usage: vm_test.py FOLDER HALDEN_HOST HALDEN_KERNEL_TESTS [RealKernel.TEST]...
FOLDER is what ./fetch has filled. The programs are statically linked.
"""
import json
import sys
import time
import unittest

from machine import STEPS, Chip, Machine, line_of, near, wait_until

FOLDER, *PROGRAMS = (sys.argv.pop(1) for _ in range(3))
SERIALS = ["FT00000A", "FT00000B"]

# Checks that a recording has every line, in order and undamaged. Prints the number of frames, the first and the last line.
CHECK = r"""awk -F, 'NR > 1 { n = int($1 * 20 + %d.5); """ \
        r"""for (i = 2; i <= NF; i++) if ($i != (i %% 2 ? $1 : -$1)) bad = NR; """ \
        r"""if (NF != %d || (NR > 2 && n != (last + 1) %% %d)) bad = NR; if (NR == 2) first = n; last = n } """ \
        r"""END { print bad ? "bad line " bad : NR - 1 " " first " " last }' """


class RealKernel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.guest = Machine(FOLDER, PROGRAMS, SERIALS)
        cls.addClassCleanup(cls.guest.end)

    def start(self, name, arguments, device="linux", command="record --csv /tmp/{}.csv"):
        """Starts the host in the background."""
        host = f"halden-host {command.format(name)} --device {device} --registry /tmp/{name}.reg {arguments}"
        self.guest.run(f"cd /tmp; rm -f {name}.*; ({host} 2>{name}.txt >/dev/null; echo $? >{name}.code) &")

    def await_said(self, name, text):
        self.assertIn(text, self.guest.run_until_it_prints(f"cat /tmp/{name}.code; grep '{text}' /tmp/{name}.txt"))

    def recorded(self, name, columns=2, code="0"):
        """Waits until the host has ended with this code. Returns the number of frames, the first and the last line."""
        ended = self.guest.run_until_it_prints(f"cat /tmp/{name}.code")
        self.assertEqual(ended, code, self.guest.run(f"cat /tmp/{name}.txt"))
        text = self.guest.run(CHECK % (STEPS // 2, columns, STEPS) + f"/tmp/{name}.csv")
        self.assertNotIn("bad", text)
        return [int(number) for number in text.split()]

    def test_finds_by_listening_and_loses_nothing_at_200_kilobytes_a_second(self):
        columns, rate, speed, tries = 24, 1150, 0, 3  # a busy machine may slow the chip down
        while speed <= 200000:
            self.assertGreater(tries, 0, f"only {speed:.0f} bytes a second came")
            tries -= 1
            with Chip(self.guest, SERIALS[0], rate, columns) as chip:
                self.start("fast", f"--frames {rate * 10}", "linux,baud=3000000")
                self.await_said("fast", "Recording")
                start = time.monotonic()
                self.guest.run_until_it_prints("cat /tmp/fast.code")
                speed = rate * len(line_of(0, columns)) * 10 / (time.monotonic() - start)
                self.assertEqual(self.recorded("fast", columns)[0], rate * 10)
                chip.pause = 0
                for _ in range(10):
                    listed = self.guest.run("halden-host devices --device linux --registry /tmp/fast.reg --json")
                    device = [json.loads(listed)["devices"][0][key] for key in ["port", "chip", "serial", "line"]]
                    self.assertEqual(device, ["COM1", "FT232BM", "FT00000A", "3000000,N,8,1"])
            chip.assert_got("parity N, data bits 8, stop bits 1", "got control 0x4009, value 0x5",
                             "got control 0x4001, value 0x101", "got control 0x4001, value 0x202")
            self.assertIn(3000000, chip.rates)
            self.assertEqual(chip.rates[-1], 9600)

    def test_skips_a_silent_device_and_raises_the_rate_when_it_hears_noise(self):
        with Chip(self.guest, SERIALS[0]), Chip(self.guest, SERIALS[1], 500, speaks_at=250000) as chip:
            start = time.monotonic()
            self.start("raised", "--frames 200", "linux,baud=230400")
            self.await_said("raised", "Found COM2")
            self.assertGreater(time.monotonic() - start, 2)
            self.assertEqual(self.recorded("raised")[0], 200)
        self.assertIn('"FT00000B"="230400,N,8,1"', self.guest.run("cat /tmp/raised-ports.reg"))
        self.assertTrue(near(chip.rates[2], 230400))
        self.assertEqual(chip.rates[3:], [250000, 9600])

    def test_one_goes_on_when_the_other_is_unplugged_and_comes_back(self):
        with Chip(self.guest, SERIALS[0], 500) as first, Chip(self.guest, SERIALS[1], 500):
            self.start("first", "--seconds 30")
            self.await_said("first", "Recording")
            self.start("other", "--frames 3000")
            self.await_said("other", "Found COM2")
            self.assertIn(f"/dev/{first.tty}: held by another program, halden-host (process ",
                          self.guest.run("halden-host devices --device linux"))
            lines = first.unplug()
            self.assertEqual(self.recorded("other")[0], 3000)
            with Chip(self.guest, SERIALS[0], 500):
                self.start("again", "--frames 500")
                self.assertEqual(self.recorded("again")[0], 500)
            frames, start, last = self.recorded("first", code="1")
            self.await_said("first", "the device is gone")
            self.assertEqual((last, frames), (lines - 1, last - start + 1))

    def test_raises_dtr_only_once_and_restores_the_port_when_it_is_stopped(self):
        with Chip(self.guest, SERIALS[0]) as chip:
            self.assertIn("(assumed", self.guest.run("halden-host devices --device linux --registry /tmp/dtr.reg"))
            self.start("dtr", "--cancel")
            self.guest.run_until_it_prints("cat /tmp/dtr.code")
            wait_until(lambda: chip.dtr_levels()[-1:] == [0], "dropping DTR at the end")
            self.assertEqual(chip.dtr_levels(), [1, 0])
            self.assertEqual(chip.calls.count("got control 0x4001, value 0x101"), 2, "it wasn't opened twice")
            for number, code in [("TERM", "143"), ("SEGV", "139")]:
                self.start("ended", "")
                port = f"stty -a -F /dev/{chip.tty} | grep -e"
                self.guest.run_until_it_prints(f"{port} -hupcl")
                self.guest.run(f"killall -{number} halden-host")
                self.assertEqual(self.guest.run_until_it_prints("cat /tmp/ended.code"), code)
                self.guest.run(f"{port} '[^-]hupcl'")

    def test_sleeps_while_nothing_arrives(self):
        # The context switches of every thread but the first, which wakes up for the host's polls.
        switches = ("p=$(pidof halden-host); for t in /proc/$p/task/*; do "
                    "[ ${t##*/} = $p ] || grep ^voluntary $t/status; done")
        with Chip(self.guest, SERIALS[0]):
            self.start("idle", "--answer port=0,channels=1,rate=10", command="watch")
            self.await_said("idle", "Found COM1")
            before = self.guest.run(switches)
            self.guest.run("sleep 2")
            self.assertEqual(self.guest.run(switches), before)
            self.assertIn("voluntary", before)
            self.guest.run("killall halden-host")

    def test_sets_the_line_that_is_kept_and_the_shortest_latency_where_it_may_not_choose(self):
        kept = rf'REGEDIT4\n\n[HKEY_CURRENT_USER\\Ports]\n"{SERIALS[0]}"="300,E,7,2"\n'
        self.guest.run(f"printf '{kept}' >/tmp/kept-ports.reg")
        with Chip(self.guest, SERIALS[0], 500) as chip:
            self.guest.run("mount -o remount,ro /sys")
            self.start("kept", "--frames 20")
            self.recorded("kept")
            self.guest.run("mount -o remount,rw /sys")
        chip.assert_got("parity E, data bits 7, stop bits 2", "got control 0x4009, value 0x1")
        self.assertEqual(chip.rates[-2:], [300, 9600])

    def test_keeps_the_contract_of_devices(self):
        with Chip(self.guest, SERIALS[0], sends_back=True), Chip(self.guest, SERIALS[1], sends_back=True):
            said = self.guest.run("mkdir -p /dev/shm; HALDEN_CHIPS_SEND_BACK=1 halden-kernel-tests --gtest_brief=1 "
                                  "--gtest_color=no --gtest_filter='OfTheKernel*'")
            self.assertRegex(said, "PASSED.* [1-9]")


unittest.main(verbosity=2)
