"""The driver as Python objects. Everything here is exported by the package."""

from __future__ import annotations

import ctypes
import os
import sys
import time
import weakref
from typing import Iterator, NamedTuple, Sequence

import numpy as np

from . import _library as c
from ._files import CsvFile, NpyFile

_SOURCES = () if sys.platform == "win32" else ("linux",)  # what is opened if no device is named
_PAUSE = 0.2  # seconds that a wait holds up Ctrl-C at most


class Device(NamedTuple):
    """A device of the list. `com_name` and `line_settings` are "" if it can't be opened, and `failure` says why."""

    com_name: str
    chip: str
    serial: str
    description: str
    line_settings: str
    failure: str


class Attempt(NamedTuple):
    """What was heard of a device since it was last opened.

    `text` says why it was not recognised; "" if it was. `baud` is in bits per second. `returns`, `feeds` and `unprintable`
    count bytes among the `received` ones; `sample` are the first of them, at most 60.
    """

    serial: str
    description: str
    text: str
    baud: int
    received: int
    returns: int
    feeds: int
    unprintable: int
    sample: bytes


class Link(NamedTuple):
    """The device in use: number of its COM port, bits per second, separator ("" if a line is one value), fields of a line."""

    serial: str
    description: str
    port: int
    baud: int
    separator: str
    fields: int
    measures_rate: bool


class Losses(NamedTuple):
    """What was lost since the start: `overruns` counts what the system reported, `longest_pause` is in seconds."""

    ring_was_full: bool
    device_lost: bool
    overruns: int
    longest_pause: float


class Field(NamedTuple):
    """How the driver reads a field of a line. `reading` is one of the words in `Field.READINGS`."""

    text: bytes
    reading: str
    value: float


Field.READINGS = (  # type: ignore[attr-defined]
    "number",
    "text around it removed",
    "decimal mark replaced",
    "only its beginning",
    "no number",
    "not stored",
    "nothing left",
    "missing",
    "ignored",
)


class Block:
    """Frames that were read together.

    codes: int16, shape (frames, columns)
    time: float64, shape (frames,), seconds since the start; right to 50 ms, and never running backwards
    """

    def __init__(self, codes: np.ndarray, time: np.ndarray, scale: np.ndarray, offset: np.ndarray):
        self.codes = codes
        self.time = time
        self._scale = scale
        self._offset = offset

    @property
    def values(self) -> np.ndarray:
        """float32, shape (frames, columns): code / scale + offset, with the ranges at the time of reading."""
        values = np.divide(self.codes, self._scale, dtype=np.float32)
        values += self._offset
        return values

    def __len__(self) -> int:
        return len(self.codes)

    def __repr__(self) -> str:
        times = f", {self.time[0]:.3f} to {self.time[-1]:.3f} s" if len(self) else ""
        return f"<Block of {len(self)} frames by {self.codes.shape[1]} columns{times}>"


class Adc:
    """A driver with its device. Made by `open` and `open_capture`; a context manager that closes it.

    It belongs to the thread that made it. The driver reads the device inside `stream`, `read`, `record` and `serve`, so a
    program that records calls one of them at least every 0.2 s.
    """

    def __init__(self, handle: ctypes.c_void_p):
        self._handle = handle
        # Closes at the end of the interpreter too. The result doesn't matter then.
        self._close = weakref.finalize(self, c.library.halden_close, handle)

    def __enter__(self) -> Adc:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __repr__(self) -> str:
        if not self._close.alive:
            return "<Adc, closed>"
        if not self.detected:
            return "<Adc, no device detected yet>"
        link = self.link
        name = link.description or link.serial
        return f"<Adc on {name}, COM{link.port}, {self.channels} channels, {'recording' if self.recording else 'stopped'}>"

    def close(self) -> None:
        """Ends a recording, closes the device and stores the settings. May be called again."""
        if not self._close.alive:
            return
        result = c.library.halden_close(self._handle)
        if result != c.OK:
            raise c.exception(result, "only the thread that opened it may close it")
        self._close.detach()

    def _check(self, result: int) -> None:
        if result == c.OK:
            return
        if not self._close.alive:
            raise c.StateError("it is closed", result)
        text = ctypes.c_char_p()
        if c.library.halden_error_text(self._handle, ctypes.byref(text)) != c.OK:
            raise c.StateError("it belongs to another thread", result)
        error = c.exception(result, c.text(text.value))
        if isinstance(error, c.DetectionError):
            error.tried = self.tried()
        raise error

    def _call(self, function: str, *arguments: object) -> None:
        self._check(getattr(c.library, "halden_" + function)(self._handle, *arguments))

    def _get(self, function: str, kind: type, *arguments: object):
        value = kind()
        self._call(function, *arguments, ctypes.byref(value))
        return value.value

    def _all(self, function: str, structure: type, *arguments: object) -> list:
        """All elements of a list of structures."""
        count = ctypes.c_size_t()
        room = 16
        while True:
            elements = (structure * room)(*(structure() for _ in range(room)))
            self._call(function, *arguments, elements, room, ctypes.byref(count))
            if count.value <= room:
                return elements[: count.value]
            room = count.value

    # Devices -----------------------------------------------------------------------------------------------------

    def devices(self) -> list[Device]:
        """The devices. May open a closed port for a moment. Only before `detect`."""
        return [
            Device(*(c.text(getattr(device, member)) for member in Device._fields))
            for device in self._all("list_devices", c.Device)
        ]

    def detect(self) -> None:
        """Finds the device, which takes up to several seconds for each silent one. `DetectionError` if there is none."""
        self._call("detect")

    def tried(self) -> list[Attempt]:
        """What the last detection heard, for each device that was listed then."""
        return [
            Attempt(
                c.text(one.serial),
                c.text(one.description),
                c.text(one.text),
                one.baud,
                one.bytes,
                one.returns,
                one.feeds,
                one.unprintable,
                ctypes.string_at(one.sample, one.sample_size),
            )
            for one in self._all("tried", c.Attempt)
        ]

    @property
    def detected(self) -> bool:
        """Whether a device was detected."""
        return bool(self._get("is_detected", ctypes.c_int32))

    @property
    def link(self) -> Link:
        """The device in use."""
        link = c.Link()
        self._call("get_link", ctypes.byref(link))
        separator = chr(link.separator) if link.separator else ""
        return Link(
            c.text(link.serial),
            c.text(link.description),
            link.port,
            link.baud,
            separator,
            link.fields,
            bool(link.measures_rate),
        )

    def notices(self) -> list[str]:
        """Warnings that no exception carried, such as "settings could not be stored". Each is returned once."""
        result = []
        while notice := self._get("next_notice", ctypes.c_char_p):
            result.append(c.text(notice))
        return result

    # Channels ----------------------------------------------------------------------------------------------------

    @property
    def channels(self) -> int:
        """The number of channels of the device; 0 until it is detected."""
        return self._get("channel_count", ctypes.c_int32)

    @property
    def names(self) -> list[str]:
        """The names of the channels."""
        return [c.text(self._get("channel_name", ctypes.c_char_p, channel)) for channel in range(self.channels)]

    @property
    def columns(self) -> list[int]:
        """The channels of a frame, in order. Can be set while no recording runs; a channel may repeat."""
        count = ctypes.c_size_t()
        self._call("columns", None, 0, ctypes.byref(count))
        columns = np.empty(count.value, np.int16)
        self._call("columns", columns.ctypes.data, len(columns), ctypes.byref(count))
        return columns.tolist()

    @columns.setter
    def columns(self, channels: Sequence[int]) -> None:
        wanted = np.asarray(channels, np.int64)
        if wanted.ndim != 1 or not len(wanted) or wanted.min() < 0 or wanted.max() >= max(self.channels, 1):
            raise c.ArgumentError(f"columns are channels from 0 to {self.channels - 1}, not {channels!r}", c.BAD_ARGUMENT)
        columns = wanted.astype(np.int16)
        self._call("set_columns", columns.ctypes.data, len(columns))

    def range(self, channel: int) -> str:
        """The text of the channel's range, such as "±10"."""
        row = self._get("channel_range", ctypes.c_int32, channel)
        return c.text(self._get("range_text", ctypes.c_char_p, row))

    def set_range(self, channel: int, range: int | str) -> None:
        """Puts a channel on a range: its row, 0 to 14, or its text. `ranges()` lists them. Takes effect with the next line."""
        texts = [c.text(self._get("range_text", ctypes.c_char_p, row)) for row in _rows()]
        if isinstance(range, str) and range not in texts:
            raise c.ArgumentError(f"there is no range {range!r}, only {', '.join(texts)}", c.BAD_ARGUMENT)
        self._call("set_channel_range", channel, texts.index(range) if isinstance(range, str) else range)

    def scale(self, channel: int) -> tuple[float, float]:
        """(scale, offset) of the channel's range: value = code / scale + offset."""
        scale, offset = ctypes.c_float(), ctypes.c_float()
        self._call("channel_scale", channel, ctypes.byref(scale), ctypes.byref(offset))
        return scale.value, offset.value

    @property
    def rate(self) -> float:
        """Frames per second, as measured or as the user gave it."""
        return self._get("rate", ctypes.c_float)

    @property
    def rate_max(self) -> float:
        """The highest rate that the line settings allow, frames per second."""
        return self._get("rate_max", ctypes.c_float)

    def latest(self) -> np.ndarray:
        """The values of the last line: float32, shape (columns,). Lets the driver read the device first."""
        self.serve()
        values = np.empty(len(self.columns), np.float32)
        count = ctypes.c_size_t()
        self._call("latest_values", values.ctypes.data, len(values), ctypes.byref(count))
        return values

    @property
    def last_line(self) -> bytes:
        """The last whole line as received, without its end."""
        line, size = ctypes.c_void_p(), ctypes.c_size_t()
        self._call("last_line", ctypes.byref(line), ctypes.byref(size))
        return ctypes.string_at(line.value, size.value) if size.value else b""

    def explain(self, lines: bytes | str | Sequence[bytes | str]) -> list[list[Field]]:
        """How the driver would read each line: a list of fields for each. Lines have no line end. Changes nothing."""
        if isinstance(lines, (bytes, str)):
            lines = lines.splitlines()
        return [self._explain(line.encode() if isinstance(line, str) else bytes(line)) for line in lines]

    def _explain(self, line: bytes) -> list[Field]:
        return [
            Field(
                ctypes.string_at(field.text, field.text_size) if field.text_size else b"",
                Field.READINGS[field.reading],  # type: ignore[attr-defined]
                field.value,
            )
            for field in self._all("explain", c.Field, line, len(line))
        ]

    # Recording ---------------------------------------------------------------------------------------------------

    @property
    def capacity(self) -> int:
        """The size of the driver's ring in frames. Can be set to 1024 or more while no recording runs."""
        return self._get("capacity", ctypes.c_int32)

    @capacity.setter
    def capacity(self, frames: int) -> None:
        self._call("set_capacity", frames)

    def start(self) -> None:
        """Starts to store frames. Times count from now. `stream`, `read` and `record` do it if no recording runs."""
        self._call("start")

    def stop(self) -> None:
        """Stops storing, which takes 50 ms. Frames that wait can still be read."""
        self._call("stop")

    @property
    def recording(self) -> bool:
        """Whether a recording runs."""
        return bool(self._get("is_recording", ctypes.c_int32))

    @property
    def waiting(self) -> int:
        """Frames that wait to be read."""
        return self._get("waiting", ctypes.c_size_t)

    @property
    def losses(self) -> Losses:
        """What was lost since the start."""
        losses = c.Losses()
        self._call("get_losses", ctypes.byref(losses))
        return Losses(bool(losses.ring_was_full), bool(losses.device_lost), losses.overruns, losses.longest_pause)

    def serve(self) -> None:
        """Lets the driver read the device. For programs with a loop of their own that read seldom."""
        self._call("serve")

    def _read(self, most: int, timeout: float) -> Block | None:
        """Waits for frames and returns at most `most`; None after the timeout, or at the end of a captured file."""
        columns = self.columns
        codes = np.empty((most, len(columns)), np.int16)
        times = np.empty(most)
        frames = ctypes.c_size_t()
        result = c.library.halden_read_codes(
            self._handle, codes.ctypes.data, codes.size, timeout, times.ctypes.data, ctypes.byref(frames), None
        )
        if result in (c.TIMED_OUT, c.ENDED):
            return None
        self._check(result)
        scales = np.array([self.scale(column) for column in columns], np.float32)
        return Block(codes[: frames.value], times[: frames.value], scales[:, 0], scales[:, 1])

    def stream(
        self, seconds: float | None = None, frames: int | None = None, *, timeout: float | None = None
    ) -> Iterator[Block]:
        """Yields blocks of frames as they come: for `seconds`, for `frames`, or until the loop is left.

        Starts a recording if none runs, and then stops it at the end. `DeviceLost` once the device is gone and all its
        frames were yielded; `TimeoutError` if no frame has come for `timeout` seconds. A captured file ends the loop.
        """
        if seconds is not None and not seconds >= 0:
            raise c.ArgumentError(f"seconds is 0 or more, not {seconds}", c.BAD_ARGUMENT)
        if frames is not None and frames < 0:
            raise c.ArgumentError(f"frames is 0 or more, not {frames}", c.BAD_ARGUMENT)
        started = not self.recording
        if started:
            self.start()
        try:
            yield from self._blocks(seconds, frames, timeout)
        finally:
            if started and self._close.alive:
                self.stop()

    def _blocks(self, seconds: float | None, frames: int | None, timeout: float | None) -> Iterator[Block]:
        begun = last = time.monotonic()
        room = 64  # follows the pace, so that blocks don't hold far more memory than frames
        while frames is None or frames > 0:
            left = _PAUSE if seconds is None else min(_PAUSE, begun + seconds - time.monotonic())
            if left <= 0:
                return
            block = self._read(room if frames is None else min(room, frames), left)
            if block is None:
                if self._ended():
                    return
                if timeout is not None and time.monotonic() - last > timeout:
                    raise TimeoutError(f"no frame came for {timeout} s")
                continue
            last = time.monotonic()
            room = min(max(64, 2 * len(block)), 65536)
            if frames is not None:
                frames -= len(block)
            yield block

    def _ended(self) -> bool:
        """Whether a captured file is at its end, which a read without waiting tells."""
        columns = len(self.columns)
        codes, frames = np.empty(columns, np.int16), ctypes.c_size_t()
        if self.waiting:
            return False
        return c.library.halden_read_codes(
            self._handle, codes.ctypes.data, columns, 0, None, ctypes.byref(frames), None
        ) == c.ENDED

    def read(self, frames: int, timeout: float | None = None, *, codes: bool = False) -> np.ndarray:
        """Reads `frames` frames into one array: float32, shape (frames, columns); int16 with `codes`.

        After `timeout` seconds, or where a captured file or the device ends, it returns the frames that came: perhaps
        none. Starts a recording if none runs, and leaves it running. `DeviceLost` if the device is gone and none is left.
        """
        if not self.recording and not self.waiting:
            self.start()
        columns = len(self.columns)
        whole = np.empty((frames, columns), np.int16 if codes else np.float32)
        done, end = 0, None if timeout is None else time.monotonic() + timeout
        while done < frames:
            left = _PAUSE if end is None else max(0.0, min(_PAUSE, end - time.monotonic()))
            try:
                block = self._read(frames - done, left)
            except c.DeviceLost:
                if not done:
                    raise
                break
            if block is not None:
                whole[done : done + len(block)] = block.codes if codes else block.values
                done += len(block)
            elif (end is not None and time.monotonic() >= end) or self._ended():
                break
        return whole[:done]

    def record(
        self, path: str | os.PathLike, seconds: float | None = None, frames: int | None = None, *, time: bool = False
    ) -> int:
        """Records into a file and returns the number of frames: values as float32 into a numpy array (".npy"), or as text
        (".csv"). With `time` the seconds since the start go into a first column, or into a second file beside the array,
        FILE-time.npy. An existing file is replaced. Ends as `stream` does, and so does Ctrl-C; the file is whole then.
        """
        path = os.fspath(path)
        if not path.endswith((".npy", ".csv")):
            raise c.ArgumentError(f"a recording goes into a .npy or a .csv file, not {path}", c.BAD_ARGUMENT)
        names = self.names
        kind = NpyFile if path.endswith(".npy") else CsvFile
        with kind(path, [names[column] for column in self.columns], time) as file:
            for block in self.stream(seconds, frames):
                file.write(block.values, block.time)
            return file.frames


def _rows() -> range:
    return range(15)


def _opened(result: int, handle: ctypes.c_void_p, error: ctypes.Array) -> Adc:
    if result != c.OK:
        raise c.exception(result, c.text(error.value))
    return Adc(handle)


def open(  # noqa: A001 - as gzip.open and others are called
    *devices: str,
    detect: bool = True,
    registry: str | os.PathLike | None = None,
    answer: tuple[int, int, float] | None = None,
    ask: bool = False,
) -> Adc:
    """Opens a driver and detects its device.

    devices: where devices come from, such as "tty:/dev/ttyUSB0,baud=9600", "sim:columns=2" or "linux", which means every
        FTDI chip of the kernel and is what is used if none is given
    detect: False leaves detection to `Adc.detect`
    registry: the file with the driver's settings; None for the user's own
    answer: (row of the port, channels, frames per second) answers the driver's dialog if no device is recognised
    ask: True shows that dialog to the user. Otherwise detection fails then with `DetectionError`.
    """
    if answer is not None and ask:
        raise c.ArgumentError("answer and ask exclude each other", c.BAD_ARGUMENT)
    named = devices or _SOURCES
    array = (ctypes.c_char_p * max(len(named), 1))(*(device.encode() for device in named))
    options = c.Options(
        devices=array,
        device_count=len(named),
        registry_file=None if registry is None else os.fsencode(registry),
        dialog=1 if answer else 2 if ask else 0,
    )
    if answer:
        options.answer_port, options.answer_channels, options.answer_rate = answer
    handle, error = ctypes.c_void_p(), ctypes.create_string_buffer(512)
    adc = _opened(c.library.halden_open(options, ctypes.byref(handle), error, len(error)), handle, error)
    if detect:
        try:
            adc.detect()
        except BaseException:
            adc.close()
            raise
    return adc


def open_capture(path: str | os.PathLike, *, line_rate: float | None = None, line_end: str = "cr") -> Adc:
    """Opens a driver on a captured file, read as fast as the machine can, and detects it.

    line_rate: lines per second, from which times are computed; None for one line a second
    line_end: "cr", also for CR LF, or "lf"
    """
    ends = {"cr": 0, "crlf": 0, "lf": 1}
    if line_end not in ends:
        raise c.ArgumentError(f"line_end is cr, crlf or lf, not {line_end}", c.BAD_ARGUMENT)
    capture = c.Capture(path=os.fsencode(path), line_end=ends[line_end], line_rate=line_rate or 0)
    handle, error = ctypes.c_void_p(), ctypes.create_string_buffer(512)
    adc = _opened(c.library.halden_open_capture(capture, ctypes.byref(handle), error, len(error)), handle, error)
    try:
        adc.detect()
    except BaseException:
        adc.close()
        raise
    return adc


def convert(
    path: str | os.PathLike,
    *,
    channels: Sequence[int] | None = None,
    ranges: dict[int, int | str] | None = None,
    line_end: str = "cr",
) -> np.ndarray:
    """The values of a captured file, float32, shape (frames, columns), as a recording would have had them.

    As in a recording, the first lines are used to recognise the device.
    """
    with open_capture(path, line_end=line_end) as adc:
        if channels is not None:
            adc.columns = channels
        for channel, row in (ranges or {}).items():
            adc.set_range(channel, row)
        blocks = [block.values for block in adc.stream()]
        return np.concatenate(blocks) if blocks else np.empty((0, len(adc.columns)), np.float32)


def devices(*sources: str) -> list[Device]:
    """The devices there are. `sources` are as for `open`. May open a closed port for a moment."""
    with open(*sources, detect=False) as adc:
        return adc.devices()


def ranges() -> list[str]:
    """The texts of the ranges that a channel can have, by row."""
    with open("sim", detect=False, registry=os.devnull) as adc:
        return [c.text(adc._get("range_text", ctypes.c_char_p, row)) for row in _rows()]
