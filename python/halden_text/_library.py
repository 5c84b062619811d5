"""The C library: its structures, its functions, and its results as exceptions."""

from __future__ import annotations

import ctypes
import os
import pathlib
import sys
from ctypes import POINTER, c_char_p, c_double, c_float, c_int16, c_int32, c_size_t, c_uint32, c_uint64, c_void_p
from typing import Any

_FILE = "halden_text.dll" if sys.platform == "win32" else "libhalden-text.so.3"


def _load() -> ctypes.CDLL:
    """The library of $HALDEN_TEXT_LIBRARY, else the one in this package (a wheel has it), else the system's."""
    packaged = pathlib.Path(__file__).with_name(_FILE)
    path = os.environ.get("HALDEN_TEXT_LIBRARY") or (str(packaged) if packaged.exists() else _FILE)
    try:
        return ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(
            f"{path} could not be loaded ({error}); install the package halden-text, "
            "or set HALDEN_TEXT_LIBRARY to the library's path"
        ) from None


class Error(Exception):
    """A call of the driver failed. `result` is the number of the C library's `halden_result`."""

    def __init__(self, text: str, result: int = 12):
        super().__init__(text)
        self.result = result


class ArgumentError(Error, ValueError):
    """An argument is out of its range, or a device option isn't allowed."""


class DetectionError(Error):
    """No device was recognised. `tried` has an `Attempt` for each device: what was heard of it, and why that is no line."""

    tried: list = []


class DeviceLost(Error):
    """The device is gone, and all its frames have been read."""


class StateError(Error, RuntimeError):
    """The call isn't allowed now: no device was detected, a recording runs or doesn't run, the driver is closed or belongs to
    another thread."""


OK, BAD_ARGUMENT, NOT_FOUND, TIMED_OUT, DEVICE_LOST, ENDED, NO_MEMORY = 0, 1, 2, 6, 7, 8, 11
_EXCEPTIONS = {BAD_ARGUMENT: ArgumentError, NOT_FOUND: DetectionError, DEVICE_LOST: DeviceLost, 12: Error}


def exception(result: int, text: str) -> Exception:
    """What a result other than OK is in Python."""
    return MemoryError(text) if result == NO_MEMORY else _EXCEPTIONS.get(result, StateError)(text, result)


class Sized(ctypes.Structure):
    """A structure that begins with its own size."""

    def __init__(self, **members: Any):
        super().__init__(struct_size=ctypes.sizeof(type(self)), **members)


def _structure(name: str, *members: tuple) -> type:
    return type(name, (Sized,), {"_fields_": [("struct_size", c_size_t), *members]})


Options = _structure(
    "Options",
    ("devices", POINTER(c_char_p)),
    ("device_count", c_size_t),
    ("registry_file", c_char_p),
    ("dialog", c_int32),
    ("answer_port", c_int32),
    ("answer_channels", c_int32),
    ("answer_rate", c_double),
)
Capture = _structure("Capture", ("path", c_char_p), ("line_end", c_int32), ("line_rate", c_double))
Device = _structure(
    "Device", *((member, c_char_p) for member in ("com_name", "chip", "serial", "description", "line_settings", "failure"))
)
Attempt = _structure(
    "Attempt",
    ("serial", c_char_p),
    ("description", c_char_p),
    ("cause", c_int32),
    ("text", c_char_p),
    ("baud", c_uint32),
    ("bytes", c_uint64),
    ("returns", c_uint64),
    ("feeds", c_uint64),
    ("unprintable", c_uint64),
    ("sample", c_void_p),
    ("sample_size", c_size_t),
)
Link = _structure(
    "Link",
    ("serial", c_char_p),
    ("description", c_char_p),
    *((member, c_int32) for member in ("port", "baud", "separator", "fields", "measures_rate")),
)
Losses = _structure(
    "Losses", ("ring_was_full", c_int32), ("device_lost", c_int32), ("overruns", c_uint64), ("longest_pause", c_double)
)
Field = _structure("Field", ("text", c_void_p), ("text_size", c_size_t), ("reading", c_int32), ("value", c_float))

library = _load()

_ADC = c_void_p
_SIGNATURES = {
    "open": [POINTER(Options), POINTER(_ADC), c_char_p, c_size_t],
    "open_capture": [POINTER(Capture), POINTER(_ADC), c_char_p, c_size_t],
    "close": [_ADC],
    "error_text": [_ADC, POINTER(c_char_p)],
    "next_notice": [_ADC, POINTER(c_char_p)],
    "list_devices": [_ADC, POINTER(Device), c_size_t, POINTER(c_size_t)],
    "detect": [_ADC],
    "is_detected": [_ADC, POINTER(c_int32)],
    "tried": [_ADC, POINTER(Attempt), c_size_t, POINTER(c_size_t)],
    "get_link": [_ADC, POINTER(Link)],
    "range_text": [_ADC, c_int32, POINTER(c_char_p)],
    "name": [_ADC, POINTER(c_char_p)],
    "resolution": [_ADC, POINTER(c_int32)],
    "channel_count": [_ADC, POINTER(c_int32)],
    "channel_name": [_ADC, c_int32, POINTER(c_char_p)],
    "channel_range": [_ADC, c_int32, POINTER(c_int32)],
    "set_channel_range": [_ADC, c_int32, c_int32],
    "channel_scale": [_ADC, c_int32, POINTER(c_float), POINTER(c_float)],
    "rate": [_ADC, POINTER(c_float)],
    "rate_max": [_ADC, POINTER(c_float)],
    "latest_values": [_ADC, c_void_p, c_size_t, POINTER(c_size_t)],
    "last_line": [_ADC, POINTER(c_void_p), POINTER(c_size_t)],
    "set_columns": [_ADC, c_void_p, c_size_t],
    "columns": [_ADC, c_void_p, c_size_t, POINTER(c_size_t)],
    "set_capacity": [_ADC, c_int32],
    "capacity": [_ADC, POINTER(c_int32)],
    "start": [_ADC],
    "stop": [_ADC],
    "is_recording": [_ADC, POINTER(c_int32)],
    "waiting": [_ADC, POINTER(c_size_t)],
    "serve": [_ADC],
    "read_codes": [_ADC, c_void_p, c_size_t, c_double, c_void_p, POINTER(c_size_t), POINTER(c_size_t)],
    "get_losses": [_ADC, POINTER(Losses)],
    "explain": [_ADC, c_char_p, c_size_t, POINTER(Field), c_size_t, POINTER(c_size_t)],
    "show_monitor": [_ADC],
}
for _name, _arguments in _SIGNATURES.items():
    _function = getattr(library, "halden_" + _name)
    _function.argtypes = _arguments
    _function.restype = c_int32
library.halden_version_text.restype = c_char_p


def text(value: bytes | None) -> str:
    return (value or b"").decode("utf-8", "replace")
