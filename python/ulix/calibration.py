"""Stability, plans and certificates."""

from __future__ import annotations

import datetime
import math
import os
import pathlib
from dataclasses import dataclass

import numpy as np
from numpy.typing import NDArray

from . import _ulix


@dataclass(frozen=True)
class StabilityReport:
    """The state of the detector after a sample."""

    state: str
    """waiting, near, settling, stable or lost."""
    spread: float
    drift: float
    seconds_left: float | None
    gave_up: bool

    @property
    def stable(self) -> bool:
        return self.state == "stable"


class Stability:
    """Detects when a quantity has become stable: in a window of time, spread and drift keep their limits.

    Times are in seconds, limits in the quantity's unit.
    """

    def __init__(self, *, window: float = 600, spread: float = 0.02, drift: float = 0.02, min_samples: int = 10,
                 resolution: float = 0, target: float | None = None, near: float = math.inf,
                 give_up: float = math.inf) -> None:
        self._detector = _ulix.StabilityDetector(window, spread, drift, min_samples, resolution, target, near, give_up)

    def add(self, seconds: float, value: float | None) -> StabilityReport:
        """Adds a sample. `seconds` is a time on a clock that never goes back; None is a failed reading."""
        return StabilityReport(*self._detector.add(seconds, value))

    def reset(self) -> None:
        """Forgets all samples."""
        self._detector.reset()


@dataclass(frozen=True)
class PlanProblem:
    """An error or a warning about a plan."""

    line: int
    path: str
    message: str
    warning: bool

    def __str__(self) -> str:
        return f"{self.line}: {self.path}: {self.message}"


@dataclass(frozen=True)
class Plan:
    """A calibration plan for `ulix calibrate`. It is usable if no problem is an error."""

    title: str
    unit: str
    points: NDArray[np.float64]
    units: dict[str, float]
    """The name of each unit under test and its tolerance."""
    instruments: dict[str, str]
    """The name and model of each instrument."""
    problems: list[PlanProblem]
    usable: bool


def load_plan(path: str | os.PathLike[str]) -> Plan:
    """Reads and checks a plan. Its errors are in `problems`. Raises OSError for a file that cannot be read."""
    file = pathlib.Path(path)
    found = _ulix.load_plan(file.read_text(encoding="utf-8"), os.fspath(file.parent))
    return Plan(found["title"], found["unit"], np.array([point[0] for point in found["points"]], dtype=np.float64),
                dict(found["units"]), dict(found["instruments"]),
                [PlanProblem(*problem) for problem in found["problems"]], found["usable"])


@dataclass(frozen=True)
class CertifiedQuantity:
    """Values of a certificate in one unit, with their expanded uncertainties if it has them."""

    name: str
    ref_type: str
    unit: str
    values: NDArray[np.float64]
    expanded: NDArray[np.float64]
    coverage_factor: NDArray[np.float64]


@dataclass(frozen=True)
class Certificate:
    """A digital calibration certificate."""

    identifier: str
    schema_version: str
    issued: datetime.date | None
    laboratory: str
    customer: str
    items: list[str]
    quantities: list[CertifiedQuantity]
    problems: list[str]


def _date(text: str) -> datetime.date | None:
    return datetime.date.fromisoformat(text) if text else None


def read_certificate(path: str | os.PathLike[str]) -> Certificate:
    """Reads a certificate (DCC, XML). Raises ValueError for a file that is not a certificate."""
    found = _ulix.read_certificate(pathlib.Path(path).read_text(encoding="utf-8"))
    quantities = [
        CertifiedQuantity(quantity["name"], quantity["ref_type"], values["unit"],
                          *(np.array(values[key], dtype=np.float64) for key in ("numbers", "expanded", "coverage_factor")))
        for quantity in found["results"] for values in quantity["values"]]
    return Certificate(found["identifier"], found["schema_version"], _date(found["issue_date"]), found["laboratory"],
                       found["customer"], found["items"], quantities, found["problems"])
