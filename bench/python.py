#!/usr/bin/env python3
"""Compares the Python package with what else reads such a device in Python, in frames a second.

The same lines are read in four ways: by stream() from a captured file, by stream() from a pseudo-terminal, by pyserial
line by line from a pseudo-terminal, and by numpy.loadtxt from the file. The thread that plays the device isn't counted. Each way runs three times, in turns, and the best
run counts. The pseudo-terminal's other end writes as fast as it is read.

usage: python.py (with the environment that ./run bench python sets)
"""
import os
import random
import tempfile
import threading
import time
import tty

import numpy as np
import serial

import halden_text as ht

TURNS = 3


def lines(columns, count):
    chance = random.Random(1)
    return b"".join(
        b"\t".join(b"%.2f" % (chance.randrange(-32000, 32001) / 20) for _ in range(columns)) + b"\r\n" for _ in range(count)
    )


class Board:
    """A device on a pseudo-terminal that repeats the text."""

    def __init__(self, text):
        self.end, self.port = os.openpty()
        tty.setraw(self.port)
        self.path, self._text, self._goes_on, self.used = os.ttyname(self.port), text, True, 0.0
        self._thread = threading.Thread(target=self._write)
        self._thread.start()

    def _write(self):
        at = 0
        while self._goes_on:
            self.used = time.thread_time()
            at = (at + os.write(self.end, self._text[at : at + 4096])) % len(self._text)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._goes_on = False
        os.set_blocking(self.port, False)
        while self._thread.is_alive():  # a write that waits for room gets some
            try:
                os.read(self.port, 65536)
            except BlockingIOError:
                time.sleep(0.01)
        os.close(self.port)
        os.close(self.end)


    def others(self):
        """Processor time of the process but for this device, in seconds."""
        return time.process_time() - self.used


def frames_a_second(frames, begun):
    return frames / (time.process_time() - begun)


def captured(path, text, count):
    with ht.open_capture(path) as adc:
        begun = time.process_time()
        frames = sum(len(block.values) for block in adc.stream())
        return frames_a_second(frames, begun)


def read_lines(path, text, count):
    """What a program without the package does: readline, split, float."""
    with Board(text) as board, serial.Serial(board.path, 115200, timeout=5) as port:
        port.readline()
        used = board.others()
        values = [[float(field) for field in port.readline().split(b"\t")] for _ in range(count // 20)]
        np.array(values, np.float32)
        return len(values) / (board.others() - used)


def streamed(path, text, count):
    with Board(text) as board, ht.open(f"tty:{board.path},baud=12000000", registry=os.devnull) as adc:
        used = board.others()
        frames = sum(len(block.values) for block in adc.stream(seconds=2))
        return frames / (board.others() - used)


def loaded(path, text, count):
    begun = time.process_time()
    return frames_a_second(len(np.loadtxt(path, np.float32, delimiter="\t")), begun)


def main():
    ways = {
        "stream() from a captured file": captured,
        "stream() from a pseudo-terminal": streamed,
        "pyserial: readline, split, float": read_lines,
        "numpy.loadtxt from the file": loaded,
    }
    print("frames for each second of processor time   1 column   16 columns")
    best = {name: [] for name in ways}
    for columns, count in ((1, 400_000), (16, 60_000)):
        text = lines(columns, count)
        with tempfile.NamedTemporaryFile() as file:
            file.write(text)
            file.flush()
            rates = {name: 0.0 for name in ways}
            for _ in range(TURNS):
                for name, way in ways.items():
                    rates[name] = max(rates[name], way(file.name, text, count))
        for name in ways:
            best[name].append(rates[name])
    for name, (one, sixteen) in best.items():
        print(f"{name:40} {one:10.0f}   {sixteen:10.0f}")


if __name__ == "__main__":
    main()
