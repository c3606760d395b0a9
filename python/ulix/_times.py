"""The library's times: days since 30 December 1899, local."""

from __future__ import annotations

import datetime

import numpy as np
from numpy.typing import NDArray

_EPOCH = datetime.datetime(1899, 12, 30)
_MS_PER_DAY = 86_400_000


def with_zone(days: float, near: float | None = None) -> datetime.datetime:
    """The time with the zone of this machine. In autumn an hour comes twice: then it is the one that is nearer to `near`
    (seconds since 1970, UTC), or the first."""
    local = _EPOCH + datetime.timedelta(milliseconds=round(days * _MS_PER_DAY))
    first, second = local.astimezone(), local.replace(fold=1).astimezone()
    if near is not None and abs(second.timestamp() - near) < abs(first.timestamp() - near):
        return second
    return first


def utc_array(days: NDArray[np.float64]) -> NDArray[np.datetime64]:
    """The times as datetime64[ms] in UTC. The zone's rules hold for each time, summer time included."""
    ms = [round(with_zone(day).timestamp() * 1000) for day in days.tolist()]
    return np.array(ms, dtype="datetime64[ms]")
