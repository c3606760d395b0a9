"""Decodes Sparkplug B payloads from their field numbers. It shares no code with the program under test."""

import struct

INT32, INT64, DOUBLE, BOOLEAN, STRING = 3, 4, 10, 11, 12


def _varint(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        value |= (byte & 0x7F) << shift
        at, shift = at + 1, shift + 7
        if byte < 0x80:
            return value, at


def _fields(data):
    at = 0
    while at < len(data):
        key, at = _varint(data, at)
        number, kind = key >> 3, key & 7
        if kind == 0:
            value, at = _varint(data, at)
        elif kind == 1:
            value, at = data[at:at + 8], at + 8
        elif kind == 2:
            size, at = _varint(data, at)
            value, at = data[at:at + size], at + size
            assert len(value) == size, "a field ends behind the message"
        elif kind == 5:
            value, at = data[at:at + 4], at + 4
        else:
            raise ValueError(f"wire type {kind}")
        yield number, value


def _value(number, raw, first):
    """The value of a metric (first=10) or of a property (first=3)."""
    kind = number - first
    if kind == 0:
        return raw - (1 << 32) if raw >= 1 << 31 else raw
    if kind == 1:
        return raw - (1 << 64) if raw >= 1 << 63 else raw
    if kind == 2:
        return struct.unpack("<f", raw)[0]
    if kind == 3:
        return struct.unpack("<d", raw)[0]
    if kind == 4:
        return bool(raw)
    return raw.decode("utf-8")


def _property_set(data):
    keys, values = [], []
    for number, raw in _fields(data):
        if number == 1:
            keys.append(raw.decode("utf-8"))
        elif number == 2:
            value = None
            for part, content in _fields(raw):
                if part >= 3:
                    value = _value(part, content, 3)
            values.append(value)
    assert len(keys) == len(values)
    return dict(zip(keys, values))


def _metric(data):
    metric = {"value": None, "historical": False, "properties": {}}
    for number, raw in _fields(data):
        if number == 1:
            metric["name"] = raw.decode("utf-8")
        elif number == 3:
            metric["time"] = raw
        elif number == 4:
            metric["type"] = raw
        elif number == 5:
            metric["historical"] = bool(raw)
        elif number == 7:
            metric["null"] = bool(raw)
        elif number == 9:
            metric["properties"] = _property_set(raw)
        elif number >= 10:
            metric["value"] = _value(number, raw, 10)
    return metric


def decode(data):
    """{"time": ms, "seq": number or None, "metrics": {name: {...}}}."""
    payload = {"time": None, "seq": None, "metrics": {}}
    for number, raw in _fields(data):
        if number == 1:
            payload["time"] = raw
        elif number == 2:
            metric = _metric(raw)
            payload["metrics"][metric["name"]] = metric
        elif number == 3:
            payload["seq"] = raw
    return payload


def _tag(number, kind):
    return bytes([number << 3 | kind])


def _text(number, content):
    return _tag(number, 2) + bytes([len(content)]) + content


def command(name, value):
    """A payload with one metric, as a host sends it."""
    metric = _text(1, name.encode())
    if isinstance(value, bool):
        metric += _tag(4, 0) + bytes([BOOLEAN]) + _tag(14, 0) + bytes([value])
    else:
        metric += _tag(4, 0) + bytes([DOUBLE]) + _tag(13, 1) + struct.pack("<d", value)
    return _text(2, metric)
