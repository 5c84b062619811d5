#!/usr/bin/env python3
"""Runs the example host as a person or a script would: wrong arguments, refusals, and every way to end a recording.

usage: command_line_test.py HALDEN_HOST
"""
import json
import os
import signal
import subprocess
import sys
import tempfile
import unittest

HOST = sys.argv.pop(1)
FAST = ["--device", "sim:columns=3,rate=200,baud=115200"]

WRONG = [  # arguments, and what the line on standard error must name
    ([], "command"),
    (["recrod"], "recrod"),
    (["devices", "watch"], "watch"),
    (["record", "--frame", "3"], "--frame"),
    (["record", "--frames"], "--frames"),
    (["record", "--frames", "0"], "--frames"),
    (["record", "--frames", "1.5"], "--frames"),
    (["record", "--frames", "5", "--seconds", "5"], "--seconds"),
    (["record", "--seconds", "-1"], "--seconds"),
    (["record", "--seconds", "nan"], "--seconds"),
    (["record", "--channels", "0,,1"], "--channels"),
    (["record", "--channels", "-1"], "--channels"),
    (["record", "--channels", "32767"], "--channels"),
    (["record", "--range", "0"], "--range"),
    (["record", "--range", "0=15"], "--range"),
    (["record", "--capacity", "1023"], "--capacity"),
    (["record", "--capacity", "2147483648"], "--capacity"),
    (["record", "--codes"], "--codes"),
    (["record", "--csv="], "--csv"),
    (["record", "--quiet=yes"], "--quiet"),
    (["devices", "--csv", "x"], "--csv"),
    (["settings", "--frames", "3"], "--frames"),
    (["watch", "--answer", "port=0,channels=33,rate=1"], "--answer"),
    (["watch", "--answer", "port=0"], "--answer"),
    (["watch", "--answer", "port=0,rate=1,colour=2"], "--answer"),
    (["watch", "--answer", "rate=1", "--cancel"], "--cancel"),
    (["watch", "--device", "nonsense"], "nonsense"),
    (["watch", "--device", "sim:columns=no"], "columns"),
    (["watch", "--device", "replay:/nowhere"], "/nowhere"),
    (FAST + ["record", "--channels", "0,3", "--quiet"], "--channels"),
    (FAST + ["record", "--range", "3=1", "--quiet"], "--range"),
]


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def start(self, *arguments, **options):
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "stdin": subprocess.DEVNULL}
        command = [HOST, *arguments] + (["--registry", self.path("registry")] if arguments else [])
        # In a session of its own there is no terminal on which the port dialog would wait for a key.
        process = subprocess.Popen(command, text=True, start_new_session=True, **{**streams, **options})
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def run_host(self, *arguments, **options):
        process = self.start(*arguments, **options)
        out, err = process.communicate(timeout=30)
        return process.returncode, out, err

    def assert_whole_lines(self, csv):
        self.assertTrue(csv.endswith("\n"))
        self.assertEqual({line.count(",") for line in csv.splitlines()}, {2})

    def test_a_wrong_argument_is_named_in_one_line(self):
        for arguments, named in WRONG:
            with self.subTest(arguments):
                code, out, err = self.run_host(*arguments)
                self.assertEqual((code, out), (2, ""))
                self.assertEqual(err.count("\n"), 1, err)
                self.assertIn(named, err)

    def test_a_device_that_cannot_be_opened_is_named_in_one_line(self):
        for device in ["tty:/dev/nowhere", "tty:/dev/null"]:
            with self.subTest(device):
                code, out, err = self.run_host("record", "--device", device, "--csv", self.path("never"))
                self.assertEqual((code, out), (1, ""))
                self.assertEqual(err.count("\n"), 1, err)
                self.assertIn(device.partition(":")[2], err)
                self.assertFalse(os.path.exists(self.path("never")))

    def test_a_signal_ends_a_recording_with_whole_lines(self):
        for number in [signal.SIGINT, signal.SIGTERM]:
            process = self.start("record", *FAST, "--csv", "-", "--svg", self.path("picture"), "--json")
            begin = "".join(process.stdout.readline() for _ in range(20))
            process.send_signal(number)
            csv = begin + process.stdout.read()
            summary = json.loads(process.stderr.read().splitlines()[-1])
            self.assertEqual(process.wait(timeout=30), 0)
            self.assert_whole_lines(csv)
            self.assertEqual(summary["frames"], csv.count("\n") - 1)
            self.assertFalse(summary["ring_full"])
            with open(self.path("picture"), encoding="utf-8") as picture:
                self.assertTrue(picture.read().endswith("</svg>\n"))

    def test_a_reader_that_leaves_is_no_failure(self):
        for arguments in [["record", "--csv", "-"], ["watch"]]:
            process = self.start(*arguments, *FAST, "--quiet")
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.wait(timeout=30), 0)
            self.assertEqual(process.stderr.read(), "")

    def test_a_full_disk_is_told(self):
        with open("/dev/full", "w") as full:
            for arguments, options in [(["record", *FAST, "--csv", "/dev/full"], {}),
                                       (["record", *FAST, "--frames", "5", "--svg", "/dev/full"], {}),
                                       (["record", *FAST, "--csv", "-"], {"stdout": full}),
                                       (["devices", *FAST], {"stdout": full})]:
                code, _, err = self.run_host(*arguments, "--quiet", **options)
                self.assertEqual(code, 1, arguments)
                self.assertIn("No space left", err)

    def test_frames_come_in_the_order_and_form_asked_for(self):
        steady = ["record", "--device", "sim:columns=3,rate=200,baud=115200,signal=ramp", "--frames", "50", "--csv", "-"]
        code, out, _ = self.run_host(*steady, "--channels", "2,0,2", "--range", "0=3", "--codes")
        self.assertEqual(code, 0)
        lines = [line.split(",") for line in out.splitlines()]
        self.assertEqual(lines.pop(0), ["Column3", "Column1", "Column3"])
        self.assertEqual(len(lines), 50)
        for line in lines:
            self.assertEqual(line[0], line[2])
            self.assertEqual([str(int(code)) for code in line], line)

    def test_json_can_be_read_by_a_program(self):
        code, out, _ = self.run_host("devices", *FAST, "--device", "sim:busy,serial=\"Q\\", "--json")
        self.assertEqual(code, 0)
        first, second = json.loads(out)["devices"]
        self.assertRegex(first["port"], r"^COM\d+$")
        self.assertEqual((second["port"], second["serial"]), ("", "\"Q\\"))
        code, out, _ = self.run_host("watch", *FAST, "--seconds", "0.5", "--json")
        self.assertEqual(code, 0)
        for line in out.splitlines():
            row = json.loads(line)
            self.assertEqual((len(row["values"]), len(row["codes"])), (3, 3))
            self.assertAlmostEqual(row["values"][0], row["codes"][0] / 20)
        code, out, _ = self.run_host("record", *FAST, "--frames", "7", "--json")
        self.assertEqual((code, json.loads(out)["frames"]), (0, 7))


unittest.main(verbosity=0)
