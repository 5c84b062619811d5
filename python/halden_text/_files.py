"""Files that grow frame by frame. What is in them is readable after each write."""

from __future__ import annotations

import numpy as np


class _Array:
    """A file in numpy's format whose header is written again after each block, so it has a fixed length."""

    def __init__(self, path: str, kind: str, columns: int | None):
        self.kind = np.dtype(kind)
        self._columns = columns
        self._file = open(path, "wb")
        self.rows = 0
        self._header()

    def _header(self) -> None:
        shape = f"({self.rows},)" if self._columns is None else f"({self.rows}, {self._columns})"
        text = f"{{'descr': '{self.kind.str}', 'fortran_order': False, 'shape': {shape}, }}"
        self._file.seek(0)
        self._file.write(b"\x93NUMPY\x01\x00" + (118).to_bytes(2, "little") + text.ljust(117).encode() + b"\n")

    def write(self, rows: np.ndarray) -> None:
        self._file.seek(0, 2)
        self._file.write(np.ascontiguousarray(rows, self.kind).data)
        self.rows += len(rows)
        self._header()
        self._file.flush()

    def close(self) -> None:
        self._file.close()


class NpyFile:
    """Values in PATH, and their times in PATH without ".npy" plus "-time.npy"."""

    def __init__(self, path: str, names: list[str], time: bool):
        self._values = _Array(path, "<f4", len(names))
        self._times = _Array(path[: -len(".npy")] + "-time.npy", "<f8", None) if time else None

    def __enter__(self) -> NpyFile:
        return self

    def __exit__(self, *_: object) -> None:
        for array in (self._values, self._times):
            if array:
                array.close()

    def write(self, values: np.ndarray, times: np.ndarray) -> None:
        self._values.write(values)
        if self._times:
            self._times.write(times)

    @property
    def frames(self) -> int:
        return self._values.rows


class CsvFile:
    """A line for each frame, below the names of the columns."""

    def __init__(self, path: str, names: list[str], time: bool):
        self._time = time
        self._file = open(path, "w", newline="\n")
        self._file.write(",".join(["Time"] * time + names) + "\n")
        self._file.flush()
        self.frames = 0

    def __enter__(self) -> CsvFile:
        return self

    def __exit__(self, *_: object) -> None:
        self._file.close()

    def write(self, values: np.ndarray, times: np.ndarray) -> None:
        formats = ["%.7g"] * values.shape[1]  # as many digits as a float32 has
        rows = values
        if self._time:
            rows = np.column_stack([times, values.astype(np.float64)])
            formats.insert(0, "%.4f")
        np.savetxt(self._file, rows, formats, ",")
        self._file.flush()
        self.frames += len(values)
