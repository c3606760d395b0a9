"""Conversions of the library's times: days since 30 December 1899, in local time."""

from __future__ import annotations

import datetime

import numpy as np
from numpy.typing import NDArray

_EPOCH = datetime.datetime(1899, 12, 30)
_MS_PER_DAY = 86_400_000


def with_zone(days: float, near: float | None = None) -> datetime.datetime:
    """The time with the time zone of this machine. One hour comes twice in autumn: then the result is the one nearer to
    `near` (seconds since 1970, UTC), or the first one without it."""
    local = _EPOCH + datetime.timedelta(milliseconds=round(days * _MS_PER_DAY))
    first, second = local.astimezone(), local.replace(fold=1).astimezone()
    if near is not None and abs(second.timestamp() - near) < abs(first.timestamp() - near):
        return second
    return first


def utc_array(days: NDArray[np.float64]) -> NDArray[np.datetime64]:
    """The times as datetime64[ms] in UTC, each converted with the rules of the time zone, including summer time."""
    ms = [round(with_zone(day).timestamp() * 1000) for day in days.tolist()]
    return np.array(ms, dtype="datetime64[ms]")
