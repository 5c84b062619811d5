#!/usr/bin/env python3
"""Draws the last ten seconds of a device while it sends.

usage: live.py DEVICE [SECONDS PICTURE]

DEVICE is for example tty:/dev/ttyUSB0,baud=9600 or sim:columns=2. With SECONDS and PICTURE it ends after that time and saves
what it shows.
"""
import sys

import matplotlib.pyplot as plt
import numpy as np

import halden_text as ht

SHOWN = 10  # seconds

device, seconds, picture = (*sys.argv[1:], None, None)[:3]
with ht.open(device) as adc:
    figure, axes = plt.subplots()
    lines = [axes.plot([], [], label=name)[0] for name in adc.names]
    axes.set_xlabel("seconds")
    axes.legend(loc="upper left")
    time, values = np.empty(0), np.empty((0, adc.channels))
    for block in adc.stream(seconds=float(seconds) if seconds else None):
        time, values = np.append(time, block.time), np.vstack([values, block.values])
        keep = time > time[-1] - SHOWN
        time, values = time[keep], values[keep]
        for line, column in zip(lines, values.T):
            line.set_data(time, column)
        axes.relim()
        axes.autoscale_view()
        if not plt.fignum_exists(figure.number):  # the window was closed
            break
        plt.pause(0.02)  # draws; meanwhile frames wait in the driver's ring
    if picture:
        figure.savefig(picture)
