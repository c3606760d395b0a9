"""Scans of a group of channels: while they come, and as arrays."""

from __future__ import annotations

import asyncio
import contextlib
import datetime
import importlib
import queue
import threading
import time
import weakref
from collections.abc import AsyncIterator, Callable, Iterator
from types import TracebackType
from typing import Any

import numpy as np
from numpy.typing import NDArray

from . import _ulix
from ._times import utc_array, with_zone

_WAIT = 0.2  # seconds between two checks whether the scans were closed
_LONGEST_WAIT = 1e6  # seconds
_AHEAD = 100  # scans that wait for an `async for`, besides those that wait in the library


class Scan:
    """One scan. The arrays have one element for each channel, in the order of `names`."""

    __slots__ = ("names", "units", "time", "value", "quality", "error")

    def __init__(self, names: tuple[str, ...], units: tuple[str, ...], columns: _ulix._Columns) -> None:
        _, times, values, quality, errors = columns
        self.names = names
        self.units = units
        self.time: datetime.datetime = with_zone(float(times[0]), time.time())
        """The start of the scan, with the time zone of this machine."""
        self.value: NDArray[np.float64] = values
        """Values in channel units; NaN for a failed reading."""
        self.quality: NDArray[np.int32] = quality
        """192 is good, 0 is bad, 500 is an earlier value."""
        self.error: NDArray[np.int32] = errors

    def __getitem__(self, name: str) -> float:
        """The value of a channel."""
        return float(self.value[self.names.index(name)])

    def __repr__(self) -> str:
        values = ", ".join(f"{n}={v:g} {u}" for n, v, u in zip(self.names, self.value, self.units))
        return f"Scan({self.time.isoformat()}, {values})"


class Records:
    """Several scans, or the records of a memory block: `time` has n elements, `value` and `quality` n rows with one
    element for each channel."""

    __slots__ = ("names", "units", "time", "value", "quality", "error")

    def __init__(self, names: tuple[str, ...], units: tuple[str, ...], time: NDArray[np.datetime64],
                 value: NDArray[np.float64], quality: NDArray[np.int32], error: NDArray[np.int32]) -> None:
        self.names = names
        self.units = units
        self.time = time
        """Times as datetime64[ms], UTC."""
        self.value = value
        self.quality = quality
        self.error = error

    def __len__(self) -> int:
        return len(self.time)

    def __getitem__(self, name: str) -> NDArray[np.float64]:
        """The values of a channel."""
        return self.value[:, self.names.index(name)]

    def to_pandas(self) -> Any:
        """A pandas.DataFrame of the values with the times (UTC) as index. pandas is imported only here."""
        pandas: Any = importlib.import_module("pandas")
        index = pandas.DatetimeIndex(self.time, name="time").tz_localize("UTC")
        return pandas.DataFrame(self.value, index=index, columns=list(self.names))


class Scans:
    """Running scans, one per period. They end with close(), at the end of a `with` block or an `async for`, with the
    instrument's close(), and when there is no reference to this object any more.

    Each iteration gives a Scan. Up to 100000 scans wait for the iteration; `missed` counts those that are dropped.
    """

    def __init__(self, device: _ulix.Device, ids: list[int], names: tuple[str, ...], units: tuple[str, ...],
                 period: float, dead_band: float, dead_band_percent: float, max_report_interval: float | None) -> None:
        self.names = names
        self.units = units
        self._queue = device.start_scans(ids, period, dead_band, dead_band_percent, max_report_interval)
        self._stop = weakref.finalize(self, device.stop_scans, self._queue)

    @property
    def missed(self) -> int:
        """The number of scans that were dropped because nobody took them in time."""
        return self._queue.missed

    def close(self) -> None:
        """Stops the scans. May be called twice."""
        self._stop()

    def __enter__(self) -> Scans:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    def take(self, timeout: float) -> Scan | None:
        """The next scan; None when none comes within `timeout` seconds or the scans were closed."""
        columns = self._queue.take(min(timeout, _LONGEST_WAIT))
        return None if columns is None else Scan(self.names, self.units, columns)

    def __iter__(self) -> Iterator[Scan]:
        while not self._queue.ended:
            scan = self.take(_WAIT)
            if scan is not None:
                yield scan

    async def __aiter__(self) -> AsyncIterator[Scan]:
        loop = asyncio.get_running_loop()
        scans = self._queue  # the thread keeps a reference to the queue only, so that the scans end with this object
        arrived: asyncio.Queue[_ulix._Columns | None] = asyncio.Queue()
        room = threading.Semaphore(_AHEAD)  # further scans wait in the library, which limits their number

        def tell(columns: _ulix._Columns | None) -> None:
            while columns is not None and not room.acquire(timeout=_WAIT):
                if scans.ended:
                    return
            with contextlib.suppress(RuntimeError):  # the loop is closed
                loop.call_soon_threadsafe(arrived.put_nowait, columns)

        _forward(scans, tell)
        try:
            while (columns := await arrived.get()) is not None:
                room.release()
                yield Scan(self.names, self.units, columns)
        finally:
            # Stopping may wait for the exchange in progress, so it runs outside the event loop.
            threading.Thread(target=self.close, daemon=True).start()

    def on_queue(self, target: queue.Queue[Scan | None]) -> None:
        """Puts every scan on the queue, and None at the end. No Python code runs on a scan thread."""
        def tell(columns: _ulix._Columns | None) -> None:  # keeps a reference to this object, so that the scans go on
            target.put(None if columns is None else Scan(self.names, self.units, columns))

        _forward(self._queue, tell)


def _forward(scans: _ulix.ScanQueue, tell: Callable[[_ulix._Columns | None], object]) -> None:
    """Calls a function with each scan on a separate thread, and with None at the end."""
    def forward() -> None:
        while not scans.ended:
            columns = scans.take(_WAIT)
            if columns is not None:
                tell(columns)
        tell(None)

    threading.Thread(target=forward, name="ulix scans", daemon=True).start()


def collect(scans: list[Scan], names: tuple[str, ...], units: tuple[str, ...]) -> Records:
    """The scans as arrays."""
    count = len(names)
    time = np.array([round(scan.time.timestamp() * 1000) for scan in scans], dtype="datetime64[ms]")
    value = np.array([scan.value for scan in scans], dtype=np.float64).reshape(-1, count)
    quality = np.array([scan.quality for scan in scans], dtype=np.int32).reshape(-1, count)
    error = np.array([scan.error for scan in scans], dtype=np.int32).reshape(-1, count)
    return Records(names, units, time, value, quality, error)


def records_of(columns: _ulix._Columns, names_of: dict[int, str], unit_of: Callable[[int], str]) -> Records:
    """The records of a memory block: channels with the same time are in one row."""
    ids, times, values, qualities, errors = columns
    channels = list(dict.fromkeys(ids.tolist()))
    places = {channel: place for place, channel in enumerate(channels)}
    starts = np.flatnonzero(np.concatenate(([True], (times[1:] != times[:-1])))) if len(times) else np.array([], int)
    rows = np.cumsum(np.concatenate(([0], times[1:] != times[:-1]))) if len(times) else np.array([], int)
    value = np.full((len(starts), len(channels)), np.nan)
    quality = np.zeros((len(starts), len(channels)), dtype=np.int32)
    error = np.zeros((len(starts), len(channels)), dtype=np.int32)
    columns_of = np.array([places[channel] for channel in ids.tolist()], dtype=int)
    value[rows, columns_of] = values
    quality[rows, columns_of] = qualities
    error[rows, columns_of] = errors
    names = tuple(names_of.get(channel, str(channel)) for channel in channels)
    return Records(names, tuple(unit_of(channel) for channel in channels), utc_array(times[starts]), value, quality, error)
