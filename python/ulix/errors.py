"""Exceptions with the published codes and texts."""

from __future__ import annotations

from . import _ulix

codes: dict[str, int] = _ulix.error_codes()
"""Every published code by its name, as an unsigned 32-bit number."""

codes |= {"E_NOTIMPL": 0x80004001, "E_UNEXPECTED": 0x8000FFFF, "E_INVALIDARG": 0x80070057, "E_OUTOFMEMORY": 0x8007000E,
          "E_FAIL": 0x80004005}

# The library has no texts for codes of the system.
_OF_SYSTEM_TEXTS = {"E_NOTIMPL": "The model has no such thing", "E_UNEXPECTED": "The instrument is not connected",
                    "E_INVALIDARG": "The instrument does not have or take this", "E_OUTOFMEMORY": "Not enough memory",
                    "E_FAIL": "Failed"}


class Error(Exception):
    """A call that failed with a published code.

    code: the code, as an unsigned 32-bit number. name: its published name, empty for a code of the system.
    text: the library's text for it, in English.
    """

    def __init__(self, code: int, name: str = "", text: str = "") -> None:
        shown = text or name or "failed"
        super().__init__(f"0x{code:08X} {shown}")
        self.code = code
        self.name = name
        self.text = text

    def __reduce__(self) -> tuple[type[Error], tuple[int, str, str]]:
        return type(self), (self.code, self.name, self.text)


class LinkError(Error):
    """The serial line, the network or USB failed: not opened, no answer, device gone."""


class InstrumentError(Error):
    """The instrument gave an invalid answer, or it is another instrument."""


class NotConnectedError(Error):
    """The call needs a connected instrument."""


class NotSupportedError(Error):
    """The model does not support the call."""


class ArgumentError(Error, ValueError):
    """A channel or block that the instrument does not have, or a value that it does not accept."""


_NAMES = {code: name for name, code in codes.items()}
_OF_SYSTEM: dict[str, type[Error]] = {"E_NOTIMPL": NotSupportedError, "E_UNEXPECTED": NotConnectedError,
                                      "E_INVALIDARG": ArgumentError}


def make_error(code: int, text: str) -> Error:
    """The exception of a code; `code` is an unsigned 32-bit number."""
    name = _NAMES.get(code, "")
    if name in _OF_SYSTEM_TEXTS:
        return _OF_SYSTEM.get(name, Error)(code, name, text or _OF_SYSTEM_TEXTS[name])
    if name.startswith(("serialComm", "networkComm", "winUsbComm")):
        return LinkError(code, name, text)
    return (InstrumentError if name else Error)(code, name, text)


_ulix.set_error_maker(make_error)
