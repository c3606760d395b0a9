"""An instrument with its channels as attributes."""

from __future__ import annotations

import asyncio
import atexit
import concurrent.futures
import datetime
import enum
import os
import re
import time
import weakref
from collections.abc import Callable, Iterable, Iterator, Mapping, MutableMapping
from types import TracebackType
from typing import NamedTuple, TypeVar

from . import _ulix
from ._times import with_zone
from .errors import make_error
from .scans import Records, Scan, Scans, collect, records_of

T = TypeVar("T")


class Quality(enum.IntEnum):
    """Whether a value can be relied on."""

    BAD = 0
    GOOD = 192
    STALE = 500


_QUALITIES = {quality.value: quality for quality in Quality}


class Model(NamedTuple):
    """A supported model."""

    id: str
    name: str


class Reading(NamedTuple):
    """One reading of a channel."""

    value: float
    unit: str
    quality: Quality
    stamp: float  # as the library gives it: days since 1899-12-30 of local time
    arrived: float  # seconds since 1970, UTC

    @property
    def time(self) -> datetime.datetime:
        """The time of the reading, with the time zone of this machine."""
        return with_zone(self.stamp, self.arrived)

    def __float__(self) -> float:
        return self.value

    def __str__(self) -> str:
        return f"{self.value:g} {self.unit}".rstrip()


def models() -> list[Model]:
    """All models that the library supports."""
    return [Model(*model) for model in _ulix.models()]


class Channel:
    """A channel of an instrument."""

    def __init__(self, instrument: Instrument, number: int, name: str, direction: int) -> None:
        self._instrument = instrument
        self.id = number
        self.name = name
        self.readable = direction <= 0
        self.writable = direction >= 0

    @property
    def unit(self) -> str:
        """The unit of the last reading, or of the settings."""
        return self._instrument._device.unit(self.id)

    @property
    def decimals(self) -> int | None:
        """Decimals to show; None if they are not known."""
        return self._instrument._device.resolution(self.id)

    def read(self) -> Reading:
        """Reads the channel now. Raises the error of a failed reading."""
        device = self._instrument._device
        value, unit, quality, stamp, error = device.read_one(self.id)
        if error < 0:
            raise self._instrument._error(error)
        return Reading(value, unit, _QUALITIES[quality], stamp, time.time())

    async def read_async(self) -> Reading:
        """The same for a coroutine. A cancelled wait ends at once; the exchange with the instrument ends by itself."""
        return await self._instrument._in_thread(self.read)

    def write(self, value: float) -> None:
        """Writes an output, in channel units."""
        self._instrument._device.write(self.id, float(value))

    async def write_async(self, value: float) -> None:
        await self._instrument._in_thread(lambda: self.write(value))

    @property
    def value(self) -> float:
        """The value of a new reading. An assignment writes the output."""
        return self.read().value

    @value.setter
    def value(self, value: float) -> None:
        self.write(value)

    def __repr__(self) -> str:
        return f"<channel {self.id} {self.name!r} of {self._instrument.model}>"


class MemoryBlock:
    """A block of a logger's memory."""

    def __init__(self, instrument: Instrument, number: int) -> None:
        self._instrument = instrument
        self.number = number

    @property
    def size(self) -> int:
        """Its capacity in records."""
        return self._instrument._device.memory_status(self.number)[0]

    def __len__(self) -> int:
        return self._instrument._device.memory_status(self.number)[1]

    def read(self, newest: int = 0) -> Records:
        """Reads the newest records, oldest first; 0 reads all. Nothing is cleared."""
        device = self._instrument._device
        columns = device.read_memory(self.number, newest)
        names = {channel.id: channel.name for channel in self._instrument.channels.values()}
        return records_of(columns, names, device.unit)


class Settings(MutableMapping[str, str]):
    """The configuration record: keys and texts as on the command line. `instrument.send_config()` sends it."""

    def __init__(self, device: _ulix.Device) -> None:
        self._device = device

    def __getitem__(self, key: str) -> str:
        return self._device.settings()[key]

    def __setitem__(self, key: str, text: str | float) -> None:
        self._device.set_setting(key, str(text))

    def __delitem__(self, key: str) -> None:
        raise TypeError("a setting has always a value")

    def __iter__(self) -> Iterator[str]:
        return iter(self._device.settings())

    def __len__(self) -> int:
        return len(self._device.settings())

    def choices(self, key: str) -> list[str]:
        """The words that the setting accepts; empty for a number or a text."""
        return self._device.setting_labels(key)


class Instrument:
    """An instrument. Its channels are attributes too: the channel "OUT 1" is `instrument.OUT_1`.

    Any thread may call any member. Exchanges with the instrument wait for each other; other Python threads run
    meanwhile.
    """

    def __init__(self, device: _ulix.Device, model: str) -> None:
        self._device = device
        self._pool: concurrent.futures.ThreadPoolExecutor | None = None
        self.model = model
        self.settings = Settings(device)
        self._channels: dict[str, Channel] = {}
        self._attributes: dict[str, Channel] = {}
        _open.add(self)

    # --- connection ---

    def connect(self) -> None:
        """Opens the line and identifies the instrument."""
        self._device.connect()
        self._list_channels()

    def close(self) -> None:
        """Stops the scans and disconnects. May be called twice."""
        self._device.disconnect()
        if self._pool:
            self._pool.shutdown(wait=False, cancel_futures=True)
            self._pool = None

    def __enter__(self) -> Instrument:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    @property
    def identification(self) -> str:
        return self._device.identify()

    @property
    def firmware(self) -> str:
        return self._device.version()

    # --- channels ---

    def _list_channels(self) -> None:
        self._channels = {name: Channel(self, number, name, direction)
                          for number, name, direction in self._device.channels()}
        self._attributes = {_identifier(name): channel for name, channel in self._channels.items()}

    @property
    def channels(self) -> Mapping[str, Channel]:
        """The channels by their names."""
        return self._channels

    def __getattr__(self, name: str) -> Channel:
        attributes = self.__dict__.get("_attributes", {})
        if name in attributes:
            return attributes[name]  # type: ignore[no-any-return]
        known = ", ".join(attributes)
        raise AttributeError(f"there is no channel or member {name!r}; the channels are {known}")

    def __setattr__(self, name: str, value: object) -> None:
        if name in self.__dict__.get("_attributes", {}):
            raise AttributeError(f"{name} is a channel; write it with {name}.write(...) or {name}.value = ...")
        super().__setattr__(name, value)

    def __dir__(self) -> Iterable[str]:
        return [*super().__dir__(), *self._attributes]

    def _chosen(self, channels: Iterable[str | Channel] | None) -> list[Channel]:
        if channels is None:
            return [channel for channel in self._channels.values() if channel.readable]
        if isinstance(channels, str):
            channels = [channels]
        return [channel if isinstance(channel, Channel) else self._channels[channel] for channel in channels]

    # --- readings ---

    def read(self, channels: Iterable[str | Channel] | None = None) -> Scan:
        """Reads the channels once, or all inputs if none are named. The value of a failed reading is NaN."""
        chosen = self._chosen(channels)
        if not chosen:
            raise ValueError("there is no channel to read")
        columns = self._device.read([channel.id for channel in chosen])
        return Scan(tuple(c.name for c in chosen), tuple(c.unit for c in chosen), columns)

    async def read_async(self, channels: Iterable[str | Channel] | None = None) -> Scan:
        return await self._in_thread(lambda: self.read(channels))

    def scans(self, channels: Iterable[str | Channel] | None = None, *, period: float = 1.0, dead_band: float = 0.0,
              dead_band_percent: float = 0.0, max_report_interval: float | None = None) -> Scans:
        """Begins to scan: `for scan in cal.scans(["IN"], period=0.5)`, or `async for`. `period` is in seconds, at least
        0.1. With a dead band only scans with a value outside it come, and one after each `max_report_interval` seconds
        if that is given. Raises ValueError for an invalid number, NotConnectedError after close()."""
        chosen = self._chosen(channels)
        if not chosen:
            raise ValueError("there is no channel to scan")
        _check_within("period", period, 0.1)
        _check_within("dead_band", dead_band, 0)
        _check_within("dead_band_percent", dead_band_percent, 0)
        if max_report_interval is not None:
            _check_within("max_report_interval", max_report_interval, 0)
        return Scans(self._device, [c.id for c in chosen], tuple(c.name for c in chosen),
                     tuple(c.unit for c in chosen), period, dead_band, dead_band_percent, max_report_interval)

    def record(self, channels: Iterable[str | Channel] | None = None, *, period: float = 1.0,
               count: int | None = None, duration: float | None = None) -> Records:
        """Scans until there are `count` scans or `duration` seconds have passed. Returns arrays."""
        if (count is None) == (duration is None):
            raise ValueError("record takes count or duration")
        end = time.monotonic() + duration if duration is not None else float("inf")
        taken: list[Scan] = []
        with self.scans(channels, period=period) as scans:
            while (count is None or len(taken) < count) and time.monotonic() < end:
                scan = scans.take(min(0.2, max(end - time.monotonic(), 0)))
                if scan is not None:
                    taken.append(scan)
            return collect(taken, scans.names, scans.units)

    # --- configuration, memory, queries ---

    def send_config(self) -> None:
        """Sends the settings to the instrument."""
        self._device.send_config()

    def read_config(self) -> None:
        """Reads the settings from the instrument."""
        self._device.read_config()
        self._list_channels()

    def start(self) -> None:
        """Starts the instrument, for models that have such a command."""
        self._device.run()

    def stop(self) -> None:
        self._device.stop()

    @property
    def memory(self) -> list[MemoryBlock]:
        """The memory blocks of a logger; empty for any other model."""
        return [MemoryBlock(self, number) for number in self._device.memory_blocks()]

    def query(self, text: str) -> str:
        """Sends a query unchanged and returns the reply, for models with lines of text."""
        return self._device.query(text)

    def simulate(self, **properties: str | float) -> None:
        """Sets properties of a simulated instrument: `cal.simulate(input=2.5)`."""
        for key, value in properties.items():
            self._device.set_simulated(key.replace("_", "-"), str(value))

    def _error(self, code: int) -> Exception:
        return make_error(code & 0xFFFFFFFF, self._device.error_text(code))

    async def _in_thread(self, call: Callable[[], T]) -> T:
        if self._pool is None:
            self._pool = concurrent.futures.ThreadPoolExecutor(1, "ulix")
        return await asyncio.get_running_loop().run_in_executor(self._pool, call)

    def __repr__(self) -> str:
        return f"<instrument {self.model}>"


_open: weakref.WeakSet[Instrument] = weakref.WeakSet()


@atexit.register
def _close_all() -> None:
    """Disconnects all instruments when the program ends, also those that were not closed."""
    for instrument in list(_open):
        instrument.close()


def _check_within(name: str, value: float, minimum: float, maximum: float = 4_294_967) -> None:
    if not minimum <= value <= maximum:
        raise ValueError(f"{name} is {value}, and takes {minimum:g} to {maximum}")


def _identifier(name: str) -> str:
    word = re.sub(r"\W", "_", name)
    return f"_{word}" if word[:1].isdigit() else word


def open(model: str, port: str | int | os.PathLike[str] | None = None, *, host: str | None = None,
         tcp_port: int | None = None, baud: int | None = None, timeout: float | None = None,
         config: str | os.PathLike[str] | None = None,
         settings: Mapping[str, str | float] | None = None) -> Instrument:
    """Connects an instrument.

    port: a number, a device, an address such as tcp://HOST:PORT, or "sim" for a simulated instrument. host: the host of
    an instrument on Ethernet. timeout: seconds for a reply. config: a configuration file. settings: keys and values.
    Raises LinkError or InstrumentError when the connection fails, ValueError for an argument that is not accepted.
    """
    texts = [(key, str(value)) for key, value in (settings or {}).items()]
    device = _ulix.Device(model, "" if port is None else os.fspath(port) if not isinstance(port, int) else str(port),
                          host or "", tcp_port, baud, 0 if timeout is None else max(1, round(timeout * 1000)),
                          "" if config is None else os.fspath(config), texts)
    instrument = Instrument(device, model)
    instrument.connect()
    return instrument
