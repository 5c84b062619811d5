#!/usr/bin/env python3
"""Runs the example host as a person or a script would: wrong arguments, refusals, and every way to end a recording.

usage: command_line_test.py HALDEN_HOST
"""
import contextlib
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import tty
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HOST = os.path.abspath(sys.argv.pop(1))
# A background job inherits an ignored SIGINT, and nohup an ignored SIGHUP. The host would keep ignoring them.
signal.signal(signal.SIGINT, signal.default_int_handler)
signal.signal(signal.SIGHUP, signal.SIG_DFL)
FAST = "--device sim:columns=3,rate=200,baud=115200,signal=ramp"

# Wrong arguments, by a text that the line on standard error must contain.
WRONG = {
    "command": ["", "--frames 3", "walk", "devices watch"],
    'did you mean "record"?': ["recrod"],
    "did you mean --csv?": ["record --csvv x"],
    "record takes options only": ["record 5"],
    "--frames": ["record --frame 3", "--frames 3 record", "record --frames", "record --frames=0", "devices --frames 3"],
    "--seconds": ["record --frames 5 --seconds 5", "record --seconds nan", "record --seconds 1s"],
    "--channels": ["record --channels 0,", "record --channels 32767", f"{FAST} record --channels 3 --quiet"],
    "14 UInt 16-bit": ["record --range 0=15", "watch --range 0=±5"],
    "--range": ["record --range 0", "record --device sim:columns=1 --range 3=1 --quiet",
                f"{FAST} watch --range 3=1 --quiet"],
    "--capacity": ["record --capacity 1023"],
    "--codes": ["record --codes", "record --codes=yes"],
    "--svg": ["record --svg -", "record --csv x --svg x"],
    "--export": ["settings --export --json"],
    "--answer": ["watch --answer rate=1,channels=33", "watch --answer port", "watch --answer colour=2",
                 "watch --answer rate=1 --cancel"],
    "--serve": ["watch --serve 0", "record --serve host:80", "watch --serve-token abcdefgh",
                "watch --serve 80 --serve-token abc"],
    "needs --serve-token": ["record --serve 0.0.0.0:8080"],
    "nowhere": ["watch --device nowhere", "watch --device replay:/dev/null/nowhere"],
}


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def start(self, arguments, stdout=subprocess.PIPE):
        # A new session has no terminal on which the port dialog could wait for a key.
        process = self.enterContext(subprocess.Popen(
            [HOST, "--registry", self.folder / "registry", *arguments.split()], text=True, start_new_session=True,
            stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE))
        self.addCleanup(process.kill)
        return process

    def expect(self, code, arguments, **options):
        """Runs the host and checks its exit code. Returns its standard output and its standard error."""
        process = self.start(arguments, **options)
        out, err = process.communicate()
        self.assertEqual(process.returncode, code, err)
        return out, err

    def test_errors_are_named_in_one_line(self):
        cases = [(2, named, arguments) for named, all_arguments in WRONG.items() for arguments in all_arguments]
        cases += [(1, path, f"record --csv - --device tty:{path}") for path in ["/dev/nowhere", "/dev/null"]]
        refused = [(1, "needs a terminal", "monitor"),
                   (1, "(simulated device SIM1) was not recognised: no byte came", "watch --device sim:silent --quiet"),
                   (1, "/dev/null/x could not be written", f"record {FAST} --csv /dev/null/x --frames 3 --quiet"),
                   (1, "--answer", "watch --device sim:busy --answer port=1,channels=1,rate=1 --quiet")]
        for code, named, arguments in refused + cases:
            with self.subTest(arguments):
                out, err = self.expect(code, arguments)
                self.assertEqual((out, err.count("\n")), ("", 1), err)
                self.assertIn(named, err)
        err = self.expect(1, "watch --device sim:busy --device sim:silent --quiet")[1].splitlines()
        self.assertEqual(len(err), 2, "a line for each device")
        self.assertIn("held by another program", err[0])
        self.assertIn("no byte came", err[1])

    def test_a_signal_during_detection_ends_the_process_immediately_with_its_own_code(self):
        for number in [signal.SIGHUP, signal.SIGINT, signal.SIGTERM]:
            process = self.start("record --device sim:silent --frames 3")
            time.sleep(0.5)
            started = time.monotonic()
            process.send_signal(number)
            self.assertEqual((process.wait(), process.communicate()), (128 + number, ("", "")), number)
            self.assertLess(time.monotonic() - started, 1, "seconds until the end")

    def test_a_board_that_restarts_when_opened_is_found_without_a_question(self):
        err = self.expect(0, "record --device sim:resets=2.5 --frames 3")[1]
        self.assertIn("Found simulated device", err)

    def test_help_of_a_command_lists_its_options_and_the_keys_of_devices(self):
        self.assertRegex(self.expect(0, "--version")[0], r"^halden-host \d+\.\d+\.\d+\n$")
        for words, listed in [("--help", "settings "), ("record --frames 3 --help", "--capacity FRAMES"),
                              ("devices --help", "unplug_after  0 to 86400")]:
            with self.subTest(words):
                self.assertIn(listed, self.expect(0, words)[0])

    def test_a_picture_shows_many_constant_channels_and_a_recording_without_frames(self):
        device = "--device sim:signal=constant --channels " + ",".join(["0"] * 70)
        for code, frames, ending, ticks in [(0, 20, "--frames 20", range(95, 115, 5)),
                                            (1, 0, "--seconds 0.001 --force", [i / 10 for i in range(11)])]:
            out, err = self.expect(code, f"record {device} {ending} --svg {self.folder}/picture --json")
            self.assertEqual("no frame came" in err, frames == 0, err)
            picture = (self.folder / "picture").read_text()
            self.assertEqual((json.loads(out)["frames"], picture.count("<polyline")), (frames, 64 if frames else 0))
            self.assertEqual(re.findall('"end">(.*)<', picture), [str(tick) for tick in ticks])

    def test_a_signal_ends_a_recording_with_whole_lines_in_the_form_asked_for(self):
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            process = self.start(f"record {FAST} --csv - --channels 2,0,2 --range 0=3 --codes --json "
                                 f"--svg {self.folder}/picture --force")
            begin = "".join(process.stdout.readline() for _ in range(20))
            process.send_signal(number)
            header, *lines, rest = (begin + process.stdout.read()).split("\n")
            summary = json.loads(process.stderr.read().splitlines()[-1])
            self.assertEqual((process.wait(), header, rest), (0, "Column3,Column1,Column3", ""))
            self.assertEqual(summary["frames"], len(lines))
            for first, second, third in (line.split(",") for line in lines):
                self.assertEqual([third, str(int(second))], [first, second])
            self.assertTrue((self.folder / "picture").read_text().endswith("</svg>\n"))

    def test_a_closed_pipe_is_not_a_failure_but_a_full_disk_is(self):
        process = self.start(f"record --csv - {FAST} --quiet")
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual((process.wait(), process.stderr.read()), (0, ""))
        with open("/dev/full", "w", encoding="utf-8") as full:
            for command in ["record --csv /dev/full", "record --frames 5 --svg /dev/full", "devices", "watch"]:
                self.assertIn("No space left", self.expect(1, f"{command} {FAST} --quiet", stdout=full)[1])

    def test_a_file_that_cannot_grow_ends_with_a_whole_line_and_the_summary_counts_its_lines(self):
        path = self.folder / "small.csv"
        script = f'ulimit -f 2; exec "$0" record {FAST} --frames 999 --csv "$1" --json --registry "$2"'
        done = subprocess.run(["bash", "-c", script, HOST, path, self.folder / "registry"], capture_output=True,
                              text=True, check=False, start_new_session=True)
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("small.csv could not be written: File too large", done.stderr)
        lines = path.read_text().split("\n")
        self.assertEqual((lines[-1], lines[-2].count(",")), ("", 2), "the last line")
        self.assertEqual(json.loads(done.stdout)["frames"], len(lines) - 2)

    def test_a_recording_ends_even_if_the_reader_of_its_pipe_stalls(self):
        for ending, number in [("--seconds 2", None), ("", signal.SIGTERM)]:
            process = self.start(f"record {FAST.replace('rate=200', 'rate=9000,columns=9').replace('115200', '9000000')} "
                                 f"--csv - {ending} --json")
            time.sleep(2.5)
            if number:
                process.send_signal(number)
            started = time.monotonic()
            self.assertEqual(process.wait(), 1, ending)
            self.assertLess(time.monotonic() - started, 1 if number else 3, "seconds until the end")
            out, err = process.communicate()
            self.assertIn("its reader takes nothing", err)
            summary = json.loads(next(line for line in err.splitlines() if line.startswith('{"port"')))
            self.assertEqual((summary["frames"], out[-1], summary["gaps"]), (out.count("\n") - 1, "\n", []))

    def test_lines_that_end_in_lf_are_explained_with_eol_lf_until_a_signal(self):
        master, slave = os.openpty()
        tty.setraw(slave)
        device = f"explain --device tty:{os.ttyname(slave)},baud=9600"

        def speak(process):
            with contextlib.suppress(OSError):
                while process.poll() is None:
                    os.write(master, b"T=23.45C;x\n")
                    time.sleep(0.02)

        with ThreadPoolExecutor(1) as pool:
            process = self.start(device)
            pool.submit(speak, process)
            self.assertIn("add eol=lf", process.communicate()[1])
            process = self.start(f"{device},eol=lf --lines 1000000 --json")
            pool.submit(speak, process)
            fields = json.loads(process.stdout.readline())["fields"]
            self.assertEqual([(field["value"], field["code"]) for field in fields], [(23.45, 469), (0, 0)])
            process.send_signal(signal.SIGINT)
            started = time.monotonic()
            self.assertEqual(process.wait(), 0)
            self.assertLess(time.monotonic() - started, 1, "seconds until the end")
        (self.folder / "capture").write_bytes(b"1\t2\r\n" * 300)
        out, _ = self.expect(0, f"explain --device replay:{self.folder}/capture --lines 1000")
        self.assertEqual(out.count("Line "), 300, "all lines of a file")

    def test_older_files_are_left_alone_unless_asked_for(self):
        old = self.folder / "old.csv"
        old.write_text("Column1,Column2,Column3\n1,2,3\n")
        for options in ["", "--append --time=absolute", "--append --channels 1"]:
            self.assertIn("old.csv", self.expect(1, f"record {FAST} --frames 1 --quiet --csv {old} {options}")[1])
            self.assertEqual(old.read_text(), "Column1,Column2,Column3\n1,2,3\n", options)
        self.expect(0, f"record {FAST} --frames 2 --csv {old} --append")
        self.assertEqual(len(old.read_text().splitlines()), 4)
        self.expect(0, f"record {FAST} --frames 2 --csv {old} --force")
        self.assertEqual(len(old.read_text().splitlines()), 3)

    def test_a_recording_that_can_get_no_more_frames_ends_and_says_why(self):
        (self.folder / "capture").write_bytes(b"1\t2\r\n" * 300)
        replay = f"--device replay:{self.folder}/capture,rate=500"
        for code, said, options in [(1, "the file has ended after ", f"{replay} --frames 9999"),
                                    (0, " frames in ", replay),
                                    (1, "no frame came for 0.5 s", f"{replay} --seconds 20 --silence 0.5"),
                                    (1, "the device is gone after ", f"{FAST},unplug_after=3")]:
            with self.subTest(options):
                self.assertIn(said, self.expect(code, f"record {options}")[1])

    def test_a_stopped_process_reports_how_long_the_device_was_not_read(self):
        process = self.start(f"record {FAST.replace('rate=200', 'rate=5000').replace('115200', '3000000')} --json "
                             f"--frames 12000 --csv {self.folder}/csv")
        time.sleep(1)
        process.send_signal(signal.SIGSTOP)
        time.sleep(1.5)
        process.send_signal(signal.SIGCONT)
        out, err = process.communicate()
        self.assertRegex(err, r"warning: the device was not read for 1\.\d s")
        self.assertAlmostEqual(json.loads(out)["gaps"][0]["seconds"], 1.5, delta=0.3)

    def test_a_recording_continues_when_its_device_comes_back(self):
        link = self.folder / "port"

        def plug_in():
            master, slave = os.openpty()
            tty.setraw(slave)
            link.unlink(missing_ok=True)
            link.symlink_to(os.ttyname(slave))
            os.close(slave)
            return master

        def speak(master, seconds, line):
            end = time.monotonic() + seconds
            while time.monotonic() < end:
                os.write(master, line)
                time.sleep(0.01)

        master = plug_in()
        process = self.start(f"record --device tty:{link} --reconnect --seconds 7 --csv {self.folder}/csv --time --json")
        speak(master, 4, b"1\t2\r\n")
        os.close(master)
        time.sleep(1)
        speak(plug_in(), 6, b"3\t4\r\n")
        out, err = process.communicate()
        self.assertEqual(process.returncode, 0, err)
        self.assertRegex(err, "(?s)The device is back after .*; the device was away once, for ")
        _, *rows = [row.split(",") for row in (self.folder / "csv").read_text().splitlines()]
        values = [row[1:] for row in rows]
        self.assertEqual(values, sorted(values), "first those before the device went, then those after")
        gap = max((float(b[0]) - float(a[0]), a[1], b[1]) for a, b in zip(rows, rows[1:]))
        self.assertGreater(gap, (1.0, "1", "3"))
        self.assertGreaterEqual(json.loads(out)["away"][0]["seconds"], 1)

    def test_output_goes_to_no_file_when_standard_output_is_closed(self):
        script = f'cd "$1" && exec "$0" record {FAST} --frames 5 --csv - --svg picture --registry reg >&- --quiet'
        done = subprocess.run(["bash", "-c", script, HOST, self.folder], capture_output=True, check=False)
        self.assertEqual((done.returncode, (self.folder / "picture").read_text()[:4]), (1, "<svg"))

    def test_the_users_answer_is_stored_and_shown(self):
        self.assertEqual(self.expect(0, "settings"), ("nothing is stored yet\n", ""))
        device = "--device sim:silent=6,columns=3,com=5"
        record = f"record {device} --answer port=0,channels=3,rate=12.5 --frames 3"
        self.assertIn("Found simulated device COM5 with 3 channels, at most 3600 frames a second", self.expect(0, record)[1])
        self.assertEqual(list(json.loads(self.expect(0, "settings --json")[0]).values()),
                         ["Halden-Text", 5, 3, 12.5])
        self.assertIn('"RateFixed"=dword:41480000', self.expect(0, "settings --export")[0])
        key = "[HKEY_CURRENT_USER\\Software\\Corvane\\ADC\\Brackwell\\Halden-Text]"
        (self.folder / "registry").write_text(f'REGEDIT4\n{key}\n"RateFixed"="so fast"\n"x"=hex:01,fe\n')
        self.assertEqual(self.expect(0, "settings")[0], "RateFixed: so fast\nx: 01 fe\n")
        (self.folder / "registry").write_text("not a registry")
        self.assertIn(f"the registry can't be read: {self.folder}/registry: ", self.expect(1, "settings")[1])

    def test_devices_and_values_are_shown_to_people_and_to_programs(self):
        devices = '--device sim:busy,serial="Q\\ --device sim:com=5,baud=9600'
        self.assertIn("COM5  FT232R  SIM2", self.expect(0, f"devices {devices}")[0])
        busy, found = json.loads(self.expect(0, f"devices {devices} --json")[0])["devices"]
        self.assertEqual((busy["port"], busy["serial"], found["port"]), ("", "\"Q\\", "COM5"))
        for row in map(json.loads, self.expect(0, f"watch {FAST} --seconds 0.5 --json")[0].splitlines()):
            self.assertEqual(row["values"], [value / 20 for value in row["codes"]])


def run(test):
    result = unittest.TestResult()
    test.run(result)
    return result


# Most of the time is spent waiting for devices.
with ThreadPoolExecutor(4) as pool:
    results = list(pool.map(run, unittest.defaultTestLoader.loadTestsFromTestCase(CommandLine)))
for result in results:
    for failed, text in result.failures + result.errors:
        print(f"{failed.id()}\n{text}")
sys.exit(not all(result.wasSuccessful() for result in results))
