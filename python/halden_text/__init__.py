"""A serial device that sends lines of numbers, as an analog-to-digital converter, with numpy arrays.

    import halden_text as ht
    with ht.open("tty:/dev/ttyUSB0,baud=9600") as adc:
        for block in adc.stream(seconds=10):
            print(block.time[-1], block.values[-1])
"""

from ._adc import (
    Adc,
    Attempt,
    Block,
    Device,
    Field,
    Link,
    Losses,
    convert,
    devices,
    open,
    open_capture,
    ranges,
)
from ._library import ArgumentError, DetectionError, DeviceLost, Error, StateError, library as _library

__version__: str = _library.halden_version_text().decode()

__all__ = [
    "Adc",
    "ArgumentError",
    "Attempt",
    "Block",
    "DetectionError",
    "Device",
    "DeviceLost",
    "Error",
    "Field",
    "Link",
    "Losses",
    "StateError",
    "convert",
    "devices",
    "open",
    "open_capture",
    "ranges",
]
