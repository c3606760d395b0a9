#!/usr/bin/env python3
"""Recomputes every number of a run's certificates from its journal only, with independent formulas.

usage: scripts/recompute_certificate.py FOLDER

FOLDER is the folder of a run, with journal.jsonl and the certificates made from it. The script shares no code with the
library. It prints a line for each number that differs, and then exits with 1.
"""

import decimal
import functools
import hashlib
import json
import math
import os
import pathlib
import sys
import xml.etree.ElementTree as ElementTree

DCC, SI = "{https://ptb.de/dcc}", "{https://ptb.de/si}"
PHASES = {"as-found": "beforeAdjustment", "as-left": "afterAdjustment"}


def journal_of(folder):
    entries, digest = [], "0" * 64
    for number, line in enumerate((folder / "journal.jsonl").read_bytes().split(b"\n")[:-1]):
        entry = json.loads(line)
        if entry["n"] != number or entry["prev"] != digest:
            sys.exit(f"line {number + 1} of the journal was changed")
        digest = hashlib.sha256(line).hexdigest()
        entries.append(entry)
    return entries, digest


# --- temperatures: published functions, inverted by bisection ---

def inverse(function, wanted, low, high):
    for _ in range(200):
        middle = (low + high) / 2
        low, high = (middle, high) if function(middle) < wanted else (low, middle)
    return (low + high) / 2


def industrial_ohms(t, r0=100, a=3.9083e-3, b=-5.775e-7, c=-4.183e-12):
    """IEC 60751 (Callendar-Van Dusen), with the standard's coefficients or those of one thermometer."""
    return r0 * (1 + a * t + b * t * t + (c * (t - 100) * t ** 3 if t < 0 else 0))


# ITS-90, reference functions below 273.16 K and from 273.15 K up.
BELOW = (-2.13534729, 3.18324720, -1.80143597, 0.71727204, 0.50344027, -0.61899395, -0.05332322, 0.28021362, 0.10715224,
         -0.29302865, 0.04459872, 0.11868632, -0.05248134)
ABOVE = (2.78157254, 1.64650916, -0.13714390, -0.00649767, -0.00234444, 0.00511868, 0.00187982, -0.00204472, -0.00046122,
         0.00045724)
ZERO_CELSIUS, TRIPLE_POINT = 273.15, 273.16


def power_series(coefficients, x):
    return math.fsum(coefficient * x ** power for power, coefficient in enumerate(coefficients))


def reference_ratio(kelvin):
    if kelvin < TRIPLE_POINT:
        return math.exp(power_series(BELOW, (math.log(kelvin / TRIPLE_POINT) + 1.5) / 1.5))
    return power_series(ABOVE, (kelvin - 754.15) / 481)


def standard_celsius(ohms, sensor):
    """A thermometer with the deviation function of a sub-range of ITS-90 (or of two: "argon+zinc")."""
    ratio = ohms / sensor["rtpw"]
    ranges = sensor["subrange"].lower().replace("+", " ").split()
    if len(ranges) > 1:
        sys.exit("two sub-ranges in one sensor are not known here")
    given = {key.lower(): value for key, value in sensor.get("coefficients", {}).items()}
    a, b, c, d = (given.get(key, 0) for key in "abcd")
    x = ratio - 1
    if ranges[0] == "argon":
        deviation = a * x + b * x * math.log(ratio)
    else:
        over = max(0, ratio - given.get("w-aluminium", math.inf)) if d else 0
        deviation = a * x + b * x * x + c * x ** 3 + d * over * over
    return inverse(reference_ratio, ratio - deviation, 13.8033, 1234.93) - ZERO_CELSIUS


@functools.lru_cache
def thermocouple_table():
    """The published coefficients (NIST Monograph 175) from a file beside the project, or the one that the environment names."""
    named = os.environ.get("ULIX_THERMOCOUPLES")
    places = [pathlib.Path(named)] if named else [folder / "shared/reference/thermocouples-nist-srd60.json"
                                                  for folder in pathlib.Path(__file__).resolve().parents]
    for place in places:
        if place.is_file():
            return json.loads(place.read_text())["types"]
    sys.exit("thermocouples need their coefficients: ULIX_THERMOCOUPLES names no file")


def thermocouple_millivolts(pieces, t):
    piece = next((one for one in pieces if t <= one["t_max_c"]), pieces[-1])
    peak = piece.get("exponential")
    extra = peak["a0"] * math.exp(peak["a1"] * (t - peak["a2"]) ** 2) if peak else 0
    return power_series(piece["coeffs"], t) + extra


def thermocouple_celsius(letter, millivolts, junction):
    pieces = thermocouple_table()[letter]["forward"]
    total = millivolts + thermocouple_millivolts(pieces, junction)
    # Type B has two temperatures for the voltages of less than about 250 C.
    low = 245.0 if letter == "B" else pieces[0]["t_min_c"]
    return inverse(lambda t: thermocouple_millivolts(pieces, t), total, low, pieces[-1]["t_max_c"])


FACTORS = {"kohm": 1e3, "kohms": 1e3, "k\u03a9": 1e3, "mohm": 1e-3, "v": 1e3, "volt": 1e3, "volts": 1e3, "uv": 1e-3, "\u00b5v": 1e-3}
NOMINAL = {"pt25": 25, "pt100": 100, "pt500": 500, "pt1000": 1000}


def celsius_of(sensor, electrical, junction):
    kind = sensor["type"].lower()
    if kind in NOMINAL or kind == "cvd":
        own = {"r0": sensor.get("r0", NOMINAL.get(kind, 100)), **sensor.get("coefficients", {})}
        own = {key.lower(): value for key, value in own.items()}
        return inverse(lambda t: industrial_ohms(t, **own), electrical, -200.0, 850.0)
    if kind == "its90":
        return standard_celsius(electrical, sensor)
    if kind.upper() in "BEJKNRST":
        return thermocouple_celsius(kind.upper(), electrical, sensor.get("junction", 0) if junction is None else junction)
    sys.exit(f"sensor {kind} is not known here")


def value_of(entry, planned, junctions):
    """The value of a reading, computed from the number in the reply. `junctions`: the last values of all channels."""
    sensor = planned.get("sensor")
    if "scale" in planned:
        (a, b), (c, d) = planned["scale"]["from"], planned["scale"]["to"]
        return c + (entry["v"] - a) * (d - c) / (b - a)
    if not sensor:
        return entry["v"]
    sensor = {"type": sensor} if isinstance(sensor, str) else sensor
    return celsius_of(sensor, entry["v"] * FACTORS.get(entry["u"].lower(), 1), junctions.get(sensor.get("junction-channel")))


def slope_of(entries, planned, junctions):
    """The slope at the readings of a point: units of the plan per unit of the channel."""
    if not planned.get("sensor") and "scale" not in planned:
        return 1.0
    raw, step = mean([entry["v"] for entry in entries]), 1e-3
    above, below = ({**entries[-1], "v": raw + side * step} for side in (1, -1))
    return abs(value_of(above, planned, junctions) - value_of(below, planned, junctions)) / (2 * step)


# --- Student's distribution: the integral of its density, by Simpson's rule in the angle atan(t / sqrt(n)) ---

def student_inside(freedom, k):
    if math.isinf(freedom):
        return math.erf(k / math.sqrt(2))
    norm = math.exp(math.lgamma((freedom + 1) / 2) - math.lgamma(freedom / 2)) / math.sqrt(math.pi)
    end, steps = math.atan(k / math.sqrt(freedom)), 2000
    total = 0.0
    for step in range(steps + 1):
        weight = 1 if step in (0, steps) else 4 if step % 2 else 2
        total += weight * math.cos(end * step / steps) ** (freedom - 1)
    return 2 * norm * total * end / steps / 3


def coverage_factor(freedom):
    low, high = 0.0, 20.0
    for _ in range(60):
        middle = (low + high) / 2
        low, high = (middle, high) if student_inside(freedom, middle) < 0.9545 else (low, middle)
    return high


# --- a run ---

def mean(values):
    return math.fsum(values) / len(values)


def deviation(values):
    centre = mean(values)
    return math.sqrt(math.fsum((v - centre) ** 2 for v in values) / (len(values) - 1))


def read_points(entries, plan):
    """The points of each phase: nominal, direction, cycle, readings and step of the reference and of each unit."""
    slots = [plan["reference"]] + plan["units"]
    phases, taken, last = [], None, {}
    for entry in entries:
        kind = entry["k"]
        if kind == "r":
            last[f"{entry['i']}/{entry['c']}"] = entry.get("q")
        if kind == "phase":
            phases.append((entry["phase"], []))
        elif kind == "point":
            point = {"nominal": entry["value"], "direction": entry["dir"], "cycle": entry["cycle"]}
        elif kind == "reading":
            taken, read = [[] for _ in slots], [[] for _ in slots]
        elif kind == "r" and entry.get("f") == "p" and taken is not None and entry["s"] < len(slots) and "q" in entry:
            value = value_of(entry, slots[entry["s"]], last)
            if abs(value - entry["q"]) > 1e-6:
                sys.exit(f"line {entry['n'] + 1}: {entry['v']} {entry['u']} is {value}, not {entry['q']}")
            taken[entry["s"]].append(value)
            read[entry["s"]].append(entry)
        elif kind == "channels":
            channel_steps = [slot["step"] for slot in entry["slots"]]
        elif kind == "taken":
            steps = [planned.get("resolution") or step * slope_of(one, planned, last)
                     for planned, step, one in zip(slots, channel_steps, read)]
            phases[-1][1].append({**point, "taken": taken, "steps": steps})
            taken = None
    return phases


def correction_at(points, indication):
    if indication <= points[0][0]:
        return points[0][1:]
    for below, above in zip(points, points[1:]):
        if indication <= above[0]:
            share = (indication - below[0]) / (above[0] - below[0])
            worse = below if below[2] / below[3] > above[2] / above[3] else above
            return [below[1] + share * (above[1] - below[1]), worse[2], worse[3]]
    return points[-1][1:]


DIVISORS = {"rectangular": math.sqrt(3), "triangular": math.sqrt(6), "u-shaped": math.sqrt(2), "resolution": math.sqrt(12)}


def evaluate(points, unit, header, plan):
    """The printed numbers of each point of a unit."""
    planned = plan["units"][unit]
    evaluated = []
    for point in points:
        reference, indications = point["taken"][0], point["taken"][unit + 1]
        correction, expanded, k = correction_at(header["reference"]["points"], mean(reference))
        pairs = [i - r for i, r in zip(indications, reference)]
        terms = [(deviation(pairs) / math.sqrt(len(pairs)), len(pairs) - 1)]
        terms += [((max(reference) - min(reference)) / 2 / math.sqrt(3), math.inf)]
        steps = point["steps"]
        terms += [(steps[unit + 1] / math.sqrt(12), math.inf), (steps[0] / math.sqrt(12), math.inf), (expanded / k, math.inf)]
        for term in plan.get("uncertainty", []):
            if term.get("unit", planned["name"]) != planned["name"]:
                continue
            divisor = DIVISORS.get(term.get("distribution", "rectangular"), term.get("k", 2))
            terms.append((abs(term.get("sensitivity", 1) * term["value"] / divisor), term.get("degrees-of-freedom", math.inf)))
        true = mean(reference) + correction
        evaluated.append({"point": point, "reference": true, "indication": mean(indications),
                          "deviation": mean(indications) - true, "terms": terms})
    for one in evaluated:
        for other in evaluated:
            a, b = one["point"], other["point"]
            if a["nominal"] == b["nominal"] and a["cycle"] == b["cycle"] and a["direction"] != b["direction"]:
                one["terms"].append((abs(one["deviation"] - other["deviation"]) / 2 / math.sqrt(3), math.inf))
                break
    return [printed(one, plan, planned) for one in evaluated]


def rounded(value, decimals):
    text = str(decimal.Decimal(value).quantize(decimal.Decimal(1).scaleb(-decimals), decimal.ROUND_HALF_EVEN))
    return text[1:] if text.startswith("-") and not text.strip("-0.") else text


def printed(one, plan, planned):
    u = math.sqrt(math.fsum(term ** 2 for term, _ in one["terms"]))
    inverse = math.fsum((term / u) ** 4 / freedom for term, freedom in one["terms"])
    freedom = math.floor(1 / inverse) if inverse > 1e-9 else math.inf
    k = coverage_factor(freedom)
    expanded = max(k * u, plan.get("laboratory", {}).get("best-uncertainty", 0))
    decimals = 1 - math.floor(math.log10(expanded))
    if expanded * 10 ** decimals > 99.0000001:
        decimals -= 1
    shown = rounded(math.ceil(expanded * 10 ** decimals * (1 - 1e-9)) / 10 ** decimals, decimals)
    texts = {name: rounded(one[name], decimals) for name in ("reference", "indication", "deviation")}
    return {**texts, "U": shown, "k": rounded(k, 2), "conformity": decide(plan, planned, texts["deviation"], shown)}


def decide(plan, planned, error, expanded):
    rule = plan.get("decision", {}).get("rule", "none")
    tolerance = planned.get("tolerance", 0)
    if rule == "none" or not tolerance:
        return None
    error, tolerance = abs(decimal.Decimal(error)), decimal.Decimal(str(tolerance))
    guard = 0 if rule == "simple" else decimal.Decimal(str(plan["decision"].get("guard", 1))) * decimal.Decimal(expanded)
    if error + guard <= tolerance:
        return "pass"
    if rule != "four-outcomes":
        return "fail"
    return "conditionalPass" if error <= tolerance else "conditionalFail" if error <= tolerance + guard else "fail"


# --- the certificate ---

def list_in(quantity, unit_word, tag):
    for numbers in quantity.iter(SI + "realListXMLList"):
        if unit_word in (numbers.findtext(SI + "unitXMLList") or ""):
            return (next(numbers.iter(SI + tag)).text or "").split()
    sys.exit(f"no list in {unit_word}")


def certificate_tables(path):
    tables = {}
    for measurement in ElementTree.parse(path).getroot().iter(DCC + "measurementResult"):
        status = next(measurement.iter(DCC + "status")).text
        quantities = {q.get("refType"): q for q in measurement.iter(DCC + "quantity") if q.get("refType")}
        error = quantities["basic_measurementError"]
        unit = "degreecelsius" if "kelvin" in next(error.iter(SI + "unitXMLList")).text else ""
        conformity = next(error.iter(DCC + "conformityXMLList"), None)
        tables[status] = {
            "reference": list_in(quantities["basic_referenceValue"], unit, "valueXMLList"),
            "indication": list_in(quantities["basic_measuredValue"], unit, "valueXMLList"),
            "deviation": list_in(error, "", "valueXMLList"),
            "U": list_in(error, "", "valueExpandedMUXMLList"),
            "k": list_in(error, "", "coverageFactorXMLList"),
            "conformity": conformity.text.split() if conformity is not None else None,
        }
    return tables


def differences(tables, status, points):
    for name, texts in tables[status].items():
        expected = [point[name] for point in points]
        if texts is None and not any(expected):
            continue
        if len(texts or []) != len(expected):
            yield f"{status} {name}: {len(texts or [])} values, not {len(expected)}"
            continue
        for place, (found, wanted) in enumerate(zip(texts, expected)):
            same = found == wanted if name == "conformity" else decimal.Decimal(found) == decimal.Decimal(wanted)
            if not same:
                yield f"{status}, point {place + 1}: {name} is {found}, recomputed {wanted}"


def main(folder):
    entries, digest = journal_of(folder)
    header = entries[0]
    plan = json.loads(header["plan"])
    compared, found = 0, []
    for unit in range(len(plan["units"])):
        path = folder / f"certificate-{unit + 1}.xml"
        tables = certificate_tables(path)
        if digest not in path.read_text():
            found.append(f"{path.name} does not name the digest of the journal, {digest}")
        for phase, points in read_points(entries, plan):
            evaluated = evaluate(points, unit, header, plan)
            found += [f"{path.name}: {text}" for text in differences(tables, PHASES[phase], evaluated)]
            compared += len(evaluated) * 6
    print(*found, f"{compared} numbers of {len(plan['units'])} certificates compared, {len(found)} differ", sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(sys.argv[1])))
