"""Tests the package on captured files, simulated devices and pseudo-terminals.

HALDEN_TEXT_LIBRARY is the library under test, HALDEN_HOST the example host that was built with it.
"""

import os
import pathlib
import re
import resource
import signal
import subprocess
import sys
import threading
import time
import tty

import matplotlib.pyplot as plt
import numpy as np
import pytest

import halden_text as ht

ROOT = pathlib.Path(__file__).resolve().parents[2]


@pytest.fixture
def capture(tmp_path):
    """A captured file of 3000 lines of two columns, "0;0", "1;-1" and so on."""
    path = tmp_path / "capture.txt"
    path.write_bytes(b"".join(b"%d;%d\r\n" % (i % 900, -(i % 900)) for i in range(3000)))
    return path


def python(code, **environment):
    """A Python that runs `code`."""
    return subprocess.Popen(
        [sys.executable, "-c", code], env={**os.environ, **environment}, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
    )


class Board(threading.Thread):
    """A device on a pseudo-terminal that sends a line of three columns every 5 ms: "1 1 1", "2 2 2" and so on
    to 999, then from 0."""

    def __init__(self):
        super().__init__(daemon=True)
        self.board, self.port = os.openpty()
        tty.setraw(self.port)
        self.name = "tty:" + os.ttyname(self.port)
        self.start()

    def run(self):
        for line in range(1, 100000):
            try:
                os.write(self.board, b"%d %d %d\r\n" % ((line % 1000,) * 3))
            except OSError:
                return
            time.sleep(0.005)


def test_blocks_hold_every_frame_in_numpy_types(capture):
    with ht.open_capture(capture, line_rate=100) as adc:
        assert (adc.channels, adc.names, adc.columns, adc.link.separator) == (2, ["Column1", "Column2"], [0, 1], ";")
        adc.columns = [1, 0, 1]
        adc.set_range(0, "Int 16-bit")
        blocks = list(adc.stream())
    assert len(blocks) > 3, "frames come in pieces"
    for block in blocks:
        assert (block.codes.dtype, block.values.dtype, block.time.dtype) == (np.int16, np.float32, np.float64)
        assert block.codes.shape == block.values.shape == (len(block), 3) and block.time.shape == (len(block),)
    codes, values = (np.concatenate([getattr(block, part) for block in blocks]) for part in ("codes", "values"))
    sent = np.arange(3000)[-len(codes):] % 900
    np.testing.assert_array_equal(codes, np.column_stack([-20 * sent, sent, -20 * sent]), "±1000 has 20 codes per unit")
    np.testing.assert_allclose(values, np.column_stack([-sent, sent / 32767, -sent]), atol=2e-5)
    np.testing.assert_allclose(np.concatenate([block.time for block in blocks]), np.arange(len(codes)) / 100)


def test_a_range_that_changes_keeps_the_values_of_earlier_blocks(capture):
    with ht.open_capture(capture) as adc:
        stream = adc.stream()
        first = next(stream)
        before = first.values.copy()
        adc.set_range(0, 9)
        np.testing.assert_array_equal(first.values, before)
        assert adc.range(0) == "Int 16-bit" and adc.scale(1) == (20, 0)


@pytest.mark.parametrize("frames", [1, 65, 500])
def test_read_returns_the_frames_that_were_asked_for(capture, frames):
    with ht.open_capture(capture) as adc:
        whole = np.concatenate([adc.read(frames), adc.read(frames, codes=True)[:, :1].repeat(2, 1) / np.float32(20)])
        assert whole.shape == (2 * frames, 2)
        np.testing.assert_array_equal(np.diff(whole[:, 0]) % 900, 1, "no frame is lost between two reads")
        assert len(adc.read(10000)) == len(np.concatenate([b.values for b in ht.open_capture(capture).stream()])) - 2 * frames
        assert len(adc.read(5)) == 0, "the file has ended"


def test_convert_and_record_give_what_the_host_gives(capture, tmp_path):
    host = os.environ["HALDEN_HOST"]
    subprocess.run([host, "convert", capture, "--npy", tmp_path / "host.npy", "--line-rate", "50", "--quiet"], check=True)
    expected = np.load(tmp_path / "host.npy")
    np.testing.assert_array_equal(ht.convert(capture), expected)
    subprocess.run([host, "convert", capture, "--npy", tmp_path / "range.npy", "--range", "1=UInt 16-bit", "--quiet"], check=True)
    ranged = ht.convert(capture, ranges={1: "UInt 16-bit"})  # the host computes in double and then rounds
    np.testing.assert_allclose(ranged, np.load(tmp_path / "range.npy"), atol=1e-7)
    np.testing.assert_array_equal(ht.convert(capture, channels=[1]), expected[:, 1:])
    for name in ("mine.npy", "mine.csv"):
        with ht.open_capture(capture, line_rate=50) as adc:
            assert adc.record(tmp_path / name, time=True) == len(expected)
    np.testing.assert_array_equal(np.load(tmp_path / "mine.npy"), expected)
    np.testing.assert_array_equal(np.load(tmp_path / "mine-time.npy"), np.load(tmp_path / "host-time.npy"))
    table = np.genfromtxt(tmp_path / "mine.csv", delimiter=",", names=True)
    np.testing.assert_array_equal(table["Column2"], expected[:, 1])
    np.testing.assert_allclose(table["Time"], np.load(tmp_path / "host-time.npy"))


def test_explains_lines_and_lists_devices(capture):
    with ht.open_capture(capture) as adc:
        fields = adc.explain("1.5;T=2C")[0]
        assert fields[0] == (b"1.5", "number", 1.5)
        assert fields[1] == (b"T=2C", "text around it removed", 2)
        assert adc.latest().shape == (2,) and adc.last_line.count(b";") == 1
    device = ht.devices("sim:com=7,serial=X1")[0]
    assert (device.com_name, device.serial, device.failure) == ("COM7", "X1", "")


def test_wrong_arguments_say_what_is_allowed(capture, tmp_path):
    with ht.open_capture(capture) as adc:
        for call, text in [
            (lambda: adc.set_range(2, 0), "only 0 to 1"),
            (lambda: adc.set_range(0, 15), "row"),
            (lambda: adc.set_range(0, "±3"), "±1000, ±100"),
            (lambda: setattr(adc, "columns", [2]), "0 to 1"),
            (lambda: setattr(adc, "columns", [65536]), "0 to 1"),
            (lambda: setattr(adc, "capacity", 10), "1024"),
            (lambda: next(adc.stream(seconds=-1)), "-1"),
            (lambda: adc.record(tmp_path / "x.txt"), ".npy or a .csv"),
            (lambda: ht.open("sim:columns=0"), "columns"),
            (lambda: ht.open("sim", answer=(0, 2, 0.0)), "answer_rate"),
            (lambda: ht.open_capture("/nowhere/file"), "/nowhere/file"),
        ]:
            with pytest.raises(ht.ArgumentError, match=text):
                call()
        adc.start()
        with pytest.raises(ht.StateError, match="recording"):
            adc.columns = [0]
        errors = []

        def from_elsewhere():
            try:
                adc.rate
            except ht.StateError as error:
                errors.append(str(error))

        other = threading.Thread(target=from_elsewhere)
        other.start()
        other.join()
        assert errors == ["it belongs to another thread"]
    with pytest.raises(ht.StateError, match="closed"):
        adc.read(1)
    assert repr(adc) == "<Adc, closed>"
    adc.close()


def test_a_silent_device_is_told_and_the_dialog_can_be_answered(tmp_path):
    with pytest.raises(ht.DetectionError, match="no byte came") as raised:
        ht.open("sim:silent,serial=DUMB", registry=tmp_path / "r.reg")
    (attempt,) = raised.value.tried
    assert (attempt.serial, attempt.received, attempt.sample) == ("DUMB", 0, b"")
    with ht.open("sim:silent=9", registry=tmp_path / "r.reg", answer=(0, 4, 5.0)) as adc:
        assert (adc.channels, adc.rate, adc.link.measures_rate) == (4, 5.0, False)


def test_a_lost_device_yields_its_last_frames_first():
    with ht.open("sim:rate=100,unplug_after=4", registry=os.devnull) as adc:
        frames = 0
        with pytest.raises(ht.DeviceLost):
            for block in adc.stream(seconds=60):
                frames += len(block)
        assert frames > 20 and adc.losses.device_lost
        with pytest.raises(ht.DeviceLost):
            adc.read(1)


def test_waiting_ends_in_time():
    with ht.open("sim:rate=100", registry=os.devnull) as adc:
        begun = time.monotonic()
        assert 5 <= sum(len(block) for block in adc.stream(seconds=0.3)) <= 40
        assert len(adc.read(100000, timeout=0.3)) < 50
        assert 0.6 < time.monotonic() - begun < 2
        assert sum(len(block) for block in adc.stream(frames=7)) == 7


def test_two_devices_in_two_threads():
    board = Board()
    results = {}

    def read(name):
        with ht.open(name, registry=os.devnull) as adc:
            results[name] = adc.read(200)

    threads = [threading.Thread(target=read, args=(name,)) for name in (board.name, "sim:rate=200,columns=2,signal=ramp")]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(60)
    os.close(board.board)
    assert [results[name].shape for name in sorted(results)] == [(200, 2), (200, 3)]
    np.testing.assert_array_equal(np.diff(results[board.name][:, 0]) % 1000, 1, "lines follow each other")


def test_a_thousand_opens_leave_nothing_behind(tmp_path):
    path = tmp_path / "short.txt"
    path.write_bytes(b"1;2\r\n" * 500)
    descriptors = len(os.listdir("/proc/self/fd"))
    for turn in range(1000):
        with ht.open_capture(path) as adc:
            adc.read(5)
        if turn == 100:  # what is allocated once is there by now
            memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    assert len(os.listdir("/proc/self/fd")) == descriptors
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - memory < 2000, "kB more than after 100 opens"


@pytest.mark.parametrize("how", ["interrupted", "at exit"])
def test_the_port_is_free_after(how):
    board = Board()
    code = f"import halden_text as ht, signal; signal.signal(signal.SIGINT, signal.default_int_handler)\n" \
           f"adc = ht.open({board.name!r}, registry='/dev/null')\n" \
           f"for block in adc.stream():\n    print(len(block), flush=True)\n" + ("    break" if how == "at exit" else "")
    process = python(code)
    assert process.stdout.readline(), process.stderr.read()
    if how == "interrupted":
        process.send_signal(signal.SIGINT)
    _, errors = process.communicate(timeout=20)
    assert ("KeyboardInterrupt" in errors) == (how == "interrupted"), errors
    with ht.open(board.name, registry=os.devnull) as adc:
        assert len(adc.read(3)) == 3
    os.close(board.board)


def test_examples_draw(tmp_path):
    notebook = (ROOT / "examples" / "notebook.md").read_text()
    cells = "".join(re.findall("```python\n(.*?)```", notebook, re.S))
    live = [sys.executable, ROOT / "examples" / "live.py", "sim:rate=200,columns=2", "2", "live.png"]
    for command in ([sys.executable, "-c", cells], live):
        subprocess.run(command, cwd=tmp_path, env={**os.environ, "MPLBACKEND": "Agg"}, check=True, timeout=120)
    for name in ("spectrum.png", "live.png"):
        shades = np.unique(plt.imread(tmp_path / name)[:, :, 0].round(1))
        assert len(shades) > 3, f"{name} has a curve"
