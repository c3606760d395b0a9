"""The library's times: days since 30 December 1899, local."""

from __future__ import annotations

import datetime

import numpy as np
from numpy.typing import NDArray

_EPOCH = datetime.datetime(1899, 12, 30)
_MS_PER_DAY = 86_400_000


def with_zone(days: float) -> datetime.datetime:
    """The time with the zone of this machine."""
    return (_EPOCH + datetime.timedelta(milliseconds=round(days * _MS_PER_DAY))).astimezone()


def utc_array(days: NDArray[np.float64]) -> NDArray[np.datetime64]:
    """The times as datetime64[ms] in UTC. The zone's rules hold for each time, summer time included."""
    ms = [round(with_zone(day).timestamp() * 1000) for day in days.tolist()]
    return np.array(ms, dtype="datetime64[ms]")
