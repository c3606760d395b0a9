"""Instruments of calibration, test and data acquisition.

    import ulix

    with ulix.open("kelvo10", port="/dev/ttyUSB0") as cal:
        print(cal.IN.read())
        cal.OUT.write(2.5)
"""

from __future__ import annotations

from ._ulix import version as _version
from .calibration import (Certificate, CertifiedQuantity, Plan, PlanProblem, Stability, StabilityReport, load_plan,
                          read_certificate)
from .errors import (ArgumentError, Error, InstrumentError, LinkError, NotConnectedError, NotSupportedError, codes)
from .instrument import Channel, Instrument, MemoryBlock, Model, Quality, Reading, models, open
from .scans import Records, Scan, Scans

__version__ = _version()

__all__ = [
    "ArgumentError", "Certificate", "CertifiedQuantity", "Channel", "Error", "Instrument", "InstrumentError",
    "LinkError", "MemoryBlock", "Model", "NotConnectedError", "NotSupportedError", "Plan", "PlanProblem", "Quality",
    "Reading", "Records", "Scan", "Scans", "Stability", "StabilityReport", "codes", "load_plan", "models", "open",
    "read_certificate",
]
