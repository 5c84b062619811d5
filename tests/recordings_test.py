#!/usr/bin/env python3
"""Records from pseudo-terminals that other processes write to at their own pace, and from a captured file.

The first column of each source counts its lines, so that a missing line shows. All sources run at once, in real time.

usage: recordings_test.py HALDEN_HOST
"""
import os
import random
import subprocess
import sys
import tempfile
import time
import tty
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from multiprocessing import get_context

STEPS = 64001  # multiples of 0.05 from -1600 to 1600
NARROW = 4001  # from -100 to 100: detection needs three lines within 1024 bytes, also of many columns


@dataclass
class Source:
    name: str
    columns: int
    separator: str = ""
    end: str = "\r\n"
    locale: str = "C"
    mark: str = "."  # the device's decimal mark, whatever the locale
    before: str = ""
    after: str = ""
    number: str = ".2f"
    rate: int = 150  # lines a second

    def line(self, number):
        fields = (format(self.step(number, column) / 20, self.number) for column in range(self.columns))
        fields = (self.before + field.replace(".", self.mark) + self.after for field in fields)
        return (self.separator.join(fields) + self.end).encode("latin-1")

    def step(self, line, column):
        """The value of a column in units of 0.05. In column 0 it grows by one each line."""
        steps = NARROW if column and self.columns > 4 else STEPS
        return (line * (1 + 7918 * column) + 4099 * column) % steps - steps // 2


SOURCES = [
    Source("one column", 1, end="\r", rate=400),
    Source("one column with a unit, comma", 1, locale="de_DE.UTF-8", mark=",", after="\xb0C"),
    Source("four, tabs", 4, "\t"),
    Source("four, labels and units, point under a comma locale", 4, ";", "\r", "ru_RU.UTF-8", before="U= ",
           after=" V"),
    Source("four, groups of digits", 4, ";", locale="en_US.UTF-8", number=",.2f"),
    Source("forty, tabs, comma", 40, "\t", "\r", "fr_FR.UTF-8", mark=",", rate=60),
    Source("forty, units, comma under a point locale", 40, " ", mark=",", after="V", rate=60),
    Source("forty, parentheses, comma", 40, "(", locale="ru_RU.UTF-8", mark=",", after=")", rate=60),
]
CAPTURED = Source("a captured file", 4, "\t")


def write(source, fd):
    """Writes the lines on time, but splits them anywhere."""
    chance = random.Random(source.name)
    start, number, pending = time.monotonic(), 1, b""
    while True:
        while number < (time.monotonic() - start) * source.rate:
            pending += source.line(number)
            number += 1
        pending = pending[os.write(fd, pending[:chance.randrange(len(pending) + 1)]):]
        time.sleep(chance.uniform(0.001, 0.02))


def terminal(source):
    master, slave = os.openpty()
    tty.setraw(slave)
    os.write(master, source.line(0))
    get_context("fork").Process(target=write, args=(source, master), daemon=True).start()
    return f"tty:{os.ttyname(slave)}"


def captured_file(source, folder):
    with open(f"{folder}/capture", "wb") as file:
        file.writelines(source.line(number) for number in range(source.rate * 6))
    return f"replay:{file.name},rate={source.rate}"


def check(source, csv, frames):
    header, *lines = csv.split("\n")
    assert header == ",".join(f"Column{i + 1}" for i in range(source.columns)), "wrong header"
    assert len(lines) == frames + 1 and lines.pop() == "", f"{len(lines)} whole lines instead of {frames}"
    first = round(float(lines[0].split(",")[0]) * 20) + STEPS // 2
    for i, line in enumerate(lines):
        expected = ",".join(f"{source.step(first + i, column) / 20:g}" for column in range(source.columns))
        assert line == expected, f"frame {i} is {line[:60]} instead of {expected[:60]}"


def record(host, source, device, folder):
    command = [host, "record", "--device", device, "--frames", str(source.rate * 2), "--csv", "-", "--quiet",
               "--registry", f"{folder}/{source.name}"]
    # A device whose writer gets no processor time for 2 s counts as silent, so a busy machine needs another try.
    for _ in range(5):
        # A new session has no terminal on which the port dialog could wait for a key.
        done = subprocess.run(command, capture_output=True, text=True, env={**os.environ, "LC_ALL": source.locale},
                              stdin=subprocess.DEVNULL, start_new_session=True, check=False)
        if "no device was recognised" not in done.stderr:
            break
    assert done.returncode == 0 and not done.stderr, f"exit code {done.returncode}: {done.stderr}"
    check(source, done.stdout, source.rate * 2)


def main(host):
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(len(SOURCES) + 1) as pool:
        devices = [*((source, terminal(source)) for source in SOURCES), (CAPTURED, captured_file(CAPTURED, folder))]
        runs = {source.name: pool.submit(record, host, source, device, folder) for source, device in devices}
        for name, run in runs.items():
            if run.exception():
                print(f"{name}: {run.exception()}")
    return any(run.exception() for run in runs.values())


sys.exit(main(sys.argv[1]))
